// The small records that travel with file operations: Attr_t, FileStat,
// FileOpenOptions, and the error-code texts.
#include "file/base/util/errors.h"
#include "file/base/core/file_open_options.h"
#include "file/base/core/filestat.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT

PQ_METHOD_LIST(kRecordMethods,
  def<"ErrorToString", "i", &file::ErrorToString>(),

  set_member<"Attr_t_attr_set", "OO", &Attr_t::attr>(),
  get_member<"Attr_t_attr_get", &Attr_t::attr>(),
  overload<"new_Attr_t",
           form<"", []() { return new Attr_t(); }>,
           form<"O", [](uint32 value) { return new Attr_t(value); }>>(),
  def<"delete_Attr_t", "O", [](Attr_t* a) { delete a; }>(),
  registration<"Attr_t_swigregister", Attr_t>(),

  set_member<"FileStat_length_set", "OO", &FileStat::length>(),
  get_member<"FileStat_length_get", &FileStat::length>(),
  set_member<"FileStat_mtime_set", "Ol", &FileStat::mtime>(),
  get_member<"FileStat_mtime_get", &FileStat::mtime>(),
  set_member<"FileStat_attributes_set", "OO", &FileStat::attributes>(),
  get_member<"FileStat_attributes_get", &FileStat::attributes>(),  // aliases the record
  set_member<"FileStat_mode_set", "OO", &FileStat::mode>(),
  get_member<"FileStat_mode_get", &FileStat::mode>(),
  set_member<"FileStat_owner_set", "OO", &FileStat::owner>(),
  get_member<"FileStat_owner_get", &FileStat::owner>(),
  set_member<"FileStat_group_set", "OO", &FileStat::group>(),
  get_member<"FileStat_group_get", &FileStat::group>(),
  set_member<"FileStat_data_members_set", "Oi", &FileStat::data_members>(),
  get_member<"FileStat_data_members_get", &FileStat::data_members>(),
  set_member<"FileStat_code_members_set", "Oi", &FileStat::code_members>(),
  get_member<"FileStat_code_members_get", &FileStat::code_members>(),
  set_member<"FileStat_encoding_set", "OO", &FileStat::encoding>(),
  get_member<"FileStat_encoding_get", &FileStat::encoding>(),
  set_member<"FileStat_identifier_set", "OO", &FileStat::identifier>(),
  get_member<"FileStat_identifier_get", &FileStat::identifier>(),
  set_member<"FileStat_properties_set", "OO", &FileStat::properties>(),
  // An owned copy, unlike the aliasing attributes getter.
  def<"FileStat_properties_get", "O", [](const FileStat& s) { return s.properties; }, HoldLock>(),
  def<"FileStat_IsDirectory", "O", [](const FileStat& s) { return s.IsDirectory(); }>(),
  def<"FileStat_Clear", "O", [](FileStat& s) { s.Clear(); }>(),
  def<"new_FileStat", "", []() { return new FileStat(); }>(),
  def<"delete_FileStat", "O", [](FileStat* s) { delete s; }>(),
  registration<"FileStat_swigregister", FileStat>(),

  def<"new_FileOpenOptions", "", []() { return new FileOpenOptions(); }>(),
  def<"delete_FileOpenOptions", "O", [](FileOpenOptions* o) { delete o; }>(),
  def<"FileOpenOptions_set_attributes", "OO", [](FileOpenOptions& o, Attr_t a) { o.set_attributes(a); }>(),
  def<"FileOpenOptions_set_access_pattern", "Oi", [](FileOpenOptions& o, file::AccessPattern p) { o.set_access_pattern(p); }>(),
  def<"FileOpenOptions_set_cache_policy", "Oi", [](FileOpenOptions& o, file::CachePolicy p) { o.set_cache_policy(p); }>(),
  def<"FileOpenOptions_set_permissions", "OO", [](FileOpenOptions& o, unsigned int p) { o.set_permissions(p); }>(),
  def<"FileOpenOptions_set_group", "Os", [](FileOpenOptions& o, const char* g) { o.set_group(g); }>(),
  def<"FileOpenOptions_set_requested_role", "Os", [](FileOpenOptions& o, const char* r) { o.set_requested_role(r); }>(),
  def<"FileOpenOptions_set_checkpoint", "OO", [](FileOpenOptions& o, CheckpointRecord* c) { o.set_checkpoint(c); }>(),
  def<"FileOpenOptions_set_lock_info", "OO", [](FileOpenOptions& o, LockInfo* l) { o.set_lock_info(l); }>(),
  def<"FileOpenOptions_set_attr_file", "OO", [](FileOpenOptions& o, FileAttr** a) { o.set_attr_file(a); }>(),
  def<"FileOpenOptions_set_operation", "OO", [](FileOpenOptions& o, file::Operation* op) { o.set_operation(op); }>(),
  def<"FileOpenOptions_set_direct_io", "O", [](FileOpenOptions& o) { o.set_direct_io(); }>(),
  def<"FileOpenOptions_set_sync_write", "O", [](FileOpenOptions& o) { o.set_sync_write(); }>(),
  def<"FileOpenOptions_direct_io", "O", [](const FileOpenOptions& o) { return o.direct_io(); }>(),
  def<"FileOpenOptions_sync_write", "O", [](const FileOpenOptions& o) { return o.sync_write(); }>(),
  def<"FileOpenOptions_attributes", "O", [](const FileOpenOptions& o) { return o.attributes(); }>(),
  def<"FileOpenOptions_access_pattern", "O", [](const FileOpenOptions& o) { return o.access_pattern(); }>(),
  def<"FileOpenOptions_cache_policy", "O", [](const FileOpenOptions& o) { return o.cache_policy(); }>(),
  def<"FileOpenOptions_permissions", "O", [](const FileOpenOptions& o) { return o.permissions(); }>(),
  def<"FileOpenOptions_group", "O", [](const FileOpenOptions& o) { return o.group(); }>(),
  def<"FileOpenOptions_requested_role", "O", [](const FileOpenOptions& o) { return o.requested_role(); }>(),
  def<"FileOpenOptions_operation", "O", [](const FileOpenOptions& o) { return o.operation(); }>(),
  registration<"FileOpenOptions_swigregister", FileOpenOptions>()
)
