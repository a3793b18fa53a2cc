"""ChecksumState, Sha1, Sha1Checksum and FileReedSolomon through the binding."""
import array
import ctypes

import pqtest
from pqtest import assert_results, m, pointer_to

pqtest.register_proxy('ChecksumState')  # copies come back as owned proxies
MB = 1 << 20


def state_of(data):
    s = m.new_ChecksumState()
    m.ChecksumState_Add(s, data)
    return s


class ChecksumStateTest(pqtest.TestCase):
    def test_fresh_state_unsigned_results_and_read_buffers(self):
        s = state_of('123456789')
        # CRC-64/XZ's check value has the top bit set: it must come back unsigned.
        assert_results(self, [m.ChecksumState_Checksum(s), m.ChecksumState_AlignedChecksum(s),
                              m.ChecksumState_History(s, 5), m.ChecksumState_Length(s)], [0x995DC9BBDF1939FA, 0, 0, 9],
                       long)
        expected = m.ChecksumState_Checksum(state_of('abc\0def'))
        for data in ('abc\0def', buffer('xabc\0def', 1), array.array('c', 'abc\0def'), bytearray('abc\0def')):
            s = m.new_ChecksumState()
            self.assertIs(m.ChecksumState_Add(s, data), None)
            self.assertEqual(m.ChecksumState_Checksum(s), expected, repr(data))
        for bad in (5, None, [1, 2]):
            self.assertRaises(TypeError, m.ChecksumState_Add, m.new_ChecksumState(), bad)

    def test_copies_compare_equal_until_one_changes(self):
        s = state_of('x' * 300)
        c, why = m.new_ChecksumState(s), 'keep me'
        self.assertEqual(c.thisown, 1)
        compare = lambda: [f(s, c) for f in (m.ChecksumState___eq__, lambda a, b: m.ChecksumState_Equals(a, b, why),
                                             m.ChecksumState___ne__)]
        assert_results(self, compare(), [1, 1, 0])
        m.ChecksumState_Add(c, 'y')
        assert_results(self, compare() + [m.ChecksumState_Equals(s, None, '')], [0, 0, 1, 0])
        self.assertEqual(why, 'keep me')  # the explanation never reaches Python

    def test_history_outputs_and_64_bit_checksums(self):
        # What the history holds is the library's (checksum_files_test.cc).
        s = state_of('\1' * (2 * MB + 10))
        start, end = ctypes.c_int64(-1), ctypes.c_int64(-1)
        self.assertIntResult(m.ChecksumState_HistoryIndexToPositionRange(
            s, 1, pointer_to(start, '_p_int64'), pointer_to(end, '_p_int64')), 1)
        self.assertEqual((start.value, end.value), (MB, 2 * MB))
        self.assertIs(m.ChecksumState_SetRunningChecksum(s, 2 ** 64 - 1), None)
        self.assertLongResult(m.ChecksumState_AlignedChecksum(s), 2 ** 64 - 1)

    def test_encodings_names_and_outputs(self):
        # The names and parameters are the library's (checksum_test.cc).
        data, total, out = ctypes.c_int(0), ctypes.c_int(0), ctypes.c_int(-1)
        encoding = m.FileReedSolomon_ENCODING_9_13
        self.assertIntResult(m.FileReedSolomon_Encoding2Params(
            encoding, pointer_to(data, '_p_int'), pointer_to(total, '_p_int')), 1)
        self.assertEqual((data.value, total.value, m.FileReedSolomon_Encoding2Name(encoding)), (9, 13, 'rs_9_13'))
        self.assertIntResult(m.FileReedSolomon_Name2Encoding('rs_9_13',
                                                             pointer_to(out, '_p_FileReedSolomon__Encoding')), 1)
        self.assertEqual(out.value, encoding)
        for bad in (-1, 3, 2 ** 31 - 1):  # never cast to the enumeration
            self.assertIs(m.FileReedSolomon_Encoding2Name(bad), None)
            self.assertIntResult(m.FileReedSolomon_Encoding2Params(bad, None, None), 0)


