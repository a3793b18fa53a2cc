"""IsUInt64ANegativeInt64, TranslateFromErrno, ErrorSpace and the sharded-name functions."""
import ctypes
import errno
import os
import shutil
import struct

import pqtest
from pqtest import m


def int_pointer(cell):
    """The pointer text of a ctypes int: the library writes through it."""
    return '_' + struct.pack('<Q', ctypes.addressof(cell)).encode('hex') + '_p_int'


class NegativeInt64Test(pqtest.TestCase):
    def test_top_bit_decides(self):
        self.assertIntResult(m.IsUInt64ANegativeInt64(2 ** 63), 1)
        self.assertIntResult(m.IsUInt64ANegativeInt64(2 ** 64 - 1), 1)
        self.assertIntResult(m.IsUInt64ANegativeInt64(2 ** 63 - 1), 0)
        self.assertIntResult(m.IsUInt64ANegativeInt64(0), 0)
        self.assertIntResult(m.IsUInt64ANegativeInt64(5), 0)

    def test_values_outside_uint64_are_refused(self):
        self.assertRaises(OverflowError, m.IsUInt64ANegativeInt64, -1)
        self.assertRaises(OverflowError, m.IsUInt64ANegativeInt64, 2 ** 64)
        self.assertRaises(TypeError, m.IsUInt64ANegativeInt64, '1')


class ErrorFunctionTest(pqtest.TestCase):
    def test_errno_mapping(self):
        expected = {
            0: m.OK,
            errno.ENOENT: m.ERROR_NOT_FOUND,
            errno.EEXIST: m.ERROR_ALREADY_EXISTS,
            errno.EACCES: m.ERROR_PERMISSION_DENIED,
            errno.EPERM: m.ERROR_PERMISSION_DENIED,
            errno.ENOTDIR: m.ERROR_WRONG_TYPE,
            errno.EISDIR: m.ERROR_WRONG_TYPE,
            errno.ENOTEMPTY: m.ERROR_NOT_EMPTY,
            errno.ENOSPC: m.ERROR_NO_SPACE,
            errno.EDQUOT: m.ERROR_NO_SPACE,
            errno.EAGAIN: m.ERROR_TEMPORARY,
            errno.EINTR: m.ERROR_TEMPORARY,
            errno.EINVAL: m.ERROR_INVALID_ARGUMENT,
            errno.ENOSYS: m.ERROR_UNIMPLEMENTED,
            99999: m.ERROR_UNKNOWN,
        }
        for value, code in expected.items():
            self.assertIntResult(m.TranslateFromErrno(value), code)
        self.assertRaises(TypeError, m.TranslateFromErrno, 'ENOENT')

    def test_error_space_is_one_shared_object(self):
        space = m.ErrorSpace()
        self.assertTrue(pqtest.is_pointer_text(space, '_p_util__ErrorSpace'))
        self.assertEqual(m.ErrorSpace(), space)
        self.assertRaises(TypeError, m.ErrorSpace, 1)


class ShardedNameTest(pqtest.TestCase):
    def test_expanding_a_set(self):
        self.assertEqual(m.GenerateShardedFilenames('a/b@3'),
                         (1, ['a/b-00000-of-00003', 'a/b-00001-of-00003', 'a/b-00002-of-00003']))
        self.assertEqual(m.GenerateShardedFilenames('a/b'), (0, []))
        self.assertEqual(m.GenerateShardedFilenames('a/b@*'), (0, []))
        self.assertRaises(TypeError, m.GenerateShardedFilenames, 3)

    def test_single_names_and_patterns(self):
        self.assertEqual(m.GenerateShardedFilename('a\0b', 1, 3), 'a\0b-00001-of-00003')
        self.assertEqual(m.GenerateShardedFilename('a', 3, 3), '')
        self.assertEqual(m.GenerateShardedFilename('a', 7, 123456), 'a-000007-of-123456')
        self.assertEqual(m.GenerateShardedFilePattern('a/b', 3), 'a/b-?????-of-00003')
        self.assertRaises(TypeError, m.GenerateShardedFilename, 'a', 'x', 3)

    def test_names_round_trip_through_their_set(self):
        shard, count, digits = ctypes.c_int(-1), ctypes.c_int(-1), ctypes.c_int(-1)
        ok, names = m.GenerateShardedFilenames('dir/set@12')
        self.assertEqual(ok, 1)
        for index, name in enumerate(names):
            shard_set = m.ShardedBasenameWithNumShards(name, int_pointer(shard), int_pointer(count),
                                                  int_pointer(digits))
            self.assertEqual(shard_set, 'dir/set@12')
            self.assertEqual((shard.value, count.value, digits.value), (index, 12, 5))
        self.assertEqual(m.ShardedBasenameWithNumShards(names[0], None, None, None), 'dir/set@12')
        self.assertIs(m.ShardedBasenameWithNumShards('dir/set-0001-of-00012', None, None, None), None)
        self.assertTypeError('Type error. Got _p_int64, expected _p_int',
                             m.ShardedBasenameWithNumShards, names[0],
                             int_pointer(shard)[:-len('_p_int')] + '_p_int64', None, None)

    def test_detecting_the_count_of_existing_shards(self):
        base = pqtest.scratch_dir('shards')
        self.addCleanup(shutil.rmtree, base, True)
        for shard in range(2):
            open(os.path.join(base, 's-%05d-of-00004' % shard), 'w').close()
        found = ctypes.c_int(0)
        self.assertIntResult(m.DetectNumberOfShards(base + '/s@*', int_pointer(found)), 1)
        self.assertEqual(found.value, 4)
        self.assertIntResult(m.DetectNumberOfShards(base + '/s@5', int_pointer(found)), 0)
        self.assertIntResult(m.DetectNumberOfShards(base + '/other', None), 0)
        self.assertIntResult(m.DetectNumberOfShards(base + '/s', None), 1)
        self.assertEqual(found.value, 4)


if __name__ == '__main__':
    pqtest.main()
