"""quarry records cat|count|verify, run as a subprocess."""
import os
import shutil
import subprocess
import unittest

import pqtest

import pyquarry
from test_quarry_cli import QUARRY, run, run_on_a_terminal


@unittest.skipUnless(os.path.exists(QUARRY), 'quarry is not built')
class RecordsCommandTest(pqtest.TestCase):
    RECORDS = ['rec%03d' % i * 20 for i in range(50)]  # 120 bytes, 132 with the header

    def setUp(self):
        self.dir = pqtest.scratch_dir('quarry-records') + '/'
        self.addCleanup(shutil.rmtree, self.dir, True)
        for name, compression in (('plain', None), ('zstd', 'zstd')):
            with pyquarry.RecordWriter(self.dir + name, compression=compression) as w:
                w.writelines(self.RECORDS)
        data = bytearray(pyquarry.read_file(self.dir + 'plain'))
        for at in (132 * 3 + 1, 132 * 15 + 20):
            data[at] ^= 0x01
        pyquarry.write_file(self.dir + 'damaged', str(data))

    def test_sound_files(self):
        self.assertEqual(run('records', 'cat', self.dir + 'zstd'), (0, ''.join(r + '\n' for r in self.RECORDS), ''))
        self.assertEqual(run('records', 'cat', '-0', self.dir + 'plain')[1], ''.join(r + '\0' for r in self.RECORDS))
        self.assertEqual(run('records', 'count', self.dir + '[pz]*'),
                         (0, '%12d  %splain\n%12d  %szstd\n' % (50, self.dir, 50, self.dir), ''))
        code, out, err = run('records', 'verify', self.dir + 'plain', self.dir + 'zstd')
        self.assertEqual((code, err), (0, ''))  # no progress in a pipe
        self.assertEqual(out.count('50 records, 6000 bytes of records; 0 damaged regions, 0 bytes skipped: ok'), 2)

    def test_damage_is_reported_and_fails(self):
        regions = ['%sdamaged: damaged region at offset %d: 132 bytes skipped' % (self.dir, offset)
                   for offset in (132 * 3, 132 * 15)]
        code, out, err = run('records', 'verify', self.dir + 'plain', self.dir + 'damaged')
        self.assertEqual(code, 1)
        self.assertEqual(out.splitlines()[1:],
                         regions + ['%sdamaged: 48 records, 5760 bytes of records; 2 damaged regions, '
                                    '264 bytes skipped: DAMAGED' % self.dir])
        self.assertEqual(err, 'quarry: 1 damaged record file\n')
        code, out, err = run('records', 'count', self.dir + 'damaged')
        self.assertEqual((code, out.split()), (1, ['48', self.dir + 'damaged']))
        self.assertEqual(err.splitlines(), ['quarry: ' + r for r in regions] +
                         ['quarry: %sdamaged: damaged: 264 bytes skipped in 2 regions' % self.dir])
        code, out, err = run('records', 'cat', self.dir + 'damaged', self.dir + 'plain')
        self.assertEqual(code, 1)  # every file is printed, then the failure
        self.assertEqual(out.splitlines(), [r for i, r in enumerate(self.RECORDS) if i not in (3, 15)] + self.RECORDS)

    def test_write_lines_as_records(self):
        for compression in ('none', 'zlib', 'zstd', 'lz4'):
            p = subprocess.Popen([QUARRY, 'records', 'write', '-z', compression, self.dir + 'w'],
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            out, err = p.communicate('one\n\nthree\0nul\nno newline')
            self.assertEqual((p.returncode, err), (0, self.dir + 'w: 4 records\n'))
            self.assertEqual(list(pyquarry.read_records(self.dir + 'w')), ['one', '', 'three\0nul', 'no newline'])
        code, _, err = run('records', 'write', self.dir + 'no/dir/w')
        self.assertEqual(code, 1)
        self.assertNotIn('.tmp', err)
        self.assertEqual(sorted(os.listdir(self.dir)), ['damaged', 'plain', 'w', 'zstd'])

    def test_bad_arguments(self):
        os.mkdir(self.dir + 'd')
        for args, status, text in ((('verify', self.dir + 'missing'), 1, 'No such file'),
                                   (('count', self.dir + 'd'), 1, 'is a directory'),
                                   (('cat', self.dir + 'nothing*'), 1, 'no match'),
                                   (('verify',), 2, 'required'),
                                   (('write', '-z', 'gzip', self.dir + 'x'), 2, 'gzip'),
                                   ((), 2, 'subcommand')):
            code, out, err = run('records', *args)
            self.assertEqual(code, status, (args, err))
            self.assertIn(text, err)
        for command in ('write', 'cat', 'count', 'verify'):
            code, out, _ = run('records', command, '--help')
            self.assertEqual((code, 'Usage' in out), (0, True))

    def test_verify_progress_on_a_terminal(self):
        status, seen = run_on_a_terminal('records', 'verify', self.dir + 'plain')
        self.assertEqual(status, 0)
        self.assertRegexpMatches(seen, r'plain: 6\.[0-9] KiB in [0-9.]+ s')
        self.assertIn('0 damaged regions', seen)


if __name__ == '__main__':
    pqtest.main()
