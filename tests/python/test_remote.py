"""The ordinary File_ rows, and record files, on root:// names against a
standalone XRootD server that the test starts and stops."""
import pqtest
import remote_server
from pqtest import m

server = None


def setUpModule():
    global server
    server = remote_server.Server()


def tearDownModule():
    server.stop()


class RemoteFileTest(pqtest.TestCase):
    def setUp(self):
        self.root = server.prefix + '/py-%s' % self.id().split('.')[-1]
        self.assertEqual(m.File_CreateDir(self.root, 0755), 1)

    def tearDown(self):
        m.File_DeleteRecursively(self.root)
        self.assertIntResult(m.File_Exists(self.root), 0)

    def path(self, name):
        return self.root + '/' + name

    def test_write_read_back_match_and_delete(self):
        data = ''.join(chr(i % 256) for i in range(300000))  # NUL bytes and all
        f = m.File_Open(self.path('a.bin'), 'w')
        self.assertIsNot(f, None)
        for start in range(0, len(data), 65536):
            self.assertTrue(m.File_WriteString(f, data[start:start + 65536]))
        self.assertIntResult(m.File_Close(f), 1)
        self.assertIntResult(m.File_WriteStringToFile('small', self.path('b.txt')), 1)

        f = m.File_Open(self.path('a.bin'), 'r')
        self.assertEqual(m.File_PReadStringWithOp(f, 0, len(data) + 10, None), data)
        self.assertEqual(m.File_PReadStringWithOp(f, 299990, 100, None), data[299990:])
        self.assertLongResult(m.File_Size(f), len(data))
        m.File_Close(f)
        self.assertLongResult(m.FileStat_length_get(m.File_Stat(self.path('a.bin'))), len(data))
        self.assertEqual(m.File_ReadFileToString(self.path('b.txt')), (1, 'small'))

        self.assertEqual(m.File_Match(self.path('*')), (1, [self.path('a.bin'), self.path('b.txt')]))
        self.assertEqual(m.File_Match(self.path('*.txt')), (1, [self.path('b.txt')]))
        self.assertIntResult(m.File_Delete(self.path('a.bin')), 1)
        self.assertIntResult(m.File_Exists(self.path('a.bin')), 0)
        self.assertEqual(m.File_Match(self.path('*')), (1, [self.path('b.txt')]))

    def test_failures_come_back_as_results_with_codes(self):
        self.assertIs(m.File_Open(self.path('missing'), 'r'), None)
        self.assertIs(m.File_Stat(self.path('missing')), None)
        self.assertIs(m.File_Open('root://no-port-here:x//a', 'r'), None)
        f = m.File_Open(self.path('c'), 'w')
        self.assertIsNot(f, None)
        reader = m.File_Create(self.path('c'), 'r')
        self.assertIntResult(m.File_OpenThis(reader), 0)
        self.assertIntResult(m.File_GetCurrentErrorCode(reader), m.ERROR_TEMPORARY)  # one writer at a time
        self.assertIn(self.path('c'), m.File_GetCurrentErrorMessage(reader))
        m.File_Close(f)
        self.assertIntResult(m.File_OpenThis(reader), 1)
        m.File_Close(reader)

    def test_record_file_round_trip(self):
        w = m.new_RecordWriter(m.File_Open(self.path('records'), 'w'))
        written = ['first', '', 'a\0b', 'x' * 200000]
        for record in written:
            self.assertIntResult(m.RecordWriter_WriteRecord(w, record), 1)
        m.RecordWriter_EnableCompression(w, 6)  # a compressed batch after the plain records
        for i in range(100):
            self.assertIntResult(m.RecordWriter_WriteRecord(w, 'batch %d' % i), 1)
        self.assertIntResult(m.RecordWriter_Close(w), 1)
        m.delete_RecordWriter(w)
        r = m.new_RecordReaderScript(m.File_Open(self.path('records'), 'r'))
        back = []
        while True:
            ok, record = m.RecordReaderScript_ReadRecordIntoString(r)
            if not ok:
                break
            back.append(record)
        m.delete_RecordReaderScript(r)
        self.assertEqual(back, written + ['batch %d' % i for i in range(100)])


if __name__ == '__main__':
    pqtest.main()
