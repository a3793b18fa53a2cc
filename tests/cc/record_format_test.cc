// The record format over bytes in memory: framing, codecs, and a decoder
// that never returns a damaged record and loses only what damage touches.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "file/base/records/record_decoder.h"
#include "file/base/records/record_format.h"

namespace records {
namespace {

struct Written {
  std::string data;
  int64 begin, end;  // the frame's bytes in the file
};

std::string Payload(size_t n, unsigned seed) {
  std::string s(n, '\0');
  std::mt19937 rng(seed);
  for (auto& c : s) c = static_cast<char>('a' + rng() % 26);
  return s;
}

// A small file: plain records (some split into fragments of 40 bytes) and
// one compressed batch of three records, which count as one unit of loss.
struct SmallFile {
  std::string bytes;
  std::vector<Written> records;
  SmallFile() {
    const auto plain = [this](const std::string& data) {
      const int64 begin = static_cast<int64>(bytes.size());
      AppendRecord(0, data.data(), data.size(), &bytes, 40);
      records.push_back({data, begin, static_cast<int64>(bytes.size())});
    };
    unsigned seed = 1;
    for (size_t n : {0, 1, 39, 40, 41, 100, 7}) plain(Payload(n, seed++));
    std::string staging, payload;
    std::vector<std::string> batch = {"alpha", "", "gamma gamma gamma"};
    for (auto& r : batch) AppendBatchEntry(r.data(), r.size(), &staging);
    CodecParams params;
    params.codec = kZstd;
    EXPECT_TRUE(EncodeBatch(params, staging, &payload));
    const int64 begin = static_cast<int64>(bytes.size());
    AppendRecord(kZstd, payload.data(), payload.size(), &bytes, 40);
    for (auto& r : batch) records.push_back({r, begin, static_cast<int64>(bytes.size())});
    plain(Payload(5, 99));
  }
};

std::vector<std::string> DecodeAll(const std::string& bytes, RecordDecoder* d = nullptr,
                                   size_t window = 4096) {
  StringSource source(bytes);
  RecordDecoder local(&source, window);
  RecordDecoder& dec = d ? *d : local;
  dec.limits().final_size = true;
  std::vector<std::string> out;
  const char* p;
  size_t n;
  for (int guard = 0; guard < 100000 && dec.Next(&p, &n) == RecordDecoder::kRecord; ++guard) out.emplace_back(p, n);
  return out;
}

TEST(RecordFormat, HeaderRoundTripAndEveryBitFlipIsCaught) {
  const std::string data = "payload";
  char h[kHeaderSize];
  for (uint8 tag = 0; tag < 8; ++tag) {
    for (FragmentKind kind : {FULL, FIRST, MIDDLE, LAST}) {
      EncodeHeader(tag, kind, data.data(), static_cast<uint32>(data.size()), h);
      Header got;
      ASSERT_TRUE(DecodeHeader(h, &got));
      EXPECT_EQ(std::make_tuple(got.tag, got.kind, size_t{got.length}), std::make_tuple(tag, kind, data.size()));
      EXPECT_TRUE(PayloadMatches(got, data.data()));
      for (int bit = 0; bit < 64; ++bit) {  // bytes 0-7 are checked by the header
        char bad[kHeaderSize];
        std::memcpy(bad, h, kHeaderSize);
        bad[bit / 8] ^= static_cast<char>(1 << (bit % 8));
        EXPECT_FALSE(DecodeHeader(bad, &got)) << "bit " << bit;
      }
    }
  }
  // A length near 2^32 cannot be expressed: the top bits are the kind.
  EncodeHeader(0, FULL, data.data(), 0, h);
  h[4] = static_cast<char>(0xff);
  Header got;
  EXPECT_FALSE(DecodeHeader(h, &got));
}

// Frames keep the bytes the writer has always written.
TEST(RecordFormat, FramesKeepTheirBytes) {
  const char kGolden[] =
      "\xb0\x07\x00\x00\x00\x8d\x37\xd2\x9e\xd4\x64\x75payload"
      "\xb6\x00\x00\x00\x00\x52\x49\x8d\xd8\xea\x82\xa2"
      "\xb3\x28\x00\x00\x40\xbf\x19\x14\xc5\xf8\x04\x01" "zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz"
      "\xb3\x0a\x00\x00\xc0\x67\xe6\xf7\xf0\xec\xa3\xe5" "zzzzzzzzzz";
  std::string out;
  AppendRecord(0, "payload", 7, &out);
  AppendRecord(kZstd, "", 0, &out);
  AppendRecord(3, std::string(50, 'z').data(), 50, &out, 40);
  EXPECT_EQ(out, std::string(kGolden, sizeof kGolden - 1));
  EXPECT_EQ(DecodeAll(out), (std::vector<std::string>{"payload", std::string(50, 'z')}));  // an empty batch is skipped
}

TEST(RecordFormat, EveryCodecRoundTripsAndRefusesOversizedClaims) {
  std::string staging;
  std::vector<std::string> want;
  for (int i = 0; i < 200; ++i) {
    want.push_back("record " + std::to_string(i) + std::string(static_cast<size_t>(i % 17), 'x'));
    AppendBatchEntry(want.back().data(), want.back().size(), &staging);
  }
  const CodecParams cases[] = {{kZlib, 0, 0, false}, {kZlib, 9, 0, false}, {kZstd, 0, 0, false}, {kZstd, 19, 0, false},
                               {kZstdWindowed, 3, 18, true}, {kLz4, 0, 0, false}, {kLz4, 8, 0, false}};
  for (const auto& params : cases) {
    std::string payload, out, reason;
    ASSERT_TRUE(EncodeBatch(params, staging, &payload)) << int(params.codec);
    EXPECT_LT(payload.size(), staging.size());
    std::vector<std::pair<size_t, size_t>> spans;
    ASSERT_TRUE(DecodeBatch(payload.data(), payload.size(), staging.size(), &out, &spans, &reason)) << reason;
    ASSERT_EQ(spans.size(), want.size());
    for (size_t i = 0; i < spans.size(); ++i) EXPECT_EQ(out.substr(spans[i].first, spans[i].second), want[i]);
    // One byte less than it decodes to is refused before decoding.
    EXPECT_FALSE(DecodeBatch(payload.data(), payload.size(), staging.size() - 1, &out, &spans, &reason));
    EXPECT_NE(reason.find("limit"), std::string::npos);
    // A claim of 1 GiB is refused by the limit, never allocated.
    std::string lying = payload;
    lying[1] = lying[2] = lying[3] = '\xff';
    lying[4] = '\x3f';
    EXPECT_FALSE(DecodeBatch(lying.data(), lying.size(), 64 << 20, &out, &spans, &reason));
  }
}

TEST(RecordFormat, CraftedBatchesNeverDecodeWrongly) {
  std::string staging;
  for (int i = 0; i < 50; ++i) AppendBatchEntry("abcdefgh", 8, &staging);
  for (Codec codec : {kZlib, kZstd, kLz4}) {
    CodecParams params;
    params.codec = codec;
    std::string payload;
    ASSERT_TRUE(EncodeBatch(params, staging, &payload));
    std::mt19937 rng(7);
    for (int round = 0; round < 2000; ++round) {
      std::string bad = payload;
      const int flips = 1 + static_cast<int>(rng() % 4);
      for (int f = 0; f < flips; ++f) bad[rng() % bad.size()] ^= static_cast<char>(1 + rng() % 255);
      bad.resize(bad.size() - rng() % 3);
      std::string out, reason;
      std::vector<std::pair<size_t, size_t>> spans;
      if (DecodeBatch(bad.data(), bad.size(), 1 << 20, &out, &spans, &reason)) {
        EXPECT_EQ(out, staging);  // only an undamaged decoding passes the checksum
      }
    }
  }
}

// Damage at every offset of a small file, single bytes and short runs: no
// record ever comes back changed, order is kept, and every record whose
// frame the damage does not touch still comes back.
TEST(RecordFormat, DamageAtEveryOffsetLosesOnlyWhatItTouches) {
  SmallFile f;
  ASSERT_EQ(DecodeAll(f.bytes).size(), f.records.size());
  for (int run : {1, 2, 3, 5, 12, 13, 40}) {
    for (uint8 pattern : {0x01, 0x80, 0xff}) {
      for (size_t at = 0; at + run <= f.bytes.size(); ++at) {
        std::string bad = f.bytes;
        for (int i = 0; i < run; ++i) bad[at + i] ^= static_cast<char>(pattern);
        StringSource source(bad);
        RecordDecoder dec(&source, 4096);
        const auto got = DecodeAll(bad, &dec);
        const auto touched = [&](size_t i) {
          return f.records[i].begin < static_cast<int64>(at + run) && static_cast<int64>(at) < f.records[i].end;
        };
        size_t next = 0;
        for (const auto& r : got) {
          for (; next < f.records.size() && f.records[next].data != r; ++next) {
            ASSERT_TRUE(touched(next)) << "lost untouched record " << next << " run " << run << " at " << at;
          }
          ASSERT_LT(next, f.records.size()) << "returned a record never written, run " << run << " at " << at;
          ++next;
        }
        for (; next < f.records.size(); ++next) {
          ASSERT_TRUE(touched(next)) << "lost untouched record " << next << " run " << run << " at " << at;
        }
        if (got.size() < f.records.size()) {
          EXPECT_GT(dec.skipped_bytes(), 0);
          EXPECT_GE(dec.skipped_regions(), 1);
        }
        EXPECT_LE(dec.skipped_bytes(), static_cast<int64>(bad.size()));
      }
    }
  }
}

// Records at and around fragment boundaries (of the default fragment size
// and of a small one) and across the edges of windows of several sizes, as
// long as FramedSize says, read from the start and from every record's
// position (windows starting mid-page).
TEST(RecordFormat, FragmentBoundariesAndWindowEdgesReadWhole) {
  std::vector<size_t> sizes = {0, 1, 4083, 4084, 4085, 5000, 9000, 20000, 3, 70000, 11, 4086, 8191, 65537};
  for (size_t k = 1; k <= 3; ++k) sizes.insert(sizes.end(), {k * kFragmentPayload - 1, k * kFragmentPayload, k * kFragmentPayload + 1});
  for (size_t fragment : {size_t{30000}, size_t{kFragmentPayload}}) {
    std::string bytes;
    std::vector<std::string> want;
    std::vector<int64> begins;
    for (size_t n : sizes) {
      begins.push_back(static_cast<int64>(bytes.size()));
      want.push_back(Payload(n, static_cast<unsigned>(n)));
      AppendRecord(0, want.back().data(), n, &bytes, fragment);
      ASSERT_EQ(bytes.size() - begins.back(), FramedSize(n, fragment)) << n;
    }
    for (size_t window : {4096, 5000, 65536, 1 << 20}) {
      EXPECT_EQ(DecodeAll(bytes, nullptr, window), want) << window;
      StringSource source(bytes);
      RecordDecoder dec(&source, window);
      const char* p;
      size_t n;
      for (size_t i = 0; i < want.size(); ++i) {
        dec.Seek(begins[i]);
        ASSERT_EQ(dec.Next(&p, &n), RecordDecoder::kRecord);
        EXPECT_EQ(std::string(p, n), want[i]) << fragment << " " << window << " " << i;
      }
    }
  }
}

TEST(RecordFormat, TornTailsYieldEveryCompleteRecordThenEnd) {
  SmallFile f;
  for (size_t cut = 0; cut <= f.bytes.size(); ++cut) {
    StringSource source(f.bytes.substr(0, cut));
    RecordDecoder dec(&source, 4096);
    const auto got = DecodeAll(source.bytes(), &dec);
    size_t complete = 0;
    while (complete < f.records.size() && f.records[complete].end <= static_cast<int64>(cut)) ++complete;
    ASSERT_EQ(got.size(), complete) << "cut at " << cut;
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i], f.records[i].data);
    EXPECT_EQ(dec.skipped_bytes(), 0) << "cut at " << cut;
  }
}

}  // namespace
}  // namespace records
