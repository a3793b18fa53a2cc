#include "file/base/remote/remote_client.h"

#include <XProtocol/XProtocol.hh>
#include <XrdCl/XrdClDefaultEnv.hh>
#include <XrdCl/XrdClEnv.hh>
#include <XrdCl/XrdClURL.hh>

#include <cerrno>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <map>

#include "file/base/core/operation.h"
#include "file/base/util/status.h"

namespace file {
namespace remote {
namespace {

thread_local WallTime handle_deadline = 0;

// The answer a handler delivers, shared between the handler and the waiter
// (which may stop waiting first).
struct Pending {
  std::mutex mu;
  std::condition_variable cv;
  bool done = false;
  std::shared_ptr<Reply> reply = std::make_shared<Reply>();
  std::shared_ptr<void> keep;
  std::function<void(const Reply&)> then;
};

class PendingHandler : public XrdCl::ResponseHandler {
 public:
  explicit PendingHandler(std::shared_ptr<Pending> pending) : pending_(std::move(pending)) {}

  void HandleResponse(XrdCl::XRootDStatus* status, XrdCl::AnyObject* response) override {
    std::shared_ptr<Pending> pending = std::move(pending_);
    delete this;
    pending->reply->status = *status;
    delete status;
    pending->reply->response.reset(response);
    if (pending->then) pending->then(*pending->reply);
    {
      std::lock_guard<std::mutex> lock(pending->mu);
      pending->done = true;
      pending->keep.reset();
    }
    pending->cv.notify_all();
  }

 private:
  std::shared_ptr<Pending> pending_;
};

bool Unexpired(WallTime deadline) { return deadline == 0 || WallTime_Now() < deadline; }

}  // namespace

void ConfigureClient() {
  static std::once_flag once;
  std::call_once(once, [] {
    XrdCl::Env* env = XrdCl::DefaultEnv::GetEnv();
    const struct {
      const char* key;
      const char* variable;
      int value;
    } defaults[] = {
        {"ConnectionWindow", "XRD_CONNECTIONWINDOW", 5},
        {"ConnectionRetry", "XRD_CONNECTIONRETRY", 2},
        {"RequestTimeout", "XRD_REQUESTTIMEOUT", 60},
        {"TimeoutResolution", "XRD_TIMEOUTRESOLUTION", 1},
        {"StreamErrorWindow", "XRD_STREAMERRORWINDOW", 2},
        // The client's fork handler stops and restarts its threads around
        // every fork: a parent that forks to run a program can deadlock in
        // it, and a child can crash in a restarted thread. Off unless asked
        // for; a forked child then must not use root:// names.
        {"RunForkHandler", "XRD_RUNFORKHANDLER", 0},
    };
    for (const auto& d : defaults) {
      if (std::getenv(d.variable) == nullptr) env->PutInt(d.key, d.value);
    }
  });
}

WallTime DeadlineFor(const file::Operation* op) {
  if (op != nullptr && op->HasDeadline()) return op->GetDeadline();
  return handle_deadline;
}

HandleDeadline::HandleDeadline(const file::Operation* op) : saved_(handle_deadline) {
  if (op != nullptr && op->HasDeadline()) handle_deadline = op->GetDeadline();
}

HandleDeadline::~HandleDeadline() { handle_deadline = saved_; }

uint16_t ClientTimeout(WallTime deadline) {
  if (deadline == 0) return 0;  // the configured RequestTimeout
  // The client counts whole seconds; our own wait ends at the deadline, the
  // client's a little later, so the request is cleaned up after we left.
  const double left = std::ceil(deadline - WallTime_Now()) + 1;
  return static_cast<uint16_t>(std::clamp(left, 1.0, 65535.0));
}

bool Issue(const std::function<XrdCl::XRootDStatus(XrdCl::ResponseHandler*, uint16_t)>& issue,
           WallTime deadline, std::function<void(const Reply&)> done,
           XrdCl::XRootDStatus* status) {
  ConfigureClient();
  auto pending = std::make_shared<Pending>();
  pending->then = std::move(done);
  auto* handler = new PendingHandler(pending);
  *status = issue(handler, ClientTimeout(deadline));
  if (!status->IsOK()) {
    delete handler;  // the client never calls a handler it refused
    return false;
  }
  return true;
}

std::shared_ptr<Reply> Await(
    const std::function<XrdCl::XRootDStatus(XrdCl::ResponseHandler*, uint16_t)>& issue,
    WallTime deadline, std::shared_ptr<void> keep) {
  ConfigureClient();
  if (!Unexpired(deadline)) {
    auto reply = std::make_shared<Reply>();
    reply->status = XrdCl::XRootDStatus(XrdCl::stError, XrdCl::errOperationExpired);
    reply->expired = true;
    return reply;
  }
  auto pending = std::make_shared<Pending>();
  pending->keep = std::move(keep);
  auto* handler = new PendingHandler(pending);
  const XrdCl::XRootDStatus issued = issue(handler, ClientTimeout(deadline));
  if (!issued.IsOK()) {
    delete handler;
    auto reply = std::make_shared<Reply>();
    reply->status = issued;
    return reply;
  }
  std::unique_lock<std::mutex> lock(pending->mu);
  if (deadline == 0) {
    pending->cv.wait(lock, [&] { return pending->done; });
  } else {
    const auto until = std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::duration<double>(deadline)));
    if (!pending->cv.wait_until(lock, until, [&] { return pending->done; })) {
      auto reply = std::make_shared<Reply>();
      reply->status = XrdCl::XRootDStatus(XrdCl::stError, XrdCl::errOperationExpired, 0,
                                          "no answer from the server before the deadline");
      reply->expired = true;
      return reply;
    }
  }
  return pending->reply;
}

