"""The FileFactory rows: the registry, the factory-name variables and one factory driven directly.

ctypes stands in for what no row hands Python: a factory pointer (the first word of a shared
handle), a readable vector<string> (a stringVector under the other tag: begin/end over 32-byte
strings led by data pointer and size) and int counters passed by address; the layouts are
pinned down by tests/runtime/factory_handles_test.cc.
"""
import binascii
import ctypes
import grp
import os
import struct

import pqtest
from pqtest import assert_results, awaited, m, pointer_to

WORD = struct.calcsize('P')
NAMES = ('tarn', 'cached', 'autocache', 'readahead', 'replicated', 'remote', 'wicket_remote', 'big', 'striped',
         'lock_server', 'local', 'mem', 'storage_server', 'zip', 'managed_replicated', 'namespace', 'fern',
         'kelp', 'loom', 'brisk', 'spindle_resource', 'quill', 'inline', 'fastwrite', 'encrypted')


def pointer_text(address, mangled):
    return '_' + binascii.hexlify(struct.pack('P', address)) + mangled


def factory_of(shared):
    """The factory a shared handle holds, as a _p_FileFactory text (null when empty)."""
    address = struct.unpack('P', binascii.unhexlify(shared[1:1 + 2 * WORD]))[0]
    return '_' + binascii.hexlify(ctypes.string_at(address, WORD)) + '_p_FileFactory'


def is_empty(shared):
    return factory_of(shared) == pointer_text(0, '_p_FileFactory')


def by_name(kind):
    return factory_of(m.FileFactory_Find(getattr(m.cvar, 'FileFactory_%s_file' % kind)))


def name_vector(case, names=()):
    """A wrapped vector<string> holding names, freed when the test ends."""
    v = m.new_stringVector()
    case.addCleanup(m.delete_stringVector, v)
    wrapped = v[:1 + 2 * WORD] + '_p_vectorTstring_t'
    if names:
        m.File_CanonicalizeFileNameList(wrapped, list(names))
    return wrapped


def read_names(wrapped):
    address = struct.unpack('P', binascii.unhexlify(wrapped[1:1 + 2 * WORD]))[0]
    begin, end = struct.unpack('PP', ctypes.string_at(address, 2 * WORD))
    names = []
    for at in range(begin, end, 4 * WORD):
        data, size = struct.unpack('PP', ctypes.string_at(at, 2 * WORD))
        names.append(ctypes.string_at(data, size))
    return names


