// Free functions of the library that belong to no class: the numeric sign
// test, the error-code helpers, and the sharded-name utilities.
#include "file/base/util/errors.h"
#include "file/base/names/replicated_names.h"
#include "file/base/names/sharded.h"
#include "file/base/util/status.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kIsUInt64Methods,
  def<"IsUInt64ANegativeInt64", "O", &IsUInt64ANegativeInt64>()
)

PQ_METHOD_LIST(kErrorFunctionMethods,
  def<"TranslateFromErrno", "i", &file::TranslateFromErrno>(),
  // The process-wide space, handed out without ownership.
  def<"ErrorSpace", "", &file::ErrorSpace>()
)

PQ_METHOD_LIST(kShardedFunctionMethods,
  def<"GenerateShardedFilenames", "O", [](const ::string& shard_set, Out<vector<::string>>& names) {
    return file_base::GenerateShardedFilenames(shard_set, names);
  }>(),
  def<"GenerateShardedFilename", "Oii", &file_base::GenerateShardedFilename>(),
  def<"GenerateShardedFilePattern", "Oi", &file_base::GenerateShardedFilePattern>(),
  // The int* outputs are pointer objects made elsewhere; only they see the results.
  def<"DetectNumberOfShards", "OO", &file_base::DetectNumberOfShards>(),
  def<"ShardedBasenameWithNumShards", "sOOO", &file_base::ShardedBasenameWithNumShards>()
)
