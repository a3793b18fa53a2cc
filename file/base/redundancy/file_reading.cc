#include "file/base/redundancy/file_reading.h"

#include <algorithm>

namespace redundancy {

ScopedFile OpenForReading(const char* path, ::string* why) {
  if (path == nullptr || path[0] == '\0') {
    if (why != nullptr) *why = "empty file name";
    return nullptr;
  }
  ScopedFile f(File::Create(path, "r"));
  if (f == nullptr) {
    if (why != nullptr) *why = ::string("bad file name ") + path;
    return nullptr;
  }
  if (!f->Open()) {
    if (why != nullptr) *why = f->GetCurrentErrorMessage();
    return nullptr;
  }
  return f;
}

bool ReadRange(File* file, int64 offset, int64 length, BandwidthLimit* limit, ::string* why,
               const std::function<void(const char* data, int64 n)>& consume) {
  auto fail = [why](const ::string& reason) {
    if (why != nullptr) *why = reason;
    return false;
  };
  if (offset < 0) return fail("negative offset");
  std::unique_ptr<char[]> buffer(new char[kReadPiece]);
  for (int64 done = 0; length < 0 || done < length;) {
    const int64 want = length < 0 ? kReadPiece : std::min(kReadPiece, length - done);
    const int64 got = file->PRead(offset + done, buffer.get(), want);
    if (got < 0) return fail(file->GetCurrentErrorMessage());
    if (got == 0) {
      if (length < 0) break;
      return fail("the file ends at " + std::to_string(offset + done) + ", before " +
                  std::to_string(offset + length));
    }
    if (limit != nullptr) limit->Consume(got);
    consume(buffer.get(), got);
    done += got;
  }
  return true;
}

}  // namespace redundancy
