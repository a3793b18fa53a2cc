"""Operations on names: File_Exists ... File_init_called."""
import re
import signal
import threading

import file_roots
import pqtest
from pqtest import m


def attr(bits):
    return m.new_Attr_t(bits)


@file_roots.on_each_file_system
class QueryTest(file_roots.FileCases):
    def test_predicates_are_ints(self):
        name = self.put('a', 'x')
        for query, expected in ((m.File_Exists, 1), (m.File_Readable, 1), (m.File_IsDirectory, 0)):
            self.assertIntResult(query(name), expected)
            self.assertIntResult(query(self.path('missing')), 0)
        self.assertIntResult(m.File_IsDirectory(self.root), 1)
        self.assertIntResult(m.File_ExistsWithOp(name, None), 1)
        self.assertIntResult(m.File_ReadableWithOp(name, None), 1)
        self.assertIntResult(m.File_IsDirectoryWithOp(self.root, None), 1)
        self.assertIntResult(m.File_IsAttributeFilename(self.path('.a.attr')), 1)
        self.assertIntResult(m.File_IsAttributeFilename(name), 0)
        self.assertRaises(TypeError, m.File_Exists, None)
        self.assertRaises(TypeError, m.File_Exists, name + '\0')

    def test_stat_forms_fill_the_callers_record(self):
        name = self.put('a', 'abc')
        for call in (lambda s: m.File_StatWithOp(name, s, None),
                     lambda s: m.File_StatLocked(name, None, s),
                     lambda s: m.File_StatLockedWithOp(name, None, s, None)):
            s = m.new_FileStat()
            self.assertIntResult(call(s), 1)
            self.assertLongResult(m.FileStat_length_get(s), 3)
        self.assertIntResult(m.File_StatWithOp(self.path('missing'), m.new_FileStat(), None), 0)
        self.assertLongResult(m.File_GetFileSize(name), 3)
        self.assertLongResult(m.File_GetFileSize(self.path('missing')), -1)

    def test_locked_async_forms(self):
        name = self.put('a', 'abcd')
        w, s = m.new_AsyncIOWatcher(), m.new_FileStat()
        self.assertIntResult(m.File_StatAsyncLocked(name, None, s, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertLongResult(m.FileStat_length_get(s), 4)
        w = m.new_AsyncIOWatcher()
        self.assertIntResult(m.File_DeleteAsyncLocked(name, None, w), 1)
        m.AsyncIOWatcher_Wait(w)
        self.assertEqual((m.AsyncIOWatcher_Error(w), m.File_Exists(name)), (m.OK, 0))

    def test_statfs_and_int64_outputs(self):
        self.assertIntResult(m.File_Statfs(self.root, None, None, None), 1)
        self.assertIntResult(m.File_Statfs(self.path('missing'), None, None, None), 0)
        self.assertTypeError('Type error. Got _p_FileStat, expected _p_int64',
                             m.File_Statfs, self.root, m.new_FileStat(), None, None)


@file_roots.on_each_file_system
class MatchTest(file_roots.FileCases):
    def setUp(self):
        super(MatchTest, self).setUp()
        for name in ('a', 'b.txt', '.hidden', 'backup~'):
            self.put(name, name)
        m.File_CreateDir(self.path('sub'), 0o755)

    def names(self, *basenames):
        return [self.path(b) for b in basenames]

    def test_match_pairs(self):
        visible = self.names('a', 'b.txt', 'sub')
        ok, found = m.File_Match(self.path('*'))
        self.assertIntResult(ok, 1)
        self.assertIs(type(found), list)
        self.assertEqual(found, visible)
        self.assertEqual(m.File_Match(self.path('nothing*')), (1, []))
        self.assertEqual(m.File_MatchWithOp(self.path('*'), None), (1, visible))
        self.assertEqual(m.File_MatchLocked(self.path('*'), None), (1, visible))
        self.assertEqual(m.File_MatchLockedWithOp(self.path('b*'), None, None), (1, self.names('b.txt')))
        self.assertEqual(m.File_GetMatchingFiles(self.path('*')), (1, self.names('a', 'b.txt')))
        self.assertEqual(m.File_GetMatchingFilesLocked(self.path('*'), None), (1, self.names('a', 'b.txt')))

    def test_extended_match_types(self):
        pattern = self.path('*')
        every = self.names('.hidden', 'a', 'b.txt', 'backup~', 'sub')
        self.assertEqual(m.File_ExtendedMatch(pattern, m.File_MATCH_DEFAULT), (1, self.names('a', 'b.txt', 'sub')))
        self.assertEqual(m.File_ExtendedMatch(pattern, m.File_MATCH_ALL), (1, every))
        self.assertEqual(m.File_ExtendedMatchWithOp(pattern, m.File_MATCH_DOTFILES, None),
                         (1, self.names('.hidden', 'a', 'b.txt', 'sub')))
        self.assertEqual(m.File_ExtendedMatchLocked(pattern, None, m.File_MATCH_BACKUPS),
                         (1, self.names('a', 'b.txt', 'backup~', 'sub')))
        self.assertEqual(m.File_ExtendedMatchLockedWithOp(pattern, None, m.File_MATCH_ALL, None), (1, every))
        self.assertRaises(TypeError, m.File_ExtendedMatch, pattern, 'x')

    def test_async_matches_return_the_filled_list(self):
        # The list is only valid once the worker is done with it; the caller's
        # completion has received Finish by the time the call returns.
        pattern = self.path('*')
        calls = (lambda w: m.File_MatchAsync(pattern, w),
                 lambda w: m.File_MatchAsyncLocked(pattern, None, w),
                 lambda w: m.File_ExtendedMatchAsync(pattern, m.File_MATCH_ALL, w),
                 lambda w: m.File_ExtendedMatchAsyncLocked(pattern, None, m.File_MATCH_ALL, w))
        expected = (3, 3, 5, 5)
        for call, count in zip(calls, expected):
            w = m.new_AsyncIOWatcher()
            ok, found = call(w)
            self.assertEqual((ok, len(found)), (1, count))
            self.assertEqual(m.AsyncIOWatcher_IsFinished(w), 1)
            self.assertEqual(m.AsyncIOWatcher_Bytes(w), count)
            m.delete_AsyncIOWatcher(w)
        self.assertEqual(m.File_MatchAsync(pattern, None), (0, []))

    def test_async_matches_from_many_threads(self):
        errors = []

        def worker():
            for _ in range(20):
                w = m.new_AsyncIOWatcher()
                if m.File_MatchAsync(self.path('*'), w) != (1, self.names('a', 'b.txt', 'sub')):
                    errors.append('bad match')
                m.delete_AsyncIOWatcher(w)
        threads = [threading.Thread(target=worker) for _ in range(4)]
        for t in threads:
            t.start()
        for t in threads:
            t.join(30)
        self.assertEqual(errors, [])


@file_roots.on_each_file_system
class DeleteTest(file_roots.FileCases):
    def test_delete_forms(self):
        name = self.put('a', '')
        self.assertIntResult(m.File_Delete(name), 1)
        self.assertIntResult(m.File_Delete(name), 0)
        for n in ('x1', 'x2', 'y'):
            self.put(n, '')
        self.assertIntResult(m.File_DeleteMatchingFiles(self.path('x*')), 1)
        self.assertIntResult(m.File_DeleteMatchingFilesWithOp(self.path('y*'), None), 1)
        self.assertEqual(m.File_Match(self.path('*')), (1, []))
        m.File_CreateDir(self.path('d'), 0o755)
        m.File_CreateDir(self.path('e'), 0o755)
        self.assertIntResult(m.File_DeleteDir(self.path('d')), 1)
        self.assertIntResult(m.File_DeleteDirWithOp(self.path('e'), None), 1)

    def test_attribute_records_go_with_none_results(self):
        name = self.put('a', '')
        m.File_SetAttributes(name, attr(m.Attr_t_PROTECTED))
        self.assertIs(m.File_DeleteFileAttributes(name), None)
        self.assertIs(m.File_DeleteFileAttributesWithOp(name, None), None)
        self.assertIs(m.File_BulkDeleteAttributes([name]), None)
        self.assertIs(m.File_BulkDeleteAttributesWithOp((name,), None), None)
        self.assertIntResult(m.File_Delete(name), 1)
        self.assertTypeError('vector<::string> expected', m.File_BulkDeleteAttributes, name)

    def test_delete_recursively_counts(self):
        m.File_RecursivelyCreateDir(self.path('t/u/v'), 0o755)
        self.put('t/f1', '')
        self.put('t/u/f2', '')
        counts = m.File_DeleteRecursively(self.path('t'))
        self.assertEqual(counts, (2, 3))
        self.assertEqual([type(c) for c in counts], [int, int])
        self.assertEqual(m.File_Exists(self.path('t')), 0)
        self.assertRaises(TypeError, m.File_DeleteRecursively, 5)

    def test_df_list_outputs_are_wrapped_pointers(self):
        self.assertIs(m.File_DFListFileAndDir(self.root, m.File_MATCH_DEFAULT, None, None, None), None)
        self.assertTypeError('Type error. Got _p_std__vectorTstring_t, expected _p_vectorTstring_t',
                             m.File_DFListFileAndDir, self.root, 0, m.new_stringVector(), None, None)


@file_roots.on_each_file_system
class RenameCopyTest(file_roots.FileCases):
    def test_rename(self):
        a, b = self.put('a', 'A'), self.put('b', 'B')
        self.assertIntResult(m.File_Rename(a, b, 0), 0)
        self.assertIntResult(m.File_RenameWithOp(a, b, 1, None), 1)
        self.assertEqual((m.File_Exists(a), self.contents('b')), (0, 'A'))
        self.assertRaises(TypeError, m.File_Rename, b, a, 'yes')

    def test_copy_forms(self):
        a = self.put('a', 'data\0')
        self.assertIntResult(m.File_Copy(a, self.path('c1'), 0), 1)
        self.assertIntResult(m.File_Copy(a, self.path('c1'), 0), 0)
        self.assertIntResult(m.File_CopyWithAttr(a, self.path('c2'), attr(0), 0), 1)
        self.assertIntResult(m.File_CopyFullySpecified(a, self.path('c3'), attr(0), 0o600, 'root', 0, 1, 1), 1)
        self.assertIntResult(m.File_CopyFullySpecified(a, self.path('c4'), attr(0), 0o640, 'root', 0, 1, 1, None), 1)
        for n in ('c1', 'c2', 'c3', 'c4'):
            self.assertEqual(self.contents(n), 'data\0')
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(self.path('c4'))) & 0o777, 0o640)

    def test_copy_fully_specified_dispatch(self):
        a = self.put('a', '')
        no_match = "No matching function for overloaded 'File_CopyFullySpecified'"
        self.assertTypeError(no_match, m.File_CopyFullySpecified, a, self.path('x'), attr(0), 0, 'root', 0, 1)
        self.assertTypeError(no_match, m.File_CopyFullySpecified, a, self.path('x'), attr(0), 'n', 'root', 0, 1, 1)
        self.assertTypeError(no_match, m.File_CopyFullySpecified, a, self.path('x'), attr(0), 0, 'root', 0, 1, 1,
                             m.new_FileStat())
        self.assertEqual(m.File_Exists(self.path('x')), 0)

    def test_handle_copies(self):
        self.put('src', 'abcdef')
        for n, call in enumerate((lambda s, t: m.File_CopyBytes(s, t, None),
                                  lambda s, t: m.File_CopyBytes(s, t, None, None),
                                  lambda s, t: m.File_CopyToEof(s, t),
                                  lambda s, t: m.File_CopyToEof(s, t, None))):
            source = self.handle('src', 'r')
            m.File_Seek(source, 2)
            target = m.File_Open(self.path('t%d' % n), 'w')
            self.assertIntResult(call(source, target), 1)
            m.File_Close(target)
            self.assertEqual(self.contents('t%d' % n), 'cdef')
        source = self.handle('src', 'r')
        target = self.handle('n', 'w')
        self.assertIntResult(m.File_CopyNBytes(source, target, 3, None, None), 1)
        self.assertIntResult(m.File_CopyNBytes(source, target, 30, None, None), 0)
        self.assertIntResult(m.File_CopyToEof(None, target), 0)
        self.assertTypeError("No matching function for overloaded 'File_CopyBytes'", m.File_CopyBytes, source)
        self.assertTypeError("No matching function for overloaded 'File_CopyToEof'",
                             m.File_CopyToEof, source, 'x')


