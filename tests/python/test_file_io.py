"""Handle I/O: File_OpenThis ... File_Stat (no File proxy class registered)."""
import os
import threading

import file_roots
import pqtest
from pqtest import m


def buffer_holding(number):
    """A wrapped FileStat used as an 8-byte untyped buffer (its first member)."""
    s = m.new_FileStat()
    m.FileStat_length_set(s, number)
    return s


def fresh_text(n):
    """A str object nobody else shares, usable as a ReadLine buffer."""
    return ''.join(['.'] * n)


@file_roots.on_each_file_system
class HandleBasicsTest(file_roots.FileCases):
    def test_handles_are_tagged_text(self):
        f = self.handle('a', 'w')
        self.assertTrue(pqtest.is_pointer_text(f, '_p_File'), f)

    def test_receivers_are_checked(self):
        self.assertTypeError('null reference', m.File_Size, None)
        self.assertTypeError('null reference', m.File_Close, 'NULL')
        self.assertTypeError('null reference', m.File_ReadToString, None, 5)
        self.assertTypeError('null reference', m.File_PReadStringWithOp, None, 0, 5, None)
        self.assertTypeError('null reference', m.File_WriteString, None, 'x')
        self.assertTypeError('Type error. Got _p_FileStat, expected _p_File', m.File_Tell, m.new_FileStat())
        self.assertTypeError('Expected a pointer', m.File_Flush, 5)

    def test_result_kinds(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'abcdef')
        self.assertLongResult(m.File_Size(f), 6)
        self.assertLongResult(m.File_Tell(f), 6)
        self.assertIs(type(m.File_SizeHint(f)), long)
        self.assertIntResult(m.File_Seek(f, 2), 1)
        self.assertIntResult(m.File_eof(f), 0)
        for query in (m.File_Flush, m.File_Sync, m.File_DataSync):
            self.assertIntResult(query(f), 1)
        for query in (m.File_SupportsHaspLockedAccess, m.File_SupportsConcurrentAppenders,
                      m.File_SupportsAsyncWrite, m.File_SupportsAsyncOpen, m.File_SupportsAsyncRead,
                      m.File_SupportsAsyncGetMatchingFiles, m.File_SupportsAsyncStat,
                      m.File_SupportsAsyncDelete, m.File_SupportsAsyncSync, m.File_SupportsAIORelease,
                      m.File_IsSoftError, m.File_IsFifo, m.File_IsLocalFile):
            self.assertIn(query(f), (0, 1))
            self.assertIs(type(query(f)), int)
        self.assertEqual(m.File_CreateFileName(f), self.path('a'))
        self.assertIntResult(m.File_IsLocalFile(f), 0 if self.root.startswith('/mem/') else 1)

    def test_truncate_and_resize(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'abcdef')
        self.assertIntResult(m.File_Truncate(f, 2), 1)
        self.assertIntResult(m.File_TruncateWithOp(f, 1, None), 1)
        self.assertIntResult(m.File_Resize(f, 4, None), 1)
        self.assertEqual(m.File_PReadStringWithOp(f, 0, 10, None), 'a\0\0\0')
        self.assertRaises(OverflowError, m.File_Truncate, f, 2 ** 63)
        self.assertLongResult(m.File_Size(f), 4)

    def test_close_is_an_int(self):
        f = m.File_Open(self.path('c'), 'w')
        self.assertIntResult(m.File_Close(f), 1)
        m.delete_File(f)

    def test_a_closed_handle_refuses_work_until_it_is_deleted(self):
        f = m.File_Open(self.path('c'), 'w')
        self.assertIntResult(m.File_Close(f), 1)
        self.assertIntResult(m.File_Close(f), 1)  # closing twice is harmless
        self.assertLongResult(m.File_WriteString(f, 'late'), -1)
        self.assertNotEqual(m.File_GetCurrentErrorCode(f), m.OK)
        self.assertIs(m.File_PReadStringWithOp(f, 0, 4, None), None)
        self.assertIs(m.delete_File(f), None)
        self.assertEqual(self.contents('c'), '')


