#include "file/base/core/file_attributes.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "file/base/core/attr_record.h"
#include "file/base/file.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"

namespace {

using file::AttributeRecord;
using file_internal::NamedOp;

// ---- the FileAttr keys of a record ---------------------------------------------

// False when the record holds no FileAttr, or a damaged one.
bool ReadFileAttr(const AttributeRecord& record, FileAttr* attr) {
  ::string checksum, version, finalized;
  if (!record.Get(AttributeRecord::kChecksumKey, &checksum) ||
      !record.Get(AttributeRecord::kVersionKey, &version) ||
      !record.Get(AttributeRecord::kFinalizedKey, &finalized)) {
    return false;
  }
  FileAttr parsed;
  if (!ChecksumState::FromRecordText(checksum, &parsed.checksum) ||
      !FileVersion::FromString(&parsed.version, version.c_str()) ||
      (finalized != "0" && finalized != "1")) {
    return false;
  }
  parsed.finalized = finalized == "1";
  *attr = parsed;
  return true;
}

bool HasFileAttrKeys(const AttributeRecord& record) {
  return record.Get(AttributeRecord::kChecksumKey, nullptr) ||
         record.Get(AttributeRecord::kVersionKey, nullptr) ||
         record.Get(AttributeRecord::kFinalizedKey, nullptr);
}

void WriteFileAttr(const FileAttr& attr, AttributeRecord* record) {
  record->Set(AttributeRecord::kChecksumKey, attr.checksum.ToRecordText());
  record->Set(AttributeRecord::kVersionKey, attr.version.ToString());
  record->Set(AttributeRecord::kFinalizedKey, attr.finalized ? "1" : "0");
  // A finalized record and a writable file would contradict each other.
  if (attr.finalized) {
    record->set_attributes(Attr_t(record->attributes().attr | Attr_t::FINALIZED));
  }
}

void EraseFileAttr(AttributeRecord* record) {
  record->Erase(AttributeRecord::kChecksumKey);
  record->Erase(AttributeRecord::kVersionKey);
  record->Erase(AttributeRecord::kFinalizedKey);
}

// ---- the process-wide cache ----------------------------------------------------

class RecordCache {
 public:
  // True when the cache knows the record under `key` (factory and name);
  // then *stored tells whether a FileAttr is stored, and *attr holds it.
  bool Lookup(const ::string& key, bool* stored, FileAttr* attr) {
    std::lock_guard<std::mutex> lock(mu_);
    if (!CurrentLocked()) return false;
    const auto it = entries_.find(key);
    if (it == entries_.end()) return false;
    *stored = it->second.stored;
    *attr = it->second.attr;
    return true;
  }

  // `generation` is the one read before the record was: a record changed
  // since may be stale and is not kept.
  void Insert(const ::string& key, uint64 generation, bool stored, const FileAttr& attr) {
    std::lock_guard<std::mutex> lock(mu_);
    if (!CurrentLocked() || generation != generation_) return;
    if (entries_.size() >= kMaxEntries) entries_.clear();
    entries_[key] = Entry{stored, attr};
  }

  void Clear() {
    std::lock_guard<std::mutex> lock(mu_);
    entries_.clear();
  }

 private:
  static constexpr size_t kMaxEntries = 4096;

  struct Entry {
    bool stored;
    FileAttr attr;
  };

  // Drops everything when a record changed since the entries were read.
  bool CurrentLocked() {
    const uint64 now = file::AttributeRecordGeneration();
    if (now == generation_) return true;
    entries_.clear();
    generation_ = now;
    return false;
  }

