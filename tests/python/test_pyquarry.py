"""pyquarry: file objects, name operations, record files (writing, reading, damage and
failures) and logs (LogWriter and tail() following a live log), local and under /mem/."""
import errno
import hashlib
import itertools
import os
import threading

import pqtest
from pqtest import m

import file_base_pyquarry
import pyquarry


@pqtest.on_each_file_system
class PyquarryCases(pqtest.FileCases):
    def test_write_then_read_back_in_every_way_across_block_edges(self):
        lines = ['first\n', '\n', 'a\0b\r\n', 'x' * 70000 + '\n', 'no newline at end']
        with pyquarry.open(self.path('t'), 'w') as f:
            f.writelines(lines)
            self.assertEqual(f.tell(), sum(map(len, lines)))
        text = ''.join(lines)
        self.assertEqual(self.contents('t'), text)
        self.assertEqual(pyquarry.open(self.path('t')).read(), text)
        self.assertEqual(list(pyquarry.open(self.path('t'))), lines)
        f = pyquarry.open(self.path('t'))
        self.assertEqual([f.read(3), f.readline(), f.readline(2), f.read(4), f.tell()],
                         ['fir', 'st\n', '\n', 'a\0b\r', 11])
        f.seek(-6, 2)
        self.assertEqual((f.read(), f.read(), f.tell()), ('at end', '', len(text)))
        # Lines that straddle the 96 KiB iteration blocks and the 64 KiB read-ahead.
        lines = ['%07d' % i + 'y' * (i % 300) + '\n' for i in range(12000)]
        self.put('big', ''.join(lines))
        f = pyquarry.open(self.path('big'))
        self.assertEqual([f.readline() for _ in range(len(lines))] + [f.readline()], lines + [''])
        self.assertEqual(list(pyquarry.open(self.path('big'))), lines)
        one = 'z' * (3 << 20)  # one line longer than a block
        self.put('long', one)
        self.assertEqual(list(pyquarry.open(self.path('long'))), [one])

    def test_append_update_and_truncate(self):
        self.put('a', 'abc')
        with pyquarry.open(self.path('a'), 'a') as f:
            self.assertEqual(f.tell(), 3)
            f.write('def')
        with pyquarry.open(self.path('a'), 'r+') as f:
            f.seek(1)
            f.write('XY')
            self.assertEqual(f.read(1), 'd')
            f.truncate(4)
        self.assertEqual(self.contents('a'), 'aXYd')

    def test_misuse_raises_like_python_files(self):
        self.put('a', 'abc')
        f = pyquarry.open(self.path('a'))
        self.assertRaises(IOError, f.write, 'x')
        f.close()
        f.close()  # a second close does nothing
        for call in (f.read, f.readline, f.tell, lambda: f.seek(0), lambda: iter(f)):
            self.assertRaises(ValueError, call)
        for mode in ('', 'rw', 'r++'):
            self.assertRaises(ValueError, pyquarry.open, self.path('a'), mode)
        with pyquarry.open(self.path('b'), 'w+') as w:
            self.assertRaises(IOError, w.seek, -1)
            w.write('new')
            w.seek(0)
            self.assertEqual(w.read(), 'new')

    def test_failures_carry_the_library_error(self):
        missing, F, P, raised = self.path('missing'), pyquarry.FileError, pyquarry.PathError, []
        for call, cls, code in ((lambda: pyquarry.open(missing), F, m.ERROR_NOT_FOUND),
                                (lambda: pyquarry.open(self.root, 'r').read(), F, m.ERROR_WRONG_TYPE),
                                (lambda: pyquarry.rename(missing, self.path('b')), P, m.ERROR_NOT_FOUND)):
            with self.assertRaises(cls) as caught:
                call()
            e = caught.exception
            self.assertEqual(e.code, code, str(e))
            self.assertTrue(self.root in str(e) and e.message)
            raised.append(e)
        # Code written for Python's own files keeps working.
        self.assertEqual((raised[0].errno, raised[0].code_name, isinstance(raised[0], IOError)),
                         (errno.ENOENT, 'ERROR_NOT_FOUND', True))

    def test_name_operations(self):
        pyquarry.makedirs(self.path('d/e/f'))
        pyquarry.makedirs(self.path('d/e'), exist_ok=True)
        self.assertRaises(pyquarry.PathError, pyquarry.makedirs, self.path('d/e'))
        pyquarry.write_file(self.path('d/x.txt'), 'hello')
        pyquarry.write_file(self.path('d/.hidden'), '')
        pyquarry.write_file(self.path('d/[odd]*'), 'odd')
        st = pyquarry.stat(self.path('d/x.txt'))
        self.assertEqual((st.st_size, st.is_dir, pyquarry.stat(self.path('d')).is_dir), (5, False, True))
        self.assertEqual(pyquarry.listdir(self.path('d')), ['.hidden', '[odd]*', 'e', 'x.txt'])
        self.assertEqual(pyquarry.glob(self.path('d/*.txt')), [self.path('d/x.txt')])
        self.assertEqual(pyquarry.glob(pyquarry.escape(self.path('d/[odd]*'))), [self.path('d/[odd]*')])
        self.assertEqual(list(pyquarry.walk(self.path('d'))),
                         [(self.path('d'), ['e'], ['.hidden', '[odd]*', 'x.txt']),
                          (self.path('d/e'), ['f'], []), (self.path('d/e/f'), [], [])])
        self.assertRaises(pyquarry.PathError, pyquarry.remove, self.path('d/e'))
        pyquarry.rename(self.path('d/x.txt'), self.path('d/y.txt'))
        self.assertEqual((pyquarry.exists(self.path('d/x.txt')), pyquarry.read_file(self.path('d/y.txt'))),
                         (False, 'hello'))
        pyquarry.remove(self.path('d/y.txt'))
        self.assertEqual(pyquarry.rmtree(self.path('d')), (2, 3))
        self.assertFalse(pyquarry.exists(self.path('d')))

    def test_checksums_and_archives(self):
        data = os.urandom(30000)
        a, b = self.put('a', data), self.put('b', data[::-1])
        # CRC-64/XZ's published check value; SHA-1 from hashlib.
        self.assertEqual((pyquarry.checksum(self.put('c', '123456789')), pyquarry.sha1(a)),
                         (0x995DC9BBDF1939FA, hashlib.sha1(data).hexdigest()))
        self.assertRaisesRegexp(pyquarry.FileError, 'no checksum is recorded', pyquarry.verify, a)
        pyquarry.archive(a, 'rs_5_8', 4)
        record, store = file_base_pyquarry.FileAttr(), file_base_pyquarry.FileAttributes()
        self.assertEqual((store.Load(a, record), store.Store(b, record)), (1, 1))
        self.assertEqual((pyquarry.verify(a), pyquarry.verify(b), pyquarry.sha1(a)), (True, False, hashlib.sha1(data).hexdigest()))
        for i in range(4):
            pyquarry.remove(self.path('.a.rs-%02d-of-08' % i))
        with self.assertRaises(pyquarry.FileError) as caught:
            pyquarry.repair(a)
        self.assertIn('data loss', caught.exception.message)

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
        with self.assertRaises(pyquarry.FileError) as caught:
            list(pyquarry.read_records(self.root))
        self.assertEqual(caught.exception.code, m.ERROR_WRONG_TYPE, str(caught.exception))
        for bad in (dict(compression='gzip'), dict(mode='r'), dict(concurrent='sometimes')):
            self.assertRaises(ValueError, pyquarry.RecordWriter, self.path('w'), **bad)
        self.assertRaises(ValueError, pyquarry.read_records, self.path('w'), on_damage='ignore')
        w = pyquarry.RecordWriter(self.path('w'))
        w.close()
        w.close()
        self.assertRaises(ValueError, w.write, 'late')
        self.assertEqual(list(pyquarry.read_records(self.path('w'))), [])

    def test_write_reopen_and_read_to_the_end(self):
        base = self.path('ev.')
        with pyquarry.LogWriter(base) as w:
            w.write('one')
            w.write('')
        with pyquarry.LogWriter(base, compression='zlib') as w:  # continues the log
            for i in range(300):
                w.write('r%03d' % i)
        self.assertEqual(list(pyquarry.tail(base, poll=None)), ['one', ''] + ['r%03d' % i for i in range(300)])

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


