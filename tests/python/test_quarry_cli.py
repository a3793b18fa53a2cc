"""The quarry command-line tool, run as a subprocess."""
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
        for command in ('ls', 'stat', 'cat', 'cp', 'rm', 'mkdir', 'checksum'):
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


def crc64(data):
    poly, crc = 0xC96C5795D7870F42, 0xFFFFFFFFFFFFFFFF
    for ch in data:
        crc ^= ord(ch)
        for _ in range(8):
            crc = (crc >> 1) ^ (poly if crc & 1 else 0)
    return '%016x' % (crc ^ 0xFFFFFFFFFFFFFFFF)


if __name__ == '__main__':
    pqtest.main()