@file_roots.on_each_file_system
class ModeAndAttributeTest(file_roots.FileCases):
    def test_mode_mtime_owner_group(self):
        name = self.put('a', '')
        self.assertIntResult(m.File_SetMode(name, 0o640), 1)
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(name)) & 0o777, 0o640)
        self.assertIntResult(m.File_SetModeWithOp(name, 0o600, None), 1)
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(name)) & 0o777, 0o600)
        self.assertIntResult(m.File_SetMtime(name, 1000000000), 1)
        self.assertEqual(m.FileStat_mtime_get(m.File_Stat(name)), 1000000000)
        self.assertRaises(OverflowError, m.File_SetMtime, name, 2 ** 64)
        self.assertIntResult(m.File_SetOwner(name, 'root'), 1)
        self.assertIntResult(m.File_SetGroup(name, 'root'), 1)
        self.assertIntResult(m.File_SetGroupWithOp(name, 'no-such-group-here', None), 0)
        self.assertIntResult(m.File_SetMode(self.path('missing'), 0o600), 0)

    def test_attributes_are_enforced(self):
        name = self.put('a', '')
        self.assertIntResult(m.File_SetAttributes(name, attr(m.Attr_t_PROTECTED)), 1)
        self.assertIntResult(m.Attr_t_attr_get(m.FileStat_attributes_get(m.File_Stat(name))), m.Attr_t_PROTECTED)
        self.assertIntResult(m.File_Delete(name), 0)
        self.assertIntResult(m.File_SetAttributesWithOp(name, attr(0), None), 1)
        self.assertIntResult(m.File_Delete(name), 1)
        self.assertTypeError('null reference', m.File_SetAttributes, name, None)


