// The remote file system's use of the XRootD client library: one place
// that sets the client up, turns deadlines into waits and time-outs, and
// turns the client's statuses into the library's error codes. Only files of
// file/base/remote include this header (or any XRootD header).
#ifndef FILE_BASE_REMOTE_REMOTE_CLIENT_H_
#define FILE_BASE_REMOTE_REMOTE_CLIENT_H_

#include <XrdCl/XrdClFileSystem.hh>
#include <XrdCl/XrdClXRootDResponses.hh>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "file/base/core/filestat.h"
#include "file/base/core/forward.h"
#include "file/base/util/base_types.h"
#include "file/base/util/errors.h"

namespace file {
namespace remote {

// Sets the client's connection and request time-outs once per process
// (ConnectionWindow 5 s, ConnectionRetry 2, RequestTimeout 60 s,
// TimeoutResolution 1 s, StreamErrorWindow 2 s), except where the user set
// them through the client's own XRD_* environment variables.
void ConfigureClient();

// The deadline a call must keep: the Operation's, else the one a handle
// operation in progress on this thread set (HandleDeadline), else 0 (none:
// the client's own time-outs bound the call).
WallTime DeadlineFor(const file::Operation* op);

// Sets the deadline of handle calls made on this thread for its lifetime
// (the handle primitives receive no Operation).
class HandleDeadline {
 public:
  explicit HandleDeadline(const file::Operation* op);
  ~HandleDeadline();
  HandleDeadline(const HandleDeadline&) = delete;
  HandleDeadline& operator=(const HandleDeadline&) = delete;

 private:
  const WallTime saved_;
};

// The outcome of one request. `response` is owned here; Get<T>() borrows.
struct Reply {
  XrdCl::XRootDStatus status;
  std::unique_ptr<XrdCl::AnyObject> response;
  // True when the deadline passed before the server answered (the request
  // may still complete later; nothing waits for it).
  bool expired = false;
  template <typename T>
  T* Get() const {
    T* value = nullptr;
    if (response != nullptr) response->Get(value);
    return value;
  }
};

// Issues one asynchronous request through `issue` (given the handler and the
// client time-out in seconds to pass on) and waits for its answer, at most
// until `deadline` when it is not 0. `keep` is held until the request really
// ends, even when the caller stopped waiting (buffers the request uses).
std::shared_ptr<Reply> Await(
    const std::function<XrdCl::XRootDStatus(XrdCl::ResponseHandler*, uint16_t)>& issue,
    WallTime deadline, std::shared_ptr<void> keep = nullptr);

// Issues one request without waiting: `done` runs on a client thread with
// the outcome. False (and `done` never runs) when the request could not be
// issued; *status then says why.
bool Issue(const std::function<XrdCl::XRootDStatus(XrdCl::ResponseHandler*, uint16_t)>& issue,
           WallTime deadline, std::function<void(const Reply&)> done,
           XrdCl::XRootDStatus* status);

// The client time-out (seconds) for a request that must end by `deadline`.
uint16_t ClientTimeout(WallTime deadline);

// The library's code for a failed reply: not found, already exists, wrong
// type, permission denied, not empty, no space, unimplemented; connection
// trouble and time-outs are ERROR_TEMPORARY, or ERROR_DEADLINE_EXCEEDED
// once the caller's deadline has passed.
file::ErrorCode CodeFor(const Reply& reply, WallTime deadline);
// The errno value closest to a failed status (for primitives that report
// errno values); EAGAIN for connection trouble.
int ErrnoFor(const XrdCl::XRootDStatus& status);
// The server's (or the client's) own words for a failure.
::string ReasonFor(const Reply& reply);

// Records "<what> <name>: <reason>" with the mapped code in op; false.
bool FailWithReply(file::Operation* op, const char* what, const ::string& name,
                   const Reply& reply, WallTime deadline);

// A stat answer as the library's FileStat (attributes left alone).
void FillStat(const XrdCl::StatInfo& info, FileStat* stat);

// The process umask, read without changing it.
unsigned int ProcessUmask();

// One client object per server ("root://host:port"), kept for the life of
// the process so that requests still in flight never outlive it.
XrdCl::FileSystem* FileSystemFor(const ::string& server);

}  // namespace remote
}  // namespace file

#endif  // FILE_BASE_REMOTE_REMOTE_CLIENT_H_
