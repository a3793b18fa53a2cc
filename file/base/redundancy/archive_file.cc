#include "file/base/redundancy/archive_file.h"

#include <algorithm>
#include <cstring>

#include "file/base/core/operation.h"

namespace redundancy {

ArchiveFile::ArchiveFile(FileFactory* factory, const char* name, const char* mode,
                         const FileOpenOptions& options, const Manifest& manifest, bool manifest_valid)
    : File(factory, name, mode, options), manifest_(manifest), manifest_valid_(manifest_valid) {}

ArchiveFile::~ArchiveFile() { CloseBeforeDestroy(); }

bool ArchiveFile::DoOpen() {
  if (!manifest_valid_) return SetError(file::INTERNAL_ERROR, "Open", "data loss: the archive's manifest is damaged");
  ::string why;
  if (!shards_.Open(factory(), manifest_, &why)) {
    return SetError(file::INTERNAL_ERROR, "Open", why.c_str());
  }
  position_.Set(0);
  return true;
}

bool ArchiveFile::DoClose() {
  shards_.Close();
  std::lock_guard<std::mutex> lock(mu_);
  cached_stripe_ = -1;
  cache_.clear();
  cache_.shrink_to_fit();
  return true;
}

bool ArchiveFile::ReadBytes(int64 offset, char* to, int64 size, ArchiveShards::Sources sources,
                            ::string* why) {
  const int64 stripe_bytes = manifest_.stripe_bytes();
  const bool cached = sources == ArchiveShards::Sources::kDataFirst;
  ::string scratch;
  while (size > 0) {
    const int64 stripe = offset / stripe_bytes;
    const int64 within = offset - stripe * stripe_bytes;
    const int64 take = std::min(size, manifest_.StripeDataLength(stripe) - within);
    const size_t room = static_cast<size_t>(manifest_.data * manifest_.CellLength(stripe));
    if (cached) {
      // Ordinary reads keep the last stripe: small sequential reads then
      // touch each cell once.
      std::lock_guard<std::mutex> lock(mu_);
      if (cached_stripe_ != stripe) {
        cached_stripe_ = -1;
        cache_.resize(room);
        if (!shards_.ReadStripe(stripe, sources, cache_.data(), nullptr, why)) return false;
        cached_stripe_ = stripe;
      }
      std::memcpy(to, cache_.data() + within, static_cast<size_t>(take));
    } else {
      scratch.resize(room);
      if (!shards_.ReadStripe(stripe, sources, scratch.data(), nullptr, why)) return false;
      std::memcpy(to, scratch.data() + within, static_cast<size_t>(take));
    }
    to += take;
    offset += take;
    size -= take;
  }
  return true;
}

int64 ArchiveFile::DoPRead(int64 offset, void* buffer, int64 size) {
  if (offset >= manifest_.length) return 0;
  size = std::min(size, manifest_.length - offset);
  ::string why;
  if (!ReadBytes(offset, static_cast<char*>(buffer), size, ArchiveShards::Sources::kDataFirst, &why)) {
    SetError(file::INTERNAL_ERROR, "PRead", why.c_str());
    return -1;
  }
  return size;
}

int64 ArchiveFile::DoRead(void* buffer, uint64 size) {
  return position_.Advance([&](int64 position) {
    return DoPRead(position, buffer, static_cast<int64>(std::min<uint64>(size, INT64_MAX)));
  });
}

bool ArchiveFile::ReadOnly(const char* what) {
  return SetError(file::ERROR_PERMISSION_DENIED, what, "an archived file cannot be changed");
}

int64 ArchiveFile::DoWrite(const void*, uint64) { return ReadOnly("Write"), -1; }
int64 ArchiveFile::DoAppend(const void*, uint64, int64*) { return ReadOnly("Append"), -1; }
int64 ArchiveFile::DoPWrite(int64, const void*, int64) { return ReadOnly("PWrite"), -1; }
bool ArchiveFile::DoTruncate(int64) { return ReadOnly("Truncate"); }
int64 ArchiveFile::DoSize() { return manifest_.length; }

int64 ArchiveFile::DoTell() { return position_.Get(); }

bool ArchiveFile::DoSeek(int64 position) {
  position_.Set(position);
  return true;
}

bool ArchiveFile::DoSync(bool) { return true; }

bool ArchiveFile::DoStat(FileStat* stat) {
  file::Operation op;
  if (!factory()->DoStat(name().c_str(), stat, &op)) return SetErrorFrom(op);
  stat->length = manifest_.length;
  return true;
}

MemBlock* ArchiveFile::DoGetBlock(int64 offset, int64 length, bool must_map) {
  if (must_map) {
    SetError(file::ERROR_UNIMPLEMENTED, "TryMMap", "an archived file has no bytes to map");
    return nullptr;
  }
  ::string bytes;
  if (!ResizeOrFail(&bytes, static_cast<uint64>(length), "GetMemBlock")) return nullptr;
  const int64 n = DoPRead(offset, bytes.data(), length);
  if (n < 0) return nullptr;
  bytes.resize(static_cast<size_t>(n));
  return MemBlock::FromCopy(std::move(bytes), offset);
}

bool ArchiveFile::ReadMultipleDataVariants(int64 offset, int64 length, int max_variants,
                                           vector<DataVariant*>* variants, file::Operation* op) {
  auto fail = [&](file::ErrorCode code, const ::string& reason) {
    SetError(code, "ReadMultipleDataVariants", reason.c_str());
    if (op != nullptr) op->SetError(code, "ReadMultipleDataVariants " + name() + ": " + reason);
    return false;
  };
  if (variants == nullptr || max_variants < 1 || offset < 0 || length < 0) {
    return fail(file::ERROR_INVALID_ARGUMENT, "needs a list, a positive count and a range");
  }
  if (!is_open()) return fail(file::ERROR_INVALID_ARGUMENT, "file is not open");
  if (offset > manifest_.length) return fail(file::ERROR_PAST_EOF, "offset past end of file");
  length = std::min(length, manifest_.length - offset);
  ::string why;
  int added = 0;
  for (ArchiveShards::Sources sources : {ArchiveShards::Sources::kDataOnly, ArchiveShards::Sources::kParityFirst}) {
    if (added == max_variants) break;
    auto variant = std::make_unique<DataVariant>();
    variant->offset = offset;
    variant->length = length;
    variant->bytes.resize(static_cast<size_t>(length));
    if (ReadBytes(offset, variant->bytes.data(), length, sources, &why)) {
      variants->push_back(variant.release());
      ++added;
    }
  }
  if (added == 0) return fail(file::INTERNAL_ERROR, why);
  return true;
}

}  // namespace redundancy
