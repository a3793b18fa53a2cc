"""Handle I/O: File_OpenThis ... File_Stat (no File proxy class registered), and the FileCloser
and FileDeleter holders with the File operations forwarded through them."""
import os
import threading

import pqtest
from pqtest import assert_results, awaited, buffer_holding, fresh_text, m


@pqtest.on_each_file_system
class HandleTest(pqtest.FileCases):
    def test_result_kinds(self):
        f = self.handle('a', 'w+')
        self.assertTrue(pqtest.is_pointer_text(f, '_p_File'), f)
        m.File_WriteString(f, 'abcdef')
        assert_results(self, [m.File_Size(f), m.File_Tell(f)], [6, 6], long)
        assert_results(self, [m.File_Seek(f, 2), m.File_eof(f), m.File_Flush(f), m.File_Sync(f), m.File_DataSync(f),
                              m.File_IsLocalFile(f)], [1, 0, 1, 1, 1, 0 if self.root.startswith('/mem/') else 1])

    def test_truncate_resize_and_errors(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'abcdef')
        assert_results(self, [m.File_Truncate(f, 2), m.File_TruncateWithOp(f, 1, None), m.File_Resize(f, 4, None)],
                       [1, 1, 1])
        self.assertEqual(m.File_PReadStringWithOp(f, 0, 10, None), 'a\0\0\0')
        # Which failures and codes are the library's (fs_conformance_test.cc, handle_safety_test.cc).
        r = self.handle('a', 'r')
        self.assertLongResult(m.File_WriteString(r, 'y'), -1)
        self.assertIn(self.path('a'), m.File_GetCurrentErrorMessage(r))
        self.assertEqual((m.File_ClearError(r), m.File_GetCurrentErrorCode(r), m.File_GetCurrentErrorMessage(r)),
                         (None, m.OK, ''))
        assert_results(self, [m.File_Close(f), m.File_Close(f)], [1, 1])  # closing twice is harmless

    def test_unsupported_and_refused_requests_keep_result_types(self):
        f = self.handle('a', 'w+')
        self.assertIs(m.File_FindAllMirrors(f), None)
        for call, result, code in ((lambda: m.File_IsMirrorOnDisk(f, 0, 0), 0, m.ERROR_UNIMPLEMENTED),
                                   (lambda: m.File_SetAccessPattern(f, 99, 0), 0, m.ERROR_INVALID_ARGUMENT),
                                   (lambda: m.File_PReadWithVerifier(f, 0, m.new_FileStat(), 8, None, None), -1L,
                                    m.ERROR_NOT_FOUND)):
            m.File_ClearError(f)
            value = call()
            self.assertEqual((type(value), value, m.File_GetCurrentErrorCode(f)), (type(result), result, code))
        self.assertIntResult(m.File_SetAccessPattern(f, m.SEQUENTIAL, m.CACHED), 1)

    # Read/Write and friends take any wrapped pointer as an untyped buffer.
    def test_write_then_read_through_untyped_buffers(self):
        f = self.handle('a', 'w+')
        assert_results(self, [m.File_Write(f, buffer_holding(0x0102030405060708), 8),
                              m.File_Append(f, buffer_holding(0x1112131415161718), 8)], [8, 8], long)
        self.assertEqual(self.contents('a')[:8], '\x08\x07\x06\x05\x04\x03\x02\x01')
        m.File_Seek(f, 8)
        target = m.new_FileStat()
        self.assertLongResult(m.File_Read(f, target, 8), 8)
        self.assertLongResult(m.FileStat_length_get(target), 0x1112131415161718)
        self.assertLongResult(m.File_Read(f, target, 8), 0)  # end of file
        # Counts are checked before the call, which then leaves the position alone.
        for call in (m.File_Read, m.File_Write):
            self.assertRaises(OverflowError, call, f, target, -1)
        self.assertLongResult(m.File_Tell(f), 16)

    def test_positioned_and_region_forms(self):
        f = self.handle('a', 'w+')
        assert_results(self, [m.File_WriteWithOp(f, buffer_holding(9), 8, None),
                              m.File_PWrite(f, 8, buffer_holding(7), 8),
                              m.File_PWriteWithOp(f, 0, buffer_holding(-1), 8, None),
                              m.File_WriteRegion(f, buffer_holding(3), 16, 8),
                              m.File_Tell(f)], [8, 8, 8, 8, 8], long)  # positioned writes leave the position
        t = m.new_FileStat()
        for read, value in ((lambda: m.File_PRead(f, 8, t, 8), 7), (lambda: m.File_PReadWithOp(f, 0, t, 8, None), -1),
                            (lambda: m.File_ReadRegion(f, t, 16, 8), 3),
                            (lambda: m.File_Seek(f, 0) and m.File_ReadWithOp(f, t, 8, None), -1)):
            assert_results(self, [read(), m.FileStat_length_get(t)], [8, value], long)

    def test_pread_string_sizes(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'hello\0world')
        # Absurd sizes are capped to the file, not allocated.
        for offset, size, expected in ((0, 0, ''), (0, -5, ''), (3, 100, 'lo\0world'), (11, 100, ''), (500, 100, ''),
                                       (0, 1 << 40, 'hello\0world'), (1, 2 ** 63 - 1, 'ello\0world'), (-1, 4, None)):
            self.assertEqual(m.File_PReadStringWithOp(f, offset, size, None), expected, (offset, size))
        self.assertEqual(m.File_GetCurrentErrorCode(f), m.ERROR_INVALID_ARGUMENT)
        self.assertRaises(OverflowError, m.File_PReadStringWithOp, f, 0, 2 ** 63, None)
        assert_results(self, [m.File_PWriteStringWithOp(f, 12, 'x\0y', None),
                              m.File_PWriteStringWithOp(f, -1, 'z', None)], [3, -1], long)
        self.assertEqual(self.contents('a'), 'hello\0world\0x\0y')

    def test_read_line_count_and_buffer_checks(self):
        # A count far past the string's storage must not let the library
        # write beyond it: the line comes back in buffer-sized pieces.
        self.put('l', 'abcdefghijklmnopqrstuvwxyz\nab\0cd\nlast')
        f = self.handle('l', 'r')
        buf, neighbour = fresh_text(4), fresh_text(4)
        self.assertEqual(m.File_ReadLine(f, buf, 1 << 20), 'abcd')
        self.assertEqual(neighbour, '....')
        self.assertIs(m.File_ReadLine(f, fresh_text(8), 0), None)
        self.assertRaises(TypeError, m.File_ReadLine, f, 'a\0b', 8)
        self.assertRaises(OverflowError, m.File_ReadLine, f, fresh_text(8), -1)
        # A line is cut at an embedded NUL; the rest of it is not returned.
        self.assertEqual([m.File_ReadLine(f, fresh_text(1000), 1 << 20) for _ in range(4)],
                         ['efghijklmnopqrstuvwxyz\n', 'ab', 'last', None])

    def test_stat_by_name_returns_a_fresh_owned_copy(self):
        name, missing = self.put('s', '12345'), self.path('missing')
        mine = m.new_FileStat()
        copy = m.File_Stat(name, mine)
        self.assertTrue(pqtest.is_pointer_text(copy, '_p_FileStat') and copy != mine, copy)
        m.FileStat_length_set(mine, 0)
        self.assertLongResult(m.FileStat_length_get(copy), 5)
        self.assertEqual([m.FileStat_length_get(m.File_Stat(name, None)), m.File_Stat(missing),
                          m.File_Stat(missing, mine)], [5, None, None])
        f = self.handle('s', 'r')
        assert_results(self, [m.File_StatThis(f, mine), m.File_StatWithOpThis(f, m.new_FileStat(), None)], [1, 1])
        self.assertLongResult(m.FileStat_length_get(mine), 5)

    def test_delete_and_set_attributes_by_handle_and_by_name(self):
        f, g, name = self.handle('h', 'w'), self.handle('d', 'w'), self.put('n', '')
        assert_results(self, [m.File_DeleteWithOp(f, None), m.File_DeleteThis(g), m.File_DeleteWithOp(name, None),
                              m.File_DeleteWithOp(name, None)], [1, 1, 1, 0])
        self.assertEqual(m.File_Match(self.path('*')), (1, []))
        p = self.handle('p', 'w')
        assert_results(self, [m.File_SetAttributesWithOp(p, m.new_Attr_t(m.Attr_t_PROTECTED), None),
                              m.File_Delete(self.path('p')),
                              m.File_SetAttributesWithOp(self.path('p'), m.new_Attr_t(0), None),
                              m.File_Delete(self.path('p'))], [1, 0, 1, 1])

    def test_dispatch_errors(self):
        for f, args in ((m.File_DeleteWithOp, (5, None)), (m.File_StatAsync, ('x', m.new_Attr_t(), None))):
            self.assertNoMatch(f, *args)
        # None passes as a handle, and a handle must not be null.
        self.assertTypeError('null reference', m.File_DeleteWithOp, None, None)

    def test_async_forms_complete_through_a_watcher(self):
        name = self.put('a', 'abcdef')
        f, by_handle = self.handle('a', 'r+'), m.new_FileStat()
        for call in (lambda w: m.File_StatAsync(f, by_handle, w), lambda w: m.File_TruncateAsync(f, 4, w),
                     lambda w: m.File_SyncAsync(f, w), lambda w: m.File_DeleteAsync(f, w)):
            assert_results(self, awaited(self, call), [1, m.OK])
        self.assertLongResult(m.FileStat_length_get(by_handle), 6)
        self.assertEqual((m.File_Exists(name), awaited(self, lambda w: m.File_DeleteAsync(name, w))[1]),
                         (0, m.ERROR_NOT_FOUND))


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


