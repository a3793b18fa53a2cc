"""File I/O through the module against Python 2's own facilities, as ratios
measured in one run (medians of several rounds).

  read      sequential 1 MiB reads of a 256 MiB file: File_PReadStringWithOp vs file.read
  write     sequential 1 MiB writes of 256 MiB: File_WriteString vs file.write
  pread     4 KiB reads at random offsets: File_PRead... vs os.lseek + os.read
  stat      File_Stat vs os.stat
  match     File_Match over 10,000 files vs glob.glob
  threads   two threads reading two files at once vs one after the other
"""
import glob
import os
import random
import shutil
import subprocess
import sys
import tempfile
import threading
import time

import _file_base_pyquarry as m
import benchlib

MIB = 1 << 20


def timed(fn):
    start = time.time()
    fn()
    return time.time() - start


def make_file(path, size):
    chunk = os.urandom(MIB)
    with open(path, 'wb') as f:
        for _ in xrange(size // MIB):
            f.write(chunk)


def read_module(path, size):
    f = m.File_Open(path, 'r')
    offset = 0
    while offset < size:
        offset += len(m.File_PReadStringWithOp(f, offset, MIB, None))
    m.File_Close(f)


def read_builtin(path, size):
    with open(path, 'rb') as f:
        while f.read(MIB):
            pass


def write_module(path, size, chunk):
    f = m.File_Open(path, 'w')
    for _ in xrange(size // MIB):
        m.File_WriteString(f, chunk)
    m.File_Close(f)


def write_builtin(path, size, chunk):
    with open(path, 'wb') as f:
        for _ in xrange(size // MIB):
            f.write(chunk)


def timed_write(writer, path, size, chunk):
    """Times one write of a fresh file, after flushing what earlier runs left
    dirty so that neither side pays for the other's write-back."""
    subprocess.call(['sync'])
    seconds = timed(lambda: writer(path, size, chunk))
    os.remove(path)
    return seconds


def write_round(base, size, chunk, module_first):
    """builtin time / module time for one round, the order alternating."""
    order = [write_module, write_builtin] if module_first else [write_builtin, write_module]
    times = dict((w, timed_write(w, os.path.join(base, w.__name__), size, chunk)) for w in order)
    return times[write_builtin] / times[write_module]


def parallel_ratio(reader, paths, size, rounds):
    """Median over rounds of (both files read by two threads at once) /
    (both read one after the other)."""
    def both():
        threads = [threading.Thread(target=reader, args=(p, size)) for p in paths]
        for t in threads:
            t.start()
        for t in threads:
            t.join()

    def serial():
        for p in paths:
            reader(p, size)
    return benchlib.median([timed(both) / timed(serial) for _ in range(rounds)])


def main():
    size = int(os.environ.get('PQ_BENCH_MIB', '256')) * MIB
    rounds = int(os.environ.get('PQ_BENCH_ROUNDS', '5'))
    base = tempfile.mkdtemp(prefix='pq-bench-')
    results = {}
    try:
        big = os.path.join(base, 'big')
        make_file(big, size)
        read_module(big, size)  # warm the page cache
        results['read'] = benchlib.median(
            [timed(lambda: read_builtin(big, size)) / timed(lambda: read_module(big, size))
             for _ in range(rounds)])

        chunk = os.urandom(MIB)
        results['write'] = benchlib.median(
            [write_round(base, size, chunk, module_first=(i % 2 == 1)) for i in range(rounds)])

        offsets = [random.randrange(0, size - 4096) & ~4095 for _ in xrange(20000)]
        f = m.File_Open(big, 'r')
        fd = os.open(big, os.O_RDONLY)
        pread = m.File_PReadStringWithOp

        def module_pread(k):
            for i in xrange(k):
                pread(f, offsets[i], 4096, None)

        def os_pread(k):
            for i in xrange(k):
                os.lseek(fd, offsets[i], 0)
                os.read(fd, 4096)
        r, _ = benchlib.ratios(os_pread, {'pread': module_pread}, len(offsets), rounds)
        results['pread'] = r['pread']
        m.File_Close(f)
        os.close(fd)

        def module_stat(k):
            for _ in xrange(k):
                m.File_Stat(big)

        def os_stat(k):
            for _ in xrange(k):
                os.stat(big)
        r, _ = benchlib.ratios(os_stat, {'stat': module_stat}, 20000, rounds)
        results['stat'] = r['stat']

        many = os.path.join(base, 'many')
        os.mkdir(many)
        for i in xrange(10000):
            open(os.path.join(many, 'f%05d.txt' % i), 'w').close()
        pattern = os.path.join(many, '*.txt')
        assert len(m.File_Match(pattern)[1]) == 10000 == len(glob.glob(pattern))
        results['match'] = benchlib.median(
            [timed(lambda: m.File_Match(pattern)) / timed(lambda: glob.glob(pattern)) for _ in range(rounds)])

        second = os.path.join(base, 'big2')
        shutil.copyfile(big, second)
        subprocess.call(['sync'])
        read_module(second, size)
        results['threads'] = parallel_ratio(read_module, (big, second), size, max(rounds, 9))
        results['threads_builtin'] = parallel_ratio(read_builtin, (big, second), size, max(rounds, 9))
    finally:
        shutil.rmtree(base, ignore_errors=True)

    print 'file_io: %d MiB files, median of %d rounds' % (size // MIB, rounds)
    print '  read    module/builtin throughput = %.2f  (target >= 0.95)' % results['read']
    print '  write   module/builtin throughput = %.2f  (target >= 0.95)' % results['write']
    print '  pread   module/os time            = %.2f  (target <= 1.5)' % results['pread']
    print '  stat    module/os time            = %.2f  (target <= 1.5)' % results['stat']
    print '  match   module/glob time          = %.2f  (target < 1.0)' % results['match']
    print '  threads parallel/serial time      = %.2f  (target <= 0.7; file.read the same way: %.2f)' % (
        results['threads'], results['threads_builtin'])
    ok = (results['read'] >= 0.95 and results['write'] >= 0.95 and results['pread'] <= 1.5 and
          results['stat'] <= 1.5 and results['match'] < 1.0 and results['threads'] <= 0.7)
    return 0 if ok else 1


if __name__ == '__main__':
    sys.exit(main())