class ChecksumFileCases(pqtest.FileCases):
    def test_file_forms(self):
        # That every form matches the bytes is the library's (checksum_files_test.cc).
        data = ''.join(chr(i * 7 % 251) for i in range(3000))
        name, s, f = self.put('f', data), m.new_ChecksumState(), self.handle('f', 'r')
        self.assertIs(m.ChecksumState_AddFile(s, name), None)
        self.assertLongResult(m.ChecksumState_SparseChecksumFile(name), m.ChecksumState_Checksum(s))
        self.assertIs(m.ChecksumState_AddFileBytes(s, name, 10, 1000), None)
        assert_results(self, [m.ChecksumState_AddOpenFile(s, f), m.ChecksumState_AddOpenFile(s, None),
                              m.ChecksumState_AddOpenFileBytes(s, f, 5, 2 ** 40),
                              m.ChecksumState_AddOpenFileBytes(s, f, 5, 10),
                              m.ChecksumState_AddOpenFileBytesWithBandwidthLimit(s, f, 15, 10, None)], [1, 0, 0, 1, 1])
        self.assertIntResult(m.ChecksumState___eq__(s, state_of(data + data[10:1010] + data + data[5:25])), 1)
        sha = m.new_Sha1Checksum()  # a Sha1Checksum is a Sha1, taking any read buffer
        self.assertEqual([m.Sha1Checksum_Add(sha, array.array('b', [1, 2])), m.Sha1Checksum_AddFile(sha, name),
                          m.Sha1Checksum_AddFile(sha, self.path('missing')), m.Sha1Checksum_AddOpenFile(sha, f),
                          m.delete_Sha1(sha)], [None, 1, 0, 1, None])

    def test_verify_and_truncate_forms(self):
        data = 'q' * 300
        name, record = self.put('v', data), m.new_FileAttr()
        m.FileAttr_checksum_set(record, state_of(data))
        self.assertIntResult(m.FileAttributes_Store(m.cvar.file_attributes, name, record), 1)
        why = 'unchanged'
        assert_results(self, [m.ChecksumState_VerifyChecksum(name, why),
                              m.ChecksumState_VerifyChecksum(name, 5, 10, why),
                              m.ChecksumState_VerifyChecksum(name, 5, 2 ** 40, why)], [1, 1, 0])
        self.assertEqual(why, 'unchanged')
        assert_results(self, [m.ChecksumState_TruncateChecksummedFile(name, 100),
                              m.ChecksumState_TruncateChecksummedFile(name, 2 ** 40)], [1, 0])
        self.assertEqual((m.File_GetFileSize(name), m.ChecksumState_VerifyChecksum(name, '')), (100, 1))

    def test_record_and_verifier_parameters_reach_the_library(self):
        # What the records hold and how damage is found are the library's (checksum_files_test.cc).
        data = ''.join(chr(i % 256) for i in range(3000))
        self.put('src', data)
        source, target, record = self.handle('src', 'r'), self.handle('t0', 'w'), m.new_FileAttr()
        m.File_Seek(source, 7)
        assert_results(self, [m.File_CopyNBytes(source, target, 2993, record, None), m.File_Close(target),
                              m.ChecksumState___eq__(m.FileAttr_checksum_get(record), state_of(data[7:]))], [1] * 3)
        out, f = ctypes.create_string_buffer(100), self.handle('t0', 'r')
        self.assertLongResult(m.File_PReadWithVerifier(f, 10, pointer_to(out, '_p_void'), 100, None, None), 100)
        self.assertEqual(out.raw, data[17:117])
        m.File_Seek(f, 5)
        self.assertLongResult(m.File_ReadWithVerifier(f, pointer_to(out, '_p_void'), 100, None), 100)
        self.assertEqual(out.raw, data[12:112])

pqtest.on_each_file_system(ChecksumFileCases)


if __name__ == '__main__':
    pqtest.main()
