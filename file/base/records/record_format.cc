#include "file/base/records/record_format.h"

#include <isa-l/crc.h>
#include <lz4.h>
#include <zlib.h>
#include <zstd.h>

#include <bit>
#include <climits>
#include <cstring>

namespace records {
namespace {

constexpr uint32 kMaskDelta = 0xa282ead8u;

void PutU32(char* p, uint32 v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<char>(v >> (8 * i));
}
// One load (the compiler did not merge the bytes of a loop).
uint32 GetU32(const char* p) {
  uint32 v;
  std::memcpy(&v, p, 4);
  if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap32(v);
  return v;
}
// CRC-32C of the five checked header bytes, once per record: the CPU's
// CRC-32C instruction where it has one, since a library call costs more
// than the work; else the library's Crc32c below.
#if defined(__x86_64__)
__attribute__((target("sse4.2"))) uint32 Crc5Instruction(const char* p) {
  uint32 word;
  std::memcpy(&word, p, 4);
  return ~__builtin_ia32_crc32qi(__builtin_ia32_crc32si(~0u, word), static_cast<uint8>(p[4]));
}
const bool kHaveCrcInstruction = __builtin_cpu_supports("sse4.2");
#endif

inline uint32 Crc5(const char* p) {
#if defined(__x86_64__)
  if (kHaveCrcInstruction) return Crc5Instruction(p);
#endif
  return Crc32c(p, 5);
}

uint32 HeaderCheck(const char* p) { return MaskCrc(Crc5(p)) & 0xffffffu; }

}  // namespace

uint32 Crc32c(const void* data, size_t n, uint32 crc) {
  // libisal's iSCSI CRC works on the inverted running value.
  const unsigned char* p = static_cast<const unsigned char*>(data);
  uint32 running = ~crc;
  while (n > 0) {
    const int chunk = n > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(n);
    running = crc32_iscsi(const_cast<unsigned char*>(p), chunk, running);
    p += chunk;
    n -= static_cast<size_t>(chunk);
  }
  return ~running;
}

uint32 MaskCrc(uint32 crc) { return ((crc >> 15) | (crc << 17)) + kMaskDelta; }

void EncodeHeader(uint8 tag, FragmentKind kind, const char* data, uint32 length, char* out) {
  out[0] = static_cast<char>(kMagic | (tag & 7));
  PutU32(out + 1, (length & kMaxPayload) | (static_cast<uint32>(kind) << 30));
  const uint32 check = HeaderCheck(out);
  out[5] = static_cast<char>(check);
  out[6] = static_cast<char>(check >> 8);
  out[7] = static_cast<char>(check >> 16);
  PutU32(out + 8, MaskCrc(Crc32c(data, length)));
}

bool DecodeHeader(const char* p, Header* h) {
  const uint8 first = static_cast<uint8>(p[0]);
  if ((first & kMagicMask) != kMagic) return false;
  const uint32 stored = static_cast<uint8>(p[5]) | (static_cast<uint8>(p[6]) << 8) |
                        (static_cast<uint32>(static_cast<uint8>(p[7])) << 16);
  if (stored != HeaderCheck(p)) return false;
  const uint32 word = GetU32(p + 1);
  h->tag = first & 7;
  h->kind = static_cast<FragmentKind>(word >> 30);
  h->length = word & kMaxPayload;
  h->payload_crc = GetU32(p + 8);
  return true;
}

bool PayloadMatches(const Header& h, const char* payload) {
  return MaskCrc(Crc32c(payload, h.length)) == h.payload_crc;
}

size_t FramedSize(size_t n, size_t fragment_payload) {
  const size_t fragments = n == 0 ? 1 : (n + fragment_payload - 1) / fragment_payload;
  return n + fragments * kHeaderSize;
}

void AppendRecord(uint8 tag, const char* data, size_t n, std::string* out,
                  size_t fragment_payload) {
  out->reserve(out->size() + FramedSize(n, fragment_payload));
  ForEachFrame(tag, data, n, fragment_payload, [out](const char* header, const char* payload, size_t length) {
    out->append(header, kHeaderSize);
    out->append(payload, length);
  });
}

// ---- Batches ----------------------------------------------------------------

void AppendBatchEntry(const char* data, size_t n, std::string* staging) {
  uint64 v = n;
  while (v >= 0x80) {
    staging->push_back(static_cast<char>(v | 0x80));
    v >>= 7;
  }
  staging->push_back(static_cast<char>(v));
  staging->append(data, n);
}

namespace {

bool Compress(const CodecParams& p, const char* src, size_t n, std::string* out) {
  const size_t at = out->size();
  switch (p.codec) {
    case kZlib: {
      uLongf bound = compressBound(static_cast<uLong>(n));
      out->resize(at + bound);
      const int level = p.level <= 0 || p.level > 9 ? Z_DEFAULT_COMPRESSION : p.level;
      if (compress2(reinterpret_cast<Bytef*>(out->data() + at), &bound,
                    reinterpret_cast<const Bytef*>(src), n, level) != Z_OK) return false;
      out->resize(at + bound);
      return true;
    }
    case kZstd:
    case kZstdWindowed: {
      out->resize(at + ZSTD_compressBound(n));
      ZSTD_CCtx* cctx = ZSTD_createCCtx();
      if (cctx == nullptr) return false;
      const int level = p.level == 0 ? ZSTD_CLEVEL_DEFAULT
                                     : std::min(std::max(p.level, ZSTD_minCLevel()), ZSTD_maxCLevel());
      ZSTD_CCtx_setParameter(cctx, ZSTD_c_compressionLevel, level);
      if (p.window_log > 0) {
        const int w = std::min(std::max(p.window_log, 10), 27);
        ZSTD_CCtx_setParameter(cctx, ZSTD_c_windowLog, w);
      }
      if (p.long_matching) ZSTD_CCtx_setParameter(cctx, ZSTD_c_enableLongDistanceMatching, 1);
      const size_t r = ZSTD_compress2(cctx, out->data() + at, out->size() - at, src, n);
      ZSTD_freeCCtx(cctx);
      if (ZSTD_isError(r)) return false;
      out->resize(at + r);
      return true;
    }
    case kLz4: {
      if (n > static_cast<size_t>(LZ4_MAX_INPUT_SIZE)) return false;
      const int bound = LZ4_compressBound(static_cast<int>(n));
      out->resize(at + static_cast<size_t>(bound));
      const int accel = p.level > 0 ? p.level : 1;
      const int r = LZ4_compress_fast(src, out->data() + at, static_cast<int>(n), bound, accel);
      if (r <= 0) return false;
      out->resize(at + static_cast<size_t>(r));
      return true;
    }
  }
  return false;
}

// Decompresses exactly `expected` bytes into dst; false otherwise.
bool Decompress(uint8 codec, const char* src, size_t n, char* dst, size_t expected) {
  switch (codec) {
    case kZlib: {
      z_stream zs{};
      if (inflateInit(&zs) != Z_OK) return false;
      zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(src));
      zs.next_out = reinterpret_cast<Bytef*>(dst);
      size_t in_left = n, out_left = expected;
      int rc = Z_OK;
      // zlib counts in 32-bit words: feed it in pieces.
      while (rc == Z_OK) {
        const uInt in_piece = static_cast<uInt>(std::min<size_t>(in_left, 1u << 30));
        const uInt out_piece = static_cast<uInt>(std::min<size_t>(out_left, 1u << 30));
        zs.avail_in = in_piece;
        zs.avail_out = out_piece;
        rc = inflate(&zs, Z_FINISH);
        in_left -= in_piece - zs.avail_in;
        out_left -= out_piece - zs.avail_out;
        if (rc == Z_BUF_ERROR && (in_left == 0 || out_left == 0)) break;
        if (rc == Z_BUF_ERROR) rc = Z_OK;
      }
      inflateEnd(&zs);
      return rc == Z_STREAM_END && out_left == 0 && in_left == 0;
    }
    case kZstd:
    case kZstdWindowed: {
      const size_t r = ZSTD_decompress(dst, expected, src, n);
      return !ZSTD_isError(r) && r == expected;
    }
    case kLz4: {
      if (n > static_cast<size_t>(INT_MAX) || expected > static_cast<size_t>(INT_MAX)) return false;
      const int r = LZ4_decompress_safe(src, dst, static_cast<int>(n), static_cast<int>(expected));
      return r >= 0 && static_cast<size_t>(r) == expected;
    }
  }
  return false;
}

}  // namespace

