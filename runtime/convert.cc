#include "runtime/convert.h"

#include <unistd.h>

#include <cstdlib>

namespace {

// Exact type first, then the interpreter's subtype test.
inline bool IsA(PyObject* o, PyTypeObject* type) {
  return Py_TYPE(o) == type || PyType_IsSubtype(Py_TYPE(o), type);
}

[[noreturn]] void Die(const char* message, size_t length) {
  ssize_t ignored = write(STDERR_FILENO, message, length);
  (void)ignored;
  std::abort();
}

}  // namespace

PyObject* SwigInt_FromBool(bool b) { return PyInt_FromLong(b ? 1 : 0); }

int SwigNumber_Check(PyObject* o) {
  return IsA(o, &PyFloat_Type) || IsA(o, &PyInt_Type) || IsA(o, &PyLong_Type);
}

double SwigNumber_AsDouble(PyObject* o) {
  if (IsA(o, &PyFloat_Type)) return PyFloat_AsDouble(o);
  if (IsA(o, &PyInt_Type)) return static_cast<double>(PyInt_AsLong(o));
  // Through a machine long on purpose: values beyond it yield -1.0 with
  // OverflowError pending.
  return static_cast<double>(PyLong_AsLong(o));
}

PyObject* SwigString_FromString(const std::string& s) {
  return PyString_FromStringAndSize(s.data(), s.size());
}

std::string SwigString_AsString(PyObject* o) {
  const char* c = PyString_AsString(o);
  return c ? std::string(c) : std::string();
}

PyObject* SwigString_FromUnqualifiedString(const ::string& s) {
  return PyString_FromStringAndSize(s.data(), s.size());
}

::string SwigString_AsUnqualifiedString(PyObject* o) {
  const char* c = PyString_AsString(o);
  if (!c) return ::string();
  return ::string(c, PyString_Size(o));
}

PyObject* PyString_FromUnqualifiedCXXString(const ::string& s) {
  return PyString_FromStringAndSize(s.data(), s.size());
}

int SwigPyIntOrLong_Check(PyObject* o) { return IsA(o, &PyLong_Type) || IsA(o, &PyInt_Type); }

uint64 SwigPyIntOrLong_AsUnsignedLongLong(PyObject* o) {
  if (IsA(o, &PyLong_Type)) return PyLong_AsUnsignedLongLong(o);
  if (IsA(o, &PyInt_Type)) return static_cast<uint64>(static_cast<int64>(PyInt_AsLong(o)));
  static const char kMessage[] = "Int or Long expected in SwigIntOrLong_AsUnsignedLongLong";
  Die(kMessage, sizeof(kMessage) - 1);
}

int64 SwigPyIntOrLong_AsLongLong(PyObject* o) {
  if (IsA(o, &PyLong_Type)) return PyLong_AsLongLong(o);
  if (IsA(o, &PyInt_Type)) return static_cast<int64>(PyInt_AsLong(o));
  static const char kMessage[] = "Int or Long expected in SwigIntOrLong_AsLongLong";
  Die(kMessage, sizeof(kMessage) - 1);
}

namespace pq {

int64 AsInt64(PyObject* o) {
  // Plain ints are the common case and need no long object.
  if (PyInt_CheckExact(o)) return PyInt_AS_LONG(o);
  return PyLong_AsLongLong(o);
}

uint64 AsUInt64(PyObject* o) {
  if (PyInt_CheckExact(o)) {
    long v = PyInt_AS_LONG(o);
    if (v >= 0) return static_cast<uint64>(v);
  }
  if (PyLong_Check(o)) return PyLong_AsUnsignedLongLong(o);
  // The interpreter's unsigned conversion takes longs only: go through a long
  // (as the signed conversion does for ints and floats), so that a negative
  // value raises its OverflowError and a non-number a TypeError.
  PyNumberMethods* nb = Py_TYPE(o)->tp_as_number;
  if (!PyInt_Check(o) && (!nb || !nb->nb_int)) {
    PyErr_SetString(PyExc_TypeError, "an integer is required");
    return static_cast<uint64>(-1);
  }
  PyObject* as_long = PyNumber_Long(o);
  if (!as_long) return static_cast<uint64>(-1);
  uint64 v = PyLong_AsUnsignedLongLong(as_long);
  Py_DECREF(as_long);
  return v;
}

}  // namespace pq
