#include "wrappers/method_table.h"

#include <vector>

#include "wrappers/calling.h"

namespace pq {

// Each family's rows, named in the order they stand in the table.
extern const MethodList kHelperMethods;
extern const MethodList kAsyncMethods;
extern const MethodList kRecordMethods;
extern const MethodList kFileOpenMethods;
extern const MethodList kFileIoMethods;
extern const MethodList kFileNameMethods;
extern const MethodList kFilePathMethods;
extern const MethodList kFileCloserMethods;
extern const MethodList kFileDeleterMethods;
extern const MethodList kNameFunctionMethods;
extern const MethodList kFileNameClassMethods;
extern const MethodList kFileFactoryMethods;
extern const MethodList kIsUInt64Methods;
extern const MethodList kInputBufferMethods;
extern const MethodList kOperationMethods;
extern const MethodList kErrorFunctionMethods;
extern const MethodList kOutputBufferMethods;
extern const MethodList kShardedFunctionMethods;
extern const MethodList kVersionMethods;
extern const MethodList kFileAttrMethods;
extern const MethodList kFileAttributesMethods;
extern const MethodList kRecordWriterMethods;
extern const MethodList kRecordReaderMethods;
extern const MethodList kRecordWriterOpenerMethods;
extern const MethodList kRecordReaderScriptMethods;
extern const MethodList kLogMethods;

namespace {

const MethodList* const kFamilies[] = {
    &kHelperMethods,
    &kAsyncMethods,
    &kRecordMethods,
    &kFileOpenMethods,
    &kFileIoMethods,
    &kFileNameMethods,
    &kFilePathMethods,
    &kFileCloserMethods,
    &kFileDeleterMethods,
    &kNameFunctionMethods,
    &kFileNameClassMethods,
    &kFileFactoryMethods,
    &kIsUInt64Methods,
    &kInputBufferMethods,
    &kOperationMethods,
    &kErrorFunctionMethods,
    &kOutputBufferMethods,
    &kShardedFunctionMethods,
    &kVersionMethods,
    &kFileAttrMethods,
    &kFileAttributesMethods,
    &kRecordWriterMethods,
    &kRecordReaderMethods,
    &kRecordWriterOpenerMethods,
    &kRecordReaderScriptMethods,
    &kLogMethods,
};

std::vector<PyMethodDef>& Table() {
  static std::vector<PyMethodDef>* table = [] {
    auto* t = new std::vector<PyMethodDef>();
    for (const MethodList* family : kFamilies) t->insert(t->end(), family->rows, family->rows + family->count);
    t->push_back(PyMethodDef{nullptr, nullptr, 0, nullptr});
    return t;
  }();
  return *table;
}

}  // namespace

PyMethodDef* MethodTable() { return Table().data(); }
size_t MethodCount() { return Table().size() - 1; }

}  // namespace pq