class HoldersAndLockReleaseTest(pqtest.TestCase):
    def test_argument_and_receiver_checks(self):
        # An empty holder forwards to no handle: refused like a null receiver.
        empty = m.new_FileCloser()
        self.addCleanup(m.delete_FileCloser, empty)
        self.assertNoMatch(m.new_FileCloser, m.new_FileStat())
        got = 'Type error. Got _p_%s, expected _p_%s'
        for text, f, args in (
                ('new_FileDeleter() takes exactly 1 argument (0 given)', m.new_FileDeleter, ()),
                (got % ('FileCloser', 'FileDeleter'), m.FileDeleter_release, (empty,)),
                (got % ('FileCloser', 'File'), m.FileCloser_reset, (empty, empty)),
                ('FileCloser_Seek() takes exactly 2 arguments (1 given)', m.FileCloser_Seek, (empty,)),
                ('null reference', m.FileCloser_Size, (empty,)), ('null reference', m.FileDeleter_get, (None,))):
            self.assertTypeError(text, f, *args)

    def test_other_threads_run_during_a_blocking_read(self):
        # Opening and reading a FIFO block in the library until another
        # Python thread writes to it; that thread can only run if the reader
        # gave up the interpreter lock.
        fifo = os.path.join(pqtest.scratch_dir_of(self), 'fifo')
        os.mkfifo(fifo)
        result = []

        def reader():
            f = m.File_Open(fifo, 'r')
            result.append(m.File_IsFifo(f))
            result.append(m.File_ReadToString(f, 5))
            m.File_Close(f)
        t = threading.Thread(target=reader)
        t.start()
        w = m.File_Open(fifo, 'w')
        m.File_WriteString(w, 'hello')
        m.File_Close(w)
        t.join(10)
        self.assertFalse(t.is_alive())
        self.assertEqual(result, [1, (5L, 'hello')])


