"""IsUInt64ANegativeInt64, TranslateFromErrno, ErrorSpace and the sharded-name functions."""
import ctypes
import errno
import os
import shutil

import pqtest
from pqtest import m, pointer_to


class ValueFunctionTest(pqtest.TestCase):
    def test_negative_int64_takes_the_whole_uint64_range(self):
        for value, negative in ((2 ** 63, 1), (2 ** 64 - 1, 1), (2 ** 63 - 1, 0), (0, 0)):
            self.assertIntResult(m.IsUInt64ANegativeInt64(value), negative)
        for bad, error in ((-1, OverflowError), (2 ** 64, OverflowError), ('1', TypeError)):
            self.assertRaises(error, m.IsUInt64ANegativeInt64, bad)

    def test_errno_mapping_and_error_space(self):
        for value, code in ((0, m.OK), (errno.ENOENT, m.ERROR_NOT_FOUND), (99999, m.ERROR_UNKNOWN)):
            self.assertIntResult(m.TranslateFromErrno(value), code)
        self.assertRaises(TypeError, m.TranslateFromErrno, 'ENOENT')
        space = m.ErrorSpace()  # one shared object
        self.assertTrue(pqtest.is_pointer_text(space, '_p_util__ErrorSpace'))
        self.assertEqual(m.ErrorSpace(), space)
        self.assertRaises(TypeError, m.ErrorSpace, 1)


class ShardedNameTest(pqtest.TestCase):
    def test_generated_names_and_patterns(self):
        self.assertEqual(m.GenerateShardedFilenames('a/b@2'), (1, ['a/b-00000-of-00002', 'a/b-00001-of-00002']))
        self.assertEqual(m.GenerateShardedFilenames('a/b'), (0, []))
        self.assertEqual(m.GenerateShardedFilename('a\0b', 1, 3), 'a\0b-00001-of-00003')  # byte-exact
        self.assertEqual(m.GenerateShardedFilename('a', 3, 3), '')
        self.assertEqual(m.GenerateShardedFilePattern('a/b', 3), 'a/b-?????-of-00003')
        self.assertRaises(TypeError, m.GenerateShardedFilenames, 3)
        self.assertRaises(TypeError, m.GenerateShardedFilename, 'a', 'x', 3)

    def test_names_round_trip_through_their_set(self):
        shard, count, digits = ctypes.c_int(-1), ctypes.c_int(-1), ctypes.c_int(-1)
        ok, names = m.GenerateShardedFilenames('dir/set@12')
        self.assertEqual(ok, 1)
        for index, name in enumerate(names):
            self.assertEqual(m.ShardedBasenameWithNumShards(name, pointer_to(shard, '_p_int'), pointer_to(count, '_p_int'),
                                                            pointer_to(digits, '_p_int')), 'dir/set@12')
            self.assertEqual((shard.value, count.value, digits.value), (index, 12, 5))
        self.assertEqual(m.ShardedBasenameWithNumShards(names[0], None, None, None), 'dir/set@12')
        self.assertIs(m.ShardedBasenameWithNumShards('dir/set-0001-of-00012', None, None, None), None)
        self.assertTypeError('Type error. Got _p_int64, expected _p_int', m.ShardedBasenameWithNumShards,
                             names[0], pointer_to(shard, '_p_int64'), None, None)

    def test_detecting_the_count_of_existing_shards(self):
        base = pqtest.scratch_dir('shards')
        self.addCleanup(shutil.rmtree, base, True)
        open(os.path.join(base, 's-00001-of-00004'), 'w').close()
        found = ctypes.c_int(0)
        self.assertIntResult(m.DetectNumberOfShards(base + '/s@*', pointer_to(found, '_p_int')), 1)
        self.assertEqual(found.value, 4)
        self.assertIntResult(m.DetectNumberOfShards(base + '/other', None), 0)
        self.assertIntResult(m.DetectNumberOfShards(base + '/s', None), 1)


if __name__ == '__main__':
    pqtest.main()
