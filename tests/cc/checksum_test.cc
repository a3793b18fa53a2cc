// The running checksum (the CRC itself, chunking, history, rewinding, the
// record text); SHA-1 against the published test vectors; the Reed-Solomon
// codec's refusals (rebuilding lost cells is checked through archives: every
// set of 5 of 8 and random losses for the larger encodings).
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "file/base/checksums/checksum.h"
#include "file/base/redundancy/reed_solomon.h"
#include "file/base/redundancy/sha1.h"
#include "tests/cc/checksum_testing.h"

namespace {

using checksum_testing::kBlock;
using checksum_testing::RandomBytes;
using checksum_testing::StateOf;

TEST(ChecksumStateTest, IsCrc64XzStartingEmpty) {
  EXPECT_EQ(StateOf("123456789").Checksum(), 0x995DC9BBDF1939FAull);  // the published check
  ChecksumState state;
  EXPECT_EQ(state.Checksum() | state.AlignedChecksum(), 0u);
  // Clear empties a state; a null pointer is ignored rather than read.
  state = StateOf(RandomBytes(kBlock + 5, 4));
  state.Add(nullptr, 10);
  EXPECT_EQ(state.Length(), kBlock + 5);
  state.Clear();
  EXPECT_TRUE(state == ChecksumState() && state.HistoryLength() == 0 && state.PostAlignData().size() == 0);
}

TEST(ChecksumStateTest, SplittingDoesNotMatter) {
  const std::string data = RandomBytes(2 * kBlock + 333, 11);
  const ChecksumState whole = StateOf(data);
  std::mt19937 gen(7);
  for (int round = 0; round < 20; ++round) {
    ChecksumState pieces;
    size_t at = 0;
    while (at < data.size()) {
      // Mostly small pieces, now and then one that crosses a block.
      const size_t most = gen() % 8 == 0 ? size_t(kBlock + 200) : 300;
      const size_t n = std::min<size_t>(1 + gen() % most, data.size() - at);
      pieces.Add(data.data() + at, n);
      at += n;
    }
    EXPECT_TRUE(pieces == whole) << "round " << round;
  }
}

TEST(ChecksumStateTest, HistoryMarksEachBlock) {
  const std::string data = RandomBytes(3 * kBlock + kBlock / 2, 2);
  const ChecksumState state = StateOf(data);
  ASSERT_EQ(state.HistoryLength(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(state.History(i), StateOf(data.substr(0, (i + 1) * kBlock)).Checksum()) << i;
  EXPECT_EQ(state.History(-1) | state.History(3), 0u);
  // Exactly on a boundary the last entry is the aligned checksum.
  const ChecksumState two = StateOf(data.substr(0, 2 * kBlock));
  ASSERT_EQ(two.HistoryLength(), 2);
  EXPECT_EQ(two.History(1), two.AlignedChecksum());
}

// Lengths, bytes after the last whole chunk, and aligned checksums differ.
TEST(ChecksumStateTest, EqualsSeesEveryKindOfDifference) {
  const ChecksumState a = StateOf("hello world"), copy(a);
  ::string why;
  EXPECT_TRUE(a.Equals(&copy, &why) && !(a != copy));
  EXPECT_FALSE(a.Equals(nullptr, &why));
  for (const auto& [left, right] : {std::pair{a, StateOf("hello")}, {a, StateOf("hello_world")},
                                    {StateOf(std::string(300, 'a')), StateOf("b" + std::string(299, 'a'))}}) {
    EXPECT_TRUE(!left.Equals(&right, &why) && left != right) << why;
  }
  EXPECT_EQ(why, "aligned checksums differ");
}

TEST(ChecksumStateTest, RewindToABlockBoundaryAndReplay) {
  const std::string data = RandomBytes(3 * kBlock + 1000, 5);
  const ChecksumState full = StateOf(data);
  ChecksumState state = full;
  EXPECT_EQ(state.RewindTo(2 * kBlock + kBlock / 2), 2 * kBlock);
  EXPECT_EQ(state.HistoryLength(), 2);
  EXPECT_TRUE(state == StateOf(data.substr(0, 2 * kBlock)));
  state.Add(data.data() + 2 * kBlock, data.size() - 2 * kBlock);
  EXPECT_TRUE(state == full);

  for (int64 position : {kBlock - 1, int64{-5}}) {
    state = full;
    EXPECT_EQ(state.RewindTo(position), 0) << position;
    EXPECT_TRUE(state == ChecksumState()) << position;
  }
}

TEST(ChecksumStateTest, RecordTextRoundTripsAndRefusesDamage) {
  for (size_t n : {size_t{0}, size_t{5}, size_t{128}, size_t(kBlock), size_t(2 * kBlock + 77)}) {
    const ChecksumState state = StateOf(RandomBytes(n, 6));
    const ::string text = state.ToRecordText();
    EXPECT_EQ(text.find('\n'), ::string::npos);
    ChecksumState parsed;
    ASSERT_TRUE(ChecksumState::FromRecordText(text, &parsed)) << text;
    EXPECT_TRUE(parsed == state) << n;
  }
  EXPECT_EQ(ChecksumState().ToRecordText(), "0 0 - -");
  EXPECT_EQ(StateOf("ab").ToRecordText(), "0 0 6162 -");

  const ChecksumState original = StateOf("keep me");
  // Field count and spacing; bad hex; lengths not of whole chunks; a checksum
  // of nothing; history missing, unexpected or disagreeing; 128 pending bytes.
  for (const std::string& bad : std::vector<std::string>{
           "", "0 0 -", "0 0 - - x", "0 0 -  -", "0  0 - -", "zz 0 - -", "0 0 6 -", "0 0 6g -", "0 0 - 1,", "40 0 - -",
           "0 5 - -", "100000 1 - -", "0 0 - 1", "100000 1 - 2", "0 0 " + std::string(256, 'a') + " -"}) {
    ChecksumState state = original;
    EXPECT_FALSE(ChecksumState::FromRecordText(bad, &state)) << "'" << bad << "'";
    EXPECT_TRUE(state == original) << bad;
  }
  ChecksumState state;
  EXPECT_TRUE(ChecksumState::FromRecordText("0 0 " + std::string(254, 'a') + " -", &state));
  EXPECT_EQ(state.Length(), 127);
  EXPECT_TRUE(ChecksumState::FromRecordText("100000 1 - 1", &state));
}

TEST(Sha1Test, Fips180Vectors) {
  const struct { std::string input; const char* digest; } cases[] = {
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"}, {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"}};
  for (const auto& c : cases) {
    Sha1 whole;
    whole.Update(c.input);
    EXPECT_EQ(whole.HexDigest(), c.digest) << c.input.size();
    // Any split gives the same digest; reading the digest does not end it.
    Sha1 pieces;
    for (size_t at = 0; at < c.input.size(); at += 61) pieces.Update(c.input.substr(at, 61));
    EXPECT_EQ(pieces.Digest(), whole.Digest());
  }
}

// Encoding names and parameters travel through every archive's manifest
// (archive_test.cc); here, what is refused.
TEST(FileReedSolomonTest, UnknownEncodingsAndTheCodecsRefusals) {
  for (int bad : {-1, 3}) {  // below and at NUM_ENCODINGS
    int data = -7;
    EXPECT_FALSE(FileReedSolomon::Encoding2Params(static_cast<FileReedSolomon::Encoding>(bad), &data, nullptr) || data != -7);
  }
  FileReedSolomon::Encoding e = FileReedSolomon::ENCODING_9_13;
  for (const char* bad : std::vector<const char*>{"rs_5_8 ", nullptr}) {
    EXPECT_FALSE(FileReedSolomon::Name2Encoding(bad, &e) || e != FileReedSolomon::ENCODING_9_13) << (bad ? bad : "null");
  }
  // The codec refuses too few or bad cells.
  const redundancy::ReedSolomonCodec codec(5, 8);
  redundancy::ReedSolomonCodec::Decoder decoder;
  EXPECT_FALSE(codec.MakeDecoder({0, 1, 2, 3}, {4, 5, 6, 7}, &decoder));  // four left, five needed
  EXPECT_FALSE(codec.MakeDecoder({8}, {0, 1, 2, 3, 4}, &decoder));
  EXPECT_FALSE(codec.MakeDecoder({0, 0}, {1, 2, 3, 4, 5}, &decoder));
  EXPECT_FALSE(codec.MakeDecoder({0}, {0, 1, 2, 3, 4}, &decoder));  // a lost cell is no source
  EXPECT_TRUE(codec.MakeDecoder({}, {3, 4, 5, 6, 7}, &decoder));
}

}  // namespace
