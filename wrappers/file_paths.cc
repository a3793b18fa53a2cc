// Path and sharded-name utilities of File: strings in, strings out, and the
// proxy-class registration of File.
#include "file/base/file.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kFilePathMethods,
  def<"File_CanonicalizeFileName", "s", &File::CanonicalizeFileName>(),
  def<"File_CanonicalizeFileNameList", "OO", &File::CanonicalizeFileNameList>(),
  def<"File_ConstructFullFileName", "OOOi", &File::ConstructFullFileName>(),
  def<"File_CleanPath", "O", &File::CleanPath>(),
  def<"File_Basename", "s", &File::Basename>(),
  def<"File_Suffix", "s", &File::Suffix>(),
  def<"File_StripBasename", "s", &File::StripBasename>(),
  def<"File_AddSlash", "O", &File::AddSlash>(),
  def<"File_JoinPath", "OO", &File::JoinPath>(),
  def<"File_RemoveHosts", "O", &File::RemoveHosts>(),
  def<"File_RewriteDatadir", "s", &File::RewriteDatadir>(),
  def<"File_GenerateShardedFilename", "Oii", &File::GenerateShardedFilename>(),
  def<"File_GenerateShardedFilenames", "O", [](const ::string& sharded, Out<vector<::string>>& names) {
    return File::GenerateShardedFilenames(sharded, names);
  }>(),
  def<"File_ShardedBasenameWithNumShards", "sOOO", &File::ShardedBasenameWithNumShards>(),
  registration<"File_swigregister", File>()
)
