"""pyquarry file objects and quarry cp against Python's own files and cp(1).

Reports medians over rounds that alternate baseline and candidate:
- read(): pyquarry.open(...).read() of 256 MiB, throughput relative to the
  built-in open(...).read() (goal: at least 0.95);
- lines: iterating the lines of a 128 MiB text file, time relative to the
  built-in file object (goal: at most 1.5);
- quarry cp of a 1 GiB file to a new name, throughput relative to cp (goal:
  at least 0.9); a sync before each copy (not timed) keeps one copy's
  write-back out of the next one's time.
All files are local and warm in the page cache (the first round is dropped).
PQ_BENCH_SCALE=0.25 shrinks the files for a quick run.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import time

import pyquarry
from benchlib import median

SCALE = float(os.environ.get('PQ_BENCH_SCALE', '1'))
ROUNDS = int(os.environ.get('PQ_BENCH_ROUNDS', '5'))
MIB = 1 << 20


def timed(fn):
    start = time.time()
    fn()
    return time.time() - start


def compare(baseline, candidate, rounds=ROUNDS, settle=None):
    """Median of candidate/baseline time ratios, the median baseline time, and
    the ratio of the best (shortest) times of each: on a loaded machine the
    best times are the ones least disturbed. The order alternates from round
    to round, so that neither side always runs in the other's wake; settle(),
    when given, runs untimed before each."""
    ratios, base, cand = [], [], []
    for i in range(rounds + 1):
        times = {}
        for name, fn in ((('b', baseline), ('c', candidate)) if i % 2 else (('c', candidate), ('b', baseline))):
            if settle:
                settle()
            times[name] = timed(fn)
        if i:  # the first round warms the cache
            ratios.append(times['c'] / times['b'])
            base.append(times['b'])
            cand.append(times['c'])
    return median(ratios), median(base), min(cand) / min(base)


def main():
    quarry = os.path.join(os.environ.get('BUILD_DIR', 'build'), 'quarry')
    work = tempfile.mkdtemp(prefix='pq-bench-', dir=os.environ.get('PQ_BENCH_TMP'))
    try:
        size = int(256 * MIB * SCALE)
        blob = os.path.join(work, 'blob')
        with open(blob, 'wb') as f:
            f.write(os.urandom(MIB) * (size // MIB))
        ratio, base, best = compare(lambda: open(blob, 'rb').read(), lambda: pyquarry.open(blob).read())
        print 'read() of %d MiB: pyquarry throughput %.2f of the built-in (best-of %.2f; built-in %.0f MiB/s)' % (
            size // MIB, 1 / ratio, 1 / best, size / MIB / base)

        text = os.path.join(work, 'text')
        line_block = ''.join('%08d the quick brown fox jumps over the lazy dog %s\n' % (i, 'x' * (i % 40))
                             for i in range(20000))
        with open(text, 'wb') as f:
            for _ in range(int(128 * MIB * SCALE) // len(line_block)):
                f.write(line_block)

        def count(f):
            n = 0
            for _ in f:
                n += 1
            return n
        ratio, base, best = compare(lambda: count(open(text, 'rb')), lambda: count(pyquarry.open(text)))
        print 'lines of %d MiB: pyquarry takes %.2f times the built-in (best-of %.2f; built-in %.2f s)' % (
            os.path.getsize(text) // MIB, ratio, best, base)

        if os.path.exists(quarry):
            os.remove(blob)
            big = os.path.join(work, 'big')
            with open(big, 'wb') as f:
                chunk = os.urandom(MIB)
                for _ in range(int(1024 * SCALE)):
                    f.write(chunk)
            out = os.path.join(work, 'out')
            def settle():  # a new destination each time, and no dirty pages left by the last copy
                if os.path.exists(out):
                    os.remove(out)
                subprocess.check_call(['sync'])
            ratio, base, best = compare(lambda: subprocess.check_call(['cp', big, out]),
                                        lambda: subprocess.check_call([quarry, 'cp', big, out]),
                                        rounds=int(os.environ.get('PQ_BENCH_CP_ROUNDS', '5')), settle=settle)
            print 'cp of %d MiB: quarry throughput %.2f of cp (best-of %.2f; cp %.0f MiB/s)' % (
                os.path.getsize(big) // MIB, 1 / ratio, 1 / best, os.path.getsize(big) / MIB / base)
        else:
            print 'quarry not built (%s): cp not measured' % quarry
    finally:
        shutil.rmtree(work, True)


if __name__ == '__main__':
    sys.exit(main())
