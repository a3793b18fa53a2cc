"""The module as a whole: import, method table, constants, the global-variable link object,
FromFile and the withdrawn initialisation entry point."""
import os
import types

import pqtest
from pqtest import assert_results, m
from test_factory import NAMES


NAMES_FILE = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'data', 'method_names.txt')


def canonical_names():
    with open(NAMES_FILE) as f:
        return [line.strip() for line in f if line.strip() and not line.startswith('#')]


def module_functions():
    return set(name for name, value in vars(m).items()
               if isinstance(value, types.BuiltinFunctionType))


class ModuleTest(pqtest.TestCase):
    def test_positional_arguments_only_and_constants(self):
        for name in module_functions():
            self.assertRaises(TypeError, getattr(m, name), x=1)
        # Codes the other suites compare with library results are left to them; these are not.
        expected = {'ERROR_TEMPORARY': 13, 'MAX_ERROR_CODE': 13, 'USE_RAWIO': 3, 'Attr_t_ARCHIVAL_PENDING': 16,
                    'Attr_t_DEFAULT': 2147483647, 'File_kWriteMask': 146, 'InputBuffer_MISMATCH': 4,
                    'ChecksumState_kChunkSize': 128, 'RecordIO_kPhysicalRecSize': 1024, 'RecordIO_NUM_TAGS': 8,
                    'RecordReader_kDefaultMaxExpectedRecordLength': 4194304, 'LogWriter_kDefaultBufferSize': 524288}
        names = [n for n in dir(m) if not callable(getattr(m, n)) and not n.startswith('__') and n != 'cvar']
        self.assertEqual(len(names), 87)  # 86 table rows and the block size
        odd = {'RecordIO_kLegacySyncMarker': 'RecordIO::kLegacySyncMarker', 'ChecksumState_kBlockSize': 1048576L}
        self.assertEqual(sorted((n, type(getattr(m, n)), getattr(m, n)) for n in names if n in expected or n in odd),
                         sorted((n, type(v), v) for n, v in expected.items() + odd.items()))
        self.assertEqual([n for n in names if n not in odd and type(getattr(m, n)) is not int], [])

    def test_the_functions_are_exactly_the_canonical_names(self):
        names = canonical_names()
        self.assertEqual((len(names), len(set(names))), (907, 907))  # no duplicates
        self.assertEqual(sorted(module_functions() ^ set(names)), [])

    def test_from_file_gives_the_same_pointer_marked_owned(self):
        text = '_1000000000000000_p_File'
        self.assertEqual(m.FromFile(text), text)
        cls = pqtest.register_proxy('File')
        f = m.FromFile(text)
        self.assertEqual((type(f), f.this, f.thisown), (cls, text, 1))
        self.assertIs(m.FromFile(None), None)

    def test_logs_one_error_record(self):
        code = ('import _file_base_pyquarry as m\n'
                'assert m._File_Init_deprecated_bottom("Init", "x.py", 7L) is None\n')
        status, out, err = pqtest.run_python(code)
        self.assertEqual(status, 0, err)
        self.assertRegexpMatches(err, r'\AE[^\n]*file/base/_file_base_pyquarry\.cc:988\] Deprecated pyquarry\.Init\(\) '
                                 r'called at x\.py:7\. This method was no-oped in [^\n]*\. '
                                 r'Please remove this call\.\n\Z')

    def assertRefused(self, error, text, name, value):
        """Assigning value to name raises error with text and keeps the old value."""
        before = getattr(m.cvar, name)
        with self.assertRaises(error) as ctx:
            setattr(m.cvar, name, value)
        self.assertEqual((str(ctx.exception), getattr(m.cvar, name)), (text, before))

    def test_read_only_unknown_and_undeletable_variables(self):
        assert_results(self, [m.cvar.kMinMMapSize, m.cvar.DEFAULT_FILE_MODE, m.cvar.kDefaultBufferSize,
                              m.cvar.kMaxLogReaderPosLen], [32768, 2147483647, 524288, 48])
        for name in ('kMinMMapSize', 'kMaxLogReaderPosLen', 'FileFactory_encrypted_file'):
            self.assertRefused(TypeError, 'Variable %s is read-only.' % name, name, 'x')
        for access in (lambda: m.cvar.no_such_variable, lambda: setattr(m.cvar, 'no_such_variable', 1)):
            self.assertRaisesRegexp(NameError, '^Unknown C global variable$', access)
        for name in ('FileFactory_zip_file', 'kMinMMapSize'):
            self.assertRaises(TypeError, delattr, m.cvar, name)

    def test_factory_names_are_writable_texts(self):
        old = m.cvar.FileFactory_tarn_file
        try:
            m.cvar.FileFactory_tarn_file = 'first'
            m.cvar.FileFactory_tarn_file = 'sec\0ond'  # the C text ends at the NUL
            self.assertEqual(m.cvar.FileFactory_tarn_file, 'sec')
        finally:
            m.cvar.FileFactory_tarn_file = old
        self.assertRefused(TypeError, "C variable 'FileFactory::tarn_file (char *)'", 'FileFactory_tarn_file', 5)

    def test_file_attributes(self):
        current = m.cvar.file_attributes
        self.assertTrue(pqtest.is_pointer_text(current, '_p_FileAttributes'))
        self.assertRefused(TypeError, "C variable 'file_attributes (FileAttributes *)'", 'file_attributes',
                           m.new_FileStat())
        m.cvar.file_attributes = None
        self.assertIs(m.cvar.file_attributes, None)
        m.cvar.file_attributes = current
        self.assertEqual(m.cvar.file_attributes, current)

    def test_representation_and_printing(self):
        self.assertEqual(repr(m.cvar), '<Global variables>')
        status, out, err = pqtest.run_python('from pqtest import m\nimport sys\nprint m.cvar\nsys.stdout.write("|")')
        self.assertEqual(status, 0, err)
        names = (['kMinMMapSize', 'DEFAULT_FILE_MODE'] + ['FileFactory_%s_file' % s for s in NAMES] +
                 ['file_attributes', 'kDefaultBufferSize', 'kMaxLogReaderPosLen'])
        self.assertEqual(len(names), 30)
        # The print statement adds its own newline after the object's text.
        self.assertEqual(out, 'Global variables { %s }\n\n|' % ', '.join(reversed(names)))

if __name__ == '__main__':
    pqtest.main()
