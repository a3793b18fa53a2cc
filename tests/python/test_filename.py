"""FileName objects and the replicated/remote name functions."""
import os
import shutil

import pqtest
from pqtest import m

FLAGS = ('simple', 'replicated', 'remote', 'wicket_remote', 'bigfile', 'striped', 'tarn',
         'tarn_shadow', 'cached', 'cached_check', 'lock_server', 'namespace', 'fern', 'kelp',
         'quill', 'registered_prefix')
TEXTS = ('host', 'cellname', 'directory_noslash', 'basename', 'rest', 'prefix', 'strip_basename', 'directory')


def flags_of(name):
    return set(flag for flag in FLAGS if getattr(m, 'FileName_is_' + flag)(name))


def texts_of(name):
    return [getattr(m, 'FileName_' + row)(name) for row in TEXTS]


class FileNameTest(pqtest.TestCase):
    def test_default_is_empty(self):
        n = m.new_FileName()
        self.assertEqual((flags_of(n), m.FileName_is_root_directory(n), texts_of(n)), (set(), 0, [''] * len(TEXTS)))
        for bad in ((5,), ('a', 'b')):
            self.assertNoMatch(m.new_FileName, *bad)

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
        self.assertIntResult(m.FileName_MakeTARNName(m.new_FileName('/tmp/a'), '', m.FileName_TARN_PRIMARY), 0)
        self.assertRaises(TypeError, m.FileName_MakeTARNName, n, None, 0)


class NameFunctionTest(pqtest.TestCase):
    def test_replica_names(self):
        self.assertEqual(m.ReplicatedFileNameToOpen('/rep/east/a', 'm7'), '/remote/m7/a')
        self.assertEqual(m.ReplicatedFileNameToOpen('/tmp/a', 'm7'), '')
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7:99', m.File_TYPE_SREMOTE_SERVER),
                         '/wicket/m7:99/a')
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7', 9), '')
        self.assertEqual(m.ReplicatedFileNameAppend('/rep/east/dir', 'f'), '/rep/east/dir/f')

    def test_parse_wicket_name_returns_only_the_path(self):
        host, path = 'h', 'p'
        self.assertEqual(m.ParseWicketRemoteName('/wicket/m7/a/b', 4100, host, path), '/a/b')
        self.assertEqual((host, path), ('h', 'p'))
        self.assertEqual(m.ParseWicketRemoteName('/wicket/m7', 4100, '', ''), '')
        self.assertIs(m.ParseWicketRemoteName('/tmp/a', 4100, '', ''), None)

    def test_find_full_path_searches_path_by_default(self):
        # The search itself is the library's (filename_test.cc).
        directory = pqtest.scratch_dir('findpath')
        self.addCleanup(shutil.rmtree, directory, True)
        open(os.path.join(directory, 'tool'), 'w').close()
        code = 'import _file_base_pyquarry as m\nprint m.FindFullPath("tool"), m.FindFullPath("tool", "PQ_H7_PATH")'
        status, out, err = pqtest.run_python(code, PATH='/nonexistent:' + directory, PQ_H7_PATH='/nonexistent')
        self.assertEqual((status, out), (0, os.path.join(directory, 'tool') + ' \n'), err)


if __name__ == '__main__':
    pqtest.main()
