// The global-variable link object: attribute reads and writes on it call the
// linked variable's reader and writer.
#ifndef RUNTIME_VARLINK_H_
#define RUNTIME_VARLINK_H_

#include "runtime/python.h"

struct LinkedVariable {
  char* name;
  PyObject* (*get_attr)();
  int (*set_attr)(PyObject*);
  LinkedVariable* next;
};

struct LinkObject {
  PyObject_HEAD
  LinkedVariable* vars;
};

PyObject* SWIG_Python_newvarlink();
void SWIG_Python_addvarlink(PyObject* p, const char* name, PyObject* (*get_attr)(),
                            int (*set_attr)(PyObject*));

#endif  // RUNTIME_VARLINK_H_
