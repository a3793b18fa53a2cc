// Bulk operations by name. A list may mix file systems: it is split by the
// factory serving each name, each part goes to its factory's bulk form, and
// the per-name results are put back in the caller's order.
#include <map>

#include "file/base/file.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"

namespace {

struct Part {
  vector<::string> names;
  vector<size_t> positions;  // where each name sits in the caller's list
};

std::map<FileFactory*, Part> SplitByFactory(const vector<::string>& names,
                                            vector<shared_ptr<FileFactory>>* keep_alive) {
  std::map<FileFactory*, Part> parts;
  for (size_t i = 0; i < names.size(); ++i) {
    shared_ptr<FileFactory> factory = FileFactory::ForName(names[i].c_str());
    Part& part = parts[factory.get()];
    part.names.push_back(names[i]);
    part.positions.push_back(i);
    keep_alive->push_back(std::move(factory));
  }
  return parts;
}

// Runs `bulk` on each part and scatters its per-name results (flags, and
// the optional per-name values) back into the caller's order. Each part
// reports into its own Operation (with the caller's deadline); the parts'
// failures are then merged into `op`.
template <typename Value, typename BulkFn>
bool ScatterBulk(const vector<::string>& names, file::Operation* op, vector<bool>* results,
                 vector<Value>* values, BulkFn bulk) {
  vector<shared_ptr<FileFactory>> keep_alive;
  vector<bool> flags(names.size(), false);
  vector<Value> all_values(values != nullptr ? names.size() : 0);
  file_internal::BulkFailures failures;
  bool all_ok = true;
  for (auto& [factory, part] : SplitByFactory(names, &keep_alive)) {
    vector<bool> part_flags;
    vector<Value> part_values;
    file::Operation part_op;
    if (op != nullptr && op->HasDeadline()) part_op.SetAbsoluteDeadline(op->GetDeadline());
    if (!bulk(factory, part.names, op != nullptr ? &part_op : nullptr, &part_flags,
              values != nullptr ? &part_values : nullptr)) {
      all_ok = false;
      if (!part_op.ok()) failures.Add(part_op);
    }
    for (size_t j = 0; j < part.positions.size(); ++j) {
      const size_t at = part.positions[j];
      flags[at] = j < part_flags.size() && part_flags[j];
      if (values != nullptr && j < part_values.size()) all_values[at] = std::move(part_values[j]);
    }
  }
  failures.Report(op);
  if (results != nullptr) *results = std::move(flags);
  if (values != nullptr) *values = std::move(all_values);
  return all_ok;
}

// The common shape: a bulk form with only per-name flags.
template <typename BulkFn>
bool ScatterFlags(const vector<::string>& names, file::Operation* op, vector<bool>* results,
                  BulkFn bulk) {
  return ScatterBulk<int>(names, op, results, nullptr,
                          [&](FileFactory* f, const vector<::string>& part, file::Operation* part_op,
                              vector<bool>* flags, vector<int>*) { return bulk(f, part, part_op, flags); });
}

}  // namespace

bool File::BulkOpen(const vector<::string>& names, const char* mode, vector<File*>* files) {
  return BulkOpenFullySpecified(names, mode, Attr_t(Attr_t::DEFAULT), DEFAULT_FILE_MODE, nullptr,
                                files);
}

bool File::BulkOpenWithAttr(const vector<::string>& names, const char* mode, Attr_t attr,
                            vector<File*>* files) {
  return BulkOpenFullySpecified(names, mode, attr, DEFAULT_FILE_MODE, nullptr, files);
}

bool File::BulkOpenFullySpecified(const vector<::string>& names, const char* mode, Attr_t attr,
                                  unsigned int permissions, const char* group,
                                  vector<File*>* files) {
  if (files == nullptr) return false;
  vector<File*> opened;
  const bool all_ok = ScatterBulk<File*>(
      names, nullptr, nullptr, &opened,
      [&](FileFactory* f, const vector<::string>& part, file::Operation*, vector<bool>*,
          vector<File*>* handles) {
        return f->BulkOpenFullySpecified(part, mode, attr, permissions, group, handles);
      });
  *files = std::move(opened);
  return all_ok;
}

