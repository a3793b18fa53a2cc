"""Operations on names: File_Exists ... File_init_called."""
import threading

import pqtest
from pqtest import assert_results, attr, awaited, m


@pqtest.on_each_file_system
class NameOperationTest(pqtest.FileCases):
    def test_predicates_and_stat_forms(self):
        name, missing = self.put('a', 'abc'), self.path('missing')
        assert_results(self, [query(n) for query in (m.File_Exists, m.File_Readable, m.File_IsDirectory)
                              for n in (name, missing, self.root)], [1, 0, 1, 1, 0, 1, 0, 0, 1])
        assert_results(self, [m.File_ExistsWithOp(name, None), m.File_ReadableWithOp(name, None),
                              m.File_IsDirectoryWithOp(self.root, None), m.File_IsAttributeFilename(name),
                              m.File_IsAttributeFilename(self.path('.a.attr'))], [1, 1, 1, 0, 1])
        s, t, size = m.new_FileStat(), m.new_FileStat(), m.File_GetFileSize(name)
        assert_results(self, [m.File_StatLocked(name, None, s), m.File_StatWithOp(missing, t, None),
                              m.File_Statfs(self.root, None, None, None), m.File_Statfs(missing, None, None, None)]
                       + list(awaited(self, lambda w: m.File_StatAsyncLocked(name, None, t, w))
                              + awaited(self, lambda w: m.File_DeleteAsyncLocked(name, None, w))),
                       [1, 0, 1, 0, 1, m.OK, 1, m.OK])
        assert_results(self, [size, m.FileStat_length_get(s), m.FileStat_length_get(t), m.File_GetFileSize(name)],
                       [3, 3, 3, -1], long)

    def test_delete_forms(self):
        name = self.put('a', '')
        m.File_RecursivelyCreateDir(self.path('t/u/v'), 0o755)
        for n in ('x1', 'x2', 'y', 't/f1', 't/u/f2'):
            self.put(n, '')
        for d in ('d', 'e'):
            m.File_CreateDir(self.path(d), 0o755)
        assert_results(self, [m.File_Delete(name), m.File_Delete(name),
                              m.File_DeleteMatchingFiles(self.path('x*')),
                              m.File_DeleteMatchingFilesWithOp(self.path('y*'), None),
                              m.File_DeleteDir(self.path('d')), m.File_DeleteDirWithOp(self.path('e'), None)]
                       + list(m.File_DeleteRecursively(self.path('t'))), [1, 0, 1, 1, 1, 1, 2, 3])
        self.assertEqual(m.File_Match(self.path('*')), (1, []))

    def test_rename_and_copy(self):
        # Overwriting, attributes and modes are the library's (fs_conformance_test.cc).
        a, b = self.put('a', 'data\0'), self.put('b', 'B')
        assert_results(self, [m.File_Rename(b, a, 0), m.File_RenameWithOp(b, a, 1, None), m.File_Exists(b)], [0, 1, 0])
        assert_results(self, [
            m.File_Copy(a, self.path('c1'), 0), m.File_Copy(a, self.path('c1'), 0),
            m.File_CopyWithAttr(a, self.path('c2'), attr(0), 0),
            m.File_CopyFullySpecified(a, self.path('c3'), attr(0), 0o600, 'root', 0, 1, 1),
            m.File_CopyFullySpecified(a, self.path('c4'), attr(0), 0o640, 'root', 0, 1, 1, None)], [1, 0, 1, 1, 1])
        self.assertEqual([self.contents(n) for n in ('c1', 'c2', 'c3', 'c4')], ['B'] * 4)

    def test_handle_copies(self):
        self.put('src', 'abcdef')
        for n, call in enumerate((lambda s, t: m.File_CopyBytes(s, t, None, None),
                                  lambda s, t: m.File_CopyToEof(s, t))):
            source = self.handle('src', 'r')
            m.File_Seek(source, 2)
            target = m.File_Open(self.path('t%d' % n), 'w')
            self.assertIntResult(call(source, target), 1)
            m.File_Close(target)
            self.assertEqual(self.contents('t%d' % n), 'cdef')
        source, target = self.handle('src', 'r'), self.handle('n', 'w')
        assert_results(self, [m.File_CopyNBytes(source, target, 3, None, None),
                              m.File_CopyNBytes(source, target, 30, None, None), m.File_CopyToEof(None, target)],
                       [1, 0, 0])

    def test_mode_mtime_owner_group(self):
        name = self.put('a', '')
        assert_results(self, [m.File_SetMode(name, 0o640), self.mode_of('a'), m.File_SetModeWithOp(name, 0o600, None),
                              self.mode_of('a'), m.File_SetMtime(name, 1000000000),
                              m.FileStat_mtime_get(m.File_Stat(name))], [1, 0o640, 1, 0o600, 1, 1000000000])
        assert_results(self, [m.File_SetOwner(name, 'root'), m.File_SetGroupWithOp(name, 'root', None)], [1, 1])

    def test_directories_and_snapshots(self):
        # What they make is the library's (fs_conformance_test.cc).
        self.put('f', 'deep')
        assert_results(self, [
            m.File_CreateDir(self.path('a'), 0o700), m.File_CreateDirWithOp(self.path('b'), 0o700, None),
            m.File_CreateDirFullySpecified(self.path('c'), attr(0), 0o750, 'root'),
            m.File_RecursivelyCreateDirFullySpecified(self.path('h/i'), attr(0), 0o755, 'root'),
            m.File_IsDirectory(self.path('h/i')), self.mode_of('c'),
            m.File_SnapshotFile(self.path('f'), self.path('b/f'), 0o644),
            m.File_Snapshot(self.path('b'), self.path('s'), 0o644, 0o755)], [1, 1, 1, 1, 1, 0o750, 1, 1])
        self.assertEqual(self.contents('s/f'), 'deep')

    def test_flag_lists(self):
        a, b, missing = self.put('a', ''), self.put('b', ''), self.path('missing')
        m.File_CreateDir(self.path('d'), 0o755)
        for result, expected in (
                (m.File_BulkExist([a, missing, b]), (0, [1, 0, 1])), (m.File_BulkDeleteDir([self.path('d')]), (1, [1])),
                (m.File_BulkSetMode([a, missing], 0o600), (0, [1, 0])), (m.File_BulkSetOwner([a], 'root'), (1, [1])),
                (m.File_BulkRename([a, missing], [self.path('a2'), self.path('m2')], 0), (0, [1, 0])),
                (m.File_BulkDelete([self.path('a2'), b]), (1, [1, 1])), (m.File_BulkExist(()), (1, [])),
                (m.File_Archive([self.put('c', 'x' * 5000)], m.FileReedSolomon_ENCODING_5_8, 1), (1, [1]))):
            self.assertEqual(result, expected)
        # What archives do is the library's (archive_test.cc).
        self.assertEqual((self.contents('c'), m.File_Open(self.path('c'), 'w')), ('x' * 5000, None))
        self.assertRaises(OverflowError, m.File_Archive, [self.path('c')], 2 ** 40, 0)

    def test_bulk_stat_gives_owned_copies(self):
        a = self.put('a', 'xyz')
        ok, flags, stats = m.File_BulkStat([a, self.path('missing'), a])
        self.assertEqual((ok, flags, len(set(stats))), (0, [1, 0, 1], 3))
        self.assertTrue(all(pqtest.is_pointer_text(s, '_p_FileStat') for s in stats))
        self.assertLongResult(m.FileStat_length_get(stats[2]), 3)
        self.assertEqual(m.File_BulkStatWithOp([a], None)[0:2], (1, [1]))
        for s in stats:
            m.delete_FileStat(s)

    def test_whole_file_strings_keep_nuls(self):
        name = self.path('w')
        assert_results(self, [m.File_WriteStringToFile('a\0b', name), m.File_AppendStringToFile('\0c', name)], [1, 1])
        self.assertEqual(m.File_ReadFileToString(name), (1, 'a\0b\0c'))
        self.assertEqual([m.File_WriteStringToFileOrDie('\0', name), m.File_AppendStringToFileOrDie('z', name),
                          m.File_ReadFileToStringOrDie(name)], [None, None, '\0z'])
        self.assertEqual(m.File_ReadFileToString(self.path('missing')), (0, ''))


