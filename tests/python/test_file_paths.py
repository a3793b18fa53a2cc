"""Path utilities of File: File_CanonicalizeFileName ... File_swigregister."""
import pqtest
from pqtest import m


class StringConversionTest(pqtest.TestCase):
    """Library-string arguments keep their bytes; 's' arguments refuse NULs."""

    def test_library_string_arguments_are_byte_exact(self):
        self.assertEqual(m.File_CleanPath('a//b/../c\0d'), 'a/c\0d')
        self.assertEqual(m.File_AddSlash('a\0'), 'a\0/')
        self.assertEqual(m.File_JoinPath('a\0', 'b'), 'a\0/b')
        self.assertEqual(m.File_RemoveHosts('/x\0/y'), '/x\0/y')
        self.assertEqual(m.File_GenerateShardedFilename('a\0b', 0, 1), 'a\0b-00000-of-00001')
        for f in (m.File_CleanPath, m.File_AddSlash, m.File_RemoveHosts):
            self.assertRaises(TypeError, f, 5)
            self.assertRaises(TypeError, f, None)
        self.assertRaises(TypeError, m.File_JoinPath, 'a', None)

    def test_char_pointer_arguments(self):
        for f in (m.File_CanonicalizeFileName, m.File_Basename, m.File_Suffix, m.File_StripBasename,
                  m.File_RewriteDatadir):
            self.assertRaises(TypeError, f, 'a\0b')
            self.assertRaises(TypeError, f, None)

    def test_results(self):
        self.assertEqual(m.File_CanonicalizeFileName('/a/./b//c/../d'), '/a/b/d')
        self.assertEqual(m.File_CleanPath(''), '')
        self.assertEqual(m.File_StripBasename('/a/b.c'), '/a/')
        self.assertEqual(m.File_AddSlash(''), '')
        self.assertEqual(m.File_RewriteDatadir('/plain/name'), '/plain/name')
        for value in (m.File_CleanPath('x'), m.File_StripBasename('x'), m.File_CanonicalizeFileName('x')):
            self.assertIs(type(value), str)

    def test_pointer_results_are_strings_or_none(self):
        self.assertEqual(m.File_Basename('/a/b.c'), 'b.c')
        self.assertEqual(m.File_Basename(''), '')
        self.assertEqual(m.File_Suffix('/a/b.c'), 'c')
        self.assertIs(m.File_Suffix('/a/b'), None)
        self.assertIs(m.File_Suffix('/a/.hidden'), None)


class NameListTest(pqtest.TestCase):
    def test_construct_full_file_name(self):
        self.assertEqual(m.File_ConstructFullFileName('/d', ['x', 'y'], '.txt', 3), '/d/x/y.txt@3')
        self.assertEqual(m.File_ConstructFullFileName('/d', (), '', 0), '/d')
        self.assertTypeError('vector<::string> expected', m.File_ConstructFullFileName, '/d', ['x', 1], '', 0)
        self.assertTypeError('vector<::string> expected', m.File_ConstructFullFileName, '/d', 'x', '', 0)
        self.assertRaises(TypeError, m.File_ConstructFullFileName, '/d', [], '', 'three')

    def test_canonicalize_list_writes_through_a_wrapped_vector(self):
        self.assertIs(m.File_CanonicalizeFileNameList(None, ['/a/./b']), None)
        self.assertTypeError('Type error. Got _p_std__vectorTstring_t, expected _p_vectorTstring_t',
                             m.File_CanonicalizeFileNameList, m.new_stringVector(), ['/a'])
        self.assertTypeError('vector<::string> expected', m.File_CanonicalizeFileNameList, None, [None])


class ShardedNameTest(pqtest.TestCase):
    def test_generate_pairs(self):
        self.assertEqual(m.File_GenerateShardedFilename('a', 1, 3), 'a-00001-of-00003')
        ok, names = m.File_GenerateShardedFilenames('/d/a@3')
        self.assertIntResult(ok, 1)
        self.assertEqual(names, ['/d/a-00000-of-00003', '/d/a-00001-of-00003', '/d/a-00002-of-00003'])
        self.assertEqual(m.File_GenerateShardedFilenames('/d/plain'), (0, []))
        self.assertRaises(TypeError, m.File_GenerateShardedFilename, 'a', '1', 3)

    def test_sharded_basename(self):
        self.assertEqual(m.File_ShardedBasenameWithNumShards('/d/a-00001-of-00003', None, None, None), '/d/a@3')
        self.assertIs(m.File_ShardedBasenameWithNumShards('/d/a', None, None, None), None)
        self.assertTypeError('Type error. Got _p_int64, expected _p_int', m.File_ShardedBasenameWithNumShards,
                             '/d/a', '_0000000000000001_p_int64', None, None)


class RegistrationTest(pqtest.TestCase):
    def test_registered_class_wraps_later_handles(self):
        code = '\n'.join([
            'import pqtest',
            'from pqtest import m',
            'f = m.File_Open("/mem/pqtest-paths-registration", "w")',
            'print type(f).__name__, m.File_Close(f)',
            'P = type("P", (pqtest.Proxy,), {})',
            'print m.File_swigregister(P)',
            'f = m.File_Open("/mem/pqtest-paths-registration", "w")',
            'print type(f).__name__, f.thisown, pqtest.is_pointer_text(f.this, "_p_File"), m.File_Close(f)',
            'ok, files = m.File_BulkOpen(["/mem/pqtest-paths-registration"], "r")',
            'print type(files[0]).__name__, files[0].thisown',
        ])
        status, out, err = pqtest.run_python(code)
        self.assertEqual(status, 0, err)
        self.assertEqual(out.splitlines(), ['str 1', 'None', 'P 0 True 1', 'P 1'])

    def test_registration_arguments(self):
        self.assertRaises(TypeError, m.File_swigregister)
        self.assertRaises(TypeError, m.File_swigregister, 1, 2)


if __name__ == '__main__':
    pqtest.main()