@file_roots.on_each_file_system
class ErrorStateTest(file_roots.FileCases):
    def test_failed_write_sets_a_real_code_and_clear_error_resets_it(self):
        self.put('a', 'x')
        f = self.handle('a', 'r')
        self.assertLongResult(m.File_WriteString(f, 'y'), -1)
        self.assertIntResult(m.File_GetCurrentErrorCode(f), m.ERROR_PERMISSION_DENIED)
        self.assertIn(self.path('a'), m.File_GetCurrentErrorMessage(f))
        self.assertIs(m.File_ClearError(f), None)
        self.assertIntResult(m.File_GetCurrentErrorCode(f), m.OK)
        self.assertEqual(m.File_GetCurrentErrorMessage(f), '')

    def test_unsupported_operations_say_so(self):
        f = self.handle('a', 'w')
        self.assertIs(m.File_FindAllMirrors(f), None)
        self.assertIntResult(m.File_IsMirrorOnDisk(f, 0, 0), 0)
        self.assertEqual(m.File_GetCurrentErrorCode(f), m.ERROR_UNIMPLEMENTED)
        self.assertIntResult(m.File_ReadMultipleDataVariants(f, 0, 1, 1, None, None), 0)
        self.assertEqual(m.File_GetCurrentErrorCode(f), m.ERROR_UNIMPLEMENTED)
        self.assertIntResult(m.File_SetAccessPattern(f, 99, 0), 0)
        self.assertEqual(m.File_GetCurrentErrorCode(f), m.ERROR_INVALID_ARGUMENT)
        self.assertIntResult(m.File_SetAccessPattern(f, m.SEQUENTIAL, m.CACHED), 1)


@file_roots.on_each_file_system
class BufferIoTest(file_roots.FileCases):
    """Read/Write and friends take any wrapped pointer as an untyped buffer."""

    def test_write_then_read_through_untyped_buffers(self):
        f = self.handle('a', 'w+')
        self.assertLongResult(m.File_Write(f, buffer_holding(0x0102030405060708), 8), 8)
        self.assertLongResult(m.File_Append(f, buffer_holding(0x1112131415161718), 8), 8)
        self.assertEqual(self.contents('a')[:8], '\x08\x07\x06\x05\x04\x03\x02\x01')
        m.File_Seek(f, 8)
        target = m.new_FileStat()
        self.assertLongResult(m.File_Read(f, target, 8), 8)
        self.assertLongResult(m.FileStat_length_get(target), 0x1112131415161718)
        self.assertLongResult(m.File_Read(f, target, 8), 0)  # end of file

    def test_positioned_and_region_forms(self):
        f = self.handle('a', 'w+')
        self.assertLongResult(m.File_WriteWithOp(f, buffer_holding(9), 8, None), 8)
        self.assertLongResult(m.File_PWrite(f, 8, buffer_holding(7), 8), 8)
        self.assertLongResult(m.File_PWriteWithOp(f, 0, buffer_holding(-1), 8, None), 8)
        self.assertLongResult(m.File_WriteRegion(f, buffer_holding(3), 16, 8), 8)
        self.assertLongResult(m.File_Tell(f), 8)  # positioned writes leave the position
        t = m.new_FileStat()
        self.assertLongResult(m.File_PRead(f, 8, t, 8), 8)
        self.assertLongResult(m.FileStat_length_get(t), 7)
        self.assertLongResult(m.File_PReadWithOp(f, 0, t, 8, None), 8)
        self.assertLongResult(m.FileStat_length_get(t), -1)
        self.assertLongResult(m.File_ReadRegion(f, t, 16, 8), 8)
        self.assertLongResult(m.FileStat_length_get(t), 3)
        m.File_Seek(f, 0)
        self.assertLongResult(m.File_ReadWithOp(f, t, 8, None), 8)
        self.assertLongResult(m.FileStat_length_get(t), -1)

    def test_counts_are_checked_before_the_call(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'abc')
        m.File_Seek(f, 0)
        t = m.new_FileStat()
        self.assertRaises(OverflowError, m.File_Read, f, t, -1)
        self.assertRaises(OverflowError, m.File_Write, f, t, -1)
        self.assertRaises(TypeError, m.File_PRead, f, 'x', t, 1)
        self.assertTypeError('Expected a pointer', m.File_Read, f, 5, 1)
        self.assertLongResult(m.File_Tell(f), 0)

    def test_verified_read_without_verifier_is_refused(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'abcdefgh')
        t = m.new_FileStat()
        self.assertLongResult(m.File_ReadWithVerifier(f, t, 8, None), -1)
        self.assertEqual(m.File_GetCurrentErrorCode(f), m.ERROR_UNIMPLEMENTED)
        self.assertLongResult(m.File_PReadWithVerifier(f, 0, t, 8, None, None), -1)

    def test_memory_blocks_are_not_owned(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'abc')
        block = m.File_GetMemBlock(f, 0, 3, 0)
        self.assertTrue(pqtest.is_pointer_text(block, '_p_MemBlock'), block)
        self.assertTrue(pqtest.is_pointer_text(m.File_GetMemBlockFromDisk(f, 0, 3, 1), '_p_MemBlock'))
        self.assertIs(m.File_TryMMap(f, 0, 3), None)  # too small to map
        self.assertNotEqual(m.File_GetCurrentErrorCode(f), m.OK)


