// Starts the interpreter and registers the module's types once, before the
// tests run.
#include "tests/runtime/interpreter.h"

#include "runtime/type_table.h"

namespace pq_test {

PyObject* Eval(const char* expression) {
  static PyObject* globals = [] {
    PyObject* g = PyDict_New();
    PyDict_SetItemString(g, "__builtins__", PyEval_GetBuiltins());
    return g;
  }();
  PyObject* result = PyRun_String(expression, Py_eval_input, globals, globals);
  if (!result) {
    ADD_FAILURE() << "evaluating " << expression << " raised " << TakeError();
  }
  return result;
}

std::string TakeError() {
  if (!PyErr_Occurred()) return "";
  PyObject *type, *value, *trace;
  PyErr_Fetch(&type, &value, &trace);
  PyErr_NormalizeException(&type, &value, &trace);
  std::string text = reinterpret_cast<PyTypeObject*>(type)->tp_name;
  if (text.rfind("exceptions.", 0) == 0) text.erase(0, 11);
  const Ref owned_type(type), owned_value(value), owned_trace(trace), s(value ? PyObject_Str(value) : nullptr);
  if (s.get()) text += std::string(": ") + PyString_AsString(s);
  return text;
}

}  // namespace pq_test

namespace {

class Interpreter : public testing::Environment {
 public:
  void SetUp() override {
    Py_InitializeEx(0);
    for (int i = 0; swig_types_initial[i]; ++i) swig_types[i] = SWIG_Python_TypeRegister(swig_types_initial[i]);
  }
};

testing::Environment* const kInterpreter = testing::AddGlobalTestEnvironment(new Interpreter);

}  // namespace
