#include "file/base/core/attr_record.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "file/base/file.h"
#include "file/base/core/operation.h"

namespace file {
namespace {

constexpr std::string_view kRecordSuffix = ".attr";

// Where the basename of `name` starts; npos when there is none.
size_t BasenameStart(std::string_view name) {
  if (name.empty() || name.back() == '/') return std::string_view::npos;
  const size_t slash = name.rfind('/');
  return slash == std::string_view::npos ? 0 : slash + 1;
}

// The name whose record stands for `name`: runs of "/" collapsed, "."
// components dropped and trailing "/" stripped, so that "d/x", "d//x",
// "d/./x" and "d/x/" all share one record. ".." is kept: resolving it by
// text alone would be wrong across symbolic links. A name of a file system
// with a scheme ("root://host:port//d/x") keeps its scheme and host as they
// are, and its path is cleaned as an absolute one ("root://host:port/d/x").
::string RecordSubject(std::string_view name) {
  ::string cleaned;
  cleaned.reserve(name.size());
  const size_t scheme = name.find("://");
  if (scheme != std::string_view::npos && name.substr(0, scheme).find('/') == std::string_view::npos) {
    const size_t path = name.find('/', scheme + 3);
    cleaned.append(name.substr(0, path));
    name = path == std::string_view::npos ? std::string_view() : name.substr(path);
  }
  if (!name.empty() && name.front() == '/') cleaned += '/';
  while (!name.empty()) {
    const size_t slash = name.find('/');
    const std::string_view part = name.substr(0, slash);
    name = slash == std::string_view::npos ? std::string_view() : name.substr(slash + 1);
    if (part.empty() || part == ".") continue;
    if (!cleaned.empty() && cleaned.back() != '/') cleaned += '/';
    cleaned.append(part);
  }
  return cleaned;
}

// The record of `name` (after RecordSubject); "" when there is none to have:
// no basename, or `name` is itself a record.
::string RecordFor(const ::string& name) {
  const ::string subject = RecordSubject(name);
  if (IsAttributeRecordName(subject.c_str())) return ::string();
  return AttributeRecordName(subject);
}

// A missing record (or a parent that is not there) just means "no
// attributes"; anything else is a real failure.
bool IsAbsence(int code) {
  return code == ERROR_NOT_FOUND || code == ERROR_WRONG_TYPE;
}

void CopyFailure(const Operation& from, Operation* to) {
  to->SetError(static_cast<ErrorCode>(from.error()), from.message());
}

std::atomic<uint64> record_generation{0};

// Bumps the generation when it goes out of scope: after the change, so that
// a reader that saw the old record also saw the old generation.
struct RecordChange {
  ~RecordChange() { record_generation.fetch_add(1, std::memory_order_acq_rel); }
};

}  // namespace

::string AttributeRecordName(const ::string& name) {
  const size_t start = BasenameStart(name);
  if (start == std::string_view::npos) return ::string();
  ::string record = name.substr(0, start);
  record += '.';
  record.append(name, start, ::string::npos);
  record += kRecordSuffix;
  return record;
}

bool IsAttributeRecordName(const char* name) {
  if (name == nullptr) return false;
  const std::string_view view(name);
  const size_t start = BasenameStart(view);
  if (start == std::string_view::npos) return false;
  const std::string_view base = view.substr(start);
  // "." + at least one character + ".attr"
  return base.size() > kRecordSuffix.size() + 1 && base.front() == '.' &&
         base.substr(base.size() - kRecordSuffix.size()) == kRecordSuffix;
}

void AttributeRecord::Parse(const ::string& text) {
  values_.clear();
  size_t line_start = 0;
  while (line_start < text.size()) {
    size_t line_end = text.find('\n', line_start);
    if (line_end == ::string::npos) line_end = text.size();
    const std::string_view line(text.data() + line_start,
                                line_end - line_start);
    const size_t space = line.find(' ');
    if (space != std::string_view::npos && space > 0) {
      values_[::string(line.substr(0, space))] =
          ::string(line.substr(space + 1));
    }
    line_start = line_end + 1;
  }
}

::string AttributeRecord::Serialize() const {
  ::string text;
  for (const auto& [key, value] : values_) {
    text += key;
    text += ' ';
    text += value;
    text += '\n';
  }
  return text;
}

bool AttributeRecord::Get(const ::string& key, ::string* value) const {
  const auto it = values_.find(key);
  if (it == values_.end()) return false;
  if (value != nullptr) *value = it->second;
  return true;
}

void AttributeRecord::Set(const ::string& key, const ::string& value) {
  ::string flat = value;
  for (char& c : flat) {
    if (c == '\n') c = ' ';
  }
  values_[key] = flat;
}

void AttributeRecord::Erase(const ::string& key) { values_.erase(key); }

Attr_t AttributeRecord::attributes() const {
  ::string text;
  if (!Get(kAttributesKey, &text)) return Attr_t(0);
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 10);  // NOLINT
  if (end == text.c_str() || value > 0xffffffffUL) return Attr_t(0);
  return Attr_t(static_cast<uint32>(value));
}

