// quarry records write|cat|count|verify: the records of record files. Damaged
// bytes are passed over as the library's reader does; every command names
// what it passed over and then exits with status 1, so a damaged file never
// passes as a whole one.
#include <unistd.h>

#include <cstdlib>

#include <fmt/format.h>

#include "file/base/core/operation.h"
#include "file/base/recordio.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

// A damaged region: where the reader began to pass over bytes, and how many.
struct Damage {
  int64 offset;
  int64 length;
};

// Reads one record file, noting each damaged region as it is met.
class RecordScan {
 public:
  explicit RecordScan(const std::string& name) : name_(name) {
    if (File::IsDirectory(name.c_str())) throw Failure(name + ": is a directory");
    file_ = File::Create(name, "r");
    if (file_ == nullptr) throw Failure(name + ": no file system takes this name");
    if (!file_->Open()) {
      std::string message = file_->GetCurrentErrorMessage();
      delete file_;
      throw Failure(message.find(name) == std::string::npos ? fmt::format("{}: {}", name, message) : message);
    }
    size_ = file_->Size();
    reader_ = std::make_unique<RecordReader>(file_, 1 << 20);  // owns file_ from here on
  }

  // The next record, false at the end; throws on a read error. `damaged`
  // is called for a region passed over before the record (or the end).
  template <typename OnDamage>
  bool Next(void** data, size_t* len, OnDamage&& damaged) {
    int64 start = reader_->FileTell();
    int64 skipped = reader_->skipped_bytes();
    int regions = reader_->skipped_regions();
    bool ok = reader_->ReadRecord(data, len);
    if (reader_->skipped_regions() != regions) {
      damage_.push_back({start, reader_->skipped_bytes() - skipped});
      damaged(damage_.back());
    }
    if (!ok && reader_->read_error()) {
      std::string message = file_->GetCurrentErrorMessage();
      throw Failure(fmt::format("{}: cannot read: {}", name_, message.empty() ? "read error" : message));
    }
    if (ok) ++records_;
    return ok;
  }

  int64 position() { return reader_->FileTell(); }
  int64 size() const { return size_; }
  int64 records() const { return records_; }
  int64 skipped_bytes() const { return reader_->skipped_bytes(); }
  const std::vector<Damage>& damage() const { return damage_; }

  // The one-line failure text for a file with damage ("" when it has none).
  std::string DamageSummary() const {
    if (damage_.empty()) return "";
    return fmt::format("{}: damaged: {} bytes skipped in {} region{}", name_, skipped_bytes(), damage_.size(),
                       damage_.size() == 1 ? "" : "s");
  }

 private:
  std::string name_;
  File* file_ = nullptr;
  int64 size_ = -1;
  std::unique_ptr<RecordReader> reader_;
  int64 records_ = 0;
  std::vector<Damage> damage_;
};

void Warn(const std::string& name, const Damage& d) {
  fmt::print(stderr, "quarry: {}: damaged region at offset {}: {} bytes skipped\n", name, d.offset, d.length);
}

std::vector<std::string> ExpandAll(const std::vector<std::string>& args) {
  std::vector<std::string> names;
  for (const std::string& arg : args) {
    for (std::string& name : Expand(arg)) names.push_back(std::move(name));
  }
  return names;
}

// Reads every record of `name`, passing each to `each(data, len)` and
// warning of damage on standard error; the damage summary ("" for none).
template <typename Each>
std::string ScanWithWarnings(const std::string& name, Each&& each) {
  RecordScan scan(name);
  void* data;
  size_t len;
  while (scan.Next(&data, &len, [&](const Damage& d) { Warn(name, d); })) each(data, len);
  return scan.DamageSummary();
}

void Cat(const std::vector<std::string>& args, bool nul) {
  char separator = nul ? '\0' : '\n';
  std::string failure;
  for (const std::string& name : ExpandAll(args)) {
    std::string damage = ScanWithWarnings(name, [&](void* data, size_t len) {
      if (std::fwrite(data, 1, len, stdout) != len || std::fputc(separator, stdout) == EOF)
        throw Failure("cannot write to standard output");
    });
    if (failure.empty()) failure = damage;  // reported once every file is printed
  }
  if (std::fflush(stdout) != 0) throw Failure("cannot write to standard output");
  if (!failure.empty()) throw Failure(failure);
}

void Count(const std::vector<std::string>& args) {
  std::string failure;
  for (const std::string& name : ExpandAll(args)) {
    int64 records = 0;
    std::string damage = ScanWithWarnings(name, [&](void*, size_t) { ++records; });
    fmt::print("{:>12}  {}\n", records, name);
    if (failure.empty()) failure = damage;
  }
  std::fflush(stdout);
  if (!failure.empty()) throw Failure(failure);
}

