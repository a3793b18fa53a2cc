"""Record files and logs through the flat functions: RecordIO, RecordWriter, RecordReader,
RecordReaderScript, LogBase, LogReader, LogReaderScript and LogWriter."""
import os
import shutil

import pqtest
from pqtest import assert_results, buffer_holding, fresh_text, m, on_each_file_system


File = pqtest.register_proxy('File')
RecordWriter = pqtest.register_proxy('RecordWriter')
RecordReaderScript = pqtest.register_proxy('RecordReaderScript')
RecordReader = pqtest.register_proxy('RecordReader')


class RecordCases(pqtest.FileCases):
    def writer(self, name, *args):
        f = m.File_Open(self.path(name), 'w')
        self.assertIsNotNone(f)
        return m.new_RecordWriter(f, *args)

    def records(self, name, *args):
        r = m.new_RecordReaderScript(m.File_Open(self.path(name), 'r'), *args)
        out = []
        while True:
            ok, rec = m.RecordReaderScript_ReadRecordIntoString(r)
            if not ok:
                self.assertEqual(rec, '')
                break
            out.append(rec)
        m.delete_RecordReaderScript(r)
        return out

    def test_every_write_form_and_codec_round_trips(self):
        w = self.writer('a')
        buf = buffer_holding(0x4847464544434241)
        expected = []
        # Codecs and their batches are the library's (record_format_test.cc); each overload once.
        for switch in (lambda: None, lambda: m.RecordWriter_EnableCompression(w, 1, 1000),
                       lambda: m.RecordWriter_EnableCWCompression(w, 3, 20, 0, 1),
                       lambda: m.RecordWriter_EnableCWCompression(w, 1, 0, 1, 0, 4096),
                       lambda: m.RecordWriter_EnablePlumeCompression(w, 2),
                       lambda: m.RecordWriter_DisableCompression(w)):
            self.assertIsNone(switch())
            assert_results(self, [m.RecordWriter_WriteRecord(w, 'a\0b'), m.RecordWriter_WriteRecord(w, ''),
                                  m.RecordWriter_WriteRecordString(w, 'x' * 70000),
                                  m.RecordWriter_WriteRecord(w, buf, 8)], [1, 1, 1, 1])
            expected.append(['a\0b', '', 'x' * 70000, 'ABCDEFGH'])
        assert_results(self, [m.RecordWriter_max_record_size(w), m.RecordWriter_Close(w), m.RecordWriter_Close(w),
                              m.RecordWriter_WriteRecord(w, 'late')], [m.RecordIO_kMaxRecordSize, 1, 1, 0])
        m.delete_RecordWriter(w)
        self.assertEqual(self.records('a'), sum(expected, []))

    def test_file_ownership_passes_only_when_the_call_is_accepted(self):
        for make in (lambda f: m.new_RecordWriter(f), lambda f: m.new_RecordWriter(f, 4096, 1, 0),
                     lambda f: m.new_RecordReader(f), lambda f: m.new_RecordReader(f, m.new_RecordReaderOptions()),
                     lambda f: m.new_RecordReaderScript(f), lambda f: m.new_RecordReaderScript(f, 1024)):
            f = m.File_Open(self.put('o', ''), 'r+')
            f.thisown = 1
            obj = make(f)
            self.assertEqual((f.thisown, obj.thisown), (0, 1))
        f = m.File_Open(self.put('o', ''), 'r')
        f.thisown = 1
        for make, bad in ((m.new_RecordReader, (f, 0, 2 ** 70)), (m.new_RecordReader, (f, 'x')),
                          (m.new_RecordWriter, (f, 2 ** 40))):
            self.assertRaises((TypeError, OverflowError), make, *bad)
            self.assertEqual(f.thisown, 1, bad)
        w = m.RecordWriter_Open(self.path('p'), 'w', None, 0, 0, 1, 0)
        self.assertEqual(w.thisown, 0)
        m.delete_RecordWriter(w)
        self.assertIsNone(m.RecordWriter_Open(self.path('missing/dir/p'), 'w', None, 0, 0, 1, 0))

    def test_dispatch_and_binding_errors(self):
        w = self.writer('d')
        # The Cord form is tried first: None is a null Cord.
        self.assertTypeError('null reference', m.RecordWriter_WriteRecord, w, None)
        self.assertRaises(TypeError, m.RecordWriter_FormatHeader, w, 0, 'a\0b', 'x', 1)
        m.delete_RecordWriter(w)

    def test_headers_are_written_into_the_callers_string(self):
        buf = fresh_text(12)
        self.assertIsNone(m.RecordWriter_PopulateHeader(0, buf, 'hello', 5))
        self.assertNotEqual(buf, '.' * 12)
        w = self.writer('h')
        other = fresh_text(20)
        m.RecordWriter_FormatHeader(w, 0, other, 'hello', 5)
        self.assertEqual(other[:12], buf)
        self.assertEqual(other[12:], '.' * 8)  # nothing past the header
        short = fresh_text(11)
        m.RecordWriter_PopulateHeader(0, short, 'hello', 5)
        self.assertEqual(short, '.' * 11)
        beyond = fresh_text(12)
        m.RecordWriter_PopulateHeader(0, beyond, 'hi', 1000)  # longer than the data: a dead header
        self.assertEqual(beyond, '\0' * 12)
        m.delete_RecordWriter(w)
        self.put('raw', buf + 'hello' + beyond + 'hi' + buf + 'hello')
        self.assertEqual(self.records('raw'), ['hello', 'hello'])

    def test_positions_state_and_limits(self):
        # Exact positions inside compressed batches are the library's (record_format_test.cc).
        w = self.writer('pos')
        for i in range(3):
            m.RecordWriter_WriteRecord(w, 'r%d' % i)
        m.delete_RecordWriter(w)
        r = m.new_RecordReaderScript(m.File_Open(self.path('pos'), 'r'))
        positions = []
        for i in range(3):
            positions.append(m.RecordReader_Tell(r))
            self.assertEqual((m.RecordReaderScript_ReadRecordIntoString(r), m.RecordReader_LastRecordPosition(r)),
                             ((1, 'r%d' % i), positions[-1]))
        assert_results(self, [m.RecordReader_AtEOF(r, 1), m.RecordReader_Seek(r, positions[2]),
                              m.RecordReader_GetPosition(r, 'ignored'),
                              m.RecordReader_SetPosition(r, '%d' % positions[1]),
                              m.RecordReader_SetPosition(r, 'nonsense')], [1, 1, 1, 1, 0])
        self.assertEqual((m.RecordReaderScript_ReadRecordIntoString(r), type(m.RecordReader_Size(r))),
                         ((1, 'r1'), long))
        self.assertIntResult(m.RecordReader_owns_file(r), 1)
        self.assertIsNone(m.RecordReader_RelinquishFileOwnership(r))
        assert_results(self, [m.RecordReader_owns_file(r), m.RecordReader_Close(r)], [0, 1])
        m.delete_RecordReaderScript(r)

    def test_failures_leave_a_reason_and_non_blocking_writes_answer_with_an_int_status(self):
        # Which failures and what they say are the library's (record_io_test.cc).
        w = m.new_RecordWriter(m.File_Open(self.put('ro', ''), 'r'), 4096)
        assert_results(self, [m.RecordWriter_WriteRecord(w, 'kept in the buffer'), m.RecordWriter_Flush(w)], [1, 0])
        self.assertIn(self.path('ro'), m.RecordWriter_GetCurrentErrorMessage(w))
        m.delete_RecordWriter(w)
        w, written = self.writer('t', 4096), 0
        for i in range(200):
            watcher = m.new_AsyncIOWatcher()
            status = m.RecordWriter_TryWriteRecord(w, m.new_FileStat(), 8, watcher)
            self.assertIn((type(status), status), [(int, m.RecordWriter_WRITE_OK), (int, m.RecordWriter_WRITE_RETRY)])
            written += status == m.RecordWriter_WRITE_OK
            if status == m.RecordWriter_WRITE_RETRY:
                m.AsyncIOWatcher_Wait(watcher)
            m.delete_AsyncIOWatcher(watcher)
        self.assertIntResult(m.RecordWriter_Close(w), 1)
        m.delete_RecordWriter(w)
        self.assertEqual(self.records('t'), ['\xff' * 8] * written)


