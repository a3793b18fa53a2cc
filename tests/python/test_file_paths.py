"""Path utilities of File: File_CanonicalizeFileName ... File_swigregister."""
import pqtest
from pqtest import m


class PathTest(pqtest.TestCase):
    def test_results_are_byte_exact_strings_or_none(self):
        for f, args, expected in (
                (m.File_CleanPath, ('a//b/../c\0d',), 'a/c\0d'), (m.File_CleanPath, ('',), ''),
                (m.File_AddSlash, ('a\0',), 'a\0/'), (m.File_AddSlash, ('',), ''),
                (m.File_JoinPath, ('a\0', 'b'), 'a\0/b'), (m.File_RemoveHosts, ('/x\0/y',), '/x\0/y'),
                (m.File_GenerateShardedFilename, ('a\0b', 0, 1), 'a\0b-00000-of-00001'),
                (m.File_GenerateShardedFilename, ('a', 1, 3), 'a-00001-of-00003'),
                (m.File_CanonicalizeFileName, ('/a/./b//c/../d',), '/a/b/d'),
                (m.File_StripBasename, ('/a/b.c',), '/a/'), (m.File_RewriteDatadir, ('/plain/name',), '/plain/name'),
                (m.File_Basename, ('/a/b.c',), 'b.c'), (m.File_Basename, ('',), ''),
                (m.File_Suffix, ('/a/b.c',), 'c'), (m.File_Suffix, ('/a/b',), None),
                (m.File_Suffix, ('/a/.hidden',), None)):
            result = f(*args)
            self.assertEqual((type(result), result), (type(expected), expected), (f.__name__, args))

    def test_argument_types(self):
        # Library strings keep NULs but refuse non-strings; char pointers also refuse NULs.
        for f in (m.File_CleanPath, m.File_AddSlash, m.File_RemoveHosts):
            for bad in (5, None):
                self.assertRaises(TypeError, f, bad)
        for f in (m.File_CanonicalizeFileName, m.File_Basename, m.File_Suffix, m.File_StripBasename,
                  m.File_RewriteDatadir):
            for bad in ('a\0b', None):
                self.assertRaises(TypeError, f, bad)
        self.assertRaises(TypeError, m.File_JoinPath, 'a', None)
        self.assertRaises(TypeError, m.File_GenerateShardedFilename, 'a', '1', 3)


class NameListTest(pqtest.TestCase):
    def test_construct_full_file_name(self):
        self.assertEqual(m.File_ConstructFullFileName('/d', ['x', 'y'], '.txt', 3), '/d/x/y.txt@3')
        self.assertEqual(m.File_ConstructFullFileName('/d', (), '', 0), '/d')
        for bad in (['x', 1], 'x'):
            self.assertTypeError('vector<::string> expected', m.File_ConstructFullFileName, '/d', bad, '', 0)
        self.assertRaises(TypeError, m.File_ConstructFullFileName, '/d', [], '', 'three')

    def test_canonicalize_list_writes_through_a_wrapped_vector(self):
        self.assertIs(m.File_CanonicalizeFileNameList(None, ['/a/./b']), None)
        self.assertTypeError('Type error. Got _p_std__vectorTstring_t, expected _p_vectorTstring_t',
                             m.File_CanonicalizeFileNameList, m.new_stringVector(), ['/a'])
        self.assertTypeError('vector<::string> expected', m.File_CanonicalizeFileNameList, None, [None])

    def test_sharded_names(self):
        ok, names = m.File_GenerateShardedFilenames('/d/a@3')
        self.assertIntResult(ok, 1)
        self.assertEqual(names, ['/d/a-00000-of-00003', '/d/a-00001-of-00003', '/d/a-00002-of-00003'])
        self.assertEqual(m.File_GenerateShardedFilenames('/d/plain'), (0, []))
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
        self.assertRaises(TypeError, m.File_swigregister)
        self.assertRaises(TypeError, m.File_swigregister, 1, 2)


if __name__ == '__main__':
    pqtest.main()
