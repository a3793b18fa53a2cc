"""OutputBuffer and OutputBufferOptions: shapes, ownership of opened buffers, writing and checksummed files."""
import file_roots
import pqtest
from file_roots import on_each_file_system
from pqtest import m

OutputBuffer = pqtest.register_proxy('OutputBuffer')
OutputBufferOptions = pqtest.register_proxy('OutputBufferOptions')


class OutputBufferCases(file_roots.FileCases):
    def options(self):
        o = m.new_OutputBufferOptions()
        self.addCleanup(m.delete_OutputBufferOptions, o)
        return o

    def test_writes_counts_and_positions(self):
        ob = m.new_OutputBuffer(m.File_Open(self.path('o'), 'w'), 16)
        self.assertEqual(ob.thisown, 1)
        self.assertIntResult(m.OutputBuffer_WriteLine(ob, ''), 1)
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'a\0b'), 3)
        self.assertIntResult(m.OutputBuffer_WriteLine(ob, 'line'), 5)
        self.assertIntResult(m.OutputBuffer_Write(ob, None, 5), 0)
        self.assertIntResult(m.OutputBuffer_Write(ob, m.new_FileStat(), 0), 0)
        self.assertLongResult(m.OutputBuffer_Tell(ob), 9)
        self.assertLongResult(m.OutputBuffer_AvailableBuffer(ob), 7)
        self.assertIntResult(m.OutputBuffer_Align(ob, 12, '-'), 1)
        self.assertIntResult(m.OutputBuffer_Align(ob, 0, '-'), 0)
        self.assertIntResult(m.OutputBuffer_Align(ob, -5, '-'), 0)
        self.assertIntResult(m.OutputBuffer_AlignDefault(ob, '+'), 1)
        self.assertLongResult(m.OutputBuffer_Size(ob), 65536)
        self.assertIntResult(m.OutputBuffer_Truncate(ob, 14), 1)
        self.assertIntResult(m.OutputBuffer_Seek(ob, 1), 1)
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'A'), 1)
        self.assertIntResult(m.OutputBuffer_Flush(ob), 1)
        self.assertIntResult(m.OutputBuffer_AsyncEnabled(ob), 0)
        self.assertIntResult(m.OutputBuffer_keeps_checksum(ob), 0)
        self.assertEqual(m.OutputBuffer_CreateFileName(ob), self.path('o'))
        self.assertTrue(pqtest.is_pointer_text(m.OutputBuffer_GetFile(ob), '_p_File'))
        self.assertIntResult(m.OutputBuffer_CloseFile(ob), 1)
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'late'), 0)
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('o'), '\nA\0bline\n---++')

    def test_hostile_positions_and_counts_leave_the_buffer_working(self):
        ob = m.new_OutputBuffer(m.File_Open(self.path('h'), 'w'), 16)
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'start'), 5)
        # Offsets past 2**62 are refused before anything moves.
        for far in (2 ** 62 + 1, 2 ** 63 - 1):
            self.assertIntResult(m.OutputBuffer_Seek(ob, far), 0)
            self.assertIntResult(m.OutputBuffer_Truncate(ob, far), 0)
        for bad in (-1, -2 ** 63):
            self.assertIntResult(m.OutputBuffer_Seek(ob, bad), 0)
            self.assertIntResult(m.OutputBuffer_Truncate(ob, bad), 0)
        for count in (-1, 2 ** 31, 2 ** 63 - 1):  # no memory behind them: nothing taken
            self.assertIntResult(m.OutputBuffer_Write(ob, None, count), 0)
            self.assertIntResult(m.OutputBuffer_TryWrite(ob, None, count, None), 0)
        for alignment in (2 ** 31 - 1, -2 ** 31, 2 ** 26 + 1):
            self.assertIntResult(m.OutputBuffer_Align(ob, alignment, '.'), 0)
        self.assertRaises(OverflowError, m.OutputBuffer_Align, ob, 2 ** 31, '.')
        self.assertLongResult(m.OutputBuffer_Tell(ob), 5)
        self.assertIntResult(m.OutputBuffer_WriteLine(ob, ' end'), 5)
        self.assertIntResult(m.OutputBuffer_CloseFile(ob), 1)
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('h'), 'start end\n')

    def test_openers_do_not_own_their_buffers(self):
        opts = self.options()
        m.OutputBufferOptions_set_aio_budget(opts, 1 << 20)
        m.OutputBufferOptions_set_memory_budget(opts, 4096)
        ob = m.OutputBuffer_OpenWithOptions(self.path('a'), 'w', opts)
        self.assertEqual(ob.thisown, 0)
        self.assertIntResult(m.OutputBuffer_AsyncEnabled(ob), 1)
        for i in range(1000):
            m.OutputBuffer_WriteLine(ob, 'line %d' % i)
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('a'), ''.join('line %d\n' % i for i in range(1000)))
        f = m.File_Open(self.path('b'), 'w')
        ob = m.OutputBuffer_OpenWithFile(f, opts)
        self.assertEqual(ob.thisown, 0)
        self.assertIntResult(m.OutputBuffer_owns_file(ob), 1)
        m.OutputBuffer_RelinquishFileOwnership(ob)
        self.assertIntResult(m.OutputBuffer_owns_file(ob), 0)
        m.delete_OutputBuffer(ob)
        m.delete_File(f)
        ob = m.OutputBuffer_OpenOrDie(self.path('c'), 'w', None, 0, 0, 0)
        self.assertEqual(ob.thisown, 0)
        m.delete_OutputBuffer(ob)
        self.assertTypeError('null reference', m.OutputBuffer_OpenWithOptions, self.path('d'), 'w', None)
        self.assertTypeError('null reference', m.OutputBuffer_OpenWithFile, f, None)
        self.assertIsNone(m.OutputBuffer_OpenWithOptions(self.path('no/dir/x'), 'w', opts))
        self.assertIsNone(m.OutputBuffer_OpenWithFile(None, opts))

    def test_a_read_only_file_is_left_as_it_was(self):
        self.put('ro', 'original')
        ob = m.new_OutputBuffer(m.File_Open(self.path('ro'), 'r'))
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'changed'), 7)  # buffered
        self.assertIntResult(m.OutputBuffer_Flush(ob), 0)
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'more'), 0)
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('ro'), 'original')

    def test_checksummed_file_verifies_until_a_byte_changes(self):
        opts = self.options()
        m.OutputBufferOptions_set_attribute_file(opts, 1)
        ob = m.OutputBuffer_OpenWithOptions(self.path('v'), 'w', opts)
        self.assertIntResult(m.OutputBuffer_keeps_checksum(ob), 1)
        for i in range(5000):
            m.OutputBuffer_WriteLine(ob, 'record number %d' % i)
        attr = m.new_FileAttr()
        self.assertIsNone(m.OutputBuffer_GetAttributes(ob, attr))
        self.assertIsNone(m.OutputBuffer_Checkpoint(ob, None))
        self.assertTypeError('null reference', m.OutputBuffer_RewindOrDie, ob, None)
        self.assertIntResult(m.OutputBuffer_CloseFile(ob), 1)
        m.delete_OutputBuffer(ob)

        def verify():
            buf = m.new_InputBuffer(m.File_Open(self.path('v'), 'r'))
            self.assertIntResult(m.InputBuffer_SetChecksumming(buf, 1, 0), 1)
            while m.InputBuffer_ReadLineAsString(buf, 1000):
                pass
            result = m.InputBuffer_VerifyChecksum(buf, '')
            m.delete_InputBuffer(buf)
            return result
        self.assertEqual(verify(), m.InputBuffer_MATCHES_FULL)
        f = self.handle('v', 'r+')
        m.File_PWriteStringWithOp(f, 1000, 'Z', None)
        m.File_Close(f)
        self.assertEqual(verify(), m.InputBuffer_MISMATCH)


on_each_file_system(OutputBufferCases)


class OptionsTest(pqtest.TestCase):
    def test_setters_only_store(self):
        o = m.new_OutputBufferOptions()
        self.assertEqual(o.thisown, 1)
        for name, value in (('file_attributes', 0), ('file_permissions', 0o600), ('aio_budget', 5),
                            ('memory_budget', 100), ('attribute_file', 1), ('checkpoint', None),
                            ('file_group', 'staff')):
            self.assertIsNone(getattr(m, 'OutputBufferOptions_set_' + name)(o, value))
        self.assertRaises(TypeError, m.OutputBufferOptions_set_file_group, o, None)
        self.assertRaises(TypeError, m.OutputBufferOptions_set_aio_budget, o, 'x')
        m.delete_OutputBufferOptions(o)

    def test_open_or_die_names_the_file(self):
        status, out, err = pqtest.run_python(
            "import _file_base_pyquarry as m\nm.OutputBuffer_OpenOrDie('/mem/no/such/dir/f', 'w', None, 0, 0, 0)")
        self.assertEqual(status, -6, err)
        self.assertRegexpMatches(err, r'(?m)^F.*\] .*/mem/no/such/dir/f')


if __name__ == '__main__':
    pqtest.main()