@file_roots.on_each_file_system
class StringIoTest(file_roots.FileCases):
    def test_read_to_string_pairs(self):
        f = self.handle('e', 'w+')
        self.assertEqual(m.File_ReadToString(f, -1), (0L, ''))
        count, data = m.File_ReadToString(f, 5)
        self.assertIs(type(count), long)
        m.File_WriteString(f, 'a\0b\0c')
        m.File_Seek(f, 1)
        self.assertEqual(m.File_ReadToString(f, 2), (2L, '\0b'))
        self.assertEqual(m.File_ReadToString(f, -1), (2L, '\0c'))

    def test_pread_string_sizes(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'hello\0world')
        self.assertEqual(m.File_PReadStringWithOp(f, 0, 0, None), '')
        self.assertEqual(m.File_PReadStringWithOp(f, 0, -5, None), '')
        self.assertEqual(m.File_PReadStringWithOp(f, 3, 100, None), 'lo\0world')
        self.assertEqual(m.File_PReadStringWithOp(f, 11, 100, None), '')
        self.assertEqual(m.File_PReadStringWithOp(f, 500, 100, None), '')

    def test_absurd_sizes_are_capped_not_allocated(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'tiny')
        self.assertEqual(m.File_PReadStringWithOp(f, 0, 1 << 40, None), 'tiny')
        self.assertEqual(m.File_PReadStringWithOp(f, 1, 2 ** 63 - 1, None), 'iny')
        self.assertRaises(OverflowError, m.File_PReadStringWithOp, f, 0, 2 ** 63, None)

    def test_failed_pread_is_none(self):
        f = self.handle('a', 'w+')
        m.File_WriteString(f, 'data')
        self.assertIs(m.File_PReadStringWithOp(f, -1, 4, None), None)
        self.assertEqual(m.File_GetCurrentErrorCode(f), m.ERROR_INVALID_ARGUMENT)

    def test_pwrite_string_keeps_nuls_and_returns_long(self):
        f = self.handle('a', 'w+')
        self.assertLongResult(m.File_PWriteStringWithOp(f, 2, 'x\0y', None), 3)
        self.assertEqual(self.contents('a'), '\0\0x\0y')
        self.assertLongResult(m.File_PWriteStringWithOp(f, -1, 'z', None), -1)
        self.assertRaises(TypeError, m.File_PWriteStringWithOp, f, 0, 5, None)

    def test_write_string_on_a_read_handle(self):
        self.put('r', 'x')
        f = self.handle('r', 'r')
        self.assertLongResult(m.File_WriteString(f, ''), -1)
        self.assertEqual(self.contents('r'), 'x')