@pqtest.on_each_file_system
class MatchTest(pqtest.FileCases):
    def setUp(self):
        super(MatchTest, self).setUp()
        for name in ('a', 'b.txt', '.hidden', 'backup~'):
            self.put(name, name)
        m.File_CreateDir(self.path('sub'), 0o755)
        self.pattern = self.path('*')

    def names(self, *basenames):
        return [self.path(b) for b in basenames]

    def test_match_forms(self):
        p, files, visible = self.pattern, self.names('a', 'b.txt'), self.names('a', 'b.txt', 'sub')
        dotted = self.names('.hidden') + visible
        for result, expected in (
                (m.File_Match(p), visible), (m.File_Match(self.path('nothing*')), []),
                (m.File_MatchLockedWithOp(self.path('b*'), None, None), self.names('b.txt')),
                (m.File_GetMatchingFilesLocked(p, None), files),
                (m.File_ExtendedMatch(p, m.File_MATCH_DEFAULT), visible),
                (m.File_ExtendedMatch(p, m.File_MATCH_ALL), self.names('.hidden', 'a', 'b.txt', 'backup~', 'sub')),
                (m.File_ExtendedMatchWithOp(p, m.File_MATCH_DOTFILES, None), dotted),
                (m.File_ExtendedMatchLocked(p, None, m.File_MATCH_BACKUPS), self.names('a', 'b.txt', 'backup~', 'sub')),
                (m.File_ExtendedMatchLockedWithOp(p, None, m.File_MATCH_DOTFILES, None), dotted)):
            self.assertEqual((type(result[0]), result), (int, (1, expected)))

    def test_unknown_match_types_reach_the_library_and_fail(self):
        for bad in (-1, 4, 2 ** 31 - 1):  # never cast to the enumeration
            op = m.new_Operation()
            self.assertEqual((m.File_ExtendedMatchWithOp(self.pattern, bad, op), m.Operation_error(op),
                              m.File_ExtendedMatch(self.pattern, bad)), ((0, []), m.ERROR_INVALID_ARGUMENT, (0, [])))
            self.assertIs(m.File_DFListFileAndDir(self.root, bad, None, None, None), None)
            self.assertIntResult(m.FileName_MakeTARNName(m.new_FileName('/rep/c/x'), '', bad), 0)
            m.delete_Operation(op)

    def test_async_matches_return_the_filled_list(self):
        # The list is only valid once the worker is done with it; the caller's
        # completion has received Finish by the time the call returns.
        p = self.pattern
        for call, count in ((lambda w: m.File_MatchAsync(p, w), 3),
                            (lambda w: m.File_ExtendedMatchAsyncLocked(p, None, m.File_MATCH_ALL, w), 5)):
            w = m.new_AsyncIOWatcher()
            ok, found = call(w)
            self.assertEqual((ok, len(found), m.AsyncIOWatcher_IsFinished(w), m.AsyncIOWatcher_Bytes(w)),
                             (1, count, 1, count))
            m.delete_AsyncIOWatcher(w)
        self.assertEqual(m.File_MatchAsync(p, None), (0, []))

    def test_async_matches_from_many_threads(self):
        results = []

        def worker():
            for _ in range(20):
                w = m.new_AsyncIOWatcher()
                results.append(m.File_MatchAsync(self.pattern, w))
                m.delete_AsyncIOWatcher(w)
        threads = [threading.Thread(target=worker) for _ in range(4)]
        for t in threads:
            t.start()
        for t in threads:
            t.join(30)
        self.assertEqual(results, [(1, self.names('a', 'b.txt', 'sub'))] * 80)


class ProcessWideTest(pqtest.TestCase):
    def test_whole_file_or_die(self):
        missing = pqtest.scratch_dir_of(self) + '/no/such'
        pqtest.assert_dies(self, 'm.File_WriteStringToFileOrDie("x", %r)' % missing,
                           'Check failed: WriteStringToFile(%s)' % missing)

    def test_the_byte_exact_thread_user_name(self):
        # That it is the calling thread's is the library's (local_file_test.cc).
        m.File_SetCurrentThreadUserName('me\0too')
        self.assertEqual((m.File_GetCurrentThreadUserName(), m.File_SetCurrentThreadUserName('')), ('me\0too', None))


if __name__ == '__main__':
    pqtest.main()
