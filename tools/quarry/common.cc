// Shared pieces of the quarry commands: handles, errors, progress, names.
#include <unistd.h>

#include <cstring>

#include <fmt/format.h>

#include "file/base/core/operation.h"
#include "file/base/names/glob.h"
#include "tools/quarry/quarry.h"

namespace quarry {

std::string Reason(const file::Operation& op, const std::string& fallback) {
  std::string message = op.message();
  return message.empty() ? fallback : message;
}

Handle::Handle(const std::string& name, const char* mode) : name_(name) {
  file_ = File::Create(name, mode);
  if (file_ == nullptr) throw Failure(fmt::format("{}: no file system takes this name", name));
  if (!file_->Open()) Fail("cannot open");
}

Handle::~Handle() {
  if (file_ != nullptr) file::CloseAndDelete(file_);
}

void Handle::Fail(const char* what) {
  std::string message = file_->GetCurrentErrorMessage();
  if (message.empty()) message = fmt::format("{} {}", what, name_);
  if (message.find(name_) == std::string::npos) message = fmt::format("{}: {}", name_, message);
  throw Failure(message);
}

size_t Handle::Read(char* buffer, size_t size) {
  int64 got = file_->Read(buffer, size);
  if (got < 0) Fail("cannot read");
  return static_cast<size_t>(got);
}

void Handle::Write(const char* data, size_t size) {
  while (size > 0) {
    int64 put = file_->Write(data, size);
    if (put <= 0) Fail("cannot write");
    data += put;
    size -= static_cast<size_t>(put);
  }
}

void Handle::Close() {
  File* f = file_;
  file_ = nullptr;
  bool ok = f->Close();
  std::string message = ok ? "" : f->GetCurrentErrorMessage();
  delete f;
  if (!ok) throw Failure(fmt::format("{}: cannot close: {}", name_, message));
}

bool ShowProgress() { return isatty(STDERR_FILENO) == 1; }

std::string HumanBytes(double bytes) {
  static const char* const kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
  int unit = 0;
  while (bytes >= 1024 && unit < 4) {
    bytes /= 1024;
    ++unit;
  }
  return unit == 0 ? fmt::format("{:.0f} B", bytes) : fmt::format("{:.1f} {}", bytes, kUnits[unit]);
}

Progress::Progress(std::string label, int64 total)
    : label_(std::move(label)), total_(total), shown_(ShowProgress()),
      start_(std::chrono::steady_clock::now()), last_(start_) {}

void Progress::Update(int64 done) {
  if (!shown_) return;
  auto now = std::chrono::steady_clock::now();
  if (now - last_ < std::chrono::milliseconds(200)) return;
  last_ = now;
  double seconds = std::chrono::duration<double>(now - start_).count();
  double rate = seconds > 0 ? done / seconds : 0;
  if (total_ > 0) {
    int width = 30, filled = static_cast<int>(width * static_cast<double>(done) / total_);
    fmt::print(stderr, "\r{} [{}{}] {:3.0f}% {} {}/s ", label_, std::string(filled, '#'),
               std::string(width - filled, ' '), 100.0 * done / total_, HumanBytes(done), HumanBytes(rate));
  } else {
    fmt::print(stderr, "\r{} {} {}/s ", label_, HumanBytes(done), HumanBytes(rate));
  }
  std::fflush(stderr);
}

void Progress::Finish(int64 done) {
  if (!shown_) return;
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  fmt::print(stderr, "\r\033[K{}: {} in {:.2f} s ({}/s)\n", label_, HumanBytes(done), seconds,
             HumanBytes(seconds > 0 ? done / seconds : 0));
}

std::string Escape(const std::string& name) {
  std::string out;
  for (char c : name) {
    if (std::strchr("*?[]{}\\", c) != nullptr) out += '\\';
    out += c;
  }
  return out;
}

std::vector<std::string> Expand(const std::string& arg, bool hidden) {
  if (!file::HasGlobChars(arg)) return {arg};
  vector<::string> matches;
  file::Operation op;
  if (!File::ExtendedMatchWithOp(arg.c_str(), &matches, hidden ? File::MATCH_ALL : File::MATCH_DEFAULT, &op))
    throw Failure(fmt::format("{}: {}", arg, Reason(op, "cannot match")));
  if (matches.empty()) throw Failure(fmt::format("{}: no match", arg));
  return std::vector<std::string>(matches.begin(), matches.end());
}

std::string NameTheDestination(std::string message, const std::string& temporary, const std::string& name) {
  for (size_t at; (at = message.find(temporary)) != std::string::npos;) message.replace(at, temporary.size(), name);
  return message;
}

std::string Basename(const std::string& name) {
  size_t end = name.find_last_not_of('/');
  if (end == std::string::npos) return name.empty() ? name : "/";
  size_t start = name.rfind('/', end);
  return name.substr(start == std::string::npos ? 0 : start + 1, end - (start == std::string::npos ? 0 : start + 1) + 1);
}

}  // namespace quarry