@pqtest.on_each_file_system
class LifecycleTest(pqtest.FileCases):
    def open_new(self, name):
        f = m.File_Open(self.path(name), 'w')
        self.assertIsNotNone(f)
        return f

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

    def held(self, holders, name, mode, contents=None):
        """A holder of a handle on name (with contents written first), dropped at the end."""
        if contents is not None:
            self.put(name, contents)
        holder = holders.new(m.File_Open(self.path(name), mode))
        self.assertIsNotNone(holders.get(holder))
        self.addCleanup(holders.delete, holder)
        return holder

    # The forwarded rows are the File family's own operations (the handle cases above) with a holder as
    # receiver: one plain and the overloaded ones are enough to show the receiver reaches them.
    def test_forwarded_rows_reach_the_held_handle(self):
        for h in (CLOSER, DELETER):
            holder = self.held(h, 'a', 'r', 'hello\nworld\n')
            self.assertEqual([h.Seek(holder, 6), h.ReadToString(holder, -1), h.CreateFileName(holder)],
                             [1, (6, 'world\n'), self.path('a')])

    def test_overloaded_rows_take_a_holder_or_a_name(self):
        for h in (CLOSER, DELETER):
            for target in (self.held(h, 'c', 'r', 'abcd'), self.put('c', 'abcd')):
                s = m.new_FileStat()
                assert_results(self, awaited(self, lambda w: h.StatAsync(target, s, w)), [1, m.OK])
                self.assertLongResult(m.FileStat_length_get(s), 4)

if __name__ == '__main__':
    pqtest.main()
