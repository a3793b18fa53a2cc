"""Pointer text, type checks and proxies, seen through ordinary wrappers; and every function,
called with hostile arguments, raises or returns: none crashes the interpreter.

Left out of the hostile calls: what ends the process by design (or-die forms, CheckSuccess),
what frees or hands off objects (delete_..., Detach, AbandonAndRelease), what blocks (Wait...),
proxy registration, and real buffers for untyped buffer parameters (those get null only)."""
import os
import random
import shutil

import pqtest
from pqtest import m


class Broken(object):
    def __init__(self, this):
        raise ValueError('no proxies today')


class PointerTextTest(pqtest.TestCase):
    """Runs before any proxy class is registered for FileStat (own process)."""

    def test_results_are_tagged_text_and_wrong_types_are_named(self):
        s, a = m.new_FileStat(), m.new_Attr_t()
        self.assertTrue(pqtest.is_pointer_text(s, '_p_FileStat'), s)
        for text, f, args in (('Type error. Got _p_Attr_t, expected _p_FileStat', m.FileStat_length_set, (a, 1)),
                              ('Type error. Got bogus, expected _p_FileStat', m.FileStat_length_get, ('bogus',))):
            self.assertTypeError(text, f, *args)
        for bad in (5, 2.5, object(), type('NotText', (object,), {'this': 7})()):
            self.assertTypeError('Expected a pointer', m.FileStat_length_get, bad)

    def test_null_pointers(self):
        # None and "NULL" are null: setters leave a null object alone, the
        # reference-taking getters refuse it.
        for null in (None, 'NULL', '_0000000000000000_p_FileStat'):
            self.assertIs(m.FileStat_length_set(null, 5), None)
            self.assertTypeError('null reference', m.FileStat_length_get, null)
        self.assertIs(m.delete_FileStat(None), None)

    def test_short_and_malformed_texts_do_not_crash(self):
        for text in ('_', '_12', '_zz_p_FileStat', '_' + 'f' * 40):
            self.assertRaises(TypeError, m.FileStat_length_get, text)

    def test_subclass_pointers_are_accepted_for_their_base_but_not_the_reverse(self):
        w = m.new_AsyncIOWatcher()
        self.addCleanup(m.delete_AsyncIOWatcher, w)
        m.AsyncIO_Finish(w, 0, 10)
        self.assertEqual([(type(v), v) for v in (m.AsyncIOWatcher_IsFinished(w), m.AsyncIOWatcher_Bytes(w),
                                                 m.AsyncIOWatcher_Error(w))], [(int, 1), (long, 10), (int, 0)])
        self.assertTypeError('Type error. Got _p_AsyncIO, expected _p_AsyncIOWatcher',
                             m.AsyncIOWatcher_IsFinished, w[:17] + '_p_AsyncIO')

    # A null receiver converts like any null pointer: the later arguments
    # still convert in order and raise their own errors first; only then is
    # the call refused, before it reaches the library.
    def test_later_argument_errors_come_first(self):
        empty_closer = m.new_FileCloser()
        self.addCleanup(m.delete_FileCloser, empty_closer)
        stat, attr = m.new_FileStat(), m.new_Attr_t()
        got = 'Type error. Got %s, expected %s'
        for error, text, f, args in (
                (TypeError, got % ('_p_Attr_t', '_p_FileStat'), m.File_StatThis, (None, attr)),
                (TypeError, 'Expected a pointer', m.File_Read, ('NULL', 5, 1)),
                (OverflowError, None, m.File_Seek, (None, 2 ** 64)),
                (TypeError, got % ('_p_Attr_t', '_p_FileStat'), m.FileCloser_StatThis, (empty_closer, attr)),
                (TypeError, got % ('_p_FileStat', '_p_FileOpenOptions'), m.FileFactory_CreateWithOptions,
                 (None, 'a', 'w', stat)),
                (TypeError, 'vector<::string> expected', m.FileAttributes_BulkDelete, (None, 5)),
                # Real reference parameters are refused in argument order,
                # also as the first parameter of a static function.
                (TypeError, 'null reference', m.FileVersion___lt__, (None, None)),
                (TypeError, 'null reference', m.Operation_CopyFrom, (m.new_Operation(), None)),
                # Once everything has converted, the null receiver is refused.
                (TypeError, 'null reference', m.File_StatThis, (None, stat)),
                (TypeError, 'null reference', m.FileAttributes_BulkDelete, (None, ['a']))):
            with self.assertRaises(error) as raised:
                f(*args)
            if text is not None:
                self.assertEqual(str(raised.exception), text, (f.__name__, args))


class ProxyTest(pqtest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.Stat = pqtest.register_proxy('FileStat')

    def test_every_constructor_without_arguments_hands_out_an_owned_proxy(self):
        checked = 0
        for name in sorted(n[4:] for n in dir(m) if n.startswith('new_')):
            cls = pqtest.register_proxy(name)
            try:
                obj = getattr(m, 'new_' + name)()
            except TypeError:  # it needs arguments
                continue
            self.assertEqual((type(obj), obj.thisown, getattr(m, 'delete_' + name)(obj)), (cls, 1, None), name)
            self.assertIs(getattr(m, 'delete_' + name)(None), None)
            checked += 1
        self.assertGreaterEqual(checked, 20)
        self.setUpClass()  # the proxy classes the other cases use

    def test_failing_proxy_class_call_raises_its_error(self):
        # Also inside bulk results, which fold lists of objects: nothing half-built is returned.
        m.FileStat_swigregister(Broken)
        try:
            self.assertRaises(ValueError, m.File_BulkStat, ['/', '/'])
            self.assertRaises(ValueError, m.new_FileStat)
        finally:
            m.FileStat_swigregister(self.Stat)
        self.assertIsInstance(m.File_BulkStat(['/'])[2][0], self.Stat)


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
                code = ('import os, sys\nos.chdir(%r)\nsys.path.insert(0, %r)\nimport test_pointers\n'
                        'test_pointers.hammer(%d, %d, %d)\n' %
                        (work, os.path.dirname(os.path.abspath(__file__)), first, first + step, first))
                status, _, err = pqtest.run_python(code)
                tail = '\n'.join(line for line in err.splitlines() if line[:1] not in 'IWEF')[-600:]
                self.assertEqual(status, 0, 'functions %d..%d: %s' % (first, first + step, tail))
            finally:
                shutil.rmtree(work, ignore_errors=True)

if __name__ == '__main__':
    pqtest.main()
