// Named conversions between Python 2 objects and the library's scalars and
// strings. The wrappers apply the same rules inline through their parameter
// types (wrappers/arguments.h); these are the callable forms.
#ifndef RUNTIME_CONVERT_H_
#define RUNTIME_CONVERT_H_

#include <string>

#include "file/base/util/base_types.h"
#include "runtime/python.h"

PyObject* SwigInt_FromBool(bool b);
int SwigNumber_Check(PyObject* o);
double SwigNumber_AsDouble(PyObject* o);
PyObject* SwigString_FromString(const std::string& s);
std::string SwigString_AsString(PyObject* o);
PyObject* SwigString_FromUnqualifiedString(const ::string& s);
::string SwigString_AsUnqualifiedString(PyObject* o);
PyObject* PyString_FromUnqualifiedCXXString(const ::string& s);
int SwigPyIntOrLong_Check(PyObject* o);
// Both end the process when given neither an int nor a long: callers test
// with SwigPyIntOrLong_Check first.
uint64 SwigPyIntOrLong_AsUnsignedLongLong(PyObject* o);
int64 SwigPyIntOrLong_AsLongLong(PyObject* o);

namespace pq {
// The 64-bit argument rules. Unlike the interpreter's own unsigned
// conversion, a plain int is accepted (through a long, so a negative value
// still raises OverflowError). Errors stay pending; test PyErr_Occurred.
int64 AsInt64(PyObject* o);
uint64 AsUInt64(PyObject* o);
}  // namespace pq

#endif  // RUNTIME_CONVERT_H_
