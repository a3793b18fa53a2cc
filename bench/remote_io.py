"""The remote file system against xrdcp on the same standalone XRootD
server (started here on loopback), as ratios measured in one run (medians
of several rounds).

  write   256 MiB in 1 MiB File_WriteString calls vs xrdcp of a local file to the server
  read    256 MiB in 1 MiB File_PReadStringWithOp calls vs xrdcp from the server to /dev/null
  pread   4 KiB File_PReadStringWithOp at random offsets: median and 99th percentile latency
  stat    File_Stat by name: median and 99th percentile latency

Throughput ratios are xrdcp's time over ours (above 1: faster than xrdcp).
xrdcp's times include starting its process (tens of milliseconds).
"""
import os
import random
import shutil
import subprocess
import sys
import tempfile
import time

import _file_base_pyquarry as m
import benchlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'tests', 'python'))
import remote_server  # noqa: E402

MIB = 1 << 20
SIZE = int(os.environ.get('PQ_BENCH_REMOTE_MIB', '256')) * MIB
ROUNDS = 3


def timed(fn):
    start = time.time()
    fn()
    return time.time() - start


def xrdcp(source, target):
    subprocess.check_call(['xrdcp', '-s', '-f', source, target])


def write_module(name, chunk):
    f = m.File_Open(name, 'w')
    for _ in xrange(SIZE // MIB):
        if not m.File_WriteString(f, chunk):
            raise RuntimeError(m.File_GetCurrentErrorMessage(f))
    if not m.File_Close(f):
        raise RuntimeError('close failed')


def read_module(name):
    f = m.File_Open(name, 'r')
    for i in xrange(SIZE // MIB):
        if len(m.File_PReadStringWithOp(f, i * MIB, MIB, None)) != MIB:
            raise RuntimeError('short read')
    m.File_Close(f)


def latencies(fn, n):
    out = []
    for i in xrange(n):
        start = time.time()
        fn(i)
        out.append(time.time() - start)
    out.sort()
    return out[len(out) // 2], out[int(len(out) * 0.99)]


def main():
    work = tempfile.mkdtemp(prefix='pq-remote-bench', dir=os.environ.get('PQ_TEST_TMP') or None)
    server = remote_server.Server()
    try:
        local = os.path.join(work, 'source')
        chunk = os.urandom(MIB)
        with open(local, 'wb') as f:
            for _ in xrange(SIZE // MIB):
                f.write(chunk)
        ours, theirs = server.prefix + '/ours', server.prefix + '/theirs'
        write_ratio, read_ratio = [], []
        for _ in range(ROUNDS):
            t_xrdcp = timed(lambda: xrdcp(local, theirs))
            t_ours = timed(lambda: write_module(ours, chunk))
            write_ratio.append(t_xrdcp / t_ours)
            r_xrdcp = timed(lambda: xrdcp(theirs, '/dev/null'))
            r_ours = timed(lambda: read_module(ours))
            read_ratio.append(r_xrdcp / r_ours)
        mb = SIZE / 1e6
        print('remote write %d MiB: %.2f of xrdcp\'s throughput (last round: ours %.0f MB/s, xrdcp %.0f MB/s)' % (
            SIZE // MIB, benchlib.median(write_ratio), mb / t_ours, mb / t_xrdcp))
        print('remote read  %d MiB: %.2f of xrdcp\'s throughput (last round: ours %.0f MB/s, xrdcp %.0f MB/s)' % (
            SIZE // MIB, benchlib.median(read_ratio), mb / r_ours, mb / r_xrdcp))
        f = m.File_Open(ours, 'r')
        rng = random.Random(7)
        offsets = [rng.randrange(0, SIZE - 4096) for _ in xrange(2000)]
        p50, p99 = latencies(lambda i: m.File_PReadStringWithOp(f, offsets[i], 4096, None), 2000)
        m.File_Close(f)
        print('remote 4 KiB random pread: median %.0f us, p99 %.0f us' % (p50 * 1e6, p99 * 1e6))
        p50, p99 = latencies(lambda i: m.File_Stat(ours), 2000)
        print('remote File_Stat: median %.0f us, p99 %.0f us' % (p50 * 1e6, p99 * 1e6))
    finally:
        server.stop()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == '__main__':
    main()
