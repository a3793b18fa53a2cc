"""FileName objects and the replicated/remote name functions."""
import os

import pqtest
from pqtest import m

FileNameProxy = pqtest.register_proxy('FileName')

FLAGS = ('simple', 'replicated', 'remote', 'wicket_remote', 'bigfile', 'striped', 'tarn',
         'tarn_shadow', 'cached', 'cached_check', 'lock_server', 'namespace', 'fern', 'kelp',
         'quill', 'registered_prefix')
FIELDS = ('host', 'cellname', 'directory_noslash', 'basename', 'rest')


def flags_of(name):
    return set(flag for flag in FLAGS if getattr(m, 'FileName_is_' + flag)(name))


class FileNameTest(pqtest.TestCase):
    def test_default_is_empty_and_owned(self):
        n = m.new_FileName()
        self.assertIsInstance(n, FileNameProxy)
        self.assertEqual(n.thisown, 1)
        for flag in FLAGS:
            self.assertIntResult(getattr(m, 'FileName_is_' + flag)(n), 0)
        for field in FIELDS + ('prefix', 'strip_basename', 'directory'):
            self.assertEqual(getattr(m, 'FileName_' + field)(n), '')
        self.assertIntResult(m.FileName_is_root_directory(n), 0)
        self.assertIs(m.delete_FileName(n), None)

    def test_constructor_dispatch(self):
        for bad in ((5,), (None,), ('a', 'b')):
            self.assertTypeError("No matching function for overloaded 'new_FileName'", m.new_FileName, *bad)
        self.assertRaises(TypeError, m.new_FileName, 'a\0b')  # "s" refuses NUL bytes

    def test_each_form_sets_its_flags(self):
        cases = {
            '/rep/east/logs/a.txt': {'replicated'},
            '/remote/m7/tmp/a': {'remote'},
            '/wicket/m7:4100/a': {'wicket_remote'},
            '/bigfile/east/b': {'bigfile'},
            '/striped/east/s': {'striped'},
            '/tarn/east/t': {'tarn'},
            '/tarn-shadow/east/t': {'tarn', 'tarn_shadow'},
            '/cache/rep/east/a': {'cached'},
            '/cache-check/x': {'cached', 'cached_check'},
            '/lock/east/l': {'lock_server'},
            '/ns/east/n': {'namespace'},
            '/fern/east/f': {'fern'},
            '/kelp/east/k': {'kelp'},
            '/quill/east/q': {'quill'},
            '/mem/a/b': {'registered_prefix'},
            '/tmp/a': {'simple'},
            '/rep//a': set(),
        }
        for text, expected in cases.items():
            self.assertEqual(flags_of(m.new_FileName(text)), expected, text)

    def test_fields_and_derived_texts(self):
        n = m.new_FileName('/rep/east/logs/a.txt')
        self.assertEqual([getattr(m, 'FileName_' + f)(n) for f in FIELDS],
                         ['', 'east', '/logs', 'a.txt', '/logs/a.txt'])
        self.assertEqual(m.FileName_prefix(n), '/rep/east')
        self.assertEqual(m.FileName_strip_basename(n), '/rep/east/logs/')
        self.assertEqual(m.FileName_directory(n), '/logs/')
        self.assertEqual(m.FileName_host(m.new_FileName('/wicket/m7:4100/a')), 'm7:4100')

    def test_directory_slash_rules(self):
        self.assertEqual(m.FileName_directory(m.new_FileName('/top')), '/')
        self.assertEqual(m.FileName_directory(m.new_FileName('plain')), '')
        self.assertEqual(m.FileName_directory(m.new_FileName('a/b/c')), 'a/b/')
        self.assertIntResult(m.FileName_is_root_directory(m.new_FileName('/rep/east')), 1)
        self.assertIntResult(m.FileName_is_root_directory(m.new_FileName('/rep/east/x')), 0)

    def test_parse_replaces_the_contents(self):
        n = m.new_FileName('/rep/east/a')
        self.assertIs(m.FileName_Parse(n, '/tmp/b'), None)
        self.assertEqual(flags_of(n), {'simple'})
        self.assertEqual(m.FileName_cellname(n), '')
        self.assertEqual(m.FileName_rest(n), '/tmp/b')

    def test_make_tarn_name_drops_its_output(self):
        n = m.new_FileName('/rep/east/a')
        out = 'unchanged'
        self.assertIntResult(m.FileName_MakeTARNName(n, out, m.FileName_TARN_SHADOW), 1)
        self.assertEqual(out, 'unchanged')
        self.assertIntResult(m.FileName_MakeTARNName(m.new_FileName('/tmp/a'), '', m.FileName_TARN_PRIMARY), 0)
        self.assertIntResult(m.FileName_MakeTARNName(n, '', 7), 0)
        self.assertRaises(TypeError, m.FileName_MakeTARNName, n, None, 0)

    def test_null_receivers(self):
        self.assertTypeError('null reference', m.FileName_is_simple, None)
        self.assertTypeError('null reference', m.FileName_Parse, None, 'x')
        self.assertTypeError('Type error. Got _p_Attr_t, expected _p_FileName',
                             m.FileName_rest, m.new_Attr_t())


