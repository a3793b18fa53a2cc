"""pyquarry record files (writing, reading, damage and failures) and logs (LogWriter and tail() following
a live log), local and /mem/."""
import itertools
import threading

import file_roots
import pqtest
from pqtest import m

import pyquarry


@file_roots.on_each_file_system
class RecordCases(file_roots.FileCases):
    RECORDS = ['', 'a', '\0\xff' * 3, 'x' * 70000, 'y' * (3 << 20)] + ['r%05d' % i for i in range(2000)]

    def test_every_compression_reads_back_the_same_records(self):
        for compression, level in ((None, None), ('zlib', 9), ('zstd', -1), ('zstd', None), ('lz4', 4)):
            name = self.path('r-%s' % compression)
            with pyquarry.RecordWriter(name, compression=compression, level=level) as w:
                w.writelines(self.RECORDS)
            reader = pyquarry.read_records(name)
            self.assertEqual(list(reader), self.RECORDS, compression)
            self.assertEqual((reader.skipped_bytes, reader.skipped_regions, reader.damage), (0, 0, []))
            self.assertIsNone(reader.read())  # stays at the end

    def test_append_tell_and_seek(self):
        with pyquarry.RecordWriter(self.path('r')) as w:
            w.write('one')
            second = w.tell()
            w.write('two')
        with pyquarry.RecordWriter(self.path('r'), mode='a', compression='zlib') as w:
            w.write('three')
        with pyquarry.read_records(self.path('r')) as r:
            self.assertEqual(list(r), ['one', 'two', 'three'])
            r.seek(second)
            self.assertEqual((r.read(), r.tell() > second), ('two', True))
            self.assertEqual(list(r), ['three'])
        self.assertTrue(r.closed)
        self.assertRaises(ValueError, r.read)

    def test_damage_is_skipped_counted_and_located(self):
        records = ['%04d' % i * 25 for i in range(40)]  # 100 bytes each, 112 with the header
        with pyquarry.RecordWriter(self.path('d')) as w:
            w.writelines(records)
        data = bytearray(self.contents('d'))
        for at in (112 * 5 + 3, 112 * 30 + 50):
            data[at] ^= 0xff
        self.put('d', str(data))
        reader = pyquarry.read_records(self.path('d'))
        got = list(reader)
        self.assertEqual(got, records[:5] + records[6:30] + records[31:])
        self.assertEqual(reader.skipped_regions, 2)
        self.assertEqual([offset for offset, _ in reader.damage], [112 * 5, 112 * 30])
        self.assertEqual(sum(length for _, length in reader.damage), reader.skipped_bytes)
        seen = []
        self.assertEqual(len(list(pyquarry.read_records(self.path('d'), on_damage=lambda *a: seen.append(a)))), 38)
        self.assertEqual(seen, reader.damage)
        strict = pyquarry.read_records(self.path('d'), on_damage='raise')
        self.assertEqual([strict.read() for _ in range(5)], records[:5])
        with self.assertRaises(pyquarry.DamagedRecordsError) as caught:
            strict.read()
        self.assertEqual((caught.exception.offset, caught.exception.filename), (112 * 5, self.path('d')))
        self.assertIsInstance(caught.exception, IOError)
        self.assertEqual(strict.read(), records[6])  # reading on after the error is allowed

    def test_cut_file_and_records_over_the_limit(self):
        with pyquarry.RecordWriter(self.path('c')) as w:
            w.writelines(['short', 'z' * 5000, 'end', 'second' * 10])
        self.put('c', self.contents('c')[:-7])
        reader = pyquarry.read_records(self.path('c'), max_record_length=1000)
        # The cut record is not damage; the long one is skipped as a region.
        self.assertEqual((list(reader), reader.skipped_regions), (['short', 'end'], 1))

    def test_failures_and_misuse(self):
        for call, code in ((lambda: pyquarry.read_records(self.path('missing')), m.ERROR_NOT_FOUND),
                           (lambda: pyquarry.RecordWriter(self.path('no/dir/r')), m.ERROR_NOT_FOUND),
                           (lambda: list(pyquarry.read_records(self.root)), m.ERROR_WRONG_TYPE)):
            with self.assertRaises(pyquarry.FileError) as caught:
                call()
            self.assertEqual(caught.exception.code, code, str(caught.exception))
            self.assertTrue(caught.exception.message)
        for bad in (dict(compression='gzip'), dict(mode='r'), dict(concurrent='sometimes')):
            self.assertRaises(ValueError, pyquarry.RecordWriter, self.path('w'), **bad)
        self.assertRaises(ValueError, pyquarry.read_records, self.path('w'), on_damage='ignore')
        w = pyquarry.RecordWriter(self.path('w'))
        self.assertRaises(TypeError, w.write, 5)
        w.close()
        w.close()
        self.assertRaises(ValueError, w.write, 'late')
        self.assertEqual(list(pyquarry.read_records(self.path('w'))), [])


class ConcurrentWritersTest(pqtest.TestCase):
    def test_two_appenders_share_one_file(self):
        name = '/mem/pqrec-%d' % id(self)
        self.addCleanup(m.File_Delete, name)
        a = pyquarry.RecordWriter(name, mode='a', concurrent=True, buffer_size=4096)
        b = pyquarry.RecordWriter(name, mode='a', concurrent=True, buffer_size=4096)
        for i in range(300):
            (a if i % 2 else b).write('%s%04d' % ('ab'[i % 2], i) * 20)
        a.close()
        b.close()
        got = list(pyquarry.read_records(name))
        self.assertEqual(sorted(got), sorted('%s%04d' % ('ab'[i % 2], i) * 20 for i in range(300)))



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