bool File::BulkExist(const vector<::string>& names, vector<bool>* results) {
  return ScatterFlags(names, nullptr, results, [](FileFactory* f, const vector<::string>& part, file::Operation*,
                                         vector<bool>* flags) { return f->BulkExist(part, flags); });
}

bool File::BulkDelete(const vector<::string>& names, vector<bool>* results) {
  return BulkDeleteWithOp(names, nullptr, results);
}

bool File::BulkDeleteWithOp(const vector<::string>& names, file::Operation* op,
                            vector<bool>* results) {
  return ScatterFlags(names, op, results,
                      [](FileFactory* f, const vector<::string>& part, file::Operation* part_op,
                         vector<bool>* flags) { return f->BulkDeleteWithOp(part, part_op, flags); });
}

bool File::BulkDeleteDir(const vector<::string>& names, vector<bool>* results) {
  return ScatterFlags(names, nullptr, results,
                      [](FileFactory* f, const vector<::string>& part, file::Operation*, vector<bool>* flags) {
                        return f->BulkDeleteDir(part, flags);
                      });
}

bool File::BulkRename(const vector<::string>& from, const vector<::string>& to, bool overwrite,
                      vector<bool>* results) {
  if (from.size() != to.size()) {
    if (results != nullptr) results->assign(from.size(), false);
    return false;
  }
  vector<bool> flags(from.size(), false);
  bool all_ok = true;
  for (size_t i = 0; i < from.size(); ++i) {
    flags[i] = RenameWithOp(from[i].c_str(), to[i].c_str(), overwrite, nullptr);
    all_ok = all_ok && flags[i];
  }
  if (results != nullptr) *results = std::move(flags);
  return all_ok;
}

bool File::BulkSetMode(const vector<::string>& names, unsigned int mode, vector<bool>* results) {
  return ScatterFlags(names, nullptr, results,
                      [mode](FileFactory* f, const vector<::string>& part, file::Operation*, vector<bool>* flags) {
                        return f->BulkSetMode(part, mode, flags);
                      });
}

bool File::BulkSetAttributes(const vector<::string>& names, Attr_t attr, vector<bool>* results) {
  return BulkSetAttributesWithOp(names, attr, nullptr, results);
}

bool File::BulkSetAttributesWithOp(const vector<::string>& names, Attr_t attr,
                                   file::Operation* op, vector<bool>* results) {
  return ScatterFlags(names, op, results,
                      [&](FileFactory* f, const vector<::string>& part, file::Operation* part_op,
                          vector<bool>* flags) { return f->BulkSetAttributesWithOp(part, attr, part_op, flags); });
}

bool File::BulkSetOwner(const vector<::string>& names, const char* owner, vector<bool>* results) {
  return ScatterFlags(names, nullptr, results,
                      [owner](FileFactory* f, const vector<::string>& part, file::Operation*, vector<bool>* flags) {
                        return f->BulkSetOwner(part, owner, flags);
                      });
}

bool File::BulkSetGroup(const vector<::string>& names, const char* group, vector<bool>* results) {
  return ScatterFlags(names, nullptr, results,
                      [group](FileFactory* f, const vector<::string>& part, file::Operation*, vector<bool>* flags) {
                        return f->BulkSetGroup(part, group, flags);
                      });
}

bool File::BulkStat(const vector<::string>& names, vector<bool>* results,
                    vector<FileStat>* stats) {
  return BulkStatWithOp(names, nullptr, results, stats);
}

bool File::BulkStatWithOp(const vector<::string>& names, file::Operation* op,
                          vector<bool>* results, vector<FileStat>* stats) {
  vector<FileStat> filled;
  const bool all_ok = ScatterBulk<FileStat>(
      names, op, results, &filled,
      [](FileFactory* f, const vector<::string>& part, file::Operation* part_op, vector<bool>* flags,
         vector<FileStat>* part_stats) { return f->BulkStatWithOp(part, part_op, flags, part_stats); });
  if (stats != nullptr) *stats = std::move(filled);
  return all_ok;
}
