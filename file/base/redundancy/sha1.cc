#include "file/base/redundancy/sha1.h"

#include <openssl/evp.h>

#include <cstdlib>

#include "file/base/redundancy/file_reading.h"
#include "file/base/util/logging.h"

namespace {

EVP_MD_CTX* NewContext() {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  if (ctx == nullptr || EVP_DigestInit_ex(ctx, EVP_sha1(), nullptr) != 1) {
    // Without a digest context nothing here can be right.
    LogMessage(__FILE__, __LINE__, logging::FATAL).stream() << "libcrypto cannot start a SHA-1 digest";
    std::abort();
  }
  return ctx;
}

}  // namespace

Sha1::Sha1() : ctx_(NewContext()) {}

Sha1::Sha1(const Sha1& other) : ctx_(NewContext()) { EVP_MD_CTX_copy_ex(ctx_, other.ctx_); }

Sha1& Sha1::operator=(const Sha1& other) {
  if (this != &other) EVP_MD_CTX_copy_ex(ctx_, other.ctx_);
  return *this;
}

Sha1::~Sha1() { EVP_MD_CTX_free(ctx_); }

void Sha1::Update(const void* data, size_t length) {
  if (data != nullptr && length > 0) EVP_DigestUpdate(ctx_, data, length);
}

::string Sha1::Digest() const {
  EVP_MD_CTX* copy = NewContext();
  EVP_MD_CTX_copy_ex(copy, ctx_);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(copy, digest, &length);
  EVP_MD_CTX_free(copy);
  return ::string(reinterpret_cast<const char*>(digest), length);
}

::string Sha1::HexDigest() const {
  static const char kHex[] = "0123456789abcdef";
  ::string hex;
  for (unsigned char c : Digest()) {
    hex += kHex[c >> 4];
    hex += kHex[c & 15];
  }
  return hex;
}

void Sha1::Reset() { EVP_DigestInit_ex(ctx_, EVP_sha1(), nullptr); }

bool Sha1Checksum::AddOpenFile(File* file) {
  if (file == nullptr) return false;
  Sha1 added(*this);
  if (!redundancy::ReadRange(file, 0, -1, nullptr, nullptr,
                             [&](const char* data, int64 n) { added.Update(data, static_cast<size_t>(n)); })) {
    return false;
  }
  Sha1::operator=(added);
  return true;
}

bool Sha1Checksum::AddFile(const char* path) {
  ::string why;
  redundancy::ScopedFile f = redundancy::OpenForReading(path, &why);
  return f != nullptr && AddOpenFile(f.get());
}