class AcrossFileSystemsTest(pqtest.TestCase):
    """copy() between file systems through a temporary name, and concurrent appenders under /mem/."""

    def setUp(self):
        self.local = pqtest.scratch_dir('pqcopy') + '/'
        self.mem = '/mem/pqcopy-%d/' % os.getpid()
        pyquarry.makedirs(self.mem, exist_ok=True)
        self.addCleanup(m.File_DeleteRecursively, self.local)
        self.addCleanup(m.File_DeleteRecursively, self.mem)

    def test_every_direction(self):
        data = os.urandom(1 << 20) + 'tail'
        pyquarry.write_file(self.local + 'src', data)
        for src, dst in [(self.local + 'src', self.mem + 'a'), (self.mem + 'a', self.mem + 'b'),
                         (self.mem + 'b', self.local + 'c'), (self.local + 'c', self.local + 'd')]:
            self.assertEqual(pyquarry.copy(src, dst, chunk=300000), len(data))
            self.assertEqual(pyquarry.read_file(dst), data)
        self.assertEqual(pyquarry.copy(self.local + 'd', self.mem), len(data))
        self.assertEqual(pyquarry.read_file(self.mem + 'd'), data)
        self.assertEqual(sorted(pyquarry.listdir(self.mem)), ['a', 'b', 'd'])

    def test_failed_copy_leaves_no_destination(self):
        pyquarry.makedirs(self.mem + 'sub')
        self.assertRaises(pyquarry.FileError, pyquarry.copy, self.mem + 'missing', self.local + 'x')
        self.assertRaises(pyquarry.FileError, pyquarry.copy, self.mem + 'sub', self.local + 'x')
        pyquarry.write_file(self.local + 'src', 'data')
        self.assertRaises(pyquarry.QuarryError, pyquarry.copy, self.local + 'src', self.mem + 'no/such/dir')
        self.assertEqual(pyquarry.listdir(self.local), ['src'])
        self.assertEqual(pyquarry.listdir(self.mem), ['sub'])

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


if __name__ == '__main__':
    pqtest.main()
