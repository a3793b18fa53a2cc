"""The module as a whole: import, method table, constants, cvar basics."""
import pqtest
from pqtest import m


class ModuleTest(pqtest.TestCase):
    def test_import_prints_nothing(self):
        status, out, err = pqtest.run_python('import _file_base_pyquarry')
        self.assertEqual((status, out, err), (0, '', ''))

    def test_every_function_takes_positional_arguments_only(self):
        functions = [getattr(m, n) for n in dir(m) if callable(getattr(m, n)) and n != 'cvar']
        self.assertGreater(len(functions), 100)
        self.assertRaises(TypeError, m.new_FileStat, x=1)
        self.assertRaises(TypeError, m.FileStat_length_get, m.new_FileStat(), extra=1)

    def test_block_size_is_a_long(self):
        self.assertLongResult(m.ChecksumState_kBlockSize, 1048576)

    def test_constants(self):
        expected = {
            'OK': 0, 'ERROR_INVALID_ARGUMENT': 1, 'ERROR_NOT_FOUND': 3, 'ERROR_UNIMPLEMENTED': 11,
            'ERROR_TEMPORARY': 13, 'MAX_ERROR_CODE': 13, 'USE_RAWIO': 3, 'Attr_t_FROZEN': 8,
            'Attr_t_ARCHIVAL_PENDING': 16, 'Attr_t_DEFAULT': 2147483647, 'NONE': 0, 'SEQUENTIAL': 3,
            'UNCACHED': 1, 'File_MATCH_ALL': 3, 'File_kWriteMask': 146, 'FileName_TARN_SHADOW': 1,
            'FileReedSolomon_NUM_ENCODINGS': 3, 'InputBuffer_MISMATCH': 4,
            'ChecksumState_kChunkSize': 128, 'RecordIO_kPhysicalRecSize': 1024,
            'RecordIO_kMaxRecordSize': 1073741823, 'RecordIO_MAX_TAG': 7, 'RecordIO_PLUME_TAG': 7,
            'RecordIO_NUM_TAGS': 8, 'RecordWriter_WRITE_RETRY': 2, 'RecordReader_READ_DONE': 1,
            'RecordReader_kDefaultMaxExpectedRecordLength': 4194304, 'LogWriter_WRITE_OK': 1,
            'LogWriter_kDefaultBufferSize': 524288,
        }
        for name, value in expected.items():
            self.assertIntResult(getattr(m, name), value)
        self.assertEqual(m.RecordIO_kLegacySyncMarker, 'RecordIO::kLegacySyncMarker')

    def test_all_constants_are_ints_but_two(self):
        names = [n for n in dir(m) if not callable(getattr(m, n)) and not n.startswith('__')
                 and n != 'cvar']
        self.assertEqual(len(names), 87)  # 86 table rows and the block size
        for n in names:
            if n == 'RecordIO_kLegacySyncMarker':
                self.assertIs(type(getattr(m, n)), str)
            elif n == 'ChecksumState_kBlockSize':
                self.assertIs(type(getattr(m, n)), long)
            else:
                self.assertIs(type(getattr(m, n)), int, n)

    def test_reinitialising_keeps_one_link_object(self):
        code = ('import _file_base_pyquarry as m, ctypes, sys\n'
                'cvar = m.cvar\n'
                'ctypes.PyDLL(m.__file__).init_file_base_pyquarry()\n'
                'm2 = sys.modules["_file_base_pyquarry"]\n'
                'assert m2.cvar is cvar\n'
                'assert m2.cvar.kMaxLogReaderPosLen == 48\n'
                'p = m2.new_FileStat()\n'
                'assert m2.FileStat_length_get(p) == -1\n')
        status, out, err = pqtest.run_python(code)
        self.assertEqual(status, 0, err)


if __name__ == '__main__':
    pqtest.main()
