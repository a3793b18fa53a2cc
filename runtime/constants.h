// The module's constant table and the mapping of error kinds to exceptions.
#ifndef RUNTIME_CONSTANTS_H_
#define RUNTIME_CONSTANTS_H_

#include "runtime/python.h"
#include "runtime/type_registry.h"

enum {
  SWIG_PY_INT = 1,
  SWIG_PY_FLOAT = 2,
  SWIG_PY_STRING = 3,
  SWIG_PY_POINTER = 4,
  SWIG_PY_BINARY = 5,
};

struct swig_const_info {
  int type;
  const char* name;
  int lvalue;
  double dvalue;
  void* pvalue;
  swig_type_info** ptype;
};

// Terminated by a row of kind 0.
extern swig_const_info swig_const_table[];

void SWIG_Python_InstallConstants(PyObject* d, swig_const_info constants[]);

// Error kinds 1..10 (MemoryError, IOError, RuntimeError, IndexError,
// TypeError, ZeroDivisionError, OverflowError, SyntaxError, ValueError,
// SystemError); anything else RuntimeError.
void SWIG_exception_(int code, const char* msg);

#endif  // RUNTIME_CONSTANTS_H_
