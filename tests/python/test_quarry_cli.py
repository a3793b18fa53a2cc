"""The quarry command-line tool, run as a subprocess."""
import hashlib
import os
import pty
import shutil
import subprocess
import unittest

import pqtest

import pyquarry


def quarry_path():
    import _file_base_pyquarry
    build = os.path.dirname(os.path.dirname(os.path.abspath(_file_base_pyquarry.__file__)))
    return os.path.join(build, 'quarry')


QUARRY = quarry_path()


def run(*args, **kw):
    p = subprocess.Popen([QUARRY] + list(args), stdout=subprocess.PIPE, stderr=subprocess.PIPE, **kw)
    out, err = p.communicate()
    return p.returncode, out, err


def run_on_a_terminal(*args):
    """(exit status, everything written) of quarry run on a pseudo-terminal."""
    pid, fd = pty.fork()
    if pid == 0:
        os.execv(QUARRY, [QUARRY] + list(args))
    seen = ''
    while True:
        try:
            chunk = os.read(fd, 4096)
        except OSError:
            break
        if not chunk:
            break
        seen += chunk
    _, status = os.waitpid(pid, 0)
    return status, seen


@unittest.skipUnless(os.path.exists(QUARRY), 'quarry is not built')
class QuarryTest(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('quarry') + '/'
        self.addCleanup(shutil.rmtree, self.dir, True)

    def put(self, name, data):
        pyquarry.write_file(self.dir + name, data)
        return self.dir + name

    def test_failures_are_one_line_and_exit_non_zero(self):
        self.put('f', 'x')
        os.mkdir(self.dir + 'd')
        cases = [(('cat', self.dir + 'missing'), 1, 'No such file'),
                 (('cat', self.dir + 'd'), 1, 'is a directory'),
                 (('cp', self.dir + 'd', self.dir + 'x'), 1, 'is a directory'),
                 (('cp', self.dir + 'f', self.dir + 'no/such/x'), 1, self.dir + 'no/such/x'),
                 (('ls', self.dir + 'nothing*'), 1, 'no match'),
                 (('rm', self.dir + 'd'), 1, 'is a directory'),
                 (('mkdir', '-m', '9', self.dir + 'e'), 1, 'not an octal mode'),
                 (('stat', self.dir + 'missing'), 1, 'No such file'),
                 (('frobnicate',), 2, ''),
                 (('ls',), 2, 'required'),
                 (('cp', self.dir + 'f'), 2, '')]
        for args, status, text in cases:
            code, out, err = run(*args)
            self.assertEqual(code, status, (args, err))
            self.assertIn(text, err, args)
            if status == 1:
                self.assertEqual(len(err.splitlines()), 1, err)
        self.assertEqual(sorted(os.listdir(self.dir)), ['d', 'f'])  # nothing half-written

    def test_help_for_every_command(self):
        for command in ('ls', 'stat', 'cat', 'cp', 'rm', 'mkdir', 'checksum', 'sha1', 'archive', 'repair'):
            code, out, _ = run(command, '--help')
            self.assertEqual(code, 0)
            self.assertIn('Usage', out)

    def test_copy_between_file_systems_without_progress_in_pipes(self):
        data = os.urandom(3 << 20)
        src = self.put('src', data)
        mem = '/mem/quarry-cli-%d' % os.getpid()  # /mem/ lives in one process: copy through it within one call
        code, out, err = run('cp', src, self.dir + 'copy')
        self.assertEqual((code, out, err), (0, '', ''))
        self.assertEqual(pyquarry.read_file(self.dir + 'copy'), data)
        os.mkdir(self.dir + 'into')
        code, _, err = run('cp', src, self.dir + 'copy', self.dir + 'into')
        self.assertEqual((code, err), (0, ''))
        self.assertEqual(sorted(os.listdir(self.dir + 'into')), ['copy', 'src'])
        code, _, err = run('cp', src, mem)
        self.assertEqual((code, err), (0, ''))

    def test_copy_replaces_and_keeps_the_mode_within_a_file_system(self):
        data = os.urandom((1 << 20) + 3)
        src = self.put('src', data)
        os.chmod(src, 0o640)
        for existing in ('', 'old and longer than nothing ' * 100000):
            if existing:
                self.put('dst', existing)
            self.assertEqual(run('cp', src, self.dir + 'dst'), (0, '', ''))
            self.assertEqual(pyquarry.read_file(self.dir + 'dst'), data)
            self.assertEqual(os.stat(self.dir + 'dst').st_mode & 0o7777, 0o640)
        self.assertEqual(sorted(os.listdir(self.dir)), ['dst', 'src'])

    def test_progress_on_a_terminal(self):
        src = self.put('src', os.urandom(1 << 20))
        status, seen = run_on_a_terminal('cp', src, self.dir + 'dst')
        self.assertEqual(status, 0)
        self.assertRegexpMatches(seen, r'src: 1\.0 MiB in [0-9.]+ s \([0-9.]+ [KMG]iB/s\)')

    def test_ls_stat_cat_checksum_rm_mkdir(self):
        self.put('a.txt', 'alpha\n')
        self.put('b.txt', 'beta\n')
        self.put('.hidden', '')
        code, out, _ = run('ls', self.dir)
        self.assertEqual((code, out.split()), (0, [self.dir + 'a.txt', self.dir + 'b.txt']))
        self.assertEqual(run('ls', '-a', self.dir + '*')[1].split(),
                         [self.dir + '.hidden', self.dir + 'a.txt', self.dir + 'b.txt'])
        fields = run('ls', '-l', self.dir + 'a.txt')[1].split()
        self.assertEqual((fields[0][0], fields[3], fields[-1]), ('-', '6', self.dir + 'a.txt'))
        self.assertEqual(run('cat', self.dir + '*.txt'), (0, 'alpha\nbeta\n', ''))
        self.assertIn('size: 6', run('stat', self.dir + 'a.txt')[1])
        # CRC-64/XZ of "alpha\n", computed independently of the library
        self.assertEqual(run('checksum', self.dir + 'a.txt')[1].split()[:2], [crc64('alpha\n'), '6'])
        self.assertEqual(run('mkdir', '-p', self.dir + 'x/y/z')[0], 0)
        self.assertEqual(run('mkdir', '-p', self.dir + 'x/y/z')[0], 0)
        self.assertEqual(run('mkdir', self.dir + 'x')[0], 1)
        self.assertEqual(run('rm', '-r', self.dir + 'x')[0], 0)
        self.assertEqual(run('rm', self.dir + '*.txt')[0], 0)
        self.assertEqual(run('rm', '-f', self.dir + 'missing')[0], 0)
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
        for args, status, text in ((('repair', self.dir + 'missing', name), 1, 'not an archive.*\n.*data loss'),
                                   (('sha1', name), 1, 'data loss'),
                                   (('archive', name), 1, 'already an archive'),
                                   (('archive', '-e', 'rs_1_2', self.dir + 'x'), 2, 'rs_1_2')):
            code, out, err = run(*args)
            self.assertEqual((code, out), (status, ''), args)
            self.assertRegexpMatches(err, text)


def crc64(data):
    poly, crc = 0xC96C5795D7870F42, 0xFFFFFFFFFFFFFFFF
    for ch in data:
        crc ^= ord(ch)
        for _ in range(8):
            crc = (crc >> 1) ^ (poly if crc & 1 else 0)
    return '%016x' % (crc ^ 0xFFFFFFFFFFFFFFFF)


if __name__ == '__main__':
    pqtest.main()
