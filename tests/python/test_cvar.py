"""The global-variable link object."""
import pqtest
from pqtest import m
from test_factory import NAMES

FACTORY_NAMES = NAMES[:-1]  # the encrypted one is printed apart


class CvarTest(pqtest.TestCase):
    def test_integers(self):
        self.assertIntResult(m.cvar.kMinMMapSize, 32768)
        self.assertIntResult(m.cvar.DEFAULT_FILE_MODE, 2147483647)
        self.assertIntResult(m.cvar.kDefaultBufferSize, 524288)
        self.assertIntResult(m.cvar.kMaxLogReaderPosLen, 48)

    def test_read_only_variables(self):
        for name in ('kMinMMapSize', 'DEFAULT_FILE_MODE', 'kDefaultBufferSize', 'kMaxLogReaderPosLen',
                     'FileFactory_encrypted_file'):
            before = getattr(m.cvar, name)
            with self.assertRaises(TypeError) as ctx:
                setattr(m.cvar, name, 'x')
            self.assertEqual(str(ctx.exception), 'Variable %s is read-only.' % name)
            self.assertEqual(getattr(m.cvar, name), before)

    def test_unknown_names(self):
        with self.assertRaises(NameError) as ctx:
            m.cvar.no_such_variable
        self.assertEqual(str(ctx.exception), 'Unknown C global variable')
        with self.assertRaises(NameError):
            m.cvar.no_such_variable = 1

    def test_factory_names_are_writable_texts(self):
        for short in FACTORY_NAMES:
            name = 'FileFactory_%s_file' % short
            self.assertIs(type(getattr(m.cvar, name)), str)
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

    def test_deleting_a_variable_is_refused(self):
        with self.assertRaises(TypeError):
            del m.cvar.FileFactory_zip_file
        with self.assertRaises(TypeError):
            del m.cvar.kMinMMapSize
        self.assertEqual(m.cvar.kMinMMapSize, 32768)

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