@file_roots.on_each_file_system
class DirectoryTest(file_roots.FileCases):
    def test_create_forms(self):
        self.assertIntResult(m.File_CreateDir(self.path('a'), 0o700), 1)
        self.assertIntResult(m.File_CreateDir(self.path('a'), 0o700), 0)
        self.assertIntResult(m.File_CreateDirWithOp(self.path('b'), 0o700, None), 1)
        self.assertIntResult(m.File_CreateDirFullySpecified(self.path('c'), attr(0), 0o750, 'root'), 1)
        self.assertIntResult(m.File_CreateDirFullySpecifiedWithOp(self.path('d'), attr(0), 0o700, 'root', None), 1)
        self.assertEqual(m.FileStat_mode_get(m.File_Stat(self.path('c'))) & 0o777, 0o750)
        self.assertIntResult(m.File_RecursivelyCreateDir(self.path('e/f/g'), 0o755), 1)
        self.assertIntResult(m.File_RecursivelyCreateDirFullySpecified(self.path('h/i'), attr(0), 0o755, 'root'), 1)
        self.assertEqual(m.File_IsDirectory(self.path('h/i')), 1)
        self.assertTypeError('null reference', m.File_RecursivelyCreateDirWithOptions, self.path('j'), None)
        self.assertRaises(TypeError, m.File_RecursivelyCreateDir, self.path('k'), 'x')
        self.assertEqual(m.File_Exists(self.path('k')), 0)

    def test_snapshots(self):
        self.put('a', 'snap')
        self.assertIntResult(m.File_SnapshotFile(self.path('a'), self.path('b'), 0o644), 1)
        self.assertEqual(self.contents('b'), 'snap')
        m.File_RecursivelyCreateDir(self.path('t/u'), 0o755)
        self.put('t/u/f', 'deep')
        self.assertIntResult(m.File_Snapshot(self.path('t'), self.path('s'), 0o644, 0o755), 1)
        self.assertEqual(self.contents('s/u/f'), 'deep')


