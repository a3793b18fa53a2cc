"""The global-variable link object."""
import pqtest
from file_roots import assert_results
from pqtest import m
from test_factory import NAMES


class CvarTest(pqtest.TestCase):
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
        self.assertEqual(set(type(getattr(m.cvar, 'FileFactory_%s_file' % short)) for short in NAMES), {str})
        old = m.cvar.FileFactory_tarn_file
        try:
            m.cvar.FileFactory_tarn_file = 'first'
            m.cvar.FileFactory_tarn_file = 'sec\0ond'  # the C text ends at the NUL
            self.assertEqual(m.cvar.FileFactory_tarn_file, 'sec')
        finally:
            m.cvar.FileFactory_tarn_file = old
        for short in ('tarn', 'spindle_resource'):
            self.assertRefused(TypeError, "C variable 'FileFactory::%s_file (char *)'" % short,
                               'FileFactory_%s_file' % short, 5)

    def test_file_attributes(self):
        current = m.cvar.file_attributes
        self.assertTrue(pqtest.is_pointer_text(current, '_p_FileAttributes'))
        self.assertRefused(TypeError, "C variable 'file_attributes (FileAttributes *)'", 'file_attributes',
                           m.new_FileStat())
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
        status, out, err = pqtest.run_python('import _file_base_pyquarry as m, sys\nprint m.cvar\nsys.stdout.write("|")')
        self.assertEqual(status, 0, err)
        names = (['kMinMMapSize', 'DEFAULT_FILE_MODE'] + ['FileFactory_%s_file' % s for s in NAMES] +
                 ['file_attributes', 'kDefaultBufferSize', 'kMaxLogReaderPosLen'])
        self.assertEqual(len(names), 30)
        # The print statement adds its own newline after the object's text.
        self.assertEqual(out, 'Global variables { %s }\n\n|' % ', '.join(reversed(names)))


if __name__ == '__main__':
    pqtest.main()