class ReplicatedNameTest(pqtest.TestCase):
    def test_replica_names(self):
        self.assertEqual(m.ReplicatedFileNameToOpen('/rep/east/a', 'm7'), '/remote/m7/a')
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7:99', m.File_TYPE_SREMOTE_SERVER),
                         '/wicket/m7:99/a')
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7', m.File_TYPE_RFSERVER),
                         '/remote/m7/a')
        self.assertEqual(m.MultiProtocolReplicatedFileNameToOpen('/rep/east/a', 'm7', 9), '')
        self.assertEqual(m.ReplicatedFileNameToOpen('/tmp/a', 'm7'), '')
        self.assertEqual(m.ReplicatedFileNameAppend('/rep/east/dir', 'f'), '/rep/east/dir/f')
        self.assertEqual(m.ReplicatedFileNameAppend('/rep/east/dir', '/x'), '/rep/east/x')
        self.assertRaises(TypeError, m.ReplicatedFileNameToOpen, '/rep/east/a', None)

    def test_built_names_parse_back(self):
        built = m.new_FileName(m.ReplicatedFileNameToOpen('/rep/east/logs/a', 'm7'))
        self.assertEqual((m.FileName_host(built), m.FileName_rest(built)), ('m7', '/logs/a'))

    def test_parse_wicket_name_returns_only_the_path(self):
        host, path = 'h', 'p'
        self.assertEqual(m.ParseWicketRemoteName('/wicket/m7/a/b', 4100, host, path), '/a/b')
        self.assertEqual(m.ParseWicketRemoteName('/wicket/m7:5/a', 0, '', ''), '/a')
        self.assertEqual(m.ParseWicketRemoteName('/wicket/m7', 4100, '', ''), '')
        self.assertEqual((host, path), ('h', 'p'))
        self.assertIs(m.ParseWicketRemoteName('/tmp/a', 4100, '', ''), None)
        self.assertIs(m.ParseWicketRemoteName('/wicket/m7/a', 0, '', ''), None)
        self.assertRaises(TypeError, m.ParseWicketRemoteName, '/wicket/m7/a', 1, None, '')


class FindFullPathTest(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('findpath')
        with open(os.path.join(self.dir, 'tool'), 'w') as f:
            f.write('x')
        self.saved = dict((k, os.environ.get(k)) for k in ('PATH', 'PQ_H7_PATH'))

    def tearDown(self):
        for key, value in self.saved.items():
            if value is None:
                os.environ.pop(key, None)
            else:
                os.environ[key] = value
        os.unlink(os.path.join(self.dir, 'tool'))
        os.rmdir(self.dir)

    def test_default_variable_is_path(self):
        os.environ['PATH'] = '/nonexistent:' + self.dir
        os.environ['PQ_H7_PATH'] = '/nonexistent'
        expected = os.path.join(self.dir, 'tool')
        self.assertEqual(m.FindFullPath('tool'), expected)
        self.assertEqual(m.FindFullPath('tool', 'PATH'), expected)
        self.assertEqual(m.FindFullPath('tool', 'PQ_H7_PATH'), '')
        os.environ['PQ_H7_PATH'] = self.dir
        self.assertEqual(m.FindFullPath('tool', 'PQ_H7_PATH'), expected)
        self.assertEqual(m.FindFullPath('absent'), '')
        self.assertRaises(TypeError, m.FindFullPath)
        self.assertRaises(TypeError, m.FindFullPath, 'a', 'b', 'c')


if __name__ == '__main__':
    pqtest.main()
