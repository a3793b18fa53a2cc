"""Record files from Python against a plain Python 2 framing of the same records.

The baseline writer frames each 1 KiB record itself (struct.pack of the
length, zlib.crc32 of the bytes, file.write); the baseline reader reads and
checks them back. RecordWriter_WriteRecord and
RecordReaderScript_ReadRecordIntoString do the same work through the module.
Reports the median speed-up (baseline time / module time) over rounds."""
import os
import shutil
import struct
import tempfile
import zlib

import _file_base_pyquarry as m
from benchlib import median, time_loop

ROUNDS = int(os.environ.get('PQ_BENCH_ROUNDS', '5'))
COUNT = 100000
RECORD = ''.join(chr(32 + (i * 7) % 90) for i in range(1024))


def main():
    d = tempfile.mkdtemp(prefix='pqbench')
    try:
        py_path, pq_path = os.path.join(d, 'py'), os.path.join(d, 'pq')
        pack, crc32 = struct.pack, zlib.crc32

        def py_write(n):
            with open(py_path, 'wb') as f:
                write = f.write
                for _ in xrange(n):
                    write(pack('<Ii', len(RECORD), crc32(RECORD)))
                    write(RECORD)

        def pq_write(n):
            w = m.new_RecordWriter(m.File_Open(pq_path, 'w'))
            m.RecordWriter_NoSyncOnClose(w)
            write = m.RecordWriter_WriteRecord
            for _ in xrange(n):
                write(w, RECORD)
            m.delete_RecordWriter(w)

        def py_read(n):
            with open(py_path, 'rb') as f:
                read, unpack = f.read, struct.unpack
                while True:
                    head = read(8)
                    if len(head) < 8:
                        break
                    length, crc = unpack('<Ii', head)
                    data = read(length)
                    if crc32(data) != crc:
                        raise AssertionError('bad record')

        def pq_read(n):
            r = m.new_RecordReaderScript(m.File_Open(pq_path, 'r'))
            read = m.RecordReaderScript_ReadRecordIntoString
            while read(r)[0]:
                pass
            m.delete_RecordReaderScript(r)

        write_ratio, read_ratio = [], []
        for _ in range(ROUNDS):
            write_ratio.append(time_loop(py_write, COUNT) / time_loop(pq_write, COUNT))
            read_ratio.append(time_loop(py_read, COUNT) / time_loop(pq_read, COUNT))
        print('records.py: 1 KiB records x %d: RecordWriter_WriteRecord %.1fx the Python framing writer, '
              'RecordReaderScript_ReadRecordIntoString %.1fx the Python reader' %
              (COUNT, median(write_ratio), median(read_ratio)))
    finally:
        shutil.rmtree(d, True)


if __name__ == '__main__':
    main()