class RegistryTest(pqtest.TestCase):
    def test_look_ups_return_shared_handles(self):
        local, mem = by_name('local'), by_name('mem')
        self.assertTrue(pqtest.is_pointer_text(local, '_p_FileFactory') and local != mem, (local, mem))
        # Each look-up is a fresh copy of the handle, holding the same factory.
        a, b, unknown = m.FileFactory_Find('mem'), m.FileFactory_Find('mem'), m.FileFactory_Find('pqtest-no-such')
        self.assertTrue(all(pqtest.is_pointer_text(h, '_p_shared_ptrTFileFactory_t') for h in (a, unknown)), a)
        self.assertEqual((a != b, factory_of(a), is_empty(unknown)), (True, factory_of(b), True))
        for kind in NAMES:  # the variables hold the registered names
            self.assertEqual(getattr(m.cvar, 'FileFactory_%s_file' % kind), kind)

    def test_assigned_name_is_the_librarys(self):
        # The link object writes the library's own variable: before the registry is first used,
        # the name is the one the built-in registers under.
        status, out, err = pqtest.run_python('\n'.join([
            'from pqtest import m', 'import test_factory as t', 'm.cvar.FileFactory_mem_file = "pqtest-mem"',
            'print t.is_empty(m.FileFactory_Find("pqtest-mem")), t.is_empty(m.FileFactory_Find("mem"))']))
        self.assertEqual((status, err, out), (0, '', 'False True\n'))

    def test_prefix_and_best_look_ups(self):
        mem, local, empty = by_name('mem'), by_name('local'), pointer_text(0, '_p_FileFactory')
        for i, (found, expected) in enumerate((
                (m.FileFactory_FindPrefixFactory('/memx/a'), empty),
                (m.FileFactory_FindPrefixFactoryAndPrefix('/mem/a', 'ignored'), mem),
                (m.FileFactory_FindBestFactory(('/mem/a', '/mem/b/c')), mem),
                (m.FileFactory_FindBestFactory(name_vector(self, ['/mem/a'])), mem),
                (m.FileFactory_FindBestFactory(['/plain/name']), local), (m.FileFactory_FindBestFactory([]), empty))):
            self.assertEqual(factory_of(found), expected, i)

    def test_registration_by_prefix_and_name_and_refusals(self):
        # A local scratch directory handed to the memory factory: its names
        # are then looked up in memory, where they do not exist.
        prefix = pqtest.scratch_dir_of(self) + '/'
        name = prefix + 'f'
        self.assertIntResult(m.File_WriteStringToFile('x', name), 1)
        mem = by_name('mem')
        for handle in (mem, m.FileFactory_Find('mem')):
            self.assertIntResult(m.FileFactory_RegisterFactoryPrefix(handle, prefix), 1)
            self.assertEqual(factory_of(m.FileFactory_FindPrefixFactory(name)), mem)
            assert_results(self, [m.File_Exists(name), m.FileFactory_UnRegisterFactoryPrefix(prefix),
                                  m.FileFactory_UnRegisterFactoryPrefix(prefix), m.File_Exists(name)], [0, 1, 0, 1])
            self.assertTrue(is_empty(m.FileFactory_FindPrefixFactory(name)))
        for empty in (m.FileFactory_Find('pqtest-no-such-kind'), pointer_text(0, '_p_shared_ptrTFileFactory_t')):
            self.assertTypeError('null reference', m.FileFactory_RegisterFactoryPrefix, empty, '/p/')
        self.assertIntResult(m.FileFactory_RegisterFactoryPrefix(None, '/p/'), 0)
        self.assertIs(m.FileFactory_RegisterFactory(by_name('mem'), 'pqtest-alias'), None)
        self.assertEqual(factory_of(m.FileFactory_Find('pqtest-alias')), by_name('mem'))
        self.assertTypeError('Type error. Got _p_shared_ptrTFileFactory_t, expected _p_FileFactory',
                             m.FileFactory_RegisterFactory, m.FileFactory_Find('mem'), 'x')

    def test_filter_matches_in_place(self):
        # The long name lies outside the string's inline buffer.
        names = ['/d/b', '/d/.h', '/d/c~', '/d/a', '/d/b', '/d/.a.attr', '/d/' + 'x' * 40]
        for flags, unique, expected in ((m.File_MATCH_DEFAULT, 0, ['/d/a', '/d/b', names[-1]]),
                                        (m.File_MATCH_ALL, 1, sorted(set(names)))):
            v = name_vector(self, names)
            self.assertIs(m.FileFactory_FilterMatches('/d/*', v, flags, unique), None)
            self.assertEqual(read_names(v), expected)
        self.assertIs(m.FileFactory_FilterMatches('/d/*', None, 0, 0), None)
        self.assertRaises(TypeError, m.FileFactory_FilterMatches, '/d/*', ['/d/a'], 0, 0)


