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

    def path(self, name):
        return self.root + '/' + name

    def test_root_names_reach_the_remote_file_system(self):
        # What the remote file system does is the library's (remote_fs_test.cc runs the
        # conformance suite on it); here the module's rows reach it, NUL bytes and all.
        data = ''.join(chr(i % 256) for i in range(300000))
        f = m.File_Open(self.path('a.bin'), 'w')
        for start in range(0, len(data), 65536):
            self.assertLongResult(m.File_WriteString(f, data[start:start + 65536]), len(data[start:start + 65536]))
        self.assertIntResult(m.File_Close(f), 1)
        f = m.File_Open(self.path('a.bin'), 'r')
        self.assertEqual(m.File_PReadStringWithOp(f, 0, len(data) + 10, None), data)
        self.assertLongResult(m.File_Size(f), len(data))
        m.File_Close(f)
        self.assertEqual(m.File_Match(self.path('*')), (1, [self.path('a.bin')]))


if __name__ == '__main__':
    pqtest.main()
