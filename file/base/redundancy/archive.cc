#include "file/base/redundancy/archive.h"

#include <isa-l/crc64.h>

#include <algorithm>
#include <cstring>

#include "file/base/checksums/checksum.h"
#include "file/base/core/archive_support.h"
#include "file/base/core/attr_record.h"
#include "file/base/core/file_attributes.h"
#include "file/base/core/operation.h"
#include "file/base/core/stat_attribute_cache.h"
#include "file/base/names/path.h"
#include "file/base/redundancy/archive_file.h"

namespace redundancy {

namespace {

bool Fail(file::Operation* op, file::ErrorCode code, const ::string& name, const ::string& reason) {
  return FileFactory::FailWith(op, code, "Archive", name, reason.c_str());
}

uint64 CellCrc(const char* data, int64 n) {
  return crc64_ecma_refl(0, reinterpret_cast<const unsigned char*>(data), static_cast<uint64_t>(n));
}

void PutLittle64(uint64 value, char* to) {
  for (int i = 0; i < 8; ++i) to[i] = static_cast<char>((value >> (8 * i)) & 0xff);
}

// Writes shard files: a placeholder for header and cell table, the cells in
// order, then the real header and table. Files it made are deleted unless
// Commit ran.
class ShardWriter {
 public:
  ShardWriter(FileFactory* factory, const Manifest& manifest) : factory_(factory), manifest_(manifest) {}
  ~ShardWriter() {
    for (auto& f : files_) f.reset();
    if (!committed_) {
      file::Operation ignored;
      for (const ::string& name : names_) factory_->DoDelete(name.c_str(), &ignored);
    }
  }

  bool Add(int index, const ::string& name, file::Operation* op) {
    ScopedFile f(factory_->CreateWithOptions(name.c_str(), "w", FileOpenOptions()));
    if (f == nullptr) return Fail(op, file::ERROR_INVALID_ARGUMENT, name, "bad shard name");
    names_.push_back(name);
    if (!f->OpenWithOp(op)) return false;
    const ::string placeholder(static_cast<size_t>(kShardHeaderSize + 8 * manifest_.stripes()), '\0');
    if (f->Write(placeholder.data(), placeholder.size()) != static_cast<int64>(placeholder.size())) {
      return Fail(op, static_cast<file::ErrorCode>(f->GetCurrentErrorCode()), name, f->GetCurrentErrorMessage());
    }
    indexes_.push_back(index);
    files_.push_back(std::move(f));
    tables_.emplace_back();
    return true;
  }

  // Appends the cell of writer `w`.
  bool Write(size_t w, const char* cell, int64 length, file::Operation* op) {
    tables_[w].resize(tables_[w].size() + 8);
    PutLittle64(CellCrc(cell, length), &tables_[w][tables_[w].size() - 8]);
    if (files_[w]->Write(cell, static_cast<uint64>(length)) != length) {
      return Fail(op, static_cast<file::ErrorCode>(files_[w]->GetCurrentErrorCode()), names_[w],
                  files_[w]->GetCurrentErrorMessage());
    }
    return true;
  }

  // Writes headers and tables and closes the files.
  bool Finish(file::Operation* op) {
    for (size_t w = 0; w < files_.size(); ++w) {
      const ::string head = EncodeShardHeader(manifest_, indexes_[w]) + tables_[w];
      if (files_[w]->PWrite(0, head.data(), static_cast<int64>(head.size())) != static_cast<int64>(head.size())) {
        return Fail(op, static_cast<file::ErrorCode>(files_[w]->GetCurrentErrorCode()), names_[w],
                    files_[w]->GetCurrentErrorMessage());
      }
      if (!file::CloseAndDelete(files_[w].release())) return Fail(op, file::ERROR_UNKNOWN, names_[w], "close failed");
    }
    return true;
  }

  void Commit() { committed_ = true; }
  const vector<::string>& names() const { return names_; }