@file_roots.on_each_file_system
class ReadLineTest(file_roots.FileCases):
    def test_lines_then_none(self):
        self.put('l', 'first\nsecond\nlast')
        f = self.handle('l', 'r')
        self.assertEqual(m.File_ReadLine(f, fresh_text(64), 64), 'first\n')
        self.assertEqual(m.File_ReadLine(f, fresh_text(64), 64), 'second\n')
        self.assertEqual(m.File_ReadLine(f, fresh_text(64), 64), 'last')
        self.assertIs(m.File_ReadLine(f, fresh_text(64), 64), None)

    def test_line_is_cut_at_an_embedded_nul(self):
        self.put('l', 'ab\0cd\nnext\n')
        f = self.handle('l', 'r')
        self.assertEqual(m.File_ReadLine(f, fresh_text(64), 64), 'ab')
        self.assertEqual(m.File_ReadLine(f, fresh_text(64), 64), 'next\n')

    def test_count_is_clamped_to_the_buffer(self):
        # A count far past the string's storage must not let the library
        # write beyond it: the line comes back in buffer-sized pieces.
        self.put('l', 'abcdefghijklmnopqrstuvwxyz\n')
        f = self.handle('l', 'r')
        buf = fresh_text(4)
        neighbour = fresh_text(4)
        self.assertEqual(m.File_ReadLine(f, buf, 1 << 20), 'abcd')
        self.assertEqual(neighbour, '....')
        self.assertEqual(m.File_ReadLine(f, fresh_text(1000), 1 << 20), 'efghijklmnopqrstuvwxyz\n')

    def test_zero_count_and_bad_arguments(self):
        self.put('l', 'abc\n')
        f = self.handle('l', 'r')
        self.assertIs(m.File_ReadLine(f, fresh_text(8), 0), None)
        self.assertRaises(TypeError, m.File_ReadLine, f, None, 8)
        self.assertRaises(TypeError, m.File_ReadLine, f, 'a\0b', 8)
        self.assertRaises(OverflowError, m.File_ReadLine, f, fresh_text(8), -1)
        self.assertEqual(m.File_ReadLine(f, fresh_text(8), 8), 'abc\n')


@file_roots.on_each_file_system
class StatTest(file_roots.FileCases):
    def test_stat_by_name_returns_a_fresh_owned_copy(self):
        name = self.put('s', '12345')
        st = m.File_Stat(name)
        self.assertTrue(pqtest.is_pointer_text(st, '_p_FileStat'))
        self.assertLongResult(m.FileStat_length_get(st), 5)
        mine = m.new_FileStat()
        copy = m.File_Stat(name, mine)
        self.assertNotEqual(copy, mine)
        self.assertLongResult(m.FileStat_length_get(mine), 5)
        m.FileStat_length_set(mine, 0)
        self.assertLongResult(m.FileStat_length_get(copy), 5)
        self.assertIsNot(m.File_Stat(name, None), None)

    def test_missing_name_is_none(self):
        self.assertIs(m.File_Stat(self.path('missing')), None)
        mine = m.new_FileStat()
        self.assertIs(m.File_Stat(self.path('missing'), mine), None)

    def test_dispatcher_refuses_other_shapes(self):
        name = self.put('s', '')
        for args in ((5,), (), (name, m.new_Attr_t()), (name, 5), (name, None, None), (u'x',)):
            self.assertTypeError("No matching function for overloaded 'File_Stat'", m.File_Stat, *args)

    def test_stat_on_a_handle(self):
        self.put('s', 'abc')
        f = self.handle('s', 'r')
        st = m.new_FileStat()
        self.assertIntResult(m.File_StatThis(f, st), 1)
        self.assertLongResult(m.FileStat_length_get(st), 3)
        self.assertIntResult(m.File_StatWithOpThis(f, st, None), 1)


