"""Buffered streams against Python's own file object, in one run.

InputBuffer_ReadLineAsString over a 128 MiB file of 80-byte lines against
file.readline() in the same loop shape (and against `for line in file`);
InputBuffer_ReadToString in 1 MiB pieces against file.read; OutputBuffer
WriteLine of 80-byte lines against file.write(line + "\\n"); 1 MiB
OutputBuffer_WriteString against file.write. Medians of ratios over rounds;
the order alternates from round to round, and the file written last is
removed and synced away (not timed) before each timed run, so that neither
side pays for the other's writeback."""
import os
import shutil
import subprocess
import tempfile

import _file_base_pyquarry as m
from benchlib import median, time_loop

MB = 1 << 20
LINE = 'x' * 79 + '\n'
ROUNDS = int(os.environ.get('PQ_BENCH_ROUNDS', '5'))


def main():
    d = tempfile.mkdtemp(prefix='pqbench')
    try:
        path = os.path.join(d, 'lines')
        with open(path, 'wb') as f:
            block = LINE * (MB // 80 * 4)
            while f.tell() < 128 * MB:
                f.write(block)
        lines = os.path.getsize(path) // 80

        def py_readline(_):
            with open(path, 'rb') as f:
                readline = f.readline
                while readline():
                    pass

        def py_iterate(_):
            with open(path, 'rb') as f:
                for _line in f:
                    pass

        def ib_readline(_):
            buf = m.new_InputBuffer(m.File_Open(path, 'r'))
            this = buf if isinstance(buf, str) else buf.this
            read = m.InputBuffer_ReadLineAsString
            while read(this, 100000):
                pass
            m.delete_InputBuffer(this)

        def py_read(_):
            with open(path, 'rb') as f:
                while f.read(MB):
                    pass

        def ib_read(_):
            buf = m.new_InputBuffer(m.File_Open(path, 'r'))
            read = m.InputBuffer_ReadToString
            while read(buf, MB):
                pass
            m.delete_InputBuffer(buf)

        out = os.path.join(d, 'out')
        n_lines = 400000
        text = LINE[:-1]
        piece = 'y' * MB

        def py_writeline(_):
            with open(out, 'wb') as f:
                write = f.write
                for _i in xrange(n_lines):
                    write(text + '\n')

        def ob_writeline(_):
            ob = m.new_OutputBuffer(m.File_Open(out, 'w'))
            write = m.OutputBuffer_WriteLine
            for _i in xrange(n_lines):
                write(ob, text)
            m.delete_OutputBuffer(ob)

        def py_write(_):
            with open(out, 'wb') as f:
                for _i in xrange(128):
                    f.write(piece)

        def ob_write(_):
            ob = m.new_OutputBuffer(m.File_Open(out, 'w'))
            for _i in xrange(128):
                m.OutputBuffer_WriteString(ob, piece)
            m.delete_OutputBuffer(ob)

        pairs = [('InputBuffer_ReadLineAsString / file.readline', py_readline, ib_readline, 'time', 1.3),
                 ('InputBuffer_ReadLineAsString / for line in file', py_iterate, ib_readline, 'time', None),
                 ('InputBuffer_ReadToString 1 MiB / file.read', py_read, ib_read, 'throughput', 0.95),
                 ('OutputBuffer_WriteLine / file.write(line + "\\n")', py_writeline, ob_writeline, 'time', 1.3),
                 ('OutputBuffer_WriteString 1 MiB / file.write', py_write, ob_write, 'throughput', 0.95)]
        py_readline(0)  # warm the page cache
        for name, base, cand, kind, bound in pairs:
            ratios = []
            for k in range(ROUNDS):
                times = {}
                for which, f in sorted(((0, base), (1, cand)), reverse=k % 2 == 1):
                    if os.path.exists(out):
                        os.unlink(out)
                    subprocess.check_call(['sync'])
                    times[which] = time_loop(f, 1)
                b, c = times[0], times[1]
                ratios.append(c / b if kind == 'time' else b / c)
            r = median(ratios)
            verdict = ''
            if bound is not None:
                ok = r <= bound if kind == 'time' else r >= bound
                verdict = '  (%s %s: %s)' % ('at most' if kind == 'time' else 'at least', bound,
                                              'met' if ok else 'NOT met')
            print '%-52s %s ratio %.3f%s' % (name, kind, r, verdict)
        print '(%d lines of 80 bytes, %d rounds)' % (lines, ROUNDS)
    finally:
        shutil.rmtree(d, True)


if __name__ == '__main__':
    main()