void Verify(const std::vector<std::string>& args) {
  int damaged_files = 0;
  for (const std::string& name : ExpandAll(args)) {
    RecordScan scan(name);
    Progress progress(Basename(name), scan.size());
    void* data;
    size_t len;
    int64 payload = 0;
    auto report = [&](const Damage& d) {
      fmt::print("{}: damaged region at offset {}: {} bytes skipped\n", name, d.offset, d.length);
    };
    while (scan.Next(&data, &len, report)) {
      payload += static_cast<int64>(len);
      if ((scan.records() & 1023) == 0) progress.Update(scan.position());
    }
    progress.Finish(scan.position());
    fmt::print("{}: {} records, {} bytes of records; {} damaged region{}, {} bytes skipped: {}\n", name,
               scan.records(), payload, scan.damage().size(), scan.damage().size() == 1 ? "" : "s",
               scan.skipped_bytes(), scan.damage().empty() ? "ok" : "DAMAGED");
    std::fflush(stdout);
    if (!scan.damage().empty()) ++damaged_files;
  }
  if (damaged_files > 0)
    throw Failure(fmt::format("{} damaged record file{}", damaged_files, damaged_files == 1 ? "" : "s"));
}

// Writes each line of standard input (without its newline) as one record,
// under a temporary name that is renamed into place once all are written.
void Write(const std::string& name, const std::string& compression) {
  std::string temporary = fmt::format("{}.quarry-{}.tmp", name, getpid());
  File* file = File::Create(temporary, "w");
  if (file == nullptr) throw Failure(name + ": no file system takes this name");
  if (!file->Open()) {
    std::string message = file->GetCurrentErrorMessage();
    delete file;
    throw Failure(fmt::format("{}: cannot create: {}", name, NameTheDestination(message, temporary, name)));
  }
  RecordWriter writer(file);  // owns file
  if (compression == "zlib") writer.EnableCompression(6);
  if (compression == "zstd") writer.EnableCWCompression(3, 0, false, false);
  if (compression == "lz4") writer.EnablePlumeCompression(1);
  char* line = nullptr;
  size_t capacity = 0;
  int64 records = 0;
  bool ok = true;
  for (ssize_t got; ok && (got = getline(&line, &capacity, stdin)) >= 0; ++records) {
    size_t len = static_cast<size_t>(got);
    if (len > 0 && line[len - 1] == '\n') --len;
    ok = writer.WriteRecord(line, len);
  }
  std::free(line);
  ok = ok && writer.Close();
  file::Operation op;
  if (ok && File::RenameWithOp(temporary.c_str(), name.c_str(), true, &op)) {
    fmt::print(stderr, "{}: {} records\n", name, records);
    return;
  }
  std::string message = ok ? Reason(op, "cannot rename into place") : writer.GetCurrentErrorMessage();
  File::Delete(temporary.c_str());
  throw Failure(fmt::format("{}: {}", name, NameTheDestination(message, temporary, name)));
}

}  // namespace

void AddRecordCommands(CLI::App& app) {
  CLI::App* records = app.add_subcommand("records", "Read and check record files");
  records->require_subcommand(1, 1);
  records->footer("Damaged bytes are passed over and reported; a file with damage makes the exit status 1.\n");

  auto cat_names = std::make_shared<std::vector<std::string>>();
  auto nul = std::make_shared<bool>(false);
  CLI::App* cat = records->add_subcommand("cat", "Print the records, each followed by a newline");
  cat->add_option("names", *cat_names, "record files or glob patterns")->required();
  cat->add_flag("-0,--null", *nul, "end each record with a NUL byte instead of a newline");
  cat->callback([cat_names, nul] { Cat(*cat_names, *nul); });

  auto write_name = std::make_shared<std::string>();
  auto compression = std::make_shared<std::string>("none");
  CLI::App* write = records->add_subcommand("write", "Write each line of standard input as one record");
  write->add_option("name", *write_name, "the record file to write (replaced once complete)")->required();
  write->add_option("-z,--compression", *compression, "none, zlib, zstd or lz4")
      ->check(CLI::IsMember({"none", "zlib", "zstd", "lz4"}));
  write->callback([write_name, compression] { Write(*write_name, *compression); });

  auto count_names = std::make_shared<std::vector<std::string>>();
  CLI::App* count = records->add_subcommand("count", "Print how many records each file holds");
  count->add_option("names", *count_names, "record files or glob patterns")->required();
  count->callback([count_names] { Count(*count_names); });

  auto verify_names = std::make_shared<std::vector<std::string>>();
  CLI::App* verify = records->add_subcommand(
      "verify", "Read every record and report damaged regions and skipped bytes");
  verify->add_option("names", *verify_names, "record files or glob patterns")->required();
  verify->footer("Progress shows only when standard error is a terminal.\n");
  verify->callback([verify_names] { Verify(*verify_names); });
}

}  // namespace quarry