file::ErrorCode CodeFor(const Reply& reply, WallTime deadline) {
  const XrdCl::XRootDStatus& s = reply.status;
  if (s.IsOK()) return file::OK;
  if (reply.expired || s.code == XrdCl::errOperationExpired ||
      s.code == XrdCl::errSocketTimeout) {
    return deadline != 0 && !Unexpired(deadline) ? file::ERROR_DEADLINE_EXCEEDED
                                                 : file::ERROR_TEMPORARY;
  }
  if (s.code == XrdCl::errErrorResponse) {
    switch (s.errNo) {
      case kXR_NotFound: return file::ERROR_NOT_FOUND;
      case kXR_ItExists: return file::ERROR_ALREADY_EXISTS;
      case kXR_isDirectory:
      case kXR_NotFile: return file::ERROR_WRONG_TYPE;
      case kXR_NotAuthorized:
      case kXR_fsReadOnly: return file::ERROR_PERMISSION_DENIED;
      case kXR_NoSpace:
      case kXR_overQuota: return file::ERROR_NO_SPACE;
      case kXR_Unsupported: return file::ERROR_UNIMPLEMENTED;
      case kXR_ArgInvalid:
      case kXR_ArgMissing:
      case kXR_ArgTooLong: return file::ERROR_INVALID_ARGUMENT;
      case kXR_FileLocked:  // open for writing by another client
      case kXR_Overloaded:
      case kXR_inProgress:
      case kXR_noserver:
      case kXR_noReplicas:
      case kXR_ReqTimedOut: return file::ERROR_TEMPORARY;
      case kXR_FSError:
        // The server says "directory not empty" this way.
        if (s.GetErrorMessage().find("not empty") != ::string::npos) return file::ERROR_NOT_EMPTY;
        break;
      default:
        break;
    }
    return static_cast<file::ErrorCode>(file::TranslateFromErrno(XProtocol::toErrno(s.errNo)));
  }
  switch (s.code) {
    case XrdCl::errNotSupported:
    case XrdCl::errNotImplemented:
    case XrdCl::errQueryNotSupported: return file::ERROR_UNIMPLEMENTED;
    case XrdCl::errInvalidArgs: return file::ERROR_INVALID_ARGUMENT;
    case XrdCl::errNotFound: return file::ERROR_NOT_FOUND;
    default: break;
  }
  // Connection and stream trouble (codes from 100 up), retries, redirect
  // limits: worth trying again later.
  return file::ERROR_TEMPORARY;
}

int ErrnoFor(const XrdCl::XRootDStatus& status) {
  if (status.IsOK()) return 0;
  if (status.code == XrdCl::errErrorResponse) {
    if (status.errNo == kXR_FSError && status.GetErrorMessage().find("not empty") != ::string::npos) {
      return ENOTEMPTY;
    }
    return XProtocol::toErrno(status.errNo);
  }
  if (status.code == XrdCl::errNotSupported || status.code == XrdCl::errNotImplemented) return ENOTSUP;
  if (status.code == XrdCl::errInvalidArgs) return EINVAL;
  return EAGAIN;
}

::string ReasonFor(const Reply& reply) {
  if (reply.expired) return "no answer from the server before the deadline";
  ::string text = reply.status.ToString();
  const ::string& message = reply.status.GetErrorMessage();
  if (!message.empty() && text.find(message) == ::string::npos) text += ": " + message;
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

bool FailWithReply(file::Operation* op, const char* what, const ::string& name,
                   const Reply& reply, WallTime deadline) {
  return file::Fail(op, CodeFor(reply, deadline), ::string(what) + " " + name + ": " + ReasonFor(reply));
}

XrdCl::FileSystem* FileSystemFor(const ::string& server) {
  static std::mutex mu;
  static auto* systems = new std::map<::string, XrdCl::FileSystem*>;
  ConfigureClient();
  std::lock_guard<std::mutex> lock(mu);
  XrdCl::FileSystem*& fs = (*systems)[server];
  if (fs == nullptr) fs = new XrdCl::FileSystem(XrdCl::URL(server + "/"));
  return fs;
}

}  // namespace remote
}  // namespace file
