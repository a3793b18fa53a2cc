#include "file/base/streams/checkpoint.h"

#include <cstdlib>
#include <memory>

#include "file/base/file.h"

namespace file {

::string CheckpointToText(const CheckpointRecord& checkpoint) {
  ::string text = "offset " + std::to_string(checkpoint.offset) + "\n";
  text += "checksum " + (checkpoint.has_checksum ? checkpoint.checksum.ToRecordText() : ::string("-")) + "\n";
  text += "file " + checkpoint.filename;
  return text;
}

namespace {
// The value of line "<key> <value>\n" at *at, advancing past it.
bool TakeLine(const ::string& text, const char* key, size_t* at, ::string* value) {
  const ::string prefix = ::string(key) + " ";
  if (text.compare(*at, prefix.size(), prefix) != 0) return false;
  const size_t end = text.find('\n', *at);
  if (end == ::string::npos) return false;
  *value = text.substr(*at + prefix.size(), end - *at - prefix.size());
  *at = end + 1;
  return true;
}
}  // namespace

bool CheckpointFromText(const ::string& text, CheckpointRecord* checkpoint) {
  if (checkpoint == nullptr) return false;
  size_t at = 0;
  ::string offset_text, checksum_text;
  if (!TakeLine(text, "offset", &at, &offset_text) || !TakeLine(text, "checksum", &at, &checksum_text)) {
    return false;
  }
  if (text.compare(at, 5, "file ") != 0) return false;
  char* end = nullptr;
  const long long offset = std::strtoll(offset_text.c_str(), &end, 10);  // NOLINT
  if (offset_text.empty() || *end != '\0' || offset < 0) return false;
  CheckpointRecord parsed(text.substr(at + 5), offset);
  if (checksum_text != "-") {
    if (!ChecksumState::FromRecordText(checksum_text, &parsed.checksum)) return false;
    if (parsed.checksum.Length() != offset) return false;
    parsed.has_checksum = true;
  }
  *checkpoint = parsed;
  return true;
}

}  // namespace file

CheckpointWriter::~CheckpointWriter() = default;

bool CheckpointWriter::WriteCheckpoint(const CheckpointRecord& checkpoint) {
  ++count_;
  last_ = checkpoint;
  return true;
}

bool FileCheckpointWriter::WriteCheckpoint(const CheckpointRecord& checkpoint) {
  const ::string text = file::CheckpointToText(checkpoint);
  const ::string temporary = name_ + ".tmp";
  std::unique_ptr<File> f(File::Open(temporary.c_str(), "w"));
  if (f == nullptr) return false;
  const bool written = f->Write(text.data(), text.size()) == static_cast<int64>(text.size());
  const bool closed = f->Close();
  if (!written || !closed || !File::Rename(temporary.c_str(), name_.c_str(), true)) {
    File::Delete(temporary.c_str());
    return false;
  }
  return CheckpointWriter::WriteCheckpoint(checkpoint);
}

bool FileCheckpointWriter::Load(const char* name, CheckpointRecord* checkpoint) {
  if (name == nullptr) return false;
  std::unique_ptr<File> f(File::Open(name, "r"));
  if (f == nullptr) return false;
  ::string text;
  if (f->ReadToString(&text, 1 << 20) < 0) return false;
  return file::CheckpointFromText(text, checkpoint);
}
