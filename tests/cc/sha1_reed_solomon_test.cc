// SHA-1 against the published test vectors; the Reed-Solomon codec's refusals
// (rebuilding lost cells is checked through archives: every set of 5 of 8 and
// random losses for the larger encodings); the encoding names.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "file/base/redundancy/reed_solomon.h"
#include "file/base/redundancy/sha1.h"
#include "tests/cc/checksum_testing.h"
#include "tests/cc/fs_conformance.h"

namespace {

using checksum_testing::RandomBytes;

TEST(Sha1Test, Fips180Vectors) {
  const struct { std::string input; const char* digest; } cases[] = {
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
      {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
  };
  for (const auto& c : cases) {
    Sha1 whole;
    whole.Update(c.input);
    EXPECT_EQ(whole.HexDigest(), c.digest) << c.input.size();
    // Any split gives the same digest; reading the digest does not end it.
    Sha1 pieces;
    for (size_t at = 0; at < c.input.size(); at += 61) pieces.Update(c.input.substr(at, 61));
    EXPECT_EQ(pieces.Digest(), whole.Digest());
    EXPECT_EQ(pieces.Digest().size(), 20u);
  }
  Sha1 a;
  a.Update("ab");
  Sha1 b(a);  // copies go their own way
  b.Update("c");
  a.Update("x");
  EXPECT_EQ(b.HexDigest(), "a9993e364706816aba3e25717850c26c9cd0d89d");
  a.Reset();
  EXPECT_EQ(a.HexDigest(), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
  EXPECT_EQ(a.GetDigestLength(), 20);
  EXPECT_EQ(a.GetMDBlockSize(), 64);
}

class Sha1FileTest : public BothFsTest {};

TEST_P(Sha1FileTest, FilesAndHandles) {
  const std::string data = RandomBytes(3 * (1 << 20) + 5, 21);
  const std::string path = Put("s", data);
  Sha1 expected;
  expected.Update(data);
  Sha1Checksum sum;
  EXPECT_TRUE(sum.AddFile(path.c_str()));
  EXPECT_EQ(sum.Digest(), expected.Digest());
  const std::string before = sum.Digest();
  EXPECT_FALSE(sum.AddFile(P("missing").c_str()));
  EXPECT_FALSE(sum.AddOpenFile(nullptr));
  EXPECT_EQ(sum.Digest(), before);
  Sha1Checksum open;
  open.Add("", 0);
  EXPECT_TRUE(open.AddOpenFile(OpenOrFail(path, "r").get()));
  EXPECT_EQ(open.Digest(), expected.Digest());
}

PQ_ON_BOTH_FILE_SYSTEMS(Sha1FileTest);

TEST(FileReedSolomonTest, NamesAndParameters) {
  const struct { FileReedSolomon::Encoding e; const char* name; int data, total; } cases[] = {
      {FileReedSolomon::ENCODING_5_8, "rs_5_8", 5, 8},
      {FileReedSolomon::ENCODING_9_13, "rs_9_13", 9, 13},
      {FileReedSolomon::ENCODING_20_30, "rs_20_30", 20, 30},
  };
  for (const auto& c : cases) {
    int data = 0, total = 0;
    EXPECT_TRUE(FileReedSolomon::Encoding2Params(c.e, &data, &total));
    EXPECT_EQ(data, c.data);
    EXPECT_EQ(total, c.total);
    EXPECT_STREQ(FileReedSolomon::Encoding2Name(c.e), c.name);
    FileReedSolomon::Encoding back = FileReedSolomon::NUM_ENCODINGS;
    EXPECT_TRUE(FileReedSolomon::Name2Encoding(c.name, &back));
    EXPECT_EQ(back, c.e);
  }
  for (int bad : {-1, 3, 1000}) {
    int data = -7;
    EXPECT_FALSE(FileReedSolomon::Encoding2Params(static_cast<FileReedSolomon::Encoding>(bad), &data, nullptr));
    EXPECT_EQ(data, -7);
    EXPECT_EQ(FileReedSolomon::Encoding2Name(static_cast<FileReedSolomon::Encoding>(bad)), nullptr);
  }
  FileReedSolomon::Encoding e = FileReedSolomon::ENCODING_9_13;
  for (const char* bad : std::vector<const char*>{"", "RS_5_8", "rs_5_8 ", "rs_5", nullptr}) {
    EXPECT_FALSE(FileReedSolomon::Name2Encoding(bad, &e));
    EXPECT_EQ(e, FileReedSolomon::ENCODING_9_13);
  }
}

TEST(ReedSolomonCodecTest, RefusesTooFewOrBadCells) {
  const redundancy::ReedSolomonCodec codec(5, 8);
  redundancy::ReedSolomonCodec::Decoder decoder;
  EXPECT_FALSE(codec.MakeDecoder({0, 1, 2, 3}, {4, 5, 6, 7}, &decoder));  // four left, five needed
  EXPECT_FALSE(codec.MakeDecoder({8}, {0, 1, 2, 3, 4}, &decoder));
  EXPECT_FALSE(codec.MakeDecoder({0, 0}, {1, 2, 3, 4, 5}, &decoder));
  EXPECT_FALSE(codec.MakeDecoder({0}, {0, 1, 2, 3, 4}, &decoder));  // a lost cell is no source
  EXPECT_TRUE(codec.MakeDecoder({}, {3, 4, 5, 6, 7}, &decoder));
}

}  // namespace
