"""FileCloser and FileDeleter: holder rows and the File operations forwarded through them."""
import file_roots
import pqtest
from file_roots import assert_results, awaited
from pqtest import m


def is_open(name):
    """Whether the library lists an open handle for name ("<name> <mode>" lines)."""
    return any(line.startswith(name + ' ') for line in m.File_GetOpenFiles().splitlines())


class Holders(object):
    """Rows of one holder class by short name ('new' and 'delete' included)."""

    def __init__(self, cls):
        self.cls = cls

    def __getattr__(self, short):
        return getattr(m, short + '_' + self.cls if short in ('new', 'delete') else self.cls + '_' + short)


CLOSER = Holders('FileCloser')
DELETER = Holders('FileDeleter')


@file_roots.on_each_file_system
class LifecycleTest(file_roots.FileCases):
    def open_new(self, name):
        f = m.File_Open(self.path(name), 'w')
        self.assertIsNotNone(f)
        return f

    def test_empty_closer(self):
        c, empty = m.new_FileCloser(), m.new_FileDeleter(None)
        self.assertEqual([accessor(c) for accessor in (CLOSER.get, CLOSER.__mul__, CLOSER.__deref__, CLOSER.release)]
                         + [m.FileCloser_reset(c, None), m.delete_FileCloser(c), m.FileDeleter_get(empty)], [None] * 7)
        m.delete_FileDeleter(empty)

    def test_accessors_release_reset_and_drop(self):
        # What ending means for each holder is the library's (holders_test.cc).
        for h in (CLOSER, DELETER):
            f = self.open_new('a')
            holder = h.new(f)
            self.assertTrue(pqtest.is_pointer_text(holder, '_p_' + h.cls), holder)
            self.assertEqual([h.get(holder), h.__mul__(holder), h.__deref__(holder), h.release(holder), h.get(holder),
                              h.delete(holder), is_open(self.path('a'))], [f, f, f, f, None, None, True])
            assert_results(self, [m.File_Exists(self.path('a')), m.File_Close(f)], [1, 1])
            holder, second = h.new(self.open_new('b')), self.open_new('c')
            self.assertIs(h.reset(holder, second), None)
            self.assertEqual((is_open(self.path('b')), h.get(holder), h.delete(holder), is_open(self.path('c'))),
                             (False, second, None, False))


class ConstructionTest(pqtest.TestCase):
    def test_argument_and_receiver_checks(self):
        # An empty holder forwards to no handle: refused like a null receiver.
        empty = m.new_FileCloser()
        self.addCleanup(m.delete_FileCloser, empty)
        for f, args in ((m.new_FileCloser, (None, None)), (m.new_FileCloser, (m.new_FileStat(),))):
            self.assertNoMatch(f, *args)
        got = 'Type error. Got _p_%s, expected _p_%s'
        for text, f, args in (
                ('new_FileDeleter() takes exactly 1 argument (0 given)', m.new_FileDeleter, ()),
                (got % ('FileCloser', 'FileDeleter'), m.FileDeleter_release, (empty,)),
                (got % ('FileCloser', 'File'), m.FileCloser_reset, (empty, empty)),
                ('FileCloser_Seek() takes exactly 2 arguments (1 given)', m.FileCloser_Seek, (empty,)),
                ('null reference', m.FileCloser_Size, (empty,)), ('null reference', m.FileDeleter_get, (None,))):
            self.assertTypeError(text, f, *args)

    def test_ownership_follows_the_proxies(self):
        # A stand-in proxy layer: owned proxies run delete_ when dropped.
        status, out, err = pqtest.run_python(
            'import pqtest\nfrom pqtest import m\n'
            'class Deleter(pqtest.Proxy):\n'
            '    def __del__(self):\n'
            '        if self.thisown: m.delete_FileDeleter(self)\n'
            'm.FileDeleter_swigregister(Deleter)\npqtest.register_proxy("File")\n'
            'name = "/mem/pqtest-holder-own-%d" % id(m)\nf = m.File_Open(name, "w")\nd = m.new_FileDeleter(f)\n'
            'print type(d).__name__, d.thisown, f.thisown, m.File_Exists(name)\ndel d\nprint m.File_Exists(name)')
        self.assertEqual((status, err), (0, ''))
        self.assertEqual(out.split('\n'), ['Deleter 1 0 1', '0', ''])


@file_roots.on_each_file_system
class ForwardedOperationTest(file_roots.FileCases):
    def held(self, holders, name, mode, contents=None):
        """A holder of a handle on name (with contents written first), dropped at the end."""
        if contents is not None:
            self.put(name, contents)
        holder = holders.new(m.File_Open(self.path(name), mode))
        self.assertIsNotNone(holders.get(holder))
        self.addCleanup(holders.delete, holder)
        return holder

    # The forwarded rows are the File family's own operations (test_file_io.py) with a holder as
    # receiver: one plain and the overloaded ones are enough to show the receiver reaches them.
    def test_forwarded_rows_reach_the_held_handle(self):
        for h in (CLOSER, DELETER):
            holder, s = self.held(h, 'a', 'r', 'hello\nworld\n'), m.new_FileStat()
            self.assertEqual([h.Seek(holder, 6), h.ReadToString(holder, -1), h.StatThis(holder, s),
                              m.FileStat_length_get(s), h.CreateFileName(holder)],
                             [1, (6, 'world\n'), 1, 12, self.path('a')])
            self.assertLongResult(h.Size(holder), 12)

    def test_overloaded_rows_take_a_holder_or_a_name(self):
        for h in (CLOSER, DELETER):
            for make in (lambda: self.held(h, 'c', 'r', 'abcd'), lambda: self.put('c', 'abcd')):
                target, s = make(), m.new_FileStat()
                assert_results(self, awaited(self, lambda w: h.StatAsync(target, s, w)), [1, m.OK])
                self.assertLongResult(m.FileStat_length_get(s), 4)
                assert_results(self, awaited(self, lambda w: h.DeleteAsync(target, w)) +
                               (m.File_Exists(self.path('c')),), [1, m.OK, 0])
                self.put('c', 'x')
                self.assertEqual((h.DeleteWithOp(make(), None), m.File_Exists(self.path('c'))), (1, 0))
            name = self.put('d', 'x')
            assert_results(self, [h.SetAttributesWithOp(name, m.new_Attr_t(m.Attr_t_PROTECTED), None),
                                  m.File_Delete(name),
                                  h.SetAttributesWithOp(self.held(h, 'd', 'r'), m.new_Attr_t(0), None),
                                  m.File_Delete(name)], [1, 0, 1, 1])


if __name__ == '__main__':
    pqtest.main()
