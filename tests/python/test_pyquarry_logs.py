"""pyquarry logs: LogWriter and tail() following a live log, local and /mem/."""
import itertools
import threading

import file_roots
import pqtest

import pyquarry


@file_roots.on_each_file_system
class LogCases(file_roots.FileCases):
    def test_write_reopen_and_read_to_the_end(self):
        base = self.path('ev.')
        with pyquarry.LogWriter(base) as w:
            w.write('one')
            w.write('')
        with pyquarry.LogWriter(base, compression='zlib') as w:  # continues the log
            for i in range(300):
                w.write('r%03d' % i)
        self.assertEqual(list(pyquarry.tail(base, poll=None)), ['one', ''] + ['r%03d' % i for i in range(300)])
        self.assertTrue(w.closed)
        self.assertRaises(ValueError, w.write, 'late')

    def test_tail_follows_a_live_writer(self):
        base = self.path('live.')
        w = pyquarry.LogWriter(base)
        expected = ['rec%d' % i for i in range(40)]

        def write():
            for record in expected:
                w.write(record)
                w.flush()

        got = []
        writer = threading.Thread(target=write)
        follow = pyquarry.tail(base, poll=0.01)
        writer.start()
        for record in itertools.islice(follow, len(expected)):
            got.append(record)
        writer.join()
        follow.close()
        w.close()
        self.assertEqual(got, expected)
        # stop() ends the wait at the end of the log
        self.assertEqual(len(list(pyquarry.tail(base, poll=0.01, stop=lambda: True))), 40)

    def test_bad_arguments(self):
        self.assertRaises(ValueError, pyquarry.LogWriter, self.path('x.'), concurrent='maybe')
        self.assertRaises(ValueError, pyquarry.LogWriter, self.path('x.'), compression='lz4')
        self.assertRaises(pyquarry.FileError, pyquarry.LogWriter, self.path('no/dir/x.'))
        self.assertEqual(list(pyquarry.tail(self.path('none.'), poll=None)), [])


if __name__ == '__main__':
    pqtest.main()
