"""Every function, called with hostile arguments, raises or returns: none
crashes the interpreter.

Left out: what ends the process by design (or-die forms, CheckSuccess),
what frees or hands off objects (delete_..., Detach, AbandonAndRelease),
what blocks (Wait...), proxy registration, and real buffers for untyped
buffer parameters (those get null only).
"""
import os
import random
import shutil
import sys

import pqtest
from pqtest import m

SKIP = ('OrDie', 'CheckSuccess', 'swigregister', 'AbandonAndRelease', 'Detach', 'Wait')
BUFFER_TAKERS = ('Read', 'Write', 'Append', 'ReadWithOp', 'WriteWithOp', 'ReadRegion', 'WriteRegion', 'PRead',
                 'PWrite', 'PReadWithOp', 'PWriteWithOp', 'ReadWithVerifier', 'PReadWithVerifier')
SCALARS = [None, 'NULL', 0, 1, -1, 7, 2 ** 31, 2 ** 63, -2 ** 63, 2 ** 64, 1.5, '', 'x', 'a\0b', 'f',
           'd', '/mem/pq-robust/x', 'sub/f', [], ['f', 'x'], ('a',), ['a', 1], object()]
CALLS_PER_FUNCTION = 40


def candidates():
    return [n for n in sorted(dir(m)) if callable(getattr(m, n)) and not n.startswith('delete_')
            and not any(part in n for part in SKIP)]


def hammer(first, last, seed):
    """Runs in a scratch directory: relative names stay inside it."""
    f = m.File_Open('f', 'w+')
    m.File_WriteString(f, 'line one\nline two\n')
    os.mkdir('d')
    m.File_RecursivelyCreateDir('/mem/pq-robust', 0o755)
    objects = [m.new_FileStat(), m.new_Attr_t(3), m.new_FileOpenOptions(), m.new_FileVersion(), f,
               m.new_AsyncIOWatcher(), m.new_Operation(), m.new_FileAttr(), m.new_FileName('/rep/c/x'),
               m.new_stringVector(), m.FileFactory_Find('mem'), m.new_FileCloser(f), m.cvar.file_attributes]
    rnd = random.Random(seed)
    for name in candidates()[first:last]:
        function = getattr(m, name)
        for _ in range(CALLS_PER_FUNCTION):
            count = rnd.randint(0, 5)
            if name.split('_', 1)[-1] in BUFFER_TAKERS:
                args = [rnd.choice([f, None]) if i == 0 else rnd.choice([None, 'NULL', 0, 5, -1, 2 ** 40])
                        for i in range(count)]
            else:
                args = [rnd.choice(SCALARS + objects) for _ in range(count)]
            try:
                function(*args)
            except (TypeError, OverflowError, ValueError, MemoryError, SystemError):
                pass


class RobustnessTest(pqtest.TestCase):
    def test_no_function_crashes_on_hostile_arguments(self):
        total = len(candidates())
        self.assertGreater(total, 500)
        step = 150
        for first in range(0, total, step):
            work = pqtest.scratch_dir('robust')
            try:
                code = ('import os, sys\nos.chdir(%r)\nsys.path.insert(0, %r)\nimport test_robustness\n'
                        'test_robustness.hammer(%d, %d, %d)\n' %
                        (work, os.path.dirname(os.path.abspath(__file__)), first, first + step, first))
                status, _, err = pqtest.run_python(code)
                tail = '\n'.join(line for line in err.splitlines() if line[:1] not in 'IWEF')[-600:]
                self.assertEqual(status, 0, 'functions %d..%d: %s' % (first, first + step, tail))
            finally:
                shutil.rmtree(work, ignore_errors=True)


if __name__ == '__main__':
    pqtest.main()