  std::mutex mu_;
  uint64 generation_ = 0;
  std::unordered_map<::string, Entry> entries_;
};

RecordCache& Cache() {
  static RecordCache* const cache = new RecordCache;  // used until exit
  return *cache;
}

// ---- reading a file's bytes ------------------------------------------------------

constexpr int64 kReadChunk = 1 << 20;

// Adds the bytes [offset, offset + length) of `name` to *state; fails
// (ERROR_PAST_EOF) when the file ends first. length < 0: to end of file.
bool AddFileBytes(FileFactory* factory, const char* name, int64 offset, int64 length,
                  ChecksumState* state, file::Operation* op) {
  File* f = factory->CreateWithOptions(name, "r", FileOpenOptions());
  if (f == nullptr) {
    return FileFactory::FailWith(op, file::ERROR_INVALID_ARGUMENT, "Read", name, "bad file name");
  }
  if (!f->OpenWithOp(op)) {
    file::CloseAndDelete(f);
    return false;
  }
  std::unique_ptr<char[]> buffer(new char[kReadChunk]);
  bool ok = true;
  for (int64 done = 0; length < 0 || done < length;) {
    const int64 want = length < 0 ? kReadChunk : std::min(kReadChunk, length - done);
    const int64 got = f->PReadWithOp(offset + done, buffer.get(), want, op);
    if (got < 0) {
      ok = false;
      break;
    }
    if (got == 0) {
      if (length >= 0) {
        ok = FileFactory::FailWith(op, file::ERROR_PAST_EOF, "Read", name, "file ends too soon");
      }
      break;
    }
    state->Add(buffer.get(), static_cast<size_t>(got));
    done += got;
  }
  file::CloseAndDelete(f);
  return ok;
}

// The factory of `name` and its stat; false (recorded in op) unless it is an
// existing file that may carry a record.
bool CheckRecordable(const char* name, NamedOp* op, shared_ptr<FileFactory>* factory) {
  if (file::IsAttributeRecordName(name)) {
    return op->Fail(file::ERROR_INVALID_ARGUMENT, "attribute records have no records");
  }
  *factory = FileFactory::ForName(name);
  FileStat stat;
  if (!(*factory)->StatWithOp(name, &stat, op->op())) return false;
  if (stat.IsDirectory()) return op->Fail(file::ERROR_WRONG_TYPE, "is a directory");
  return true;
}

uint32 HostHash() {
  const uint64 full = std::hash<std::string>()(File::localhost_name());
  return static_cast<uint32>(full ^ (full >> 32));
}

}  // namespace

FileAttributes::FileAttributes() = default;

FileAttributes::~FileAttributes() = default;

bool FileAttributes::Load(const char* name, FileAttr* attr) {
  if (attr == nullptr) return false;
  attr->Clear();
  if (name == nullptr || *name == '\0') return false;
  const shared_ptr<FileFactory> factory = FileFactory::ForName(name);
  // The same name may belong to another file system once prefixes change.
  const FileFactory* const serving = factory.get();
  ::string key(reinterpret_cast<const char*>(&serving), sizeof(serving));
  key += name;
  bool stored = false;
  if (Cache().Lookup(key, &stored, attr)) return stored;

  const uint64 generation = file::AttributeRecordGeneration();
  file::Operation op;
  AttributeRecord record;
  if (!file::LoadAttributeRecord(factory.get(), name, &record, &op)) return false;
  FileAttr loaded;
  stored = ReadFileAttr(record, &loaded);
  Cache().Insert(key, generation, stored, loaded);
  if (stored) *attr = loaded;
  return stored;
}

bool FileAttributes::Store(const char* name, const FileAttr* attr) {
  NamedOp op(nullptr, "FileAttributes::Store", name);
  if (!op.Begin(name)) return false;
  if (attr == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "no record to store");
  shared_ptr<FileFactory> factory;
  if (!CheckRecordable(name, &op, &factory)) return false;
  AttributeRecord record;
  if (!file::LoadAttributeRecord(factory.get(), name, &record, op.op())) return false;
  FileAttr existing;
  if (ReadFileAttr(record, &existing) && existing.finalized) {
    return op.Fail(file::ERROR_PERMISSION_DENIED, "file is finalized");
  }
  WriteFileAttr(*attr, &record);
  return file::StoreAttributeRecord(factory.get(), name, record, op.op());
}

