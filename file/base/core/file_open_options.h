// Options of a fully specified open.
#ifndef FILE_BASE_FILE_OPEN_OPTIONS_H_
#define FILE_BASE_FILE_OPEN_OPTIONS_H_

#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"

class CheckpointRecord;
class LockInfo;
struct FileAttr;
namespace file {
class Operation;

enum AccessPattern : int { NONE = 0, NORMAL = 1, RANDOM = 2, SEQUENTIAL = 3 };
enum CachePolicy : int { CACHED = 0, UNCACHED = 1 };
}  // namespace file

class FileOpenOptions {
 public:
  // Defaults: buffered, unsynchronised writes, default attributes, normal
  // access pattern, cached, default permissions (0x7fffffff: the file
  // system's default, 0666 less the umask), no group, role, checkpoint, lock,
  // attribute record or operation.
  FileOpenOptions();

  void set_attributes(Attr_t a);
  void set_access_pattern(file::AccessPattern p);
  void set_cache_policy(file::CachePolicy p);
  void set_permissions(unsigned int p);
  // The texts are copied: the options own their copies.
  void set_group(const char* g);
  void set_requested_role(const char* r);
  void set_checkpoint(const CheckpointRecord* c);
  void set_lock_info(LockInfo* l);
  void set_attr_file(FileAttr** a);
  void set_operation(file::Operation* op);
  void set_direct_io() { direct_io_ = true; }
  void set_sync_write() { sync_write_ = true; }

  bool direct_io() const { return direct_io_; }
  bool sync_write() const { return sync_write_; }
  Attr_t attributes() const { return attributes_; }
  file::AccessPattern access_pattern() const { return access_pattern_; }
  file::CachePolicy cache_policy() const { return cache_policy_; }
  unsigned int permissions() const { return permissions_; }
  // Null when never set.
  const char* group() const { return group_set_ ? group_.c_str() : nullptr; }
  const char* requested_role() const { return role_set_ ? role_.c_str() : nullptr; }
  const CheckpointRecord* checkpoint() const { return checkpoint_; }
  LockInfo* lock_info() const { return lock_info_; }
  FileAttr** attr_file() const { return attr_file_; }
  file::Operation* operation() const { return operation_; }

 private:
  bool direct_io_ = false;
  bool sync_write_ = false;
  Attr_t attributes_;
  file::AccessPattern access_pattern_ = file::NORMAL;
  file::CachePolicy cache_policy_ = file::CACHED;
  unsigned int permissions_ = 0x7fffffff;
  ::string group_;
  bool group_set_ = false;
  ::string role_;
  bool role_set_ = false;
  const CheckpointRecord* checkpoint_ = nullptr;
  LockInfo* lock_info_ = nullptr;
  FileAttr** attr_file_ = nullptr;
  file::Operation* operation_ = nullptr;
};

#endif  // FILE_BASE_FILE_OPEN_OPTIONS_H_
