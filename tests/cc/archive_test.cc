// Reed-Solomon archives: made on a file's own file system, read back through
// the ordinary File interface after losing or damaging shards, repaired.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "file/base/checksums/checksum.h"
#include "file/base/core/file_attributes.h"
#include "file/base/core/operation.h"
#include "file/base/redundancy/archive.h"
#include "tests/cc/checksum_testing.h"
#include "tests/cc/fs_conformance.h"

namespace {

using checksum_testing::RandomBytes;
using checksum_testing::StateOf;
using redundancy::Manifest;

constexpr int kUnitKib = 1;  // small cells: many stripes from little data

class ArchiveTest : public BothFsTest {
 protected:
  // Writes and archives `data` as `name`; returns the full name.
  std::string Archived(const std::string& name, const std::string& data,
                       FileReedSolomon::Encoding encoding = FileReedSolomon::ENCODING_5_8) {
    const std::string path = Put(name, data);
    vector<bool> flags;
    EXPECT_TRUE(File::Archive({path}, encoding, kUnitKib, &flags));
    EXPECT_EQ(flags, vector<bool>{true});
    return path;
  }
  static Manifest ManifestOf(const std::string& path) {
    Manifest manifest;
    EXPECT_TRUE(redundancy::LoadManifest(FileFactory::ForName(path.c_str()).get(), path.c_str(), &manifest));
    return manifest;
  }
  static std::string ReadAll(const std::string& path) {
    ::string contents;
    return File::ReadFileToString(path, &contents) ? contents : "<unreadable>";
  }
  static void Flip(const std::string& path, int64 offset) {
    ::string bytes;
    ASSERT_TRUE(File::ReadFileToString(path, &bytes));
    ASSERT_LT(offset, static_cast<int64>(bytes.size()));
    bytes[offset] ^= 0x20;
    ASSERT_TRUE(File::WriteStringToFile(bytes, path));
  }
};

TEST_P(ArchiveTest, ReadsBackThroughTheOrdinaryInterface) {
  const std::string data = RandomBytes(5 * 1024 * 10 + 777, 31);
  const std::string path = Archived("f", data);
  const Manifest manifest = ManifestOf(path);
  EXPECT_EQ(std::tuple(manifest.length, manifest.stripes(), manifest.shards.size()),
            std::tuple(static_cast<int64>(data.size()), 11, size_t{8}));
  EXPECT_NE(manifest.shards[7].find("/.f.rs-07-of-08"), std::string::npos) << manifest.shards[7];
  // The name holds only the manifest; the bytes come from the shards.
  EXPECT_EQ(ReadAll(path), data);
  FileStat stat;
  ASSERT_TRUE(File::Stat(path.c_str(), &stat));
  EXPECT_EQ(stat.length, static_cast<int64>(data.size()));
  EXPECT_TRUE(stat.attributes.has(Attr_t::FROZEN));
  EXPECT_EQ(File::Open(path.c_str(), "w"), nullptr);  // archives are frozen

  Handle f = OpenOrFail(path, "r");
  std::string read;
  char buffer[3001];
  for (int64 n; (n = f->Read(buffer, 1 + read.size() % 3000)) > 0;) read.append(buffer, n);
  EXPECT_EQ(read, data);  // reads of every length from 1 to 3000 at every kind of offset
  ASSERT_EQ(f->PRead(data.size() - 7, buffer, 3000), 7);
  EXPECT_EQ(std::string(buffer, 7), data.substr(data.size() - 7));
  std::unique_ptr<MemBlock> block(f->GetMemBlock(100, 5000, 0));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(std::string(block->data(), block->size()), data.substr(100, 5000));
  EXPECT_EQ(f->TryMMap(0, data.size()), nullptr);

  // The checksum record was made, and matches what reads give.
  ::string why;
  EXPECT_TRUE(ChecksumState::VerifyChecksum(path.c_str(), &why)) << why;
  EXPECT_EQ(f->PReadWithVerifier(2000, buffer, 100, nullptr, nullptr), 100);
  vector<::string> listed;
  ASSERT_TRUE(File::Match((dir_ + "/*").c_str(), &listed));
  EXPECT_EQ(listed, vector<::string>{path});  // shards are hidden files

  // Renamed, it still reads; deleted, its shards go with it.
  f.reset();
  ASSERT_TRUE(File::Rename(path.c_str(), P("moved").c_str(), false));
  EXPECT_EQ(ReadAll(P("moved")), data);
  ASSERT_TRUE(File::Delete(P("moved").c_str()));
  for (const ::string& shard : manifest.shards) EXPECT_FALSE(File::Exists(shard.c_str())) << shard;
}

TEST_P(ArchiveTest, FiveOfEightSurvivesLosingAnyThreeShards) {
  const std::string data = RandomBytes(5 * 1024 * 3 + 11, 32);
  const std::string path = Archived("f", data);
  const Manifest manifest = ManifestOf(path);
  vector<::string> saved(8);
  for (int i = 0; i < 8; ++i) ASSERT_TRUE(File::ReadFileToString(manifest.shards[i], &saved[i]));
  int combinations = 0;
  for (int mask = 1; mask < 256; ++mask) {
    const int lost = __builtin_popcount(mask);
    if (lost > 4) continue;
    for (int i = 0; i < 8; ++i) {
      if (mask & (1 << i)) ASSERT_TRUE(File::Delete(manifest.shards[i].c_str()));
    }
    if (lost <= 3) {
      ++combinations;
      EXPECT_EQ(ReadAll(path), data) << "lost mask " << mask;
    } else {
      Handle f(File::Create(path, "r"));
      ASSERT_NE(f, nullptr);
      EXPECT_EQ(ErrorOf(f->Open(), f), file::INTERNAL_ERROR) << mask;
      EXPECT_NE(f->GetCurrentErrorMessage().find("data loss"), std::string::npos);
    }
    for (int i = 0; i < 8; ++i) {
      if (mask & (1 << i)) ASSERT_TRUE(File::WriteStringToFile(saved[i], manifest.shards[i]));
    }
  }
  EXPECT_EQ(combinations, 92);
}

TEST_P(ArchiveTest, LargerEncodingsSurviveRandomLossAndDamage) {
  std::mt19937 gen(33);
  for (auto encoding : {FileReedSolomon::ENCODING_9_13, FileReedSolomon::ENCODING_20_30}) {
    int data_cells = 0, total = 0;
    FileReedSolomon::Encoding2Params(encoding, &data_cells, &total);
    const std::string data = RandomBytes(data_cells * 1024 * 2 + 500, encoding);
    const std::string path = Archived("e" + std::to_string(encoding), data, encoding);
    const Manifest manifest = ManifestOf(path);
    vector<::string> saved(total);
    for (int i = 0; i < total; ++i) ASSERT_TRUE(File::ReadFileToString(manifest.shards[i], &saved[i]));
    for (int round = 0; round < 8; ++round) {
      vector<int> shards(total);
      for (int i = 0; i < total; ++i) shards[i] = i;
      std::shuffle(shards.begin(), shards.end(), gen);
      shards.resize(1 + gen() % (total - data_cells));
      // Half are deleted, half damaged in a cell, the header or the table.
      for (size_t k = 0; k < shards.size(); ++k) {
        const ::string& shard = manifest.shards[shards[k]];
        if (k % 2 == 0) {
          ASSERT_TRUE(File::Delete(shard.c_str()));
        } else {
          Flip(shard, gen() % saved[shards[k]].size());
        }
      }
      EXPECT_EQ(ReadAll(path), data) << "encoding " << encoding << " round " << round;
      for (int i : shards) ASSERT_TRUE(File::WriteStringToFile(saved[i], manifest.shards[i]));
    }
  }
}

TEST_P(ArchiveTest, DamageBeyondTheCodeFailsTheReadNotTheBytes) {
  const std::string data = RandomBytes(5 * 1024 * 4, 34);
  const std::string path = Archived("f", data);
  const Manifest manifest = ManifestOf(path);
  // Stripe 2 loses four cells: more than 5 of 8 can rebuild.
  for (int i : {0, 3, 5, 7}) Flip(manifest.shards[i], manifest.CellOffset(2) + 10);
  Handle f(File::Open(path.c_str(), "r"));
  ASSERT_NE(f, nullptr);
  char buffer[100];
  EXPECT_EQ(ErrorOf(f->PRead(2 * 5 * 1024 + 50, buffer, 10), f), file::INTERNAL_ERROR);
  EXPECT_NE(f->GetCurrentErrorMessage().find("stripe 2"), std::string::npos) << f->GetCurrentErrorMessage();
  ASSERT_EQ(f->PRead(3 * 5 * 1024, buffer, 100), 100);  // other stripes still read
  EXPECT_EQ(std::string(buffer, 100), data.substr(3 * 5 * 1024, 100));
  file::Operation op;
  vector<int> rewritten = {9};
  const bool repaired = redundancy::RepairArchive(FileFactory::ForName(path.c_str()).get(), path, &rewritten, &op);
  EXPECT_EQ(ErrorOf(repaired, op), file::INTERNAL_ERROR);
  EXPECT_TRUE(rewritten.empty());

  // A damaged manifest fails the open rather than showing its text.
  f.reset();
  const ::string text = manifest.ToText();
  ASSERT_TRUE(File::SetAttributes(path.c_str(), Attr_t(0)));
  ASSERT_TRUE(File::WriteStringToFile(text.substr(0, text.size() / 2) + "\n", path));
  ASSERT_TRUE(File::SetAttributes(path.c_str(), Attr_t(Attr_t::FROZEN)));
  Handle g(File::Create(path, "r"));
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(ErrorOf(g->Open(), g), file::INTERNAL_ERROR);
  ::string bytes;
  EXPECT_FALSE(File::ReadFileToString(path, &bytes));
}

TEST_P(ArchiveTest, RepairRewritesLostAndDamagedShards) {
  const std::string data = RandomBytes(5 * 1024 * 6 + 3, 35);
  const std::string path = Archived("f", data);
  const Manifest manifest = ManifestOf(path);
  ::string original3;
  ASSERT_TRUE(File::ReadFileToString(manifest.shards[3], &original3));
  ASSERT_TRUE(File::Delete(manifest.shards[0].c_str()));
  ASSERT_TRUE(File::Delete(manifest.shards[6].c_str()));
  Flip(manifest.shards[3], manifest.CellOffset(4) + 1);
  file::Operation op;
  vector<int> rewritten;
  FileFactory* factory = FileFactory::ForName(path.c_str()).get();
  ASSERT_TRUE(redundancy::RepairArchive(factory, path, &rewritten, &op)) << op.message();
  EXPECT_EQ(rewritten, (vector<int>{0, 3, 6}));
  ::string mended3;
  ASSERT_TRUE(File::ReadFileToString(manifest.shards[3], &mended3));
  EXPECT_EQ(mended3, original3);
  EXPECT_TRUE(redundancy::RepairArchive(factory, path, &rewritten, &op) && rewritten.empty());  // nothing left to mend
  // Three other shards may now go.
  for (int i : {1, 2, 4}) ASSERT_TRUE(File::Delete(manifest.shards[i].c_str()));
  EXPECT_EQ(ReadAll(path), data);
  // Archive on an archive repairs it.
  vector<bool> flags;
  EXPECT_TRUE(File::Archive({path}, FileReedSolomon::ENCODING_20_30, 0, &flags));
  EXPECT_TRUE(File::Exists(manifest.shards[1].c_str()));
  EXPECT_EQ(ManifestOf(path).encoding, FileReedSolomon::ENCODING_5_8);
}

// A lost data shard leaves only the reconstruction as a variant.
TEST_P(ArchiveTest, DataVariantsAfterLosingADataShard) {
  const std::string data = RandomBytes(5 * 1024 * 2, 36);
  const std::string path = Archived("f", data);
  ASSERT_TRUE(File::Delete(ManifestOf(path).shards[1].c_str()));
  Handle f = OpenOrFail(path, "r");
  vector<File::DataVariant*> variants;
  file::Operation op;
  ASSERT_TRUE(f->ReadMultipleDataVariants(1000, 7000, 5, &variants, &op)) << op.message();
  ASSERT_EQ(variants.size(), 1u);
  std::unique_ptr<File::DataVariant> only(variants[0]);
  EXPECT_EQ(std::pair(only->offset, std::string(only->bytes)), std::pair(int64{1000}, data.substr(1000, 7000)));
}

TEST_P(ArchiveTest, BadRequestsFailAndLeaveTheFileAlone) {
  const std::string data = RandomBytes(3000, 37);
  const std::string path = Put("f", data);
  const struct { std::string name; int encoding; int unit; } cases[] = {
      {path, 3, 1}, {path, -1, 1}, {path, 0, -1}, {path, 0, 65537}, {P("missing"), 0, 1}, {dir_, 0, 1},
  };
  for (const auto& c : cases) {
    vector<bool> flags;
    EXPECT_FALSE(File::Archive({c.name}, FileReedSolomonEncoding(c.encoding), c.unit, &flags)) << c.name;
    EXPECT_EQ(flags, vector<bool>{false});
  }
  // A shard that cannot be written (a directory stands in its place).
  ASSERT_TRUE(File::CreateDir(P(".f.rs-04-of-08").c_str(), 0755));
  vector<bool> flags;
  EXPECT_FALSE(File::Archive({path, Put("g", "other")}, FileReedSolomon::ENCODING_5_8, 1, &flags));
  EXPECT_EQ(flags, (vector<bool>{false, true}));
  EXPECT_EQ(ReadAll(path), data);
  EXPECT_FALSE(File::Exists(P(".f.rs-00-of-08").c_str()));  // no shard left behind
  EXPECT_EQ(ReadAll(P("g")), "other");
  ASSERT_TRUE(File::DeleteDir(P(".f.rs-04-of-08").c_str()));

  // Bytes that no longer match their recorded checksum are not archived.
  FileAttr attr;
  attr.checksum = StateOf(data + "x");
  ASSERT_TRUE(file_attributes->Store(path.c_str(), &attr));
  file::Operation op;
  EXPECT_FALSE(redundancy::ArchiveName(FileFactory::ForName(path.c_str()).get(), path,
                                       FileReedSolomon::ENCODING_5_8, 1, &op));
  EXPECT_EQ(op.error(), file::INTERNAL_ERROR);
  EXPECT_EQ(ReadAll(path), data);

  // An empty file archives to stripes of nothing.
  const std::string empty = Archived("empty", "");
  EXPECT_EQ(ReadAll(empty), "");
  EXPECT_EQ(File::GetFileSize(empty.c_str()), 0);
}

PQ_ON_BOTH_FILE_SYSTEMS(ArchiveTest);

}  // namespace
