"""The log family: LogBase, LogReader, LogReaderScript, BackgroundLogReader
and LogWriter through the flat functions."""
import os
import shutil

import pqtest
from file_roots import assert_results
from pqtest import m


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


class LogBaseTest(LogCase):
    def test_names_and_positions(self):
        # Position packing and file names are the library's (log_positions_test.cc).
        w, r, s = m.new_LogWriter(self.base), m.new_LogReader(self.base), m.new_LogReaderScript(self.base, -1L)
        for obj in (w, r, s):  # the LogBase rows take every kind of log object
            self.assertEqual([m.LogBase_base_file(obj), m.LogBase_base_name(obj), m.LogBase_FileBase(obj),
                              m.LogBase_FileName(obj, 7)], [self.base] * 3 + [self.base + 'seq00007'])
        p = m.LogBase_MakeLogPosition(3, 4096)
        assert_results(self, [p, m.LogBase_LogPositionToOffset(p), m.LogBase_MakeLogPosition(-1, 0)],
                       [(3 << 40) | 4096, 4096, -1], long)
        assert_results(self, [m.LogBase_LogPositionToFileNumber(p), m.LogBase_LogFileNameToFileNumber('aseq00012')],
                       [3, 12])
        m.LogWriter_setLogChunkSize_TEST(1234)
        self.assertEqual((m.LogBase_GetLogChunkSize(), m.LogWriter_GetInitialPosition()), (1234L, '0:0'))
        for f, args in ((m.new_LogWriter, ('a', 'b', 1, 2, 3, 4)), (m.LogWriter_WriteRecord, (w, 5)),
                        (m.LogWriter_TryWriteRecord, (w, 'x'))):
            self.assertNoMatch(f, *args)
        for obj in (s, r):
            m.delete_LogReader(obj)
        m.delete_LogWriter(w)


class LogReadWriteTest(LogCase):
    def test_write_tail_and_collect_results(self):
        # Rotation, tailing and collection themselves are the library's (log_io_test.cc).
        w = m.new_LogWriter(self.base, 'py', m.LogWriter_SINGLE_WRITER, 256, 0)
        tail = m.new_LogReader(self.base)
        assert_results(self, [m.LogWriter_WriteRecord(w, 'rec%d\0' % i + 'y' * i) for i in range(3)]
                       + [m.LogWriter_Flush(w)], [1] * 4)
        self.assertEqual(self.drain(tail), ['rec%d\0' % i + 'y' * i for i in range(3)])
        self.assertLongResult(m.LogReader_UnreadBytes(tail), 0)
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
        short = 'zzzzzzzzzz'[:4] + 'q'
        m.LogReader_GetPosition(r, short, 1000)  # never past the string's own length
        self.assertEqual(len(short), 5)
        r2 = m.new_LogReader(self.base, 0L)
        assert_results(self, [m.LogReader_SetInitialPosition(r2, 'bad'),
                              m.LogReader_Seek(r2, m.LogReader_LastRecordPosition(r)),
                              m.LogReader_AsyncReadEnabled(r2)], [0, 1, 0])
        self.assertEqual(m.LogReader_ReadRecordAsStringIfAvailable(r2), (1, 'r2'))
        assert_results(self, [m.LogReader_LogPositionAdd(r2, 0L, 3L), m.LogReader_LogPositionAdd(r2, 0L, -3L)], [3, -1],
                       long)
        for obj in (r, r2):
            m.delete_LogReader(obj)
        m.delete_LogWriter(w)

    def test_raw_reads_script_reads_and_try_writes(self):
        w, watcher = m.new_LogWriter(), m.new_AsyncIOWatcher()
        self.addCleanup(m.delete_AsyncIOWatcher, watcher)
        self.assertIntResult(m.LogWriter_Open(w, self.base), 1)
        self.assertEqual([m.LogWriter_EnableCWCompression(w, 1, 0, 0, 1, 0), m.LogWriter_DisableCompression(w)],
                         [None] * 2)
        assert_results(self, [m.LogWriter_TryWriteRecord(w, 'abc', watcher), m.LogWriter_WriteRecord(w, ''),
                              m.LogWriter_Flush(w)], [m.LogWriter_WRITE_OK, 1, 1])
        r, s = m.new_LogReader(self.base), m.new_LogReaderScript(self.base, -1L)
        self.assertEqual([m.LogReader_ReadRecordIfAvailable(r, None), m.LogReader_ReadRecordIfAvailable(r, None, None),
                          m.LogReader_ReadRecordIfAvailable(r, None)], [(1, 3), (1, 0), (0, 0)])
        self.assertEqual([m.LogReaderScript_ReadRecordIntoString(s) for _ in range(3)], [(1, 'abc'), (1, ''), (0, '')])
        m.delete_LogReaderScript(s)
        m.delete_LogReader(r)
        m.LogWriter_Close(w)
        self.assertEqual((m.LogWriter_Flush(w), m.LogWriter_EOFPosition(w)), (0, -1L))
        m.delete_LogWriter(w)


class BackgroundLogReaderTest(LogCase):
    def test_rows_on_null(self):
        self.assertTypeError('null reference', m.BackgroundLogReader_ProcessRecord, None, None, 0, '')
        # A null background reader stores nothing, but the reader is given up.
        pqtest.register_proxy('LogReader')
        r = m.new_LogReader(self.base)
        self.assertEqual(r.thisown, 1)
        self.assertIsNone(m.BackgroundLogReader_log_reader__set(None, r))
        self.assertEqual(r.thisown, 0)
        m.delete_LogReader(r)


if __name__ == '__main__':
    pqtest.main()
