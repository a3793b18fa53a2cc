"""Reed-Solomon archives through File_Archive and FileFactory_Archive."""
import file_roots
import pqtest
from pqtest import m
from test_factory import by_name

MB = 1 << 20


def shards(case, name):
    return sorted(m.File_ExtendedMatch(case.path('.%s.rs-*' % name), m.File_MATCH_ALL)[1])


class ArchiveCases(file_roots.FileCases):
    def test_archive_lose_shards_and_read_back(self):
        data = ''.join(chr(i * 13 % 256) for i in range(2 * MB + 123))
        name = self.put('a', data)
        self.assertEqual(m.File_Archive([name], m.FileReedSolomon_ENCODING_9_13, 16), (1, [1]))
        pieces = shards(self, 'a')
        self.assertEqual(len(pieces), 13)
        for lost in pieces[::3][:4]:  # four of thirteen
            self.assertIntResult(m.File_Delete(lost), 1)
        self.assertEqual(self.contents('a'), data)
        self.assertLongResult(m.FileStat_length_get(m.File_Stat(name)), len(data))
        f = self.handle('a', 'r')
        self.assertEqual(m.File_PReadStringWithOp(f, MB - 5, 10, None), data[MB - 5:MB + 5])
        self.assertLongResult(m.File_Size(f), len(data))
        self.assertIsNone(m.File_Open(name, 'w'))  # archives are frozen
        # A fifth loss is more than 9 of 13 can bear: the read fails, nothing wrong comes back.
        m.File_Delete(pieces[1])
        self.assertEqual(m.File_ReadFileToString(name)[0], 0)
        self.assertIsNone(m.File_Open(name, 'r'))
        self.assertIntResult(m.File_Delete(name), 1)  # the shards left go with it
        self.assertEqual(shards(self, 'a'), [])

    def test_factory_form_repair_and_bad_requests(self):
        name = self.put('b', 'x' * 5000)
        f = by_name('mem' if self.root.startswith('/mem/') else 'local')
        self.assertEqual(m.FileFactory_Archive(f, [name, self.path('missing')], m.FileReedSolomon_ENCODING_5_8, 1),
                         (0, [1, 0]))
        pieces = shards(self, 'b')
        self.assertEqual(len(pieces), 8)
        m.File_Delete(pieces[0])
        self.assertEqual(m.File_Archive([name], m.FileReedSolomon_ENCODING_20_30, 0), (1, [1]))  # repairs
        self.assertEqual(shards(self, 'b'), pieces)
        self.assertEqual(self.contents('b'), 'x' * 5000)
        other = self.put('c', 'y')
        for encoding, unit in ((3, 1), (-1, 1), (0, -1), (0, 1 << 20)):
            self.assertEqual(m.File_Archive([other], encoding, unit), (0, [0]))
        self.assertEqual(m.File_Archive([], 0, 0), (1, []))
        self.assertRaises(OverflowError, m.File_Archive, [other], 2 ** 40, 0)
        self.assertTypeError('vector<::string> expected', m.File_Archive, other, 0, 0)
        self.assertEqual(self.contents('c'), 'y')


file_roots.on_each_file_system(ArchiveCases)


if __name__ == '__main__':
    pqtest.main()