bool EncodeBatch(const CodecParams& params, const std::string& staging, std::string* payload) {
  if (staging.size() > kMaxPayload) return false;
  payload->clear();
  payload->resize(kBatchPrefix);
  (*payload)[0] = static_cast<char>(params.codec);
  PutU32(payload->data() + 1, static_cast<uint32>(staging.size()));
  PutU32(payload->data() + 5, MaskCrc(Crc32c(staging.data(), staging.size())));
  return Compress(params, staging.data(), staging.size(), payload);
}

bool DecodeBatch(const char* payload, size_t n, size_t max_decoded, std::string* out,
                 std::vector<std::pair<size_t, size_t>>* spans, std::string* reason) {
  spans->clear();
  if (n < static_cast<size_t>(kBatchPrefix)) {
    *reason = "batch shorter than its prefix";
    return false;
  }
  const uint8 codec = static_cast<uint8>(payload[0]);
  const uint32 size = GetU32(payload + 1);
  if (!IsCompressionTag(codec)) {
    *reason = "unknown codec";
    return false;
  }
  if (size > max_decoded || size > kMaxPayload) {
    *reason = "batch decodes to " + std::to_string(size) + " bytes, more than the limit of " +
              std::to_string(max_decoded);
    return false;
  }
  out->resize(size);
  if (!Decompress(codec, payload + kBatchPrefix, n - kBatchPrefix, out->data(), size)) {
    *reason = "batch does not decompress to its stated size";
    return false;
  }
  if (MaskCrc(Crc32c(out->data(), size)) != GetU32(payload + 5)) {
    *reason = "decompressed batch fails its checksum";
    return false;
  }
  size_t at = 0;
  while (at < size) {
    uint64 len = 0;
    int shift = 0;
    for (;;) {
      if (at >= size || shift > 28) {
        *reason = "malformed batch entry";
        return false;
      }
      const uint8 b = static_cast<uint8>((*out)[at++]);
      len |= static_cast<uint64>(b & 0x7f) << shift;
      shift += 7;
      if ((b & 0x80) == 0) break;
    }
    if (len > size - at) {
      *reason = "batch entry runs past the batch";
      return false;
    }
    spans->emplace_back(at, static_cast<size_t>(len));
    at += len;
  }
  return true;
}

}  // namespace records