@pqtest.on_each_file_system
class FactoryOperationTest(pqtest.FileCases):
    """One factory driven directly: one row of each shape (the File_ rows of the same operations are in
    test_file_names.py; the forms differ in parameters the compiler checks against the letters)."""

    def setUp(self):
        super(FactoryOperationTest, self).setUp()
        self.f = by_name('mem' if self.root.startswith('/mem/') else 'local')
        self.group = grp.getgrgid(os.getgid()).gr_name

    def test_outputs_through_the_callers_objects(self):
        name = self.put('a', 'abcd')
        self.put('.h', '')
        s, v = m.new_FileStat(), name_vector(self)
        assert_results(self, [m.FileFactory_StatLockedWithOp(self.f, name, None, s, None),
                              m.FileFactory_Match(self.f, self.path('*'), v, m.File_MATCH_DOTFILES)], [1, 1])
        self.assertEqual((m.FileStat_length_get(s), read_names(v)), (4, [self.path('.h'), name]))
        v = name_vector(self)
        assert_results(self, awaited(self, lambda w: m.FileFactory_MatchAsync(self.f, self.path('*'), v, 0, w)),
                       [1, m.OK])
        self.assertEqual(read_names(v), [name])  # filled by the time the call returns
        m.File_RecursivelyCreateDir(self.path('t/u'), 0o755)
        self.put('t/u/f2', '')
        files, dirs = ctypes.c_int(0), ctypes.c_int(0)
        self.assertIs(m.FileFactory_DeleteRecursivelyWithOp(self.f, self.path('t'), pointer_to(files, '_p_int'),
                                                            pointer_to(dirs, '_p_int'), None), None)
        self.assertEqual((files.value, dirs.value, m.File_Exists(self.path('t'))), (1, 2, 0))
        self.assertTypeError('Type error. Got _p_int64, expected _p_int', m.FileFactory_DeleteRecursivelyWithOp,
                             self.f, self.path('t'), pointer_text(8, '_p_int64'), None, None)

    def test_rows_on_names_reach_the_named_files(self):
        p, g = self.path, self.group
        self.put('a', 'abc')
        for row, args in (('Rename', (p('a'), p('b'))), ('Snapshot', (p('b'), p('c'), 0o640, 0o755)),
                          ('SetGroup', (p('c'), g)), ('SetMtime', (p('c'), 1000000000)),
                          ('SetModeWithOp', (p('b'), 0o604, None)),
                          ('CreateDirFullySpecified', (p('d'), m.new_Attr_t(0), 0o750, g)),
                          ('SetAttributes', (p('c'), m.new_Attr_t(m.Attr_t_PROTECTED)))):
            self.assertIntResult(getattr(m, 'FileFactory_' + row)(self.f, *args), 1)
        s = m.File_Stat(p('c'))
        self.assertEqual((self.contents('c'), m.File_Match(p('*')), m.FileStat_group_get(s), m.FileStat_mtime_get(s),
                          [self.mode_of(n) for n in ('b', 'c', 'd')], m.File_Delete(p('c'))),
                         ('abc', (1, [p('b'), p('c'), p('d')]), g, 1000000000, [0o604, 0o640, 0o750], 0))

    def test_bulk_forms(self):
        f, a, b, missing = self.f, self.put('a', 'aa'), self.put('b', 'b'), self.path('missing')
        ok, flags, stats = m.FileFactory_BulkStat(f, (a, b, missing))
        self.assertEqual((ok, flags, [m.FileStat_length_get(s) for s in stats]), (0, [1, 1, 0], [2, 1, -1]))
        self.assertEqual([m.FileFactory_BulkExist(f, [a, missing]), m.FileFactory_BulkSetMode(f, [a, missing], 0o600),
                          m.FileFactory_Archive(f, [missing], 0, 4)], [(0, [1, 0]), (0, [1, 0]), (0, [0])])
        ok, handles = m.FileFactory_BulkOpenFullySpecified(f, [self.path('c'), self.path('no/such/d')], 'w',
                                                           m.new_Attr_t(0), 0o600, self.group)
        self.assertEqual((ok, m.File_CreateFileName(handles[0]), handles[1]), (0, self.path('c'), None))
        m.File_Close(handles[0])
        self.assertIntResult(m.FileFactory_BulkRename(f, [a, b], [self.path('a2'), self.path('b2')], 0, None), 1)
        self.assertEqual(m.File_Match(self.path('*')), (1, [self.path('a2'), self.path('b2'), self.path('c')]))


if __name__ == '__main__':
    pqtest.main()