bool FileAttributes::LoadPrefix(const char* name, int64 length, FileAttr* attr) {
  if (attr == nullptr) return false;
  FileAttr stored;
  if (!Load(name, &stored)) {
    attr->Clear();
    return false;
  }
  attr->Clear();
  const ChecksumState& full = stored.checksum;
  if (length < 0 || length > full.Length()) return false;

  ChecksumState prefix = full;
  const int64 start = prefix.RewindTo(length);
  if (start < length) {
    // Read up to the record's next history point (or its end), so that the
    // bytes used can be checked against what the record says of them.
    const int64 end = std::min(start + ChecksumState::kBlockSize, full.Length());
    file::Operation op;
    const shared_ptr<FileFactory> factory = FileFactory::ForName(name);
    if (!AddFileBytes(factory.get(), name, start, length - start, &prefix, &op)) return false;
    ChecksumState check = prefix;
    if (!AddFileBytes(factory.get(), name, length, end - length, &check, &op)) return false;
    const int block = static_cast<int>(start / ChecksumState::kBlockSize);
    const bool matches = end == full.Length() ? check == full
                                              : check.AlignedChecksum() == full.History(block);
    if (!matches) return false;
  }
  attr->checksum = prefix;
  attr->version = stored.version;
  attr->finalized = stored.finalized;
  return true;
}

bool FileAttributes::Delete(const char* name) { return DeleteWithOp(name, nullptr); }

bool FileAttributes::DeleteWithOp(const char* name, file::Operation* caller) {
  NamedOp op(caller, "FileAttributes::Delete", name);
  if (!op.Begin(name)) return false;
  FileFactory* factory = FileFactory::ForName(name).get();
  AttributeRecord record;
  if (!file::LoadAttributeRecord(factory, name, &record, op.op())) return false;
  if (!HasFileAttrKeys(record)) return true;
  EraseFileAttr(&record);
  return file::StoreAttributeRecord(factory, name, record, op.op());
}

bool FileAttributes::BulkDelete(const vector<::string>& names, vector<bool>* results) {
  return BulkDeleteWithOp(names, results, nullptr);
}

bool FileAttributes::BulkDeleteWithOp(const vector<::string>& names, vector<bool>* results,
                                      file::Operation* op) {
  return file_internal::RunBulk(names, op, results, [this](const char* name, file::Operation* each) {
    return DeleteWithOp(name, each);
  });
}

void FileAttributes::GetAttributeFileName(const char* name, ::string* attribute_file) {
  if (attribute_file == nullptr) return;
  *attribute_file = name == nullptr ? ::string() : file::AttributeRecordName(name);
}

FileVersion FileAttributes::CreateVersion() {
  static std::atomic<int64> last_time{0};
  const int64 now = std::chrono::duration_cast<std::chrono::microseconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count();
  int64 previous = last_time.load();
  int64 time;
  do {
    time = std::max(now, previous + 1);
  } while (!last_time.compare_exchange_weak(previous, time));
  const uint64 creator = (static_cast<uint64>(HostHash()) << 32) | static_cast<uint32>(getpid());
  return FileVersion(time, creator);
}

void FileAttributes::ClearCache() { Cache().Clear(); }

bool FileAttributes::Finalize(const char* name) {
  NamedOp op(nullptr, "FileAttributes::Finalize", name);
  if (!op.Begin(name)) return false;
  shared_ptr<FileFactory> factory;
  if (!CheckRecordable(name, &op, &factory)) return false;
  AttributeRecord record;
  if (!file::LoadAttributeRecord(factory.get(), name, &record, op.op())) return false;
  FileAttr attr;
  const bool stored = ReadFileAttr(record, &attr);
  if (!stored || !attr.finalized) {
    ChecksumState actual;
    if (!AddFileBytes(factory.get(), name, 0, -1, &actual, op.op())) return false;
    if (stored && attr.checksum != actual) {
      return op.Fail(file::INTERNAL_ERROR, "file data does not match its checksum record");
    }
    attr.checksum = actual;
    if (attr.version.IsEmpty()) attr.version = CreateVersion();
    attr.finalized = true;
  } else if (record.attributes().has(Attr_t::FINALIZED)) {
    return true;
  }
  WriteFileAttr(attr, &record);
  return file::StoreAttributeRecord(factory.get(), name, record, op.op());
}

// Leaked on purpose: code running during process exit may still use it.
FileAttributes* file_attributes = new FileAttributes;