@file_roots.on_each_file_system
class BulkTest(file_roots.FileCases):
    def test_flag_lists(self):
        a, b = self.put('a', ''), self.put('b', '')
        missing = self.path('missing')
        self.assertEqual(m.File_BulkExist([a, missing, b]), (0, [1, 0, 1]))
        self.assertEqual(m.File_BulkExist(()), (1, []))
        self.assertEqual(m.File_BulkSetMode([a, missing], 0o600), (0, [1, 0]))
        self.assertEqual(m.File_BulkSetOwner([a], 'root'), (1, [1]))
        self.assertEqual(m.File_BulkSetGroup([a], 'root'), (1, [1]))
        self.assertEqual(m.File_BulkSetAttributes([a], attr(0)), (1, [1]))
        self.assertEqual(m.File_BulkSetAttributesWithOp([a], attr(0), None), (1, [1]))
        self.assertEqual(m.File_BulkRename([a, missing], [self.path('a2'), self.path('m2')], 0), (0, [1, 0]))
        self.assertEqual(m.File_BulkDelete([self.path('a2'), b]), (1, [1, 1]))
        self.assertEqual(m.File_BulkDeleteWithOp([b], None), (0, [0]))
        m.File_CreateDir(self.path('d'), 0o755)
        self.assertEqual(m.File_BulkDeleteDir([self.path('d')]), (1, [1]))
        ok, flags = m.File_Archive([missing], 0, 1)
        self.assertEqual((ok, flags), (0, [0]))

    def test_bulk_stat_gives_owned_copies(self):
        a = self.put('a', 'xyz')
        ok, flags, stats = m.File_BulkStat([a, self.path('missing'), a])
        self.assertEqual((ok, flags), (0, [1, 0, 1]))
        self.assertEqual(len(stats), 3)
        self.assertTrue(all(pqtest.is_pointer_text(s, '_p_FileStat') for s in stats))
        self.assertEqual(len(set(stats)), 3)
        self.assertLongResult(m.FileStat_length_get(stats[2]), 3)
        self.assertEqual(m.File_BulkStatWithOp([a], None)[0:2], (1, [1]))
        for s in stats:
            m.delete_FileStat(s)

    def test_name_lists_are_checked_before_the_library(self):
        a = self.put('a', '')
        for bad in ([a, 1], [u'x'], a, None, m.new_stringVector()):
            self.assertTypeError('vector<::string> expected', m.File_BulkDelete, bad)
            self.assertTypeError('vector<::string> expected', m.File_BulkRename, [a], bad, 0)
        self.assertEqual(m.File_Exists(a), 1)


