"""The global-variable link object."""
import pqtest
from file_roots import assert_results
from pqtest import m
from test_factory import NAMES

FACTORY_NAMES = NAMES[:-1]  # the encrypted one is printed apart


class CvarTest(pqtest.TestCase):
    def test_read_only_variables(self):
        assert_results(self, [m.cvar.kMinMMapSize, m.cvar.DEFAULT_FILE_MODE, m.cvar.kDefaultBufferSize,
                              m.cvar.kMaxLogReaderPosLen], [32768, 2147483647, 524288, 48])
        for name in ('kMinMMapSize', 'DEFAULT_FILE_MODE', 'kDefaultBufferSize', 'kMaxLogReaderPosLen',
                     'FileFactory_encrypted_file'):
            before = getattr(m.cvar, name)
            with self.assertRaises(TypeError) as ctx:
                setattr(m.cvar, name, 'x')
            self.assertEqual(str(ctx.exception), 'Variable %s is read-only.' % name)
            self.assertEqual(getattr(m.cvar, name), before)

    def test_unknown_names_and_deleting(self):
        with self.assertRaises(NameError) as ctx:
            m.cvar.no_such_variable
        self.assertEqual(str(ctx.exception), 'Unknown C global variable')
        with self.assertRaises(NameError):
            m.cvar.no_such_variable = 1
        for name in ('FileFactory_zip_file', 'kMinMMapSize'):
            self.assertRaises(TypeError, delattr, m.cvar, name)
        self.assertEqual(m.cvar.kMinMMapSize, 32768)

    def test_factory_names_are_writable_texts(self):
        self.assertEqual(set(type(getattr(m.cvar, 'FileFactory_%s_file' % short)) for short in FACTORY_NAMES), {str})
        old = m.cvar.FileFactory_tarn_file
        try:
            m.cvar.FileFactory_tarn_file = 'first'
            m.cvar.FileFactory_tarn_file = 'sec\0ond'  # the C text ends at the NUL
            self.assertEqual(m.cvar.FileFactory_tarn_file, 'sec')
        finally:
            m.cvar.FileFactory_tarn_file = old
        self.assertEqual(m.cvar.FileFactory_tarn_file, old)

    def test_factory_name_of_wrong_type_keeps_its_value(self):
        for short in ('tarn', 'local', 'wicket_remote', 'brisk', 'spindle_resource', 'fastwrite'):
            name = 'FileFactory_%s_file' % short
            before = getattr(m.cvar, name)
            with self.assertRaises(TypeError) as ctx:
                setattr(m.cvar, name, 5)
            self.assertEqual(str(ctx.exception), "C variable 'FileFactory::%s_file (char *)'" % short)
            self.assertEqual(getattr(m.cvar, name), before)

    def test_file_attributes(self):
        current = m.cvar.file_attributes
        self.assertTrue(pqtest.is_pointer_text(current, '_p_FileAttributes'))
        with self.assertRaises(TypeError) as ctx:
            m.cvar.file_attributes = m.new_FileStat()
        self.assertEqual(str(ctx.exception), "C variable 'file_attributes (FileAttributes *)'")
        self.assertEqual(m.cvar.file_attributes, current)
        # Assignment takes ownership away from the proxy.
        holder = pqtest.Proxy(current)
        holder.thisown = 1
        m.cvar.file_attributes = holder
        self.assertEqual(holder.thisown, 0)
        m.cvar.file_attributes = None
        self.assertIs(m.cvar.file_attributes, None)
        m.cvar.file_attributes = current
        self.assertEqual(m.cvar.file_attributes, current)

    def test_representation_and_printing(self):
        self.assertEqual(repr(m.cvar), '<Global variables>')
        code = 'import _file_base_pyquarry as m, sys\nprint m.cvar\nsys.stdout.write("|")\n'
        status, out, err = pqtest.run_python(code)
        self.assertEqual(status, 0, err)
        names = (['kMinMMapSize', 'DEFAULT_FILE_MODE'] +
                 ['FileFactory_%s_file' % s for s in FACTORY_NAMES] +
                 ['FileFactory_encrypted_file', 'file_attributes', 'kDefaultBufferSize',
                  'kMaxLogReaderPosLen'])
        self.assertEqual(len(names), 30)
        # The print statement adds its own newline after the object's text.
        self.assertEqual(out, 'Global variables { %s }\n\n|' % ', '.join(reversed(names)))


if __name__ == '__main__':
    pqtest.main()
