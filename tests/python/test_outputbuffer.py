"""OutputBuffer and OutputBufferOptions: shapes, ownership of opened buffers, writing and checksummed files."""
import file_roots
import pqtest
from file_roots import assert_results, on_each_file_system
from pqtest import m

OutputBuffer = pqtest.register_proxy('OutputBuffer')
OutputBufferOptions = pqtest.register_proxy('OutputBufferOptions')


class OutputBufferCases(file_roots.FileCases):
    def options(self):
        o = m.new_OutputBufferOptions()
        self.addCleanup(m.delete_OutputBufferOptions, o)
        return o

    def test_writes_counts_and_positions(self):
        # The resulting bytes are the library's (streams_test.cc); here the rows and their result types.
        ob = m.new_OutputBuffer(m.File_Open(self.path('o'), 'w'), 16)
        self.assertEqual(ob.thisown, 1)
        assert_results(self, [m.OutputBuffer_WriteLine(ob, ''), m.OutputBuffer_WriteString(ob, 'a\0b'),
                              m.OutputBuffer_WriteLine(ob, 'line'), m.OutputBuffer_Write(ob, None, 5),
                              m.OutputBuffer_Write(ob, m.new_FileStat(), 0)], [1, 3, 5, 0, 0])
        assert_results(self, [m.OutputBuffer_Tell(ob), m.OutputBuffer_AvailableBuffer(ob)], [9, 7], long)
        assert_results(self, [m.OutputBuffer_Align(ob, 12, '-'), m.OutputBuffer_Align(ob, 0, '-'),
                              m.OutputBuffer_Align(ob, -5, '-'), m.OutputBuffer_AlignDefault(ob, '+')], [1, 0, 0, 1])
        self.assertLongResult(m.OutputBuffer_Size(ob), 65536)
        assert_results(self, [m.OutputBuffer_Truncate(ob, 14), m.OutputBuffer_Seek(ob, 1),
                              m.OutputBuffer_WriteString(ob, 'A'), m.OutputBuffer_Flush(ob)], [1, 1, 1, 1])
        self.assertEqual(m.OutputBuffer_CreateFileName(ob), self.path('o'))
        assert_results(self, [m.OutputBuffer_CloseFile(ob), m.OutputBuffer_WriteString(ob, 'late')], [1, 0])
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('o'), '\nA\0bline\n---++')

    def test_hostile_positions_and_counts_leave_the_buffer_working(self):
        ob = m.new_OutputBuffer(m.File_Open(self.path('h'), 'w'), 16)
        self.assertIntResult(m.OutputBuffer_WriteString(ob, 'start'), 5)
        # Offsets past 2**62 and negative ones are refused before anything moves.
        for at in (2 ** 62 + 1, 2 ** 63 - 1, -1, -2 ** 63):
            assert_results(self, [m.OutputBuffer_Seek(ob, at), m.OutputBuffer_Truncate(ob, at)], [0, 0])
        for count in (-1, 2 ** 31, 2 ** 63 - 1):  # no memory behind them: nothing taken
            assert_results(self, [m.OutputBuffer_Write(ob, None, count),
                                  m.OutputBuffer_TryWrite(ob, None, count, None)], [0, 0])
        assert_results(self, [m.OutputBuffer_Align(ob, a, '.') for a in (2 ** 31 - 1, -2 ** 31, 2 ** 26 + 1)], [0] * 3)
        self.assertRaises(OverflowError, m.OutputBuffer_Align, ob, 2 ** 31, '.')
        self.assertLongResult(m.OutputBuffer_Tell(ob), 5)
        assert_results(self, [m.OutputBuffer_WriteLine(ob, ' end'), m.OutputBuffer_CloseFile(ob)], [5, 1])
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('h'), 'start end\n')

    def test_openers_do_not_own_their_buffers(self):
        opts = self.options()
        m.OutputBufferOptions_set_aio_budget(opts, 1 << 20)
        ob = m.OutputBuffer_OpenWithOptions(self.path('a'), 'w', opts)
        assert_results(self, [ob.thisown, m.OutputBuffer_AsyncEnabled(ob), m.OutputBuffer_WriteLine(ob, 'line')],
                       [0, 1, 5])
        m.delete_OutputBuffer(ob)
        self.assertEqual(self.contents('a'), 'line\n')
        f = m.File_Open(self.path('b'), 'w')
        ob = m.OutputBuffer_OpenWithFile(f, opts)
        self.assertEqual((ob.thisown, m.OutputBuffer_owns_file(ob), m.OutputBuffer_RelinquishFileOwnership(ob)),
                         (0, 1, None))
        self.assertIntResult(m.OutputBuffer_owns_file(ob), 0)
        m.delete_OutputBuffer(ob)
        m.delete_File(f)
        self.assertEqual([m.OutputBuffer_OpenWithOptions(self.path('no/dir/x'), 'w', opts),
                          m.OutputBuffer_OpenWithFile(None, opts)], [None, None])

    def test_checksummed_file_rows(self):
        # Verifying what was written is the library's (streams_test.cc).
        opts = self.options()
        m.OutputBufferOptions_set_attribute_file(opts, 1)
        ob = m.OutputBuffer_OpenWithOptions(self.path('v'), 'w', opts)
        attr = m.new_FileAttr()
        self.assertEqual([m.OutputBuffer_WriteLine(ob, 'record'), m.OutputBuffer_GetAttributes(ob, attr),
                          m.OutputBuffer_Checkpoint(ob, None)], [7, None, None])
        self.assertLongResult(m.ChecksumState_Length(m.FileAttr_checksum_get(attr)), 7)
        m.delete_OutputBuffer(ob)


on_each_file_system(OutputBufferCases)


if __name__ == '__main__':
    pqtest.main()