@file_roots.on_each_file_system
class WholeFileTest(file_roots.FileCases):
    def test_write_append_read_keep_nuls(self):
        name = self.path('w')
        self.assertIntResult(m.File_WriteStringToFile('a\0b', name), 1)
        self.assertIntResult(m.File_AppendStringToFile('\0c', name), 1)
        self.assertEqual(m.File_ReadFileToString(name), (1, 'a\0b\0c'))
        self.assertIs(m.File_WriteStringToFileOrDie('\0', name), None)
        self.assertIs(m.File_AppendStringToFileOrDie('z', name), None)
        self.assertEqual(m.File_ReadFileToStringOrDie(name), '\0z')
        self.assertEqual(m.File_ReadFileToString(self.path('missing')), (0, ''))
        self.assertRaises(TypeError, m.File_WriteStringToFile, 5, name)


class OrDieTest(pqtest.TestCase):
    def assertDies(self, call, text):
        status, out, err = pqtest.run_python(
            'import _file_base_pyquarry as m\n%s\nprint "survived"' % call)
        self.assertEqual(status, -signal.SIGABRT, err)
        self.assertNotIn('survived', out)
        self.assertTrue(re.search(r'^F.*\] ' + re.escape(text), err, re.M), err)

    def test_whole_file_or_die(self):
        missing = file_roots.scratch_dir(self) + '/no/such'
        self.assertDies('m.File_ReadFileToStringOrDie(%r)' % missing,
                        'Check failed: ReadFileToString(%s)' % missing)
        self.assertDies('m.File_WriteStringToFileOrDie("x", %r)' % missing,
                        'Check failed: WriteStringToFile(%s)' % missing)
        self.assertDies('m.File_AppendStringToFileOrDie("x", %r)' % missing,
                        'Check failed: AppendStringToFile(%s)' % missing)
        self.assertDies('m.File_ReadFileToStringOrDie("/mem/pqtest-ordie/missing")',
                        'Check failed: ReadFileToString(/mem/pqtest-ordie/missing)')


class ProcessWideTest(pqtest.TestCase):
    def test_values(self):
        self.assertIntResult(m.File_pagesize(), m.File_pagesize())
        self.assertGreater(m.File_pagesize(), 0)
        self.assertIs(type(m.File_localhost_name()), str)
        self.assertNotEqual(m.File_localhost_name(), '')
        self.assertTrue(pqtest.is_pointer_text(m.File_opstats(), '_p_FileOpStats'))
        self.assertIn(m.File_init_called(), (0, 1))
        self.assertIs(type(m.File_init_called()), int)
        self.assertIs(m.File_SyncAll(), None)
        self.assertIs(m.File_LogOpStats(), None)
        self.assertIs(m.File_LogUnsupportedFile('x\0y'), None)

    def test_open_files_lists_open_handles(self):
        name = file_roots.scratch_dir(self) + '/open'
        f = m.File_Open(name, 'w')
        self.assertIn('%s w\n' % name, m.File_GetOpenFiles())
        m.File_Close(f)
        self.assertNotIn(name, m.File_GetOpenFiles())

    def test_thread_user_name_is_per_thread_and_byte_exact(self):
        m.File_SetCurrentThreadUserName('me\0too')
        self.assertEqual(m.File_GetCurrentThreadUserName(), 'me\0too')
        seen = []
        t = threading.Thread(target=lambda: seen.append(m.File_GetCurrentThreadUserName()))
        t.start()
        t.join()
        self.assertEqual(seen, [''])
        m.File_SetCurrentThreadUserName('')

    def test_datadir(self):
        self.assertIs(m.File_InitWithDatadirFrom(file_roots.scratch_dir(self)), None)
        self.assertRaises(TypeError, m.File_InitWithDatadirFrom, None)


if __name__ == '__main__':
    pqtest.main()
