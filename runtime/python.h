// Single place that includes the interpreter's headers.
#ifndef RUNTIME_PYTHON_H_
#define RUNTIME_PYTHON_H_


#include <Python.h>

#endif  // RUNTIME_PYTHON_H_
