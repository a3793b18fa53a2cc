// Process-wide File facilities: statistics, host and page size, the
// per-thread user name, the data directory, and the path utilities.
#include <unistd.h>

#include "file/base/file.h"
#include "file/base/util/logging.h"
#include "file/base/names/path.h"
#include "file/base/names/sharded.h"

namespace {

thread_local ::string current_thread_user_name;

::string ReadHostName() {
  char name[256] = {};
  if (gethostname(name, sizeof(name) - 1) != 0) return ::string("localhost");
  return ::string(name);
}

}  // namespace

FileOpStats* File::opstats() {
  static FileOpStats* stats = new FileOpStats;
  return stats;
}

void File::LogOpStats() { PQ_LOG(INFO) << "File operations: " << opstats()->ToString(); }

void File::LogUnsupportedFile(const ::string& name) {
  PQ_LOG(WARNING) << "Unsupported file: " << name;
}

void File::SyncAll() { sync(); }

int File::pagesize() {
  static const int size = static_cast<int>(sysconf(_SC_PAGESIZE));
  return size;
}

const ::string& File::localhost_name() {
  static const ::string* name = new ::string(ReadHostName());
  return *name;
}

void File::SetCurrentThreadUserName(const ::string& user) { current_thread_user_name = user; }
::string File::GetCurrentThreadUserName() { return current_thread_user_name; }

void File::InitWithDatadirFrom(const char* dir) { file::InitWithDatadirFrom(dir); }
bool File::init_called() { return file::InitCalled(); }
::string File::RewriteDatadir(const char* name) { return file::RewriteDatadir(name); }
bool File::IsReplicatedFileName(const char* name) { return file::IsReplicatedFileName(name); }

// ---- Path utilities --------------------------------------------------------------

::string File::CanonicalizeFileName(const char* name) { return file::CanonicalizeFileName(name); }

void File::CanonicalizeFileNameList(vector<::string>* out, const vector<::string>& in) {
  if (out != nullptr) file::CanonicalizeFileNameList(out, in);
}

::string File::ConstructFullFileName(const ::string& directory,
                                     const vector<::string>& components, const ::string& suffix,
                                     int num_shards) {
  return file::ConstructFullFileName(directory, components, suffix, num_shards);
}

::string File::CleanPath(const ::string& path) { return file::CleanPath(path); }
const char* File::Basename(const char* name) { return file::Basename(name); }
const char* File::Suffix(const char* name) { return file::Suffix(name); }
::string File::StripBasename(const char* name) { return file::StripBasename(name); }
::string File::AddSlash(const ::string& path) { return file::AddSlash(path); }
::string File::JoinPath(const ::string& dir, const ::string& name) {
  return file::JoinPath(dir, name);
}
::string File::RemoveHosts(const ::string& name) { return file::RemoveHosts(name); }

::string File::GenerateShardedFilename(const ::string& base, int shard, int num_shards) {
  return file_base::GenerateShardedFilename(base, shard, num_shards);
}

bool File::GenerateShardedFilenames(const ::string& shard_set, vector<::string>* names) {
  return names != nullptr && file_base::GenerateShardedFilenames(shard_set, names);
}

const char* File::ShardedBasenameWithNumShards(const char* name, int* shard, int* num_shards,
                                               int* digits) {
  return file_base::ShardedBasenameWithNumShards(name, shard, num_shards, digits);
}
