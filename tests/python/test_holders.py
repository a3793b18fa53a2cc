"""FileCloser and FileDeleter: holder rows and the File operations forwarded through them."""
import struct

import file_roots
import pqtest
from pqtest import m


def is_open(name):
    """Whether the library lists an open handle for name ("<name> <mode>" lines)."""
    return any(line.startswith(name + ' ') for line in m.File_GetOpenFiles().splitlines())


def buffer_holding(number):
    """A wrapped FileStat used as an 8-byte untyped buffer (its first member)."""
    s = m.new_FileStat()
    m.FileStat_length_set(s, number)
    return s


class Holders(object):
    """Rows of one holder class, looked up by their short names."""

    def __init__(self, cls):
        self.cls = cls

    def __getattr__(self, short):
        return getattr(m, self.cls + '_' + short)

    def new(self, f):
        return getattr(m, 'new_' + self.cls)(f)

    def delete(self, h):
        return getattr(m, 'delete_' + self.cls)(h)


CLOSER = Holders('FileCloser')
DELETER = Holders('FileDeleter')


@file_roots.on_each_file_system
class LifecycleTest(file_roots.FileCases):
    def open_new(self, name, mode='w'):
        f = m.File_Open(self.path(name), mode)
        self.assertIsNotNone(f)
        return f

    def test_holders_are_tagged_text(self):
        c, d = m.new_FileCloser(), m.new_FileDeleter(self.open_new('a'))
        self.assertTrue(pqtest.is_pointer_text(c, '_p_FileCloser'), c)
        self.assertTrue(pqtest.is_pointer_text(d, '_p_FileDeleter'), d)
        m.delete_FileCloser(c)
        m.delete_FileDeleter(d)

    def test_empty_closer(self):
        c = m.new_FileCloser()
        for accessor in (m.FileCloser_get, m.FileCloser___mul__, m.FileCloser___deref__, m.FileCloser_release):
            self.assertIs(accessor(c), None)
        self.assertIs(m.FileCloser_reset(c, None), None)
        self.assertIs(m.delete_FileCloser(c), None)
        self.assertIs(m.delete_FileCloser(None), None)

    def test_accessors_hand_out_the_held_handle(self):
        f = self.open_new('a')
        for h in (CLOSER, DELETER):
            holder = h.new(f)
            for accessor in (h.get, h.__mul__, h.__deref__):
                self.assertEqual(accessor(holder), f)
            self.assertEqual(h.release(holder), f)
            self.assertIs(h.get(holder), None)
            h.delete(holder)
        self.assertIntResult(m.File_Close(f), 1)

    def test_dropping_a_closer_closes_and_keeps_the_file(self):
        c = m.new_FileCloser(self.open_new('a'))
        self.assertTrue(is_open(self.path('a')))
        self.assertIs(m.delete_FileCloser(c), None)
        self.assertFalse(is_open(self.path('a')))
        self.assertIntResult(m.File_Exists(self.path('a')), 1)

    def test_dropping_a_deleter_deletes_and_closes(self):
        d = m.new_FileDeleter(self.open_new('a'))
        self.assertIs(m.delete_FileDeleter(d), None)
        self.assertFalse(is_open(self.path('a')))
        self.assertIntResult(m.File_Exists(self.path('a')), 0)

    def test_release_then_drop_ends_nothing(self):
        for h in (CLOSER, DELETER):
            f = self.open_new('a')
            holder = h.new(f)
            self.assertEqual(h.release(holder), f)
            h.delete(holder)
            self.assertTrue(is_open(self.path('a')))
            self.assertIntResult(m.File_Exists(self.path('a')), 1)
            self.assertIntResult(m.File_Close(f), 1)

    def test_reset_ends_the_held_file_then_holds_the_other(self):
        first, second = self.open_new('a'), self.open_new('b')
        c = m.new_FileCloser(first)
        self.assertIs(m.FileCloser_reset(c, second), None)
        self.assertFalse(is_open(self.path('a')))
        self.assertIntResult(m.File_Exists(self.path('a')), 1)
        self.assertEqual(m.FileCloser_get(c), second)
        m.delete_FileCloser(c)
        self.assertFalse(is_open(self.path('b')))

        d = m.new_FileDeleter(self.open_new('c'))
        m.FileDeleter_reset(d, None)
        self.assertIntResult(m.File_Exists(self.path('c')), 0)
        self.assertIs(m.FileDeleter_get(d), None)
        m.delete_FileDeleter(d)

    def test_closing_through_the_holder_then_dropping_it(self):
        # Close keeps the handle: the holder's own close later does nothing.
        f = self.open_new('a')
        c = m.new_FileCloser(f)
        self.assertIntResult(m.FileCloser_Close(c), 1)
        self.assertFalse(is_open(self.path('a')))
        self.assertLongResult(m.FileCloser_Size(c), -1)
        m.delete_FileCloser(c)
        m.delete_File(f)


