#include "runtime/cvar.h"

#include <cstring>

#include "file/base/core/file_attributes.h"
#include "file/base/core/file_factory.h"
#include "runtime/type_table.h"
#include "runtime/varlink.h"
#include "wrappers/text.h"

namespace {

using pq::Text;

template <long Value>
PyObject* ReadInteger() {
  return PyInt_FromLong(Value);
}

template <Text Name>
int RefuseWrite(PyObject*) {
  static const std::string message = std::string("Variable ") + Name.s + " is read-only.";
  PyErr_SetString(PyExc_TypeError, message.c_str());
  return 1;
}

template <const char** Var>
PyObject* ReadName() {
  if (!*Var) {
    Py_INCREF(Py_None);
    return Py_None;
  }
  return PyString_FromString(*Var);
}

// Stores a fresh copy of the text. The previous text is left alone: it may be
// one of the library's constants.
template <const char** Var, Text Member>
int WriteName(PyObject* value) {
  const char* text = value ? PyString_AsString(value) : nullptr;
  if (!text || PyErr_Occurred()) {
    static const std::string message = std::string("C variable 'FileFactory::") + Member.s + " (char *)'";
    PyErr_SetString(PyExc_TypeError, message.c_str());
    return 1;
  }
  size_t len = std::strlen(text);
  char* copy = new char[len + 1];
  std::memcpy(copy, text, len + 1);
  *Var = copy;
  return 0;
}

PyObject* ReadFileAttributes() {
  return SWIG_Python_NewPointerObj(file_attributes, pq::TypeOf<FileAttributes>(), 0);
}

int WriteFileAttributes(PyObject* value) {
  void* p = nullptr;
  if (!value ||
      SWIG_Python_ConvertPtr(value, &p, pq::TypeOf<FileAttributes>(),
                             kPointerRaise | kPointerDisown) == -1) {
    PyErr_SetString(PyExc_TypeError, "C variable 'file_attributes (FileAttributes *)'");
    return 1;
  }
  file_attributes = static_cast<FileAttributes*>(p);
  return 0;
}

#define PQ_FACTORY_NAMES(X)                                                                   \
  X(tarn_file) X(cached_file) X(autocache_file) X(readahead_file) X(replicated_file)          \
  X(remote_file) X(wicket_remote_file) X(big_file) X(striped_file) X(lock_server_file)       \
  X(local_file) X(mem_file) X(storage_server_file) X(zip_file) X(managed_replicated_file)    \
  X(namespace_file) X(fern_file) X(kelp_file) X(loom_file) X(brisk_file)                     \
  X(spindle_resource_file) X(quill_file) X(inline_file) X(fastwrite_file)

}  // namespace

namespace pq {

void LinkLeadingVariables(PyObject* link) {
  SWIG_Python_addvarlink(link, "kMinMMapSize", ReadInteger<32768>, RefuseWrite<"kMinMMapSize">);
  SWIG_Python_addvarlink(link, "DEFAULT_FILE_MODE", ReadInteger<2147483647>,
                         RefuseWrite<"DEFAULT_FILE_MODE">);
#define PQ_LINK_NAME(member)                                                                  \
  SWIG_Python_addvarlink(link, "FileFactory_" #member, ReadName<&FileFactory::member>,        \
                         WriteName<&FileFactory::member, #member>);
  PQ_FACTORY_NAMES(PQ_LINK_NAME)
#undef PQ_LINK_NAME
  SWIG_Python_addvarlink(link, "FileFactory_encrypted_file", ReadName<&FileFactory::encrypted_file>,
                         RefuseWrite<"FileFactory_encrypted_file">);
}

void LinkTrailingVariables(PyObject* link) {
  SWIG_Python_addvarlink(link, "file_attributes", ReadFileAttributes, WriteFileAttributes);
  SWIG_Python_addvarlink(link, "kDefaultBufferSize", ReadInteger<524288>,
                         RefuseWrite<"kDefaultBufferSize">);
  SWIG_Python_addvarlink(link, "kMaxLogReaderPosLen", ReadInteger<48>,
                         RefuseWrite<"kMaxLogReaderPosLen">);
}

}  // namespace pq
