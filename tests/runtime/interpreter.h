// An embedded Python 2 interpreter for testing the C-level binding runtime.
#ifndef TESTS_RUNTIME_INTERPRETER_H_
#define TESTS_RUNTIME_INTERPRETER_H_

#include <gtest/gtest.h>

#include <string>

#include "runtime/python.h"

namespace pq_test {

// A new reference to the value of a Python expression (fails the test when
// evaluation raises).
PyObject* Eval(const char* expression);

// The pending exception's type name and text, cleared; "" when none.
std::string TakeError();

// A Python object owned for the scope.
class Ref {
 public:
  explicit Ref(PyObject* o) : o_(o) {}
  ~Ref() { Py_XDECREF(o_); }
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;
  PyObject* get() const { return o_; }
  operator PyObject*() const { return o_; }  // NOLINT

 private:
  PyObject* o_;
};

}  // namespace pq_test

#endif  // TESTS_RUNTIME_INTERPRETER_H_
