// ChecksumState over files (any file system), verification against stored
// records, truncation, sparse checksums.
#include <string>
#include <utility>

#include "file/base/checksums/checksum.h"
#include "file/base/core/file_attributes.h"
#include "file/base/file.h"
#include "tests/cc/checksum_testing.h"
#include "tests/cc/fs_conformance.h"

namespace {

using checksum_testing::kBlock;
using checksum_testing::RandomBytes;
using checksum_testing::StateOf;

TEST(ChecksumStateTest, RunningChecksumSetOnABlockBoundary) {
  ChecksumState exact = StateOf(RandomBytes(kBlock, 13));
  exact.SetRunningChecksum(0x1234);
  EXPECT_EQ(exact.AlignedChecksum(), 0x1234u);
  EXPECT_EQ(exact.History(0), 0x1234u);  // the entry for the current length follows
  ChecksumState resumed;
  EXPECT_TRUE(ChecksumState::FromRecordText(exact.ToRecordText(), &resumed));
}

TEST(ChecksumStateTest, VerifyRangeReadsWholeBlocksAndSpotsDamage) {
  std::string data = RandomBytes(3 * kBlock + 1000, 14);
  const ChecksumState recorded = StateOf(data);
  int64 lowest = -1, highest = -1;
  auto reader = [&](int64 position, void* buffer, int64 n) -> int64 {
    if (position >= static_cast<int64>(data.size())) return 0;
    n = std::min<int64>(n, data.size() - position);
    if (lowest < 0 || position < lowest) lowest = position;
    highest = std::max(highest, position + n);
    std::memcpy(buffer, data.data() + position, n);
    return n;
  };
  ::string why;
  EXPECT_TRUE(recorded.VerifyRange(kBlock + 10, 20, reader, &why)) << why;
  EXPECT_EQ(std::make_pair(lowest, highest), std::make_pair(kBlock, 2 * kBlock));
  EXPECT_TRUE(recorded.VerifyRange(3 * kBlock + 900, 100, reader, &why)) << why;  // the tail
  EXPECT_TRUE(recorded.VerifyRange(0, 0, reader, &why));
  data[2 * kBlock + 7] ^= 1;
  EXPECT_TRUE(recorded.VerifyRange(0, kBlock, reader, &why));
  EXPECT_FALSE(recorded.VerifyRange(2 * kBlock + 500, 1, reader, &why));
  EXPECT_NE(why.find("do not match"), ::string::npos) << why;
  for (auto [offset, length] : {std::pair<int64, int64>{-1, 5}, {0, 3 * kBlock + 1001}, {3 * kBlock + 1000, 1}}) {
    EXPECT_FALSE(recorded.VerifyRange(offset, length, reader, &why)) << offset;
    EXPECT_NE(why.find("outside"), ::string::npos) << why;
  }
  data.resize(kBlock);
  EXPECT_FALSE(recorded.VerifyRange(kBlock + 5, 1, reader, &why));
  EXPECT_NE(why.find("ends"), ::string::npos) << why;
}

class ChecksumFileTest : public BothFsTest {};

TEST_P(ChecksumFileTest, FileFormsMatchTheBytes) {
  const std::string data = RandomBytes(kBlock + 4321, 15);
  const std::string path = Put("f", data);
  ChecksumState state;
  state.AddFile(path.c_str());
  EXPECT_TRUE(state == StateOf(data));
  state.Clear();
  state.AddFileBytes(path.c_str(), 100, 5000);
  EXPECT_TRUE(state == StateOf(data.substr(100, 5000)));
  state.AddFileBytes(path.c_str(), 5100, -1);
  EXPECT_TRUE(state == StateOf(data.substr(100)));

  // A missing file, or one that ends too soon, leaves the state alone.
  const ChecksumState before = state;
  state.AddFile(P("missing").c_str());
  state.AddFileBytes(path.c_str(), data.size() - 10, 11);
  EXPECT_TRUE(state == before);

  Handle f = OpenOrFail(path, "r");
  ASSERT_TRUE(f->Seek(7));
  ChecksumState open;
  EXPECT_TRUE(open.AddOpenFile(f.get()) && open == StateOf(data));
  EXPECT_EQ(f->Tell(), 7);  // positioned reads leave the position alone
}

TEST_P(ChecksumFileTest, VerifyAndTruncateAgainstTheStoredRecord) {
  std::string data = RandomBytes(2 * kBlock + 99, 16);
  const std::string path = Put("v", data);
  ::string why;
  EXPECT_FALSE(ChecksumState::VerifyChecksum(path.c_str(), &why));
  EXPECT_NE(why.find("no checksum"), ::string::npos) << why;
  EXPECT_TRUE(ChecksumState::TruncateChecksummedFile(path.c_str(), data.size() - 1));  // without a record: only cut
  data.pop_back();
  FileAttr attr;
  attr.checksum = StateOf(data);
  ASSERT_TRUE(file_attributes->Store(path.c_str(), &attr));
  EXPECT_TRUE(ChecksumState::VerifyChecksum(path.c_str(), &why)) << why;
  EXPECT_TRUE(ChecksumState::VerifyChecksum(path.c_str(), 0, data.size(), &why)) << why;
  for (int64 bad : {int64(data.size()) + 1, int64{-1}}) EXPECT_FALSE(ChecksumState::TruncateChecksummedFile(path.c_str(), bad));
  ASSERT_TRUE(ChecksumState::TruncateChecksummedFile(path.c_str(), 2 * kBlock + 5));
  data.resize(2 * kBlock + 5);
  EXPECT_EQ(Get("v"), data);
  FileAttr cut;
  ASSERT_TRUE(file_attributes->Load(path.c_str(), &cut));
  EXPECT_TRUE(cut.checksum == StateOf(data));
  EXPECT_TRUE(ChecksumState::VerifyChecksum(path.c_str(), &why)) << why;

  data[kBlock + 3] ^= 0x40;
  ASSERT_TRUE(File::WriteStringToFile(data, path));
  EXPECT_FALSE(ChecksumState::VerifyChecksum(path.c_str(), &why));
  EXPECT_TRUE(ChecksumState::VerifyChecksum(path.c_str(), 10, 10, &why)) << why;
  EXPECT_TRUE(ChecksumState::VerifyChecksum(path.c_str(), 2 * kBlock, 5, &why)) << why;
  EXPECT_FALSE(ChecksumState::VerifyChecksum(path.c_str(), kBlock - 1, 2, &why));
  // Bytes that no longer match their record are not cut.
  EXPECT_FALSE(ChecksumState::TruncateChecksummedFile(path.c_str(), kBlock + 10));
  EXPECT_EQ(File::GetFileSize(path.c_str()), 2 * kBlock + 5);
  EXPECT_FALSE(ChecksumState::VerifyChecksum(P("missing").c_str(), nullptr));
  EXPECT_FALSE(ChecksumState::TruncateChecksummedFile(P("missing").c_str(), 0));
}

TEST_P(ChecksumFileTest, CopiesRecordTheChecksumOfWhatTheyCopied) {
  const std::string data = RandomBytes(kBlock + 1005, 20);
  Put("src", data);
  Handle source = OpenOrFail(P("src"), "r"), to = OpenOrFail(P("t"), "w");
  ASSERT_TRUE(source->Seek(7));
  FileAttr copied;
  ASSERT_TRUE(File::CopyBytes(source.get(), to.get(), &copied, nullptr));
  to.reset();
  EXPECT_EQ(Get("t"), data.substr(7));
  EXPECT_TRUE(copied.checksum == StateOf(data.substr(7)));
  EXPECT_FALSE(copied.version.IsEmpty());
  ::string why;
  EXPECT_TRUE(ChecksumState::VerifyChecksum(P("t").c_str(), &why)) << why;  // the target's own record
  // Into the middle of a file only the caller's record learns the checksum.
  Put("mid", "xxxxxxxxxx");
  Handle mid = OpenOrFail(P("mid"), "r+");
  ASSERT_TRUE(source->Seek(0) && mid->Seek(4));
  FileAttr attr;
  EXPECT_TRUE(File::CopyNBytes(source.get(), mid.get(), 3, &attr, nullptr) && attr.checksum == StateOf(data.substr(0, 3)));
  EXPECT_FALSE(ChecksumState::VerifyChecksum(P("mid").c_str(), nullptr));
  EXPECT_FALSE(File::CopyNBytes(source.get(), mid.get(), int64{1} << 40, &attr, nullptr));
}

TEST_P(ChecksumFileTest, VerifiedReadsFailOnBytesThatDoNotMatchTheRecord) {
  std::string data = RandomBytes(kBlock + 4000, 21);
  const std::string path = Put("r", data);
  FileAttr attr;
  attr.checksum = StateOf(data);
  ASSERT_TRUE(file_attributes->Store(path.c_str(), &attr));
  Handle f = OpenOrFail(path, "r");
  char out[100];
  EXPECT_TRUE(f->PReadWithVerifier(kBlock + 10, out, 100, nullptr, nullptr) == 100 &&
              std::string(out, 100) == data.substr(kBlock + 10, 100));
  EXPECT_TRUE(f->Seek(5) && f->ReadWithVerifier(out, 100, nullptr) == 100 && std::string(out, 100) == data.substr(5, 100));
  EXPECT_EQ(f->PReadWithVerifier(data.size() - 1, out, 100, nullptr, nullptr), 1);
  data[kBlock + 50] ^= 1;
  ASSERT_EQ(OpenOrFail(path, "r+")->PWrite(0, data.data(), data.size()), static_cast<int64>(data.size()));
  file::Operation op;
  EXPECT_EQ(ErrorOf(f->PReadWithVerifier(kBlock + 60, out, 10, &op, nullptr), f), file::INTERNAL_ERROR);
  EXPECT_EQ(op.error(), file::INTERNAL_ERROR);
  EXPECT_NE(f->GetCurrentErrorMessage().find("data loss"), ::string::npos) << f->GetCurrentErrorMessage();
  EXPECT_EQ(f->PReadWithVerifier(10, out, 10, nullptr, nullptr), 10);  // the first block still matches
}

TEST_P(ChecksumFileTest, SparseChecksumEqualsTheWholeFilesChecksum) {
  // Data, a hole of several blocks, data, and a trailing hole.
  std::string data(5 * kBlock + 17, '\0');
  const std::string head = RandomBytes(3000, 18), middle = RandomBytes(kBlock / 2, 19);
  data.replace(0, head.size(), head);
  data.replace(3 * kBlock, middle.size(), middle);
  {
    Handle f = OpenOrFail(P("sparse"), "w");
    ASSERT_EQ(f->PWrite(0, head.data(), head.size()) + f->PWrite(3 * kBlock, middle.data(), middle.size()),
              static_cast<int64>(head.size() + middle.size()));
    ASSERT_TRUE(f->Truncate(data.size()));
  }
  EXPECT_EQ(ChecksumState::SparseChecksumFile(P("sparse").c_str()), StateOf(data).Checksum());
  EXPECT_EQ(ChecksumState::SparseChecksumFile(Put("empty", "").c_str()) | ChecksumState::SparseChecksumFile(P("missing").c_str()), 0u);
}

PQ_ON_BOTH_FILE_SYSTEMS(ChecksumFileTest);

}  // namespace
