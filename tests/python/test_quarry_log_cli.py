"""quarry log tail|gc, run as a subprocess."""
import os
import shutil
import signal
import subprocess
import time
import unittest

import pqtest

import pyquarry
from test_quarry_cli import QUARRY, run


@unittest.skipUnless(os.path.exists(QUARRY), 'quarry is not built')
class LogCommandTest(pqtest.TestCase):
    def setUp(self):
        self.dir = pqtest.scratch_dir('quarry-log') + '/'
        self.addCleanup(shutil.rmtree, self.dir, True)
        self.base = self.dir + 'ev.'

    def test_tail_from_the_start_and_from_a_position(self):
        with pyquarry.LogWriter(self.base) as w:
            w.write('one')
            w.write('two')
            middle = w.position()
            w.write('three')
        self.assertEqual(run('log', 'tail', self.base), (0, 'one\ntwo\nthree\n', ''))
        self.assertEqual(run('log', 'tail', '--from', middle, self.base), (0, 'three\n', ''))
        self.assertEqual(run('log', 'tail', self.dir + 'none.'), (0, '', ''))
        self.assertEqual(run('log', 'gc', self.base, middle)[0], 0)
        self.assertEqual(run('log', 'tail', self.base)[1], 'one\ntwo\nthree\n')  # the open file stays
        for args in (('tail', '--from', '1:x', self.base), ('gc', self.base, '-1:0'), ('gc', self.base, '3')):
            code, _, err = run('log', *args)
            self.assertEqual((code, len(err.splitlines())), (1, 1), args)
            self.assertIn('not a log position', err)
        self.assertEqual(run('log')[0], 2)

    def test_follow_prints_records_as_they_are_written(self):
        w = pyquarry.LogWriter(self.base)
        w.write('first')
        w.flush()
        p = subprocess.Popen([QUARRY, 'log', 'tail', '-f', '--poll-ms', '10', self.base], stdout=subprocess.PIPE)
        try:
            self.assertEqual(p.stdout.readline(), 'first\n')
            for i in range(5):
                w.write('later %d' % i)
                w.flush()
                self.assertEqual(p.stdout.readline(), 'later %d\n' % i)
            time.sleep(0.05)
            self.assertIsNone(p.poll())  # still following
        finally:
            os.kill(p.pid, signal.SIGTERM)
            p.wait()
            w.close()


if __name__ == '__main__':
    pqtest.main()
