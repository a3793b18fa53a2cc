// stringVector, the FileStat/File object conversions, and the withdrawn
// initialisation entry point.
#include "file/base/core/filestat.h"
#include "file/base/util/logging.h"
#include "wrappers/calling.h"

namespace pq {
namespace {

using StringVector = vector<::string>;

// Kept so that old callers keep working: it only logs that it was withdrawn.
void InitDeprecatedBottom(const ::string& name, const ::string& file, int64 line) {
  LogMessage("file/base/_file_base_pyquarry.cc", 988, logging::ERROR).stream()
      << "Deprecated pyquarry." << name << "() called at " << file << ":" << line
      << ". This method was no-oped in docs/deprecations.md#file-init"
      << ". Please remove this call.";
}

}  // namespace
}  // namespace pq

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kHelperMethods,
  def<"new_stringVector", "", []() -> PyObject* {
    return SWIG_Python_NewPointerObj(new StringVector(), TypeOf<StdStringVectorTag>(), 1);
  }, HoldLock>(),
  def<"delete_stringVector", "O", [](Tagged<StdStringVectorTag, StringVector*> v) {
    delete static_cast<StringVector*>(v);
  }, HoldLock>(),
  registration<"stringVector_swigregister", StdStringVectorTag>(),
  def<"FromFileStat", "O", [](const FileStat& s) -> PyObject* { return FromFileStat(s); }, HoldLock>(),
  def<"FromFile", "O", [](File* f) -> PyObject* { return FromFile(f); }, HoldLock>(),
  def<"_File_Init_deprecated_bottom", "OOO", &InitDeprecatedBottom, HoldLock>()
)
