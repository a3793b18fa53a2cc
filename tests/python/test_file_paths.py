"""Path and sharded-name utilities, File_ and free forms, and the value functions
(IsUInt64ANegativeInt64, TranslateFromErrno, ErrorToString, ErrorSpace)."""
import ctypes
import errno

import pqtest
from pqtest import m, pointer_to


class PathTest(pqtest.TestCase):
    def test_results_are_byte_exact_strings_or_none(self):
        for f, args, expected in (
                (m.File_CleanPath, ('a//b/../c\0d',), 'a/c\0d'), (m.File_CleanPath, ('',), ''),
                (m.File_AddSlash, ('a\0',), 'a\0/'), (m.File_AddSlash, ('',), ''),
                (m.File_JoinPath, ('a\0', 'b'), 'a\0/b'), (m.File_RemoveHosts, ('/x\0/y',), '/x\0/y'),
                (m.File_GenerateShardedFilename, ('a\0b', 0, 1), 'a\0b-00000-of-00001'),
                (m.File_GenerateShardedFilename, ('a', 1, 3), 'a-00001-of-00003'),
                (m.GenerateShardedFilename, ('a\0b', 1, 3), 'a\0b-00001-of-00003'),
                (m.File_CanonicalizeFileName, ('/a/./b//c/../d',), '/a/b/d'),
                (m.File_StripBasename, ('/a/b.c',), '/a/'), (m.File_RewriteDatadir, ('/plain/name',), '/plain/name'),
                (m.File_Basename, ('/a/b.c',), 'b.c'), (m.File_Basename, ('',), ''),
                (m.File_Suffix, ('/a/b.c',), 'c'), (m.File_Suffix, ('/a/b',), None),
                (m.File_Suffix, ('/a/.hidden',), None)):
            result = f(*args)
            self.assertEqual((type(result), result), (type(expected), expected), (f.__name__, args))

    def test_argument_types(self):
        # Library strings keep NULs but refuse non-strings; char pointers also refuse NULs.
        for f, args in ((m.File_CleanPath, (5,)), (m.File_JoinPath, ('a', None)), (m.File_Basename, ('a\0b',)),
                        (m.File_Exists, ('a\0b',)), (m.File_Suffix, (None,))):
            self.assertRaises(TypeError, f, *args)


class NameListTest(pqtest.TestCase):
    def test_construct_full_file_name(self):
        self.assertEqual(m.File_ConstructFullFileName('/d', ['x', 'y'], '.txt', 3), '/d/x/y.txt@3')
        self.assertEqual(m.File_ConstructFullFileName('/d', (), '', 0), '/d')

    def test_canonicalize_list_writes_through_a_wrapped_vector(self):
        self.assertIs(m.File_CanonicalizeFileNameList(None, ['/a/./b']), None)
        self.assertTypeError('Type error. Got _p_std__vectorTstring_t, expected _p_vectorTstring_t',
                             m.File_CanonicalizeFileNameList, m.new_stringVector(), ['/a'])
        self.assertTypeError('vector<::string> expected', m.File_CanonicalizeFileNameList, None, [None])


class ShardedNameTest(pqtest.TestCase):
    """File_ and free forms of the sharded-name functions; the names themselves are the library's
    (sharded_test.cc)."""

    def test_generated_names_and_their_outputs(self):
        for prefix in ('File_', ''):
            generate = getattr(m, prefix + 'GenerateShardedFilenames')
            basename = getattr(m, prefix + 'ShardedBasenameWithNumShards')
            self.assertEqual(generate('a/b@2'), (1, ['a/b-00000-of-00002', 'a/b-00001-of-00002']))
            self.assertEqual(generate('a/b'), (0, []))
            shard, count, digits = ctypes.c_int(-1), ctypes.c_int(-1), ctypes.c_int(-1)
            self.assertEqual(basename('d/s-00011-of-00012', pointer_to(shard, '_p_int'), pointer_to(count, '_p_int'),
                                      pointer_to(digits, '_p_int')), 'd/s@12')
            self.assertEqual((shard.value, count.value, digits.value), (11, 12, 5))
            self.assertEqual(basename('d/s-00001-of-00003', None, None, None), 'd/s@3')
            self.assertIs(basename('d/a', None, None, None), None)
            self.assertTypeError('Type error. Got _p_int64, expected _p_int', basename, 'd/a',
                                 '_0000000000000001_p_int64', None, None)
        self.assertEqual(m.GenerateShardedFilename('a', 3, 3), '')
        self.assertEqual(m.GenerateShardedFilePattern('a/b', 3), 'a/b-?????-of-00003')


class ValueFunctionTest(pqtest.TestCase):
    def test_negative_int64_takes_the_whole_uint64_range(self):
        for value, negative in ((2 ** 63, 1), (2 ** 64 - 1, 1), (2 ** 63 - 1, 0), (0, 0)):
            self.assertIntResult(m.IsUInt64ANegativeInt64(value), negative)
        for bad, error in ((-1, OverflowError), (2 ** 64, OverflowError), ('1', TypeError)):
            self.assertRaises(error, m.IsUInt64ANegativeInt64, bad)

    def test_errno_mapping_and_error_space(self):
        for value, code in ((0, m.OK), (errno.ENOENT, m.ERROR_NOT_FOUND), (99999, m.ERROR_UNKNOWN)):
            self.assertIntResult(m.TranslateFromErrno(value), code)
        self.assertIn('not found', m.ErrorToString(m.ERROR_NOT_FOUND))
        self.assertIn('99', m.ErrorToString(99))
        space = m.ErrorSpace()  # one shared object
        self.assertTrue(pqtest.is_pointer_text(space, '_p_util__ErrorSpace'))
        self.assertEqual(m.ErrorSpace(), space)
        self.assertRaises(TypeError, m.ErrorSpace, 1)


if __name__ == '__main__':
    pqtest.main()