void AttributeRecord::set_attributes(Attr_t attr) {
  if (attr.attr == 0 || attr.is_default()) {
    Erase(kAttributesKey);
  } else {
    Set(kAttributesKey, ::string(std::to_string(attr.attr)));
  }
}

bool LoadAttributeRecord(FileFactory* factory, const ::string& name,
                         AttributeRecord* record, Operation* op) {
  *record = AttributeRecord();
  // Records have no records of their own.
  const ::string record_name = RecordFor(name);
  if (record_name.empty()) return true;
  Operation scratch;
  ::string text;
  if (!factory->ReadFileToString(record_name, &text, &scratch)) {
    if (IsAbsence(scratch.error())) return true;
    CopyFailure(scratch, op);
    return false;
  }
  record->Parse(text);
  return true;
}

bool StoreAttributeRecord(FileFactory* factory, const ::string& name,
                          const AttributeRecord& record, Operation* op) {
  const RecordChange change;
  if (record.empty()) return DeleteAttributeRecord(factory, name, op);
  const ::string record_name = RecordFor(name);
  if (record_name.empty()) {
    return FileFactory::FailWith(op, ERROR_INVALID_ARGUMENT, "SetAttributes",
                                 name, "name has no basename");
  }
  return factory->WriteStringToFile(record_name, record.Serialize(),
                                    /*append=*/false, op);
}

bool DeleteAttributeRecord(FileFactory* factory, const ::string& name,
                           Operation* op) {
  const RecordChange change;
  const ::string record_name = RecordFor(name);
  if (record_name.empty()) return true;
  Operation scratch;
  if (factory->DoDelete(record_name.c_str(), &scratch)) return true;
  if (IsAbsence(scratch.error())) return true;
  CopyFailure(scratch, op);
  return false;
}

uint64 AttributeRecordGeneration() {
  return record_generation.load(std::memory_order_acquire);
}

bool MoveAttributeRecord(FileFactory* factory, const ::string& from,
                         const ::string& to, Operation* op) {
  const RecordChange change;
  const ::string from_record = RecordFor(from);
  const ::string to_record = RecordFor(to);
  if (to_record.empty()) return true;
  // `from` cannot have a record (it is one itself): none follows it over.
  if (from_record.empty()) return DeleteAttributeRecord(factory, to, op);
  Operation scratch;
  if (factory->DoRename(from_record.c_str(), to_record.c_str(),
                        /*overwrite=*/true, &scratch)) {
    return true;
  }
  if (!IsAbsence(scratch.error())) {
    CopyFailure(scratch, op);
    return false;
  }
  return DeleteAttributeRecord(factory, to, op);
}

}  // namespace file
