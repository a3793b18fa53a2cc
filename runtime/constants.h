// The module's constant table and the mapping of error kinds to exceptions.
#ifndef RUNTIME_CONSTANTS_H_
#define RUNTIME_CONSTANTS_H_

#include "runtime/python.h"
#include "runtime/type_registry.h"

enum {
  kConstantInteger = 1,
  kConstantFloat = 2,
  kConstantString = 3,
  kConstantPointer = 4,
  kConstantPacked = 5,
};

struct ConstantRow {
  int type;
  const char* name;
  int lvalue;
  double dvalue;
  void* pvalue;
  swig_type_info** ptype;
};

// Terminated by a row of kind 0.
extern ConstantRow swig_const_table[];

void SWIG_Python_InstallConstants(PyObject* d, ConstantRow constants[]);

// Error kinds 1..10 (MemoryError, IOError, RuntimeError, IndexError,
// TypeError, ZeroDivisionError, OverflowError, SyntaxError, ValueError,
// SystemError); anything else RuntimeError.
void SWIG_exception_(int code, const char* msg);

#endif  // RUNTIME_CONSTANTS_H_