@file_roots.on_each_file_system
class OverloadedHandleOpsTest(file_roots.FileCases):
    def test_delete_with_op_by_handle_and_by_name(self):
        f = self.handle('h', 'w')
        self.assertIntResult(m.File_DeleteWithOp(f, None), 1)
        self.assertEqual(m.File_Exists(self.path('h')), 0)
        name = self.put('n', '')
        self.assertIntResult(m.File_DeleteWithOp(name, None), 1)
        self.assertEqual(m.File_Exists(name), 0)
        self.assertIntResult(m.File_DeleteWithOp(name, None), 0)

    def test_delete_this(self):
        f = self.handle('d', 'w')
        self.assertIntResult(m.File_DeleteThis(f), 1)
        self.assertEqual(m.File_Exists(self.path('d')), 0)

    def test_dispatch_errors(self):
        for name in ('File_DeleteWithOp', 'File_DeleteAsync'):
            self.assertTypeError("No matching function for overloaded '%s'" % name, getattr(m, name), 5, None)
            self.assertTypeError("No matching function for overloaded '%s'" % name, getattr(m, name), 'x')
        self.assertTypeError("No matching function for overloaded 'File_StatAsync'",
                             m.File_StatAsync, 'x', m.new_Attr_t(), None)
        self.assertTypeError("No matching function for overloaded 'File_SetAttributesWithOp'",
                             m.File_SetAttributesWithOp, 'x', 5, None)
        # None passes as a handle, and a handle must not be null.
        self.assertTypeError('null reference', m.File_DeleteWithOp, None, None)

    def test_async_forms_complete_through_a_watcher(self):
        name = self.put('a', 'abcd')
        f = self.handle('a', 'r')
        for call in (lambda w, st: m.File_StatAsync(name, st, w),
                     lambda w, st: m.File_StatAsync(f, st, w)):
            w, st = m.new_AsyncIOWatcher(), m.new_FileStat()
            self.assertIntResult(call(w, st), 1)
            m.AsyncIOWatcher_Wait(w)
            self.assertEqual(m.AsyncIOWatcher_Error(w), m.OK)
            self.assertLongResult(m.FileStat_length_get(st), 4)
            m.delete_AsyncIOWatcher(w)
        w = m.new_AsyncIOWatcher()
        self.assertIntResult(m.File_SyncAsync(f, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual(m.AsyncIOWatcher_Error(w), m.OK)
        w = m.new_AsyncIOWatcher()
        self.assertIntResult(m.File_DeleteAsync(f, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual(m.AsyncIOWatcher_Error(w), m.OK)
        self.assertEqual(m.File_Exists(name), 0)
        w = m.new_AsyncIOWatcher()
        m.File_DeleteAsync(name, w)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual(m.AsyncIOWatcher_Error(w), m.ERROR_NOT_FOUND)

    def test_truncate_async(self):
        f = self.handle('t', 'w')
        m.File_WriteString(f, 'abcdef')
        w = m.new_AsyncIOWatcher()
        self.assertIntResult(m.File_TruncateAsync(f, 2, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual(m.AsyncIOWatcher_Error(w), m.OK)
        self.assertEqual(self.contents('t'), 'ab')

    def test_set_attributes_by_handle_and_by_name(self):
        f = self.handle('p', 'w')
        self.assertIntResult(m.File_SetAttributesWithOp(f, m.new_Attr_t(m.Attr_t_PROTECTED), None), 1)
        self.assertEqual(m.File_Delete(self.path('p')), 0)
        name = self.path('p')
        self.assertIntResult(m.File_SetAttributesWithOp(name, m.new_Attr_t(0), None), 1)
        self.assertEqual(m.File_Delete(name), 1)
        self.assertTypeError('null reference', m.File_SetAttributesWithOp, f, None, None)


class LockReleaseTest(pqtest.TestCase):
    def test_other_threads_run_during_a_blocking_read(self):
        # Opening and reading a FIFO block in the library until another
        # Python thread writes to it; that thread can only run if the reader
        # gave up the interpreter lock.
        fifo = os.path.join(file_roots.scratch_dir(self), 'fifo')
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


if __name__ == '__main__':
    pqtest.main()
