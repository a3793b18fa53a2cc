// The on-disk form of a Reed-Solomon archive (docs/redundancy.md) and the
// reading of its stripes.
//
// An archived file "dir/name" holds a small text manifest; its bytes live
// in `total` shard files "dir/.name.rs-II-of-NN". The file is cut into
// stripes of `data` cells of `unit` bytes (the last stripe's cells are
// shorter: its bytes split evenly, zero-padded); each stripe adds
// `total - data` parity cells. Shard i holds cell i of every stripe, after
// a 64-byte header and a table of the CRC-64 of each of its cells.
#ifndef FILE_BASE_REDUNDANCY_ARCHIVE_LAYOUT_H_
#define FILE_BASE_REDUNDANCY_ARCHIVE_LAYOUT_H_

#include <memory>

#include "file/base/file.h"
#include "file/base/redundancy/file_reading.h"
#include "file/base/redundancy/reed_solomon.h"
#include "file/base/util/base_types.h"

namespace redundancy {

// The first line of a manifest.
constexpr const char kManifestMagic[] = "pyquarry archive 1";
// The attribute-record key that marks an archive (its value is "1").
constexpr const char kArchiveKey[] = "archive";
constexpr int64 kDefaultUnitKib = 256;
constexpr int64 kMaxUnitKib = 64 * 1024;
constexpr int64 kShardHeaderSize = 64;

struct Manifest {
  FileReedSolomonEncoding encoding = FILE_RS_ENCODING_5_8;
  int data = 0;
  int total = 0;
  int64 unit = 0;      // bytes per cell
  int64 length = 0;    // the archived file's length
  uint64 checksum = 0; // CRC-64 of the archived file's bytes
  vector<::string> shards;

  int64 stripe_bytes() const { return data * unit; }
  int64 stripes() const { return length == 0 ? 0 : (length + stripe_bytes() - 1) / stripe_bytes(); }
  // Bytes of the file in stripe s, and the length of each of its cells.
  int64 StripeDataLength(int64 stripe) const;
  int64 CellLength(int64 stripe) const;
  // Where cell `stripe` lies in a shard file.
  int64 CellOffset(int64 stripe) const { return kShardHeaderSize + 8 * stripes() + stripe * unit; }

  ::string ToText() const;
  // False for text that is not a well-formed manifest.
  static bool FromText(const ::string& text, Manifest* manifest);
};

// The shard names of `name`: "dir/.name.rs-II-of-NN".
vector<::string> ShardNames(const ::string& name, int total);

// The 64-byte header of shard `index`.
::string EncodeShardHeader(const Manifest& manifest, int index);
// True when `header` is the intact header of shard `index` of `manifest`.
bool ShardHeaderMatches(const ::string& header, const Manifest& manifest, int index);

// The shards of an open archive. Thread safe.
class ArchiveShards {
 public:
  // Opens every shard that can be opened and has an intact header and cell
  // table; false (with *why) when fewer than `data` remain.
  bool Open(FileFactory* factory, const Manifest& manifest, ::string* why);
  void Close();

  const Manifest& manifest() const { return manifest_; }
  int usable() const;
  bool shard_usable(int index) const { return shards_[static_cast<size_t>(index)].file != nullptr; }

  // How a stripe is put together.
  enum class Sources {
    kDataFirst,    // the data cells, parity only for those lost or damaged
    kDataOnly,     // the data cells only: fails if one is lost or damaged
    kParityFirst,  // parity cells in the place of as many data cells as they can take
  };
  // Fills out[0, StripeDataLength) with the bytes of `stripe`; out must hold
  // data * CellLength bytes. *bad (when not null) receives the cells found
  // lost or damaged. False (with *why) when too few good cells remain.
  bool ReadStripe(int64 stripe, Sources sources, char* out, vector<int>* bad, ::string* why);
  // Every cell of `stripe` (data and parity, rebuilt where lost or
  // damaged) into cells[i] (each CellLength bytes); *bad as above.
  bool ReadAllCells(int64 stripe, vector<::string>* cells, vector<int>* bad, ::string* why);

 private:
  struct Shard {
    ScopedFile file;
    vector<uint64> checksums;  // one per stripe
  };
  // Reads cell `index` of `stripe` into `to` and checks it against the table.
  bool ReadCell(int index, int64 stripe, char* to);
  // Gathers `data` good cells (in `order`) and rebuilds `wanted` from them.
  bool Assemble(int64 stripe, const vector<int>& order, const vector<int>& wanted,
                vector<char*>* targets, vector<int>* bad, ::string* why);

  Manifest manifest_;
  std::unique_ptr<ReedSolomonCodec> codec_;
  vector<Shard> shards_;
};

}  // namespace redundancy

#endif  // FILE_BASE_REDUNDANCY_ARCHIVE_LAYOUT_H_
