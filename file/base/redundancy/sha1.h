// SHA-1 (FIPS 180-1) over libcrypto: Sha1 digests bytes, Sha1Checksum adds
// files of any file system.
#ifndef FILE_BASE_REDUNDANCY_SHA1_H_
#define FILE_BASE_REDUNDANCY_SHA1_H_

#include <cstddef>

#include "file/base/util/base_types.h"

class File;
typedef struct evp_md_ctx_st EVP_MD_CTX;

class Sha1 {
 public:
  static constexpr int kDigestLength = 20;
  static constexpr int kBlockSize = 64;

  Sha1();
  Sha1(const Sha1& other);
  Sha1& operator=(const Sha1& other);
  virtual ~Sha1();

  virtual void Update(const void* data, size_t length);
  void Update(const ::string& s) { Update(s.data(), s.size()); }
  // The digest (20 raw bytes) of everything added so far; adding may go on.
  ::string Digest() const;
  // The digest as 40 lower-case hex digits.
  ::string HexDigest() const;
  // Starts over, as if nothing had been added.
  void Reset();

  int GetDigestLength() const { return kDigestLength; }
  int GetMDBlockSize() const { return kBlockSize; }

 private:
  EVP_MD_CTX* ctx_;
};

class Sha1Checksum : public Sha1 {
 public:
  Sha1Checksum() = default;

  void Add(const char* data, size_t length) { Update(data, length); }
  // Adds the whole file (any file system); false, adding nothing, when it
  // cannot all be read.
  bool AddFile(const char* path);
  // Adds the open file's bytes from offset 0 to its end with positioned
  // reads (the handle's position stays); false, adding nothing, on failure.
  bool AddOpenFile(File* file);
};

#endif  // FILE_BASE_REDUNDANCY_SHA1_H_
