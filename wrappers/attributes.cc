// FileAttr records and the FileAttributes store. The record's checksum and
// version getters hand out pointers into the record (not owned); the store's
// CreateVersion hands out an owned copy.
#include "file/base/core/file_attributes.h"
#include "file/base/core/operation.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kFileAttrMethods,
  def<"new_FileAttr", "", []() { return new FileAttr(); }>(),
  def<"delete_FileAttr", "O", [](FileAttr* attr) { delete attr; }>(),
  def<"FileAttr_Clear", "O", [](FileAttr& attr) { attr.Clear(); }>(),
  set_member<"FileAttr_checksum_set", "OO", &FileAttr::checksum>(),
  get_member<"FileAttr_checksum_get", &FileAttr::checksum>(),
  set_member<"FileAttr_version_set", "OO", &FileAttr::version>(),
  get_member<"FileAttr_version_get", &FileAttr::version>(),
  set_member<"FileAttr_finalized_set", "OO", &FileAttr::finalized>(),
  get_member<"FileAttr_finalized_get", &FileAttr::finalized>(),
  registration<"FileAttr_swigregister", FileAttr>()
)

PQ_METHOD_LIST(kFileAttributesMethods,
  def<"new_FileAttributes", "", []() { return new FileAttributes(); }>(),
  def<"delete_FileAttributes", "O", [](FileAttributes* store) { delete store; }>(),
  def<"FileAttributes_Load", "OsO", [](FileAttributes& store, const char* name, FileAttr* attr) {
    return store.Load(name, attr);
  }>(),
  def<"FileAttributes_Store", "OsO", [](FileAttributes& store, const char* name, const FileAttr* attr) {
    return store.Store(name, attr);
  }>(),
  def<"FileAttributes_LoadPrefix", "OsOO", [](FileAttributes& store, const char* name, int64 length,
                                              FileAttr* attr) {
    return store.LoadPrefix(name, length, attr);
  }>(),
  def<"FileAttributes_Delete", "Os", [](FileAttributes& store, const char* name) { return store.Delete(name); }>(),
  def<"FileAttributes_DeleteWithOp", "OsO", [](FileAttributes& store, const char* name, file::Operation* op) {
    return store.DeleteWithOp(name, op);
  }>(),
  def<"FileAttributes_BulkDelete", "OO", [](FileAttributes& store, const vector<::string>& names,
                                            Out<vector<bool>>& results) {
    return store.BulkDelete(names, results);
  }>(),
  def<"FileAttributes_BulkDeleteWithOp", "OOO", [](FileAttributes& store, const vector<::string>& names,
                                                   Out<vector<bool>>& results, file::Operation* op) {
    return store.BulkDeleteWithOp(names, results, op);
  }>(),
  def<"FileAttributes_GetAttributeFileName", "s", [](const char* name, Out<::string>& attribute_file) {
    FileAttributes::GetAttributeFileName(name, attribute_file);
  }>(),
  def<"FileAttributes_CreateVersion", "O", [](FileAttributes& store) { return store.CreateVersion(); }>(),
  def<"FileAttributes_ClearCache", "O", [](FileAttributes& store) { store.ClearCache(); }>(),
  def<"FileAttributes_Finalize", "Os", [](FileAttributes& store, const char* name) { return store.Finalize(name); }>(),
  registration<"FileAttributes_swigregister", FileAttributes>()
)
