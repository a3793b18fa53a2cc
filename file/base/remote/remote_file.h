// The remote file system: names "root://host:port//path" served by an XRootD
// server or cluster through XRootD's client library (registered by the
// registry as the factory named by FileFactory::remote_file, prefix
// "root://"). See docs/remote.md for the cluster story.
//
// - Every request is bounded: by the Operation's deadline where one is given
//   (the wait ends at the deadline, the client's own time-out shortly
//   after), else by the client's time-outs (ConfigureClient). A server that
//   is down or unreachable gives ERROR_TEMPORARY (ERROR_DEADLINE_EXCEEDED
//   once the deadline passed), never a hang.
// - Errors carry the server's message and the library's code (not found,
//   already exists, wrong type, permission denied, not empty, no space).
// - Not available (ERROR_UNIMPLEMENTED with a message): advisory locks,
//   changing owners, groups or modification times, direct I/O, atomic
//   appends by concurrent writers (appends find the end with a stat first:
//   one writer at a time).
// - A rename onto an existing name without overwrite checks first and then
//   moves: another client may create the target in between.
// - Asynchronous positioned reads and writes go to the client's own
//   asynchronous calls (no worker thread parked per request); ReadRanges
//   fetches several ranges in one vector read.
#ifndef FILE_BASE_REMOTE_REMOTE_FILE_H_
#define FILE_BASE_REMOTE_REMOTE_FILE_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "file/base/core/kept_position.h"
#include "file/base/file.h"
#include "file/base/core/file_factory.h"

namespace XrdCl {  // the client library, seen only by file/base/remote/*.cc
class File;
class ResponseHandler;
class XRootDStatus;
}  // namespace XrdCl

namespace file {
namespace remote {

struct HandleState;  // the client's file object and requests in flight
struct Reply;

class RemoteFile : public File {
 public:
  RemoteFile(FileFactory* factory, const char* name, const char* mode,
             const FileOpenOptions& options);
  ~RemoteFile() override;

  // The handle operations that reach the server carry the Operation's
  // deadline down to the primitives.
  bool OpenWithOp(file::Operation* op) override;
  int64 ReadWithOp(void* buffer, uint64 size, file::Operation* op) override;
  int64 WriteWithOp(const void* buffer, uint64 size, file::Operation* op) override;
  int64 PReadWithOp(int64 offset, void* buffer, int64 size, file::Operation* op) override;
  int64 PWriteWithOp(int64 offset, const void* buffer, int64 size, file::Operation* op) override;
  bool TruncateWithOp(int64 length, file::Operation* op) override;
  // Straight to the client's asynchronous calls.
  bool PReadAsyncWithOp(int64 offset, int64 length, IOBuffer* data, int64* bytes_read,
                        AsyncIO* done, file::Operation* op) override;
  bool PWriteAsyncWithOp(int64 offset, IOBuffer* data, int64* written, AsyncIO* done,
                         file::Operation* op) override;
  bool SupportsAsyncRead() override { return true; }
  bool SupportsAsyncWrite() override { return true; }
  bool SupportsHaspLockedAccess() override { return false; }
  bool SupportsConcurrentAppenders() override { return false; }

  // Reads several ranges in one request (a vector read of at most 1024
  // ranges); each range is cut at end of file. (*out)[i] receives the bytes
  // of ranges[i]. False with the handle error set on failure.
  struct Range {
    int64 offset;
    int64 length;
  };
  bool ReadRanges(const vector<Range>& ranges, vector<::string>* out, file::Operation* op);

 protected:
  bool DoOpen() override;
  bool DoClose() override;
  int64 DoRead(void* buffer, uint64 size) override;
  int64 DoWrite(const void* buffer, uint64 size) override;
  int64 DoAppend(const void* buffer, uint64 size, int64* offset) override;
  int64 DoPRead(int64 offset, void* buffer, int64 size) override;
  int64 DoPWrite(int64 offset, const void* buffer, int64 size) override;
  bool DoTruncate(int64 length) override;
  int64 DoSize() override;
  int64 DoTell() override;
  bool DoSeek(int64 position) override;
  bool DoSync(bool data_only) override;
  bool DoStat(FileStat* stat) override;
  MemBlock* DoGetBlock(int64 offset, int64 length, bool must_map) override;