class ConstructionTest(pqtest.TestCase):
    def test_constructor_shapes(self):
        self.assertTypeError('new_FileDeleter() takes exactly 1 argument (0 given)', m.new_FileDeleter)
        self.assertTypeError("No matching function for overloaded 'new_FileCloser'", m.new_FileCloser, None, None)
        self.assertTypeError("No matching function for overloaded 'new_FileCloser'", m.new_FileCloser, 'x')
        self.assertTypeError("No matching function for overloaded 'new_FileCloser'",
                             m.new_FileCloser, m.new_FileStat())
        self.assertTypeError('Type error. Got _p_FileStat, expected _p_File', m.new_FileDeleter, m.new_FileStat())
        empty = m.new_FileDeleter(None)
        self.assertIs(m.FileDeleter_get(empty), None)
        m.delete_FileDeleter(empty)

    def test_receivers_are_checked(self):
        empty = m.new_FileCloser()
        for h, holder in ((CLOSER, empty), (CLOSER, None), (DELETER, None)):
            self.assertTypeError('null reference', h.Size, holder)
            self.assertTypeError('null reference', h.ReadToString, holder, 5)
            self.assertTypeError('null reference', h.get, None)
            self.assertTypeError('null reference', h.reset, None, None)
        self.assertTypeError('Type error. Got _p_FileCloser, expected _p_FileDeleter', m.FileDeleter_Tell, empty)
        self.assertTypeError('Type error. Got _p_FileCloser, expected _p_FileDeleter', m.FileDeleter_release, empty)
        self.assertTypeError('Type error. Got _p_FileCloser, expected _p_File', m.FileCloser_reset, empty, empty)
        self.assertTypeError('Expected a pointer', m.FileCloser_Flush, 5)
        self.assertTypeError('FileCloser_Seek() takes exactly 2 arguments (1 given)', m.FileCloser_Seek, empty)
        self.assertTypeError("No matching function for overloaded 'FileCloser_DeleteWithOp'",
                             m.FileCloser_DeleteWithOp, 5, None)
        m.delete_FileCloser(empty)

    def test_ownership_follows_the_proxies(self):
        # A stand-in proxy layer: owned proxies run delete_ when dropped.
        status, out, err = pqtest.run_python('\n'.join([
            'import pqtest',
            'from pqtest import m',
            'class Deleter(pqtest.Proxy):',
            '    def __del__(self):',
            '        if self.thisown: m.delete_FileDeleter(self)',
            'm.FileDeleter_swigregister(Deleter)',
            'FileProxy = pqtest.register_proxy("File")',
            'name = "/mem/pqtest-holder-own-%d" % id(m)',
            'f = m.File_Open(name, "w")',
            'd = m.new_FileDeleter(f)',
            'print type(d).__name__, d.thisown, f.thisown, m.File_Exists(name)',
            'del d',
            'print m.File_Exists(name)',
        ]))
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

    def test_reads_and_positions(self):
        for h in (CLOSER, DELETER):
            holder = self.held(h, 'a', 'r', 'hello\nworld\n')
            self.assertLongResult(h.Size(holder), 12)
            self.assertIntResult(h.Seek(holder, 6), 1)
            self.assertLongResult(h.Tell(holder), 6)
            self.assertEqual(h.ReadToString(holder, -1), (6, 'world\n'))
            self.assertIntResult(h.eof(holder), 1)
            self.assertIntResult(h.Seek(holder, 0), 1)
            self.assertEqual(h.ReadLine(holder, ''.join(['.'] * 20), 20), 'hello\n')
            s = m.new_FileStat()
            self.assertIntResult(h.StatThis(holder, s), 1)
            self.assertLongResult(m.FileStat_length_get(s), 12)
            self.assertEqual(h.CreateFileName(holder), self.path('a'))
            self.assertIntResult(h.IsLocalFile(holder), 0 if self.root.startswith('/mem/') else 1)

    def test_writes_through_untyped_buffers(self):
        holder = self.held(CLOSER, 'a', 'w+')
        self.assertLongResult(m.FileCloser_PWrite(holder, 0, buffer_holding(0x0102030405060708), 8), 8)
        self.assertIntResult(m.FileCloser_Flush(holder), 1)
        self.assertEqual(self.contents('a'), struct.pack('<q', 0x0102030405060708))
        self.assertIntResult(m.FileCloser_Truncate(holder, 3), 1)
        self.assertLongResult(m.FileCloser_Size(holder), 3)

    def test_errors_stay_with_the_held_handle(self):
        holder = self.held(DELETER, 'a', 'r', 'x')
        self.assertLongResult(m.FileDeleter_PWrite(holder, 0, buffer_holding(1), 1), -1)
        self.assertIntResult(m.FileDeleter_GetCurrentErrorCode(holder), m.ERROR_PERMISSION_DENIED)
        self.assertIn(self.path('a'), m.FileDeleter_GetCurrentErrorMessage(holder))
        self.assertIs(m.FileDeleter_ClearError(holder), None)
        self.assertIntResult(m.FileDeleter_GetCurrentErrorCode(holder), m.OK)

    def test_delete_this_through_a_holder(self):
        holder = self.held(CLOSER, 'a', 'r', 'x')
        self.assertIntResult(m.FileCloser_DeleteThis(holder), 1)
        self.assertIntResult(m.File_Exists(self.path('a')), 0)

    def test_overloaded_rows_take_a_holder_or_a_name(self):
        for h in (CLOSER, DELETER):
            holder = self.held(h, 'a', 'r', 'x')
            self.assertIntResult(h.DeleteWithOp(holder, None), 1)
            self.assertIntResult(m.File_Exists(self.path('a')), 0)
            self.put('b', 'x')
            self.assertIntResult(h.DeleteWithOp(self.path('b'), None), 1)
            self.assertIntResult(m.File_Exists(self.path('b')), 0)

            name = self.put('c', 'abcd')
            s, w = m.new_FileStat(), m.new_AsyncIOWatcher()
            self.assertIntResult(h.StatAsync(name, s, w), 1)
            m.AsyncIOWatcher_Wait(w)
            self.assertLongResult(m.FileStat_length_get(s), 4)
            w = m.new_AsyncIOWatcher()
            self.assertIntResult(h.DeleteAsync(name, w), 1)
            m.AsyncIOWatcher_Wait(w)
            self.assertEqual((m.AsyncIOWatcher_Error(w), m.File_Exists(name)), (m.OK, 0))

            name = self.put('d', 'x')
            self.assertIntResult(h.SetAttributesWithOp(name, m.new_Attr_t(m.Attr_t_PROTECTED), None), 1)
            self.assertIntResult(m.File_Delete(name), 0)
            holder = self.held(h, 'd', 'r')
            self.assertIntResult(h.SetAttributesWithOp(holder, m.new_Attr_t(0), None), 1)
            self.assertIntResult(m.File_Delete(name), 1)

    def test_async_forms_through_a_holder(self):
        holder = self.held(CLOSER, 'a', 'r', 'abc')
        s, w = m.new_FileStat(), m.new_AsyncIOWatcher()
        self.assertIntResult(m.FileCloser_StatAsync(holder, s, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertLongResult(m.FileStat_length_get(s), 3)
        w = m.new_AsyncIOWatcher()
        self.assertIntResult(m.FileCloser_DeleteAsync(holder, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual((m.AsyncIOWatcher_Error(w), m.File_Exists(self.path('a'))), (m.OK, 0))


if __name__ == '__main__':
    pqtest.main()
