"""Path, sharded-name and FileName utilities (File_ and free forms, replicated and remote
names) and the value functions (IsUInt64ANegativeInt64, TranslateFromErrno)."""
import ctypes
import errno

import pqtest
from pqtest import m, pointer_to


class PathTest(pqtest.TestCase):
    def test_results_are_byte_exact_strings_or_none(self):
        # What the names become is the library's (path_test.cc, sharded_test.cc).
        for f, args, expected in (
                (m.File_CleanPath, ('a//b/../c\0d',), 'a/c\0d'), (m.File_AddSlash, ('',), ''),
                (m.File_Basename, ('',), ''), (m.File_JoinPath, ('a\0', 'b'), 'a\0/b'),
                (m.File_Suffix, ('/a/b',), None), (m.File_Suffix, ('/a/b.c',), 'c'),
                (m.GenerateShardedFilename, ('a\0b', 1, 3), 'a\0b-00001-of-00003'),
                (m.File_CanonicalizeFileName, ('/a/./b//c/../d',), '/a/b/d')):
            result = f(*args)
            self.assertEqual((type(result), result), (type(expected), expected), (f.__name__, args))

    def test_argument_types(self):
        # Library strings keep NULs but refuse non-strings; char pointers also refuse NULs.
        for f, args in ((m.File_CleanPath, (5,)), (m.File_JoinPath, ('a', None)), (m.File_Basename, ('a\0b',)),
                        (m.File_Exists, ('a\0b',)), (m.File_Suffix, (None,))):
            self.assertRaises(TypeError, f, *args)

    def test_name_lists_in_and_through_a_wrapped_vector(self):
        self.assertEqual(m.File_ConstructFullFileName('/d', ['x', 'y'], '.txt', 3), '/d/x/y.txt@3')
        self.assertEqual(m.File_ConstructFullFileName('/d', (), '', 0), '/d')
        self.assertIs(m.File_CanonicalizeFileNameList(None, ['/a/./b']), None)
        self.assertTypeError('Type error. Got _p_std__vectorTstring_t, expected _p_vectorTstring_t',
                             m.File_CanonicalizeFileNameList, m.new_stringVector(), ['/a'])
        self.assertTypeError('vector<::string> expected', m.File_CanonicalizeFileNameList, None, [None])

    # File_ and free forms of the sharded-name functions; the names themselves are the library's
    # (sharded_test.cc).
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
        self.assertEqual(m.GenerateShardedFilePattern('a/b', 3), 'a/b-?????-of-00003')

    def test_value_functions(self):
        for value, negative in ((2 ** 63, 1), (2 ** 64 - 1, 1), (2 ** 63 - 1, 0), (0, 0)):
            self.assertIntResult(m.IsUInt64ANegativeInt64(value), negative)
        for bad, error in ((-1, OverflowError), (2 ** 64, OverflowError), ('1', TypeError)):
            self.assertRaises(error, m.IsUInt64ANegativeInt64, bad)
        self.assertIntResult(m.TranslateFromErrno(errno.ENOENT), m.ERROR_NOT_FOUND)  # the rest: values_test.cc


FLAGS = ('simple', 'replicated', 'remote', 'wicket_remote', 'bigfile', 'striped', 'tarn',
         'tarn_shadow', 'cached', 'cached_check', 'lock_server', 'namespace', 'fern', 'kelp',
         'quill', 'registered_prefix')
TEXTS = ('host', 'cellname', 'directory_noslash', 'basename', 'rest', 'prefix', 'strip_basename', 'directory')


def flags_of(name):
    return set(flag for flag in FLAGS if getattr(m, 'FileName_is_' + flag)(name))


def texts_of(name):
    return [getattr(m, 'FileName_' + row)(name) for row in TEXTS]


class FileNameTest(pqtest.TestCase):
    def test_each_flag_row_reads_its_own_flag(self):
        for text, expected in (
                ('/rep/east/a', {'replicated'}), ('/remote/m7/a', {'remote'}), ('/wicket/m7:4100/a', {'wicket_remote'}),
                ('/bigfile/east/b', {'bigfile'}), ('/striped/east/s', {'striped'}), ('/tarn/east/t', {'tarn'}),
                ('/tarn-shadow/east/t', {'tarn', 'tarn_shadow'}), ('/cache/rep/east/a', {'cached'}),
                ('/cache-check/x', {'cached', 'cached_check'}), ('/lock/east/l', {'lock_server'}),
                ('/ns/east/n', {'namespace'}), ('/fern/east/f', {'fern'}), ('/kelp/east/k', {'kelp'}),
                ('/quill/east/q', {'quill'}), ('/mem/a/b', {'registered_prefix'}), ('/tmp/a', {'simple'})):
            self.assertEqual(flags_of(m.new_FileName(text)), expected, text)

    def test_each_text_row_reads_its_own_field(self):
        self.assertEqual(texts_of(m.new_FileName('/rep/east/logs/a.txt')),
                         ['', 'east', '/logs', 'a.txt', '/logs/a.txt', '/rep/east', '/rep/east/logs/', '/logs/'])
        built = m.new_FileName(m.ReplicatedFileNameToOpen('/rep/east/logs/a', 'm7'))  # parses back
        self.assertEqual((m.FileName_host(built), m.FileName_rest(built)), ('m7', '/logs/a'))
        self.assertIntResult(m.FileName_is_root_directory(m.new_FileName('/rep/east')), 1)
        self.assertIs(m.FileName_Parse(built, '/tmp/b'), None)  # replaces the contents
        self.assertEqual((flags_of(built), m.FileName_host(built), m.FileName_rest(built)), ({'simple'}, '', '/tmp/b'))

    def test_make_tarn_name_drops_its_output(self):
        n = m.new_FileName('/rep/east/a')
        out = 'unchanged'
        self.assertIntResult(m.FileName_MakeTARNName(n, out, m.FileName_TARN_SHADOW), 1)
        self.assertEqual(out, 'unchanged')

    def test_replica_names(self):
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7:99', m.File_TYPE_SREMOTE_SERVER),
                         '/wicket/m7:99/a')
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7', 9), '')

    def test_parse_wicket_name_returns_only_the_path(self):
        host, path = 'h', 'p'
        self.assertEqual(m.ParseWicketRemoteName('/wicket/m7/a/b', 4100, host, path), '/a/b')
        self.assertEqual((host, path), ('h', 'p'))
        self.assertIs(m.ParseWicketRemoteName('/tmp/a', 4100, '', ''), None)

if __name__ == '__main__':
    pqtest.main()
