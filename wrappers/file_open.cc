// Opening and creating files by name. Single opens hand the handle out
// unowned (Close frees it); bulk opens hand each handle out owned.
#include "file/base/file.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kFileOpenMethods,
  def<"delete_File", "O", [](File* f) { delete f; }>(),
  def<"File_Open", "ss", [](const char* name, const char* mode) { return File::Open(name, mode); }>(),
  def<"File_OpenLocked", "ssO", &File::OpenLocked>(),
  def<"File_OpenWithOptions", "ssO", &File::OpenWithOptions>(),
  def<"File_OpenWithAttr", "ssO", &File::OpenWithAttr>(),
  def<"File_OpenFullySpecified", "ssOOs", &File::OpenFullySpecified>(),
  def<"File_OpenFullySpecifiedLocked", "ssOOsO", &File::OpenFullySpecifiedLocked>(),
  def<"File_OpenOrDie", "ss", &File::OpenOrDie>(),
  def<"File_OpenWithAttrOrDie", "ssO", &File::OpenWithAttrOrDie>(),
  def<"File_OpenFullySpecifiedOrDie", "ssOOs", &File::OpenFullySpecifiedOrDie>(),
  def<"File_OpenForAppend", "s", &File::OpenForAppend>(),
  def<"File_OpenForAppendOrDie", "s", &File::OpenForAppendOrDie>(),
  def<"File_OpenToCheckpointOrDie", "ssO", &File::OpenToCheckpointOrDie>(),
  def<"File_OpenOrDieForWriting", "ssOOO", &File::OpenOrDieForWriting>(),
  def<"File_Create", "OO", &File::Create>(),
  def<"File_CreateWithAttr", "ssO", &File::CreateWithAttr>(),
  def<"File_CreateWithOptions", "ssO", &File::CreateWithOptions>(),
  def<"File_CreateFullySpecified", "ssOOs", &File::CreateFullySpecified>(),
  def<"File_OpenAsync", "ssO", [](const char* name, const char* mode, AsyncIO* done) { return File::OpenAsync(name, mode, done); }>(),
  def<"File_OpenAsyncLocked", "ssOO", &File::OpenAsyncLocked>(),
  def<"File_OpenFullySpecifiedAsync", "ssOOsO", &File::OpenFullySpecifiedAsync>(),
  def<"File_OpenFullySpecifiedAsyncLocked", "ssOOsOO", &File::OpenFullySpecifiedAsyncLocked>(),
  def<"File_BulkOpen", "Os", [](const vector<::string>& names, const char* mode, Out<vector<File*>>& files) {
    return File::BulkOpen(names, mode, files);
  }>(),
  def<"File_BulkOpenWithAttr", "OsO", [](const vector<::string>& names, const char* mode, Attr_t attr, Out<vector<File*>>& files) {
    return File::BulkOpenWithAttr(names, mode, attr, files);
  }>(),
  def<"File_BulkOpenFullySpecified", "OsOOs", [](const vector<::string>& names, const char* mode, Attr_t attr, unsigned int permissions, const char* group, Out<vector<File*>>& files) {
    return File::BulkOpenFullySpecified(names, mode, attr, permissions, group, files);
  }>()
)
