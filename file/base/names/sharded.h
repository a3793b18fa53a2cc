// Sharded file names: a set of N files written in parallel, one per shard.
//
//   name@N        the set name: stands for name-00000-of-0000N ... the shard
//                 files are "<name>-<shard>-of-<N>" with both numbers padded
//                 with zeros to the same width, five digits or more when N
//                 needs them (name@123456 -> name-000000-of-123456 ...)
//   name@*        the set with whatever count its existing files carry
//
// Only canonical shard names count as shards: equal widths, the width
// max(5, digits of N), 0 <= shard < N. The "@" must be in the basename (after
// the last "/"), and the base before it must not be empty.
#ifndef FILE_BASE_SHARDED_H_
#define FILE_BASE_SHARDED_H_

#include <functional>

#include "file/base/util/base_types.h"

namespace file_base {

// Largest set GenerateShardedFilenames expands; bigger counts are refused
// rather than allocating millions of names.
constexpr int kMaxExpandedShards = 1 << 20;

// Replaces `*out` with the N shard names of "name@N". False, with `*out`
// empty, for anything else: no "@", "@*", a count that is not a plain
// positive decimal, or a count above kMaxExpandedShards.
bool GenerateShardedFilenames(const ::string& set_name, vector<::string>* out);

// "<base>-<shard>-of-<num_shards>" padded as above; "" unless
// 0 <= shard < num_shards.
::string GenerateShardedFilename(const ::string& base, int shard, int num_shards);

// A glob (file/base/names/glob.h syntax) that matches the shard files of `base`:
// for num_shards > 0 exactly the names of that count (shard digits as "?"),
// for num_shards <= 0 the shard names of any count. Glob characters in `base`
// are escaped, so the base is always taken literally. The glob may also match
// non-canonical look-alikes; ShardedBasenameWithNumShards tells them apart.
::string GenerateShardedFilePattern(const ::string& base, int num_shards);

// The glob for a set name: "name@N" -> GenerateShardedFilePattern(name, N),
// "name@*" -> GenerateShardedFilePattern(name, 0). False for other names.
bool ShardSetToPattern(const ::string& set_name, ::string* pattern);

// Lists the existing names matching a glob; installed by the file layer so
// that every file system is searched. The default searches the local file
// system only.
using ShardMatchFn = std::function<bool(const ::string& pattern, vector<::string>* out)>;
// Installs `fn` (an empty function restores the default). Thread-safe.
void SetShardMatchFunction(ShardMatchFn fn);

// Finds the shard count of a set from the files that exist. `set_name` is
// "name", "name@*" or "name@N". The existing canonical shard files of "name"
// must all carry one count M (and M == N when N is given); then `*num_shards`
// = M and the result is true. Not every shard needs to exist. False, leaving
// `*num_shards` alone, when no shard file exists, counts disagree, or the
// search fails. `num_shards` may be null.
bool DetectNumberOfShards(const ::string& set_name, int* num_shards);

// Takes a shard name apart: for "dir/base-00003-of-00010" returns the set
// name "dir/base@10" and stores 3, 10 and the digit width 5 through `shard`,
// `num_shards` and `digits` (null pointers are skipped). Returns null, storing
// nothing, when `name` is null or not a canonical shard name. The text lives
// in a thread-local buffer, valid until the next call in the same thread.
const char* ShardedBasenameWithNumShards(const char* name, int* shard, int* num_shards,
                                         int* digits);

}  // namespace file_base

#endif  // FILE_BASE_SHARDED_H_