on_each_file_system(RecordCases)


class LogCase(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('pqlog')
        self.base = os.path.join(self.dir, 'app.')

    def tearDown(self):
        m.LogWriter_setLogChunkSize_TEST(0)
        shutil.rmtree(self.dir, ignore_errors=True)

    def drain(self, reader):
        out = []
        while True:
            ok, record = m.LogReader_ReadRecordAsStringIfAvailable(reader)
            if not ok:
                self.assertEqual(record, '')
                return out
            out.append(record)


class LogTest(LogCase):
    def test_names_and_positions(self):
        # Position packing and file names are the library's (log_io_test.cc).
        w, r, s = m.new_LogWriter(self.base), m.new_LogReader(self.base), m.new_LogReaderScript(self.base, -1L)
        for obj in (w, r, s):  # the LogBase rows take every kind of log object
            self.assertEqual([m.LogBase_base_file(obj), m.LogBase_base_name(obj), m.LogBase_FileBase(obj),
                              m.LogBase_FileName(obj, 7)], [self.base] * 3 + [self.base + 'seq00007'])
        p = m.LogBase_MakeLogPosition(3, 4096)  # a 64-bit position; its fields are ints
        assert_results(self, [p, m.LogBase_LogPositionToOffset(p)], [(3 << 40) | 4096, 4096], long)
        for obj in (s, r):
            m.delete_LogReader(obj)
        m.delete_LogWriter(w)

    def test_write_tail_and_collect_results(self):
        # Rotation, tailing and collection themselves are the library's (log_io_test.cc).
        w = m.new_LogWriter(self.base, 'py', m.LogWriter_SINGLE_WRITER, 256, 0)
        tail = m.new_LogReader(self.base)
        assert_results(self, [m.LogWriter_WriteRecord(w, 'rec%d\0' % i + 'y' * i) for i in range(3)]
                       + [m.LogWriter_Flush(w)], [1] * 4)
        self.assertEqual(self.drain(tail), ['rec%d\0' % i + 'y' * i for i in range(3)])
        assert_results(self, [m.LogReader_GarbageCollect(self.base, m.LogReader_Tell(tail)),
                              m.LogReader_GarbageCollect(self.base, -1L), m.LogWriter_TruncateLog(self.base, 'x:y'),
                              m.LogWriter_TruncateLog(self.base, m.LogWriter_GetPosition(w))], [1, 0, 0, 1])
        m.delete_LogReader(tail)
        m.delete_LogWriter(w)

    def test_position_texts_in_place(self):
        w = m.new_LogWriter(self.base, '', 0)
        for i in range(3):
            m.LogWriter_WriteRecordString(w, 'r%d' % i)
        m.LogWriter_Flush(w)
        r = m.new_LogReader(self.base)
        self.assertEqual(self.drain(r), ['r0', 'r1', 'r2'])
        buf = ''.join(chr(65 + i % 26) for i in range(60))  # a string of its own
        self.assertIsNone(m.LogReader_GetEOFPosition(r, buf, 48))
        self.assertEqual(buf[:buf.index('\0')], m.LogWriter_GetPosition(w))
        short, neighbour = fresh_text(3), fresh_text(3)
        m.LogReader_GetPosition(r, short, 1000)  # never past the string's own length
        self.assertEqual((short, neighbour), (m.LogWriter_GetPosition(w)[:3], '...'))
        r2 = m.new_LogReader(self.base, 0L)
        assert_results(self, [m.LogReader_SetInitialPosition(r2, 'bad'),
                              m.LogReader_Seek(r2, m.LogReader_LastRecordPosition(r))], [0, 1])
        self.assertEqual(m.LogReader_ReadRecordAsStringIfAvailable(r2), (1, 'r2'))
        for obj in (r, r2):
            m.delete_LogReader(obj)
        m.delete_LogWriter(w)

    def test_raw_reads_script_reads_and_try_writes(self):
        w, watcher = m.new_LogWriter(), m.new_AsyncIOWatcher()
        self.addCleanup(m.delete_AsyncIOWatcher, watcher)
        self.assertIntResult(m.LogWriter_Open(w, self.base), 1)
        assert_results(self, [m.LogWriter_TryWriteRecord(w, 'abc', watcher), m.LogWriter_WriteRecord(w, ''),
                              m.LogWriter_Flush(w)], [m.LogWriter_WRITE_OK, 1, 1])
        r, s = m.new_LogReader(self.base), m.new_LogReaderScript(self.base, -1L)
        self.assertEqual([m.LogReader_ReadRecordIfAvailable(r, None), m.LogReader_ReadRecordIfAvailable(r, None, None),
                          m.LogReader_ReadRecordIfAvailable(r, None)], [(1, 3), (1, 0), (0, 0)])
        self.assertEqual([m.LogReaderScript_ReadRecordIntoString(s) for _ in range(3)], [(1, 'abc'), (1, ''), (0, '')])
        m.delete_LogReaderScript(s)
        m.delete_LogReader(r)
        m.LogWriter_Close(w)
        m.delete_LogWriter(w)

if __name__ == '__main__':
    import unittest
    unittest.main()