 private:
  FileFactory* const factory_;
  const Manifest& manifest_;
  vector<int> indexes_;
  vector<::string> names_;
  vector<ScopedFile> files_;
  vector<::string> tables_;
  bool committed_ = false;
};

bool ReadExactly(File* f, int64 offset, char* to, int64 n) {
  while (n > 0) {
    const int64 got = f->PRead(offset, to, n);
    if (got <= 0) return false;
    offset += got;
    to += got;
    n -= got;
  }
  return true;
}

bool WriteWholeFile(FileFactory* factory, const ::string& name, const ::string& contents, file::Operation* op) {
  ScopedFile f(factory->CreateWithOptions(name.c_str(), "w", FileOpenOptions()));
  if (f == nullptr) return Fail(op, file::ERROR_INVALID_ARGUMENT, name, "bad name");
  if (!f->OpenWithOp(op)) return false;
  if (f->Write(contents.data(), contents.size()) != static_cast<int64>(contents.size())) {
    return Fail(op, static_cast<file::ErrorCode>(f->GetCurrentErrorCode()), name, f->GetCurrentErrorMessage());
  }
  if (!file::CloseAndDelete(f.release())) return Fail(op, file::ERROR_UNKNOWN, name, "close failed");
  return true;
}

}  // namespace

ManifestState ReadManifest(FileFactory* factory, const char* name, Manifest* manifest) {
  if (name == nullptr || file::IsAttributeRecordName(name)) return ManifestState::kNone;
  file::AttributeRecord record;
  file::Operation op;
  if (!file::LoadAttributeRecord(factory, name, &record, &op) || !record.Get(kArchiveKey, nullptr)) {
    return ManifestState::kNone;
  }
  // The file system's own handle: this runs inside the open path.
  ScopedFile f(factory->NewFile(name, "r", FileOpenOptions()));
  ::string text;
  constexpr int64 kMostManifest = 1 << 20;
  if (f == nullptr || !f->Open() || f->ReadToString(&text, kMostManifest) < 0) return ManifestState::kNone;
  if (Manifest::FromText(text, manifest)) return ManifestState::kValid;
  // Marked, but not yet holding its manifest (archiving renames it in
  // last): the bytes are still the file's own. A damaged manifest is not.
  return text.rfind(kManifestMagic, 0) == 0 ? ManifestState::kDamaged : ManifestState::kNone;
}

bool LoadManifest(FileFactory* factory, const char* name, Manifest* manifest) {
  return ReadManifest(factory, name, manifest) == ManifestState::kValid;
}

bool ArchiveName(FileFactory* factory, const ::string& name, FileReedSolomonEncoding encoding,
                 int stripe_unit_kib, file::Operation* op) {
  Manifest manifest;
  if (LoadManifest(factory, name.c_str(), &manifest)) return RepairArchive(factory, name, nullptr, op);
  if (file::IsAttributeRecordName(name.c_str())) {
    return Fail(op, file::ERROR_INVALID_ARGUMENT, name, "attribute records are not archived");
  }
  if (!FileReedSolomon::Encoding2Params(encoding, &manifest.data, &manifest.total)) {
    return Fail(op, file::ERROR_INVALID_ARGUMENT, name, "unknown encoding " + std::to_string(encoding));
  }
  if (stripe_unit_kib < 0 || stripe_unit_kib > kMaxUnitKib) {
    return Fail(op, file::ERROR_INVALID_ARGUMENT, name,
                "stripe unit of " + std::to_string(stripe_unit_kib) + " KiB is outside 0..65536");
  }
  manifest.encoding = encoding;
  manifest.unit = (stripe_unit_kib == 0 ? kDefaultUnitKib : stripe_unit_kib) * 1024;
  FileStat stat;
  if (!factory->StatWithOp(name.c_str(), &stat, op)) return false;
  if (stat.IsDirectory()) return Fail(op, file::ERROR_WRONG_TYPE, name, "is a directory");
  manifest.length = stat.length;
  manifest.shards = ShardNames(name, manifest.total);

  ScopedFile source(factory->NewFile(name.c_str(), "r", FileOpenOptions()));
  if (source == nullptr) return Fail(op, file::ERROR_INVALID_ARGUMENT, name, "bad name");
  if (!source->OpenWithOp(op)) return false;
  ShardWriter writer(factory, manifest);
  for (int i = 0; i < manifest.total; ++i) {
    if (!writer.Add(i, manifest.shards[static_cast<size_t>(i)], op)) return false;
  }
  const ReedSolomonCodec codec(manifest.data, manifest.total);
  ChecksumState state;
  ::string cells;
  for (int64 s = 0; s < manifest.stripes(); ++s) {
    const int64 length = manifest.CellLength(s), bytes = manifest.StripeDataLength(s);
    cells.assign(static_cast<size_t>(manifest.total * length), '\0');
    if (!ReadExactly(source.get(), s * manifest.stripe_bytes(), cells.data(), bytes)) {
      return Fail(op, file::ERROR_UNKNOWN, name, "the file changed or could not be read while archiving");
    }
    state.Add(cells.data(), static_cast<size_t>(bytes));
    vector<unsigned char*> ptrs;
    for (int i = 0; i < manifest.total; ++i) ptrs.push_back(reinterpret_cast<unsigned char*>(cells.data()) + i * length);
    codec.Encode(length, ptrs.data(), ptrs.data() + manifest.data);
    for (int i = 0; i < manifest.total; ++i) {
      if (!writer.Write(static_cast<size_t>(i), cells.data() + i * length, length, op)) return false;
    }
  }
  manifest.checksum = state.Checksum();
  FileAttr recorded;
  const bool has_record = file_attributes->Load(name.c_str(), &recorded);
  if (has_record && recorded.checksum != state) {
    return Fail(op, file::INTERNAL_ERROR, name, "data loss: the bytes do not match the recorded checksum; not archived");
  }
  if (!writer.Finish(op)) return false;
  source.reset();

  // The manifest takes the file's place in one rename. The record says
  // "archive" first: until the rename, the name still holds the bytes, and
  // a reader that finds no manifest reads them as they are.
  const ::string manifest_name = file::StripBasename(name.c_str()) + "." + file::Basename(name.c_str()) + ".rs-manifest";
  if (!WriteWholeFile(factory, manifest_name, manifest.ToText(), op)) {
    file::Operation ignored;
    factory->DoDelete(manifest_name.c_str(), &ignored);
    return false;
  }
  if (!has_record) {
    FileAttr attr;
    attr.checksum = state;
    attr.version = file_attributes->CreateVersion();
    if (!file_attributes->Store(name.c_str(), &attr)) {
      return Fail(op, file::ERROR_UNKNOWN, name, "cannot record the file's checksum");
    }
  }
  file::AttributeRecord record;
  if (!file::LoadAttributeRecord(factory, name, &record, op)) return false;
  record.Set(kArchiveKey, "1");
  record.set_attributes(Attr_t(record.attributes().attr | Attr_t::FROZEN));
  if (!file::StoreAttributeRecord(factory, name, record, op)) return false;
  if (!factory->DoRename(manifest_name.c_str(), name.c_str(), /*overwrite=*/true, op)) return false;
  writer.Commit();
  return true;
}

bool RepairArchive(FileFactory* factory, const ::string& name, vector<int>* rewritten, file::Operation* op) {
  if (rewritten != nullptr) rewritten->clear();
  Manifest manifest;
  if (!LoadManifest(factory, name.c_str(), &manifest)) {
    return Fail(op, file::ERROR_INVALID_ARGUMENT, name, "is not an archive");
  }
  ArchiveShards shards;
  ::string why;
  if (!shards.Open(factory, manifest, &why)) return Fail(op, file::INTERNAL_ERROR, name, why);
  // First pass: find every lost shard and damaged cell.
  vector<bool> rewrite(static_cast<size_t>(manifest.total), false);
  for (int i = 0; i < manifest.total; ++i) rewrite[static_cast<size_t>(i)] = !shards.shard_usable(i);
  vector<::string> cells;
  vector<int> bad;
  for (int64 s = 0; s < manifest.stripes(); ++s) {
    if (!shards.ReadAllCells(s, &cells, &bad, &why)) return Fail(op, file::INTERNAL_ERROR, name, why);
    for (int i : bad) rewrite[static_cast<size_t>(i)] = true;
  }
  if (std::find(rewrite.begin(), rewrite.end(), true) == rewrite.end()) return true;

  // Second pass: write the shards to mend beside the old ones, checking
  // that the rebuilt bytes are the archived file's.
  ShardWriter writer(factory, manifest);
  vector<int> mended;
  for (int i = 0; i < manifest.total; ++i) {
    if (!rewrite[static_cast<size_t>(i)]) continue;
    if (!writer.Add(i, manifest.shards[static_cast<size_t>(i)] + ".repair", op)) return false;
    mended.push_back(i);
  }
  ChecksumState state;
  for (int64 s = 0; s < manifest.stripes(); ++s) {
    if (!shards.ReadAllCells(s, &cells, nullptr, &why)) return Fail(op, file::INTERNAL_ERROR, name, why);
    int64 left = manifest.StripeDataLength(s);
    for (int j = 0; j < manifest.data && left > 0; ++j) {
      const int64 take = std::min<int64>(left, static_cast<int64>(cells[static_cast<size_t>(j)].size()));
      state.Add(cells[static_cast<size_t>(j)].data(), static_cast<size_t>(take));
      left -= take;
    }
    for (size_t w = 0; w < mended.size(); ++w) {
      const ::string& cell = cells[static_cast<size_t>(mended[w])];
      if (!writer.Write(w, cell.data(), static_cast<int64>(cell.size()), op)) return false;
    }
  }
  if (state.Checksum() != manifest.checksum) {
    return Fail(op, file::INTERNAL_ERROR, name, "data loss: the rebuilt bytes do not match the archive's checksum");
  }
  if (!writer.Finish(op)) return false;
  shards.Close();
  for (size_t w = 0; w < mended.size(); ++w) {
    const ::string& shard = manifest.shards[static_cast<size_t>(mended[w])];
    if (!factory->DoRename(writer.names()[w].c_str(), shard.c_str(), /*overwrite=*/true, op)) return false;
  }
  writer.Commit();
  if (rewritten != nullptr) *rewritten = mended;
  return true;
}

void InstallArchiveSupport() {
  file::ArchiveSupport support;
  support.archive = &ArchiveName;
  support.open = [](FileFactory* factory, const char* name, const char* mode,
                    const FileOpenOptions& options) -> File* {
    if (name == nullptr || file::IsAttributeRecordName(name)) return nullptr;
    // Every archive is frozen; the cached attributes make the common case
    // (not frozen) cheap.
    Attr_t attr;
    const bool known = file::CachedStatAttributes(factory, name, &attr, [&](Attr_t* loaded) {
      file::Operation ignored;
      return factory->GetAttributes(name, loaded, &ignored);
    });
    Manifest manifest;
    if (!known || !attr.has(Attr_t::FROZEN)) return nullptr;
    const ManifestState state = ReadManifest(factory, name, &manifest);
    if (state == ManifestState::kNone) return nullptr;
    // A damaged manifest gives a handle that refuses to open.
    return new ArchiveFile(factory, name, mode, options, manifest, state == ManifestState::kValid);
  };
  support.stat = [](FileFactory* factory, const char* name, FileStat* stat) {
    Manifest manifest;
    if (LoadManifest(factory, name, &manifest)) stat->length = manifest.length;
  };
  support.companions = [](FileFactory* factory, const char* name) {
    Manifest manifest;
    return LoadManifest(factory, name, &manifest) ? manifest.shards : vector<::string>();
  };
  file::SetArchiveSupport(std::move(support));
}

}  // namespace redundancy
