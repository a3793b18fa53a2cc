#include "wrappers/calling.h"

#include <string>

namespace pq {

bool ParseSlots(PyObject* args, const char* format, Slot* s) {
  // Surplus pointers are ignored: the format decides how many are written.
  return PyArg_ParseTuple(args, format, &s[0], &s[1], &s[2], &s[3], &s[4], &s[5], &s[6], &s[7],
                          &s[8], &s[9]) != 0;
}

void RaiseNoMatch(const char* name) {
  std::string message = std::string("No matching function for overloaded '") + name + "'";
  PyErr_SetString(PyExc_TypeError, message.c_str());
}

PyObject* RegisterProxyClass(PyObject* args, swig_type_info* type) {
  PyObject* cls;
  if (!PyArg_ParseTuple(args, "O", &cls)) return nullptr;
  SWIG_Python_TypeClientData(type, cls);
  Py_INCREF(cls);  // kept for the life of the process
  return Py_BuildValue("");
}

}  // namespace pq
