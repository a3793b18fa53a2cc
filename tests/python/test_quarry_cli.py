"""The quarry command-line tool (files, records and logs), run as a subprocess."""
import hashlib
import os
import shutil
import signal
import subprocess
import sys
import unittest

import pqtest

import pyquarry


QUARRY = os.path.join(pqtest.BUILD_DIR, 'quarry')


def run(*args):
    return run_command([QUARRY] + list(args))


def run_command(command, **env):
    p = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=dict(os.environ, **env))
    out, err = p.communicate()
    return p.returncode, out, err


@unittest.skipUnless(os.path.exists(QUARRY), 'quarry is not built')
class QuarryCase(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('quarry') + '/'
        self.addCleanup(shutil.rmtree, self.dir, True)

    def put(self, name, data):
        pyquarry.write_file(self.dir + name, data)
        return self.dir + name

    def assertFailures(self, cases):
        """Each (arguments, exit status, text in stderr); usage errors exit 2, others 1 with one line."""
        for args, status, text in cases:
            code, out, err = run(*args)
            self.assertEqual((code, out), (status, ''), (args, err))
            self.assertRegexpMatches(err, text)
            if status == 1 and args[0] != 'repair':
                self.assertEqual(len(err.splitlines()), 1, err)


class FileCommandTest(QuarryCase):
    def test_failures_are_one_line_and_exit_non_zero(self):
        self.put('f', 'x')
        os.mkdir(self.dir + 'd')
        d = self.dir
        self.assertFailures([(('records', 'verify', d + 'missing'), 1, 'No such file'), (('records',), 2, 'subcommand'),
                             (('records', 'write', '-z', 'gzip', d + 'x'), 2, 'gzip'),
                             (('cp', d + 'f', d + 'no/such/x'), 1, d + 'no/such/x'),
                             (('cat', d + 'd'), 1, 'is a directory'), (('rm', d + 'd'), 1, 'is a directory')])
        self.assertEqual(sorted(os.listdir(self.dir)), ['d', 'f'])  # nothing half-written

    def test_copy_between_file_systems_without_progress_in_pipes(self):
        data = os.urandom(3 << 20)
        src = self.put('src', data)
        os.mkdir(self.dir + 'into')
        mem = '/mem/quarry-cli-%d' % os.getpid()  # /mem/ lives in one process: copy through it within one call
        for args in (('cp', src, self.dir + 'copy'), ('cp', src, self.dir + 'copy', self.dir + 'into'),
                     ('cp', src, mem)):
            self.assertEqual(run(*args), (0, '', ''))
        self.assertEqual(pyquarry.read_file(self.dir + 'copy'), data)
        self.assertEqual(sorted(os.listdir(self.dir + 'into')), ['copy', 'src'])

    def test_copy_replaces_and_keeps_the_mode_within_a_file_system(self):
        data = os.urandom((1 << 20) + 3)
        src = self.put('src', data)
        os.chmod(src, 0o640)
        self.put('dst', 'old and longer than nothing ' * 100000)
        self.assertEqual(run('cp', src, self.dir + 'dst'), (0, '', ''))
        self.assertEqual(pyquarry.read_file(self.dir + 'dst'), data)
        self.assertEqual(os.stat(self.dir + 'dst').st_mode & 0o7777, 0o640)
        self.assertEqual(sorted(os.listdir(self.dir)), ['dst', 'src'])

    def test_remote_file_system_loads_on_first_use_only(self):
        py = [sys.executable, '-c', 'import pyquarry, sys\nfor n in sys.argv[1:]:\n'
              '  try: print(pyquarry.read_file(n))\n  except pyquarry.QuarryError as e: print("%s %s" % (e.code_name, e))']
        src = self.put('f', 'local')
        for args, loaded in (([QUARRY, '--help'], False), (py + [src, '/mem/'], False),
                             ([QUARRY, 'stat', 'root://h:0//x'], True), (py + ['root://h:0//x'], True)):
            err = run_command(args, LD_DEBUG='files')[2]  # the loader names every object it maps
            self.assertEqual(('libpq_remote.so' in err, 'libXrdCl' in err), (loaded, loaded), args)
        # Without its object, root:// names fail clearly and the rest still works.
        code, out, _ = run_command(py + ['root://h:0//x', src], PQ_REMOTE_LIBRARY=self.dir + 'gone.so')
        self.assertEqual(out.splitlines()[1:], ['local'])
        self.assertRegexpMatches(out, '^ERROR_UNIMPLEMENTED .*remote file system is not available '
                                 r'\(cannot load %sgone.so: .*No such file' % self.dir)

    def test_ls_stat_cat_checksum_rm_mkdir(self):
        self.put('a.txt', 'alpha\n')
        self.put('b.txt', 'beta\n')
        self.put('.hidden', '123456789')  # CRC-64/XZ's published check value: 995dc9bbdf1939fa
        code, out, _ = run('ls', self.dir)
        self.assertEqual((code, out.split()), (0, [self.dir + 'a.txt', self.dir + 'b.txt']))
        self.assertEqual(run('cat', self.dir + '*.txt'), (0, 'alpha\nbeta\n', ''))
        self.assertEqual(run('checksum', self.dir + '.hidden')[1].split()[:2], ['995dc9bbdf1939fa', '9'])
        for args, status in ((('mkdir', '-p', 'x/y/z'), 0), (('mkdir', '-p', 'x/y/z'), 0), (('mkdir', 'x'), 1),
                             (('rm', '-r', 'x'), 0), (('rm', '*.txt'), 0), (('rm', '-f', 'missing'), 0)):
            self.assertEqual(run(*(args[:-1] + (self.dir + args[-1],)))[0], status, args)
        self.assertEqual(os.listdir(self.dir), ['.hidden'])

    def test_sha1_archive_and_repair(self):
        data = os.urandom(700000)
        name = self.put('f', data)
        sha1 = '%s  %s\n' % (hashlib.sha1(data).hexdigest(), name)
        self.assertEqual(run('sha1', name), (0, sha1, ''))
        self.assertEqual(run('archive', '-e', 'rs_5_8', '-u', '64', name)[:2], (0, name + ': rs_5_8 (5 data + 3 parity shards, 64 KiB cells)\n'))
        self.assertEqual(run('sha1', name), (0, sha1, ''))  # an archive reads as the file it was
        shard = self.dir + '.f.rs-%02d-of-08'
        os.remove(shard % 1)
        with open(shard % 6, 'r+b') as f:
            f.seek(100000)
            f.write('XX')
        self.assertEqual(run('repair', name), (0, '%s: rebuilt 2 of 8 shards: %s %s\n' % (name, shard % 1, shard % 6), ''))
        self.assertEqual(run('repair', name)[:2], (0, name + ': all 8 shards intact\n'))
        for i in (0, 2, 3, 4):
            os.remove(shard % i)
        self.assertFailures([(('repair', self.dir + 'missing', name), 1, 'not an archive.*\n.*data loss'),
                             (('sha1', name), 1, 'data loss'), (('archive', name), 1, 'already an archive'),
                             (('archive', '-e', 'rs_1_2', self.dir + 'x'), 2, 'rs_1_2')])


class RecordsCommandTest(QuarryCase):
    RECORDS = ['rec%03d' % i * 20 for i in range(50)]  # 120 bytes, 132 with the header

    def setUp(self):
        QuarryCase.setUp(self)
        for name, compression in (('plain', None), ('zstd', 'zstd')):
            with pyquarry.RecordWriter(self.dir + name, compression=compression) as w:
                w.writelines(self.RECORDS)
        data = bytearray(pyquarry.read_file(self.dir + 'plain'))
        for at in (132 * 3 + 1, 132 * 15 + 20):
            data[at] ^= 0x01
        pyquarry.write_file(self.dir + 'damaged', str(data))

    def test_sound_files(self):
        self.assertEqual(run('records', 'cat', self.dir + 'zstd'), (0, ''.join(r + '\n' for r in self.RECORDS), ''))
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


class LogCommandTest(QuarryCase):
    def test_tail_from_the_start_and_from_a_position(self):
        base = self.dir + 'ev.'
        with pyquarry.LogWriter(base) as w:
            w.write('one')
            w.write('two')
            middle = w.position()
            w.write('three')
        self.assertEqual(run('log', 'tail', base), (0, 'one\ntwo\nthree\n', ''))
        self.assertEqual(run('log', 'tail', '--from', middle, base), (0, 'three\n', ''))
        self.assertEqual(run('log', 'tail', self.dir + 'none.'), (0, '', ''))
        self.assertEqual(run('log', 'gc', base, middle)[0], 0)
        self.assertEqual(run('log', 'tail', base)[1], 'one\ntwo\nthree\n')  # the open file stays
        self.assertFailures([(('log', 'tail', '--from', '1:x', base), 1, 'not a log position'),
                             (('log', 'gc', base, '-1:0'), 1, 'not a log position')])

    def test_follow_prints_records_as_they_are_written(self):
        base = self.dir + 'ev.'
        w = pyquarry.LogWriter(base)
        w.write('first')
        w.flush()
        p = subprocess.Popen([QUARRY, 'log', 'tail', '-f', '--poll-ms', '10', base], stdout=subprocess.PIPE)
        try:
            self.assertEqual(p.stdout.readline(), 'first\n')
            w.write('later')  # written after the end was reached
            w.flush()
            self.assertEqual(p.stdout.readline(), 'later\n')
        finally:
            os.kill(p.pid, signal.SIGTERM)
            p.wait()
            w.close()


if __name__ == '__main__':
    pqtest.main()
