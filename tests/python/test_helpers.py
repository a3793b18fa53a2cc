"""stringVector, FromFile and the withdrawn initialisation entry point."""
import pqtest
from pqtest import m


class StringVectorTest(pqtest.TestCase):
    def test_lifecycle(self):
        v = m.new_stringVector()
        self.assertTrue(pqtest.is_pointer_text(v, '_p_std__vectorTstring_t'))
        self.assertIs(m.delete_stringVector(v), None)
        self.assertIs(m.delete_stringVector(None), None)
        self.assertTypeError('Type error. Got _p_FileStat, expected _p_std__vectorTstring_t',
                             m.delete_stringVector, m.new_FileStat())

    def test_registration_attaches_the_class(self):
        cls = pqtest.register_proxy('stringVector')
        v = m.new_stringVector()
        self.assertIsInstance(v, cls)
        self.assertEqual(v.thisown, 1)


class FromFileTest(pqtest.TestCase):
    def test_same_pointer_marked_owned(self):
        text = '_1000000000000000_p_File'
        self.assertEqual(m.FromFile(text), text)
        cls = pqtest.register_proxy('File')
        f = m.FromFile(text)
        self.assertIsInstance(f, cls)
        self.assertEqual((f.this, f.thisown), (text, 1))
        self.assertIs(m.FromFile(None), None)


class DeprecatedInitTest(pqtest.TestCase):
    def test_logs_one_error_record(self):
        code = ('import _file_base_pyquarry as m\n'
                'assert m._File_Init_deprecated_bottom("Init", "x.py", 7L) is None\n')
        status, out, err = pqtest.run_python(code)
        self.assertEqual(status, 0, err)
        lines = err.splitlines()
        self.assertEqual(len(lines), 1, err)
        self.assertTrue(lines[0].startswith('E'), err)
        self.assertIn('file/base/_file_base_pyquarry.cc:988] ', lines[0])
        self.assertIn('Deprecated pyquarry.Init() called at x.py:7. This method was no-oped in ', lines[0])
        self.assertTrue(lines[0].endswith('. Please remove this call.'))

    def test_argument_rules(self):
        self.assertRaises(TypeError, m._File_Init_deprecated_bottom, 'a', 'b')
        self.assertRaises(TypeError, m._File_Init_deprecated_bottom, 'a', 5, 7)
        self.assertRaises(TypeError, m._File_Init_deprecated_bottom, 'a', 'b', 'c')


if __name__ == '__main__':
    pqtest.main()
