"""InputBuffer, OutputBuffer and their options: shapes, ownership, dispatch, and reading and
writing on both file systems."""
import pqtest
from pqtest import assert_results, fresh_text, m, on_each_file_system


InputBuffer = pqtest.register_proxy('InputBuffer')
InputBufferOptions = pqtest.register_proxy('InputBufferOptions')
OutputBuffer = pqtest.register_proxy('OutputBuffer')
OutputBufferOptions = pqtest.register_proxy('OutputBufferOptions')

TEXT = 'first line\n\nthird line is longer than the buffer of sixteen\nlast'


class BufferCases(pqtest.FileCases):
    def reader(self, data=TEXT, *sizes):
        f = m.File_Open(self.put('in', data), 'r')
        self.assertIsNotNone(f)
        buf = m.new_InputBuffer(f, *sizes)
        self.addCleanup(m.delete_InputBuffer, buf)  # owns and frees the file
        return buf

    def test_constructor_forms_and_ownership(self):
        buf = self.reader()
        self.assertEqual((type(buf), buf.thisown, m.InputBuffer_owns_file(buf)), (InputBuffer, 1, 1))
        f = m.File_Open(self.path('in'), 'r')
        not_owning = m.new_InputBuffer(f, 16, 0, 0, 0)
        self.assertIntResult(m.InputBuffer_owns_file(not_owning), 0)
        m.delete_InputBuffer(not_owning)
        self.assertIntResult(m.File_Close(f), 1)  # still ours, still valid
        with_options = m.new_InputBuffer(f, m.new_InputBufferOptions())  # takes the (closed) file
        self.assertEqual(m.InputBuffer_owns_file(with_options), 1)
        m.delete_InputBuffer(with_options)

    def test_lines_and_strings(self):
        buf = self.reader(TEXT, 16)
        self.assertEqual(m.InputBuffer_ReadLineAsString(buf, 1000), 'first line\n')
        text = 'abc'
        self.assertIntResult(m.InputBuffer_ReadLine(buf, text), 1)  # the line is dropped
        self.assertEqual(text, 'abc')
        # The in-place form writes into the string given, never past its length.
        target = fresh_text(5)
        self.assertEqual((m.InputBuffer_ReadLine(buf, target, 1000), target), ('third', 'third'))
        self.assertEqual([m.InputBuffer_ReadLineAsString(buf, 5), m.InputBuffer_ReadLineAsString(buf, -1),
                          m.InputBuffer_ReadToString(buf, 0), m.InputBuffer_ReadToString(buf, 2 ** 40)],
                         [' line', ' is longer than the buffer of sixteen\n', '', 'last'])
        self.assertEqual([m.InputBuffer_eof(buf), m.InputBuffer_ReadLineAsString(buf, 10),
                          m.InputBuffer_ReadLine(buf, fresh_text(4), 4), m.InputBuffer_ReadLine(buf, 'abc')],
                         [1, '', None, 0])

    def test_read_to_string_follows_the_file_for_every_maximum(self):
        # Maxima up to 64 MiB read straight into the str, larger or negative
        # ones through the library string; both across the buffer's edges.
        data = ''.join(chr(i % 251) for i in xrange(1000))
        buf = self.reader(data, 16)
        for at, max_ in ((0, 0), (0, 1), (1, 15), (16, 17), (33, 100), (300, 2 ** 26), (1000, 3),
                         (990, 2 ** 26 + 1), (1000, -1), (1000, 2 ** 40), (0, -7)):
            m.InputBuffer_Seek(buf, at)
            got = m.InputBuffer_ReadToString(buf, max_)
            self.assertIs(type(got), str)
            want = data[at:] if max_ < 0 else data[at:at + max_]
            self.assertEqual(got, want, (at, max_))
            self.assertLongResult(m.InputBuffer_Tell(buf), at + len(want))
        self.assertRaises(OverflowError, m.InputBuffer_ReadToString, buf, 2 ** 64)

    def test_hostile_sizes_and_offsets_neither_crash_nor_allocate(self):
        import resource
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        buf = self.reader(TEXT, 16)
        last = 2 ** 63 - 1
        for offset, length in ((last, last), (last - 5, 10), (0, last), (1, 2 ** 40)):
            _, error = pqtest.awaited(self, lambda w: m.InputBuffer_Prefetch(buf, offset, length, w))
            self.assertEqual(error, 0, (offset, length))  # past the end: nothing to fetch
            self.assertIsNone(m.InputBuffer_Unfetch(buf, offset, length))
        m.InputBuffer_SetLookahead(buf, -1)  # a huge size_t: cut to the library's limit
        m.InputBuffer_UseAIO(buf, 1)
        m.InputBuffer_SetReadSize(buf, -1)
        self.assertIntResult(m.InputBuffer_Seek(buf, last), 1)
        for read in (lambda: m.InputBuffer_ReadToString(buf, last), lambda: m.InputBuffer_ReadToString(buf, 2 ** 26),
                     lambda: m.InputBuffer_ReadLineAsString(buf, -1), lambda: m.InputBuffer_ReadLine(buf, 'abc')):
            self.assertIn(read(), ('', 0))
        self.assertLongResult(m.InputBuffer_Tell(buf), last)
        self.assertIntResult(m.InputBuffer_Seek(buf, 0), 1)
        self.assertEqual(m.InputBuffer_ReadToString(buf, 2 ** 40), TEXT)
        grown_kib = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before
        self.assertLess(grown_kib, 16 * 1024)

    def test_positions_sizes_and_varints(self):
        # Varints across buffer edges and their failures are the library's (streams_test.cc).
        buf = self.reader('\xac\x02\xff\xff\xff\xff\x0f' + 'x' * 21, 4)
        self.assertEqual([m.InputBuffer_ReadVarint32(buf), m.InputBuffer_ReadVarint32(buf)],
                         [(1, 300), (1, 2 ** 32 - 1)])
        assert_results(self, [m.InputBuffer_Tell(buf), m.InputBuffer_Size(buf)], [7, 28], long)

    def test_raw_reads_answer_with_owned_count_cells(self):
        buf = self.reader()
        scratch = m.new_FileStat()  # any memory of a known size will do
        for count in (m.InputBuffer_Read(buf, scratch, 8), m.InputBuffer_TryRead(buf, scratch, 4, None),
                      m.InputBuffer_Read(buf, scratch, -1),   # refused, not a huge read
                      m.InputBuffer_Read(buf, None, 10)):     # no memory: refused
            self.assertTrue(pqtest.is_pointer_text(count, '_p_ssize_t'), count)
        self.assertLongResult(m.InputBuffer_Tell(buf), 12)

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
        self.assertLongResult(m.OutputBuffer_Tell(ob), 9)
        assert_results(self, [m.OutputBuffer_Align(ob, 12, '-'), m.OutputBuffer_Align(ob, 0, '-'),
                              m.OutputBuffer_Align(ob, -5, '-'), m.OutputBuffer_AlignDefault(ob, '+')], [1, 0, 0, 1])
        assert_results(self, [m.OutputBuffer_Truncate(ob, 14), m.OutputBuffer_Seek(ob, 1),
                              m.OutputBuffer_WriteString(ob, 'A'), m.OutputBuffer_Flush(ob)], [1, 1, 1, 1])
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
        m.delete_OutputBuffer(ob)
        m.delete_File(f)
        self.assertEqual([m.OutputBuffer_OpenWithOptions(self.path('no/dir/x'), 'w', opts),
                          m.OutputBuffer_OpenWithFile(None, opts)], [None, None])


on_each_file_system(BufferCases)


if __name__ == '__main__':
    pqtest.main()
