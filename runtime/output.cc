#include "runtime/output.h"

#include "file/base/file.h"
#include "file/base/core/filestat.h"
#include "runtime/convert.h"
#include "runtime/type_table.h"

PyObject* t_output_helper(PyObject* result, PyObject* out) {
  // An output that failed to convert leaves its error pending; a tuple must
  // never hold the null in its place.
  if (!out) {
    Py_XDECREF(result);
    return nullptr;
  }
  if (!result) return out;
  if (result == Py_None) {
    Py_DECREF(result);
    return out;
  }
  if (!PyTuple_Check(result)) {
    PyObject* single = PyTuple_New(1);
    if (!single) {
      Py_DECREF(result);
      Py_DECREF(out);
      return nullptr;
    }
    PyTuple_SetItem(single, 0, result);
    result = single;
  }
  PyObject* tail = PyTuple_New(1);
  if (!tail) {
    Py_DECREF(result);
    Py_DECREF(out);
    return nullptr;
  }
  PyTuple_SetItem(tail, 0, out);
  PyObject* joined = PySequence_Concat(result, tail);
  Py_DECREF(result);
  Py_DECREF(tail);
  return joined;
}

PyObject* FromFileStat(const FileStat& stat) {
  return pq::NewOwnedObject(new FileStat(stat), pq::TypeOf<FileStat>());
}

PyObject* FromFile(File* file) { return SWIG_Python_NewPointerObj(file, pq::TypeOf<File>(), 1); }

namespace pq {

PyObject* ListFromStrings(const vector<::string>& v) {
  return list_output_helper(&v, PyString_FromUnqualifiedCXXString);
}

PyObject* ListFromBools(const vector<bool>& v) {
  return list_output_helper(&v, [](bool b) { return PyInt_FromLong(b); });
}

PyObject* ListFromFileStats(const vector<FileStat>& v) {
  return vector_output_helper(&v, FromFileStat);
}

PyObject* ListFromFiles(const vector<File*>& v) {
  size_t converted = 0;
  PyObject* list = vector_output_helper(&v, [&converted](File* f) {
    PyObject* o = FromFile(f);
    if (o) ++converted;
    return o;
  });
  // Handles that never reached Python would stay open with no owner.
  if (!list) {
    for (size_t i = converted; i < v.size(); ++i) {
      if (v[i]) file::CloseAndDelete(v[i]);
    }
  }
  return list;
}

bool AsStringVector(PyObject* obj, vector<::string>* local, vector<::string>** result) {
  const bool is_tuple = PyTuple_Check(obj);
  if (is_tuple || PyList_Check(obj)) {
    Py_ssize_t n = is_tuple ? PyTuple_Size(obj) : PyList_Size(obj);
    local->assign(static_cast<size_t>(n), ::string());
    for (Py_ssize_t i = 0; i < n; ++i) {
      PyObject* item = PySequence_GetItem(obj, i);
      if (!item || !PyString_Check(item)) {
        Py_XDECREF(item);
        PyErr_SetString(PyExc_TypeError, "vector<::string> expected");
        return false;
      }
      (*local)[i] = SwigString_AsUnqualifiedString(item);
      Py_DECREF(item);
    }
    *result = local;
    return true;
  }
  void* p = nullptr;
  // A null vector (None, "NULL") cannot stand for a list either.
  if (SWIG_Python_ConvertPtr(obj, &p, TypeOf<vector<::string>>(), kPointerRaise) == -1 ||
      !p) {
    PyErr_SetString(PyExc_TypeError, "vector<::string> expected");
    return false;
  }
  *result = static_cast<vector<::string>*>(p);
  return true;
}

}  // namespace pq