 private:
  // Opens for the mode: existing files, or creating them as the mode says.
  bool OpenForMode(const ::string& url, unsigned int permissions);
  int64 ReadAt(int64 offset, void* buffer, int64 size, const char* what);
  int64 WriteAt(int64 offset, const void* buffer, int64 size, const char* what);
  // Issues one asynchronous request (`issue` gets the client's file, the
  // handler and the time-out); `settle` gets the answer (null on failure)
  // and gives the byte count that `done` is finished with.
  bool IssueAsync(const char* what, file::Operation* op, AsyncIO* done,
                  const std::function<XrdCl::XRootDStatus(XrdCl::File*, XrdCl::ResponseHandler*,
                                                          uint16_t)>& issue,
                  std::function<int64(const Reply*)> settle);
  // Sets the handle error from a failed reply; false.
  bool SetReplyError(const char* what, const Reply& reply, WallTime deadline);
  // Async requests in flight: Close waits for them.
  void BeginAsync();
  void EndAsync();
  // Notes that bytes up to `end` were acknowledged.
  void Wrote(int64 end);
  // The file's length on the server when it is shorter than the acknowledged
  // writes reach (one fitted only in part), else -1 (also when unknown).
  int64 ShortLength(XrdCl::File* file, WallTime deadline);
  // Fails `what` with ERROR_NO_SPACE, saying the server kept only `kept` bytes; false.
  bool FailShort(const char* what, int64 kept);

  std::shared_ptr<HandleState> state_;
  file::KeptPosition position_;
  std::mutex async_mu_;
  std::condition_variable async_cv_;
  int async_in_flight_ = 0;
  // The end of the furthest write the server acknowledged (cut back by
  // truncation): a server whose disk fills up mid-write acknowledges the
  // whole write yet keeps only part of it, so Close checks the file is at
  // least this long.
  std::atomic<int64> written_end_{0};
};

class RemoteFileFactory : public FileFactory {
 public:
  File* NewFile(const char* name, const char* mode, const FileOpenOptions& options) override;
  // Globs run on the server's path, so "root://host//dir/*" keeps its
  // double slash and its host in every result.
  bool DoMatch(const char* pattern, vector<::string>* matches, File::MatchType type,
               file::Operation* op) override;
  // One mkdir with the server making the missing parents.
  bool RecursivelyCreateDirWithOptions(const char* name,
                                       const file::RecursiveCreateOptions& options) override;
  bool DoStat(const char* name, FileStat* stat, file::Operation* op) override;
  int DoListDirectory(const ::string& dir, vector<file::DirEntry>* entries) override;
  bool DoDelete(const char* name, file::Operation* op) override;
  bool DoRename(const char* from, const char* to, bool overwrite, file::Operation* op) override;
  bool DoCreateDir(const char* name, unsigned int mode, file::Operation* op) override;
  bool DoDeleteDir(const char* name, file::Operation* op) override;
  bool DoSetMode(const char* name, unsigned int mode, file::Operation* op) override;
  bool DoSetOwner(const char* name, const char* owner, file::Operation* op) override;
  bool DoSetGroup(const char* name, const char* group, file::Operation* op) override;
  bool DoSetMtime(const char* name, long mtime, file::Operation* op) override;  // NOLINT
  bool DoStatfs(const char* name, int64* total, int64* free_bytes, int64* available,
                file::Operation* op) override;
  bool DoReadable(const char* name, file::Operation* op) override;
  bool DoAcquireLock(const ::string& name, const LockInfo& lock,
                     std::unique_ptr<file::HeldLock>* held, file::Operation* op) override;
};

// The checksum the server computes for a whole file, as lower-case hex:
// type "crc32c" or "adler32" (what the server is configured for). The file
// is not read back to this process.
bool ServerChecksum(const ::string& name, const ::string& type, ::string* hex,
                    file::Operation* op);

}  // namespace remote
}  // namespace file

// The remote file system (names under root://). It is built as a shared
// object of its own (libpq_remote.so), which the registry loads when a
// root:// name is first used; pq_new_remote_file_factory is its entry point.
FileFactory* NewRemoteFileFactory();

#endif  // FILE_BASE_REMOTE_REMOTE_FILE_H_
