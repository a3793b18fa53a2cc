// Folding output arguments into results, library vectors into lists, and
// Python sequences into vector<string> arguments.
#ifndef RUNTIME_OUTPUT_H_
#define RUNTIME_OUTPUT_H_

#include "file/base/util/base_types.h"
#include "file/base/core/forward.h"
#include "runtime/python.h"
#include "runtime/type_registry.h"

// Appends `out` to `result` (both references are consumed): None and null
// results give `out` alone; a non-tuple result becomes a 1-tuple first; `out`
// is always added as one element.
PyObject* t_output_helper(PyObject* result, PyObject* out);

// A new list of conv(element) for each element; None for a null vector; null
// (with the conversion's error pending) when an element fails.
template <class Vector, class Conv>
PyObject* list_output_helper(const Vector* v, Conv conv) {
  if (!v) {
    Py_INCREF(Py_None);
    return Py_None;
  }
  PyObject* list = PyList_New(static_cast<Py_ssize_t>(v->size()));
  if (!list) return nullptr;
  Py_ssize_t i = 0;
  for (const auto& element : *v) {
    PyObject* item = conv(element);
    if (!item) {
      Py_DECREF(list);
      return nullptr;
    }
    PyList_SET_ITEM(list, i++, item);
  }
  return list;
}

template <class Vector, class Conv>
PyObject* vector_output_helper(const Vector* v, Conv conv) {
  return list_output_helper(v, conv);
}

// An owned FileStat pointer object holding a copy of the record.
PyObject* FromFileStat(const FileStat& stat);
// The same handle as a File pointer object, marked as owned.
PyObject* FromFile(File* file);

namespace pq {

// Wraps a heap object for Python with ownership; when the proxy class call
// fails the object is deleted and null returned with the error pending.
template <class T>
PyObject* NewOwnedObject(T* object, swig_type_info* type) {
  PyObject* o = SWIG_Python_NewPointerObj(object, type, 1);
  if (!o) delete object;
  return o;
}

PyObject* ListFromStrings(const vector<::string>& v);
PyObject* ListFromBools(const vector<bool>& v);
PyObject* ListFromFileStats(const vector<FileStat>& v);
PyObject* ListFromFiles(const vector<File*>& v);

// The vector<string> argument rule: a tuple or list of str is copied into
// *local and *result points at it; otherwise the object must be a
// vector<string> pointer object and *result is that vector. On failure raises
// TypeError "vector<::string> expected" and returns false.
bool AsStringVector(PyObject* obj, vector<::string>* local, vector<::string>** result);

}  // namespace pq

#endif  // RUNTIME_OUTPUT_H_
