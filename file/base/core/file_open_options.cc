#include "file/base/core/file_open_options.h"

FileOpenOptions::FileOpenOptions() = default;

void FileOpenOptions::set_attributes(Attr_t a) { attributes_ = a; }

void FileOpenOptions::set_access_pattern(file::AccessPattern p) { access_pattern_ = p; }

void FileOpenOptions::set_cache_policy(file::CachePolicy p) { cache_policy_ = p; }

void FileOpenOptions::set_permissions(unsigned int p) { permissions_ = p; }

namespace {

// Copies the text so that callers (the binding hands us an interpreter-owned
// buffer) need not keep it alive; null means "not set".
void StoreOptionalText(const char* text, ::string* stored, bool* is_set) {
  *is_set = text != nullptr;
  if (text != nullptr) {
    *stored = text;
  } else {
    stored->clear();
  }
}

}  // namespace

void FileOpenOptions::set_group(const char* g) { StoreOptionalText(g, &group_, &group_set_); }

void FileOpenOptions::set_requested_role(const char* r) {
  StoreOptionalText(r, &role_, &role_set_);
}

void FileOpenOptions::set_checkpoint(const CheckpointRecord* c) { checkpoint_ = c; }

void FileOpenOptions::set_lock_info(LockInfo* l) { lock_info_ = l; }

void FileOpenOptions::set_attr_file(FileAttr** a) { attr_file_ = a; }

void FileOpenOptions::set_operation(file::Operation* op) { operation_ = op; }
