#include "runtime/varlink.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

PyObject* varlink_repr(PyObject*) { return PyString_FromString("<Global variables>"); }

int varlink_print(PyObject* o, FILE* fp, int) {
  auto* v = reinterpret_cast<LinkObject*>(o);
  std::fprintf(fp, "Global variables { ");
  for (LinkedVariable* var = v->vars; var; var = var->next) {
    std::fprintf(fp, "%s", var->name);
    if (var->next) std::fprintf(fp, ", ");
  }
  std::fprintf(fp, " }\n");
  return 0;
}

PyObject* varlink_getattr(PyObject* o, char* n) {
  auto* v = reinterpret_cast<LinkObject*>(o);
  for (LinkedVariable* var = v->vars; var; var = var->next) {
    if (std::strcmp(var->name, n) == 0) return var->get_attr();
  }
  PyErr_SetString(PyExc_NameError, "Unknown C global variable");
  return nullptr;
}

int varlink_setattr(PyObject* o, char* n, PyObject* value) {
  auto* v = reinterpret_cast<LinkObject*>(o);
  for (LinkedVariable* var = v->vars; var; var = var->next) {
    if (std::strcmp(var->name, n) == 0) {
      // Deleting an attribute arrives here with a null value; the writers
      // refuse it with their own messages.
      return var->set_attr(value);
    }
  }
  PyErr_SetString(PyExc_NameError, "Unknown C global variable");
  return 1;
}

PyTypeObject varlinktype = {
    PyObject_HEAD_INIT(nullptr) 0,                // ob_size
    const_cast<char*>("swigvarlink"),             // tp_name
    sizeof(LinkObject),                   // tp_basicsize
    0,                                            // tp_itemsize
    nullptr,                                      // tp_dealloc
    varlink_print,                                // tp_print
    varlink_getattr,                              // tp_getattr
    varlink_setattr,                              // tp_setattr
    nullptr,                                      // tp_compare
    varlink_repr,                                 // tp_repr
};

}  // namespace

PyObject* SWIG_Python_newvarlink() {
  // Never freed, so it lives outside the interpreter's allocator.
  auto* result = static_cast<LinkObject*>(std::malloc(sizeof(LinkObject)));
  varlinktype.ob_type = &PyType_Type;
  result->ob_type = &varlinktype;
  result->vars = nullptr;
  result->ob_refcnt = 1;
  return reinterpret_cast<PyObject*>(result);
}

void SWIG_Python_addvarlink(PyObject* p, const char* name, PyObject* (*get_attr)(),
                            int (*set_attr)(PyObject*)) {
  auto* v = reinterpret_cast<LinkObject*>(p);
  auto* gv = static_cast<LinkedVariable*>(std::malloc(sizeof(LinkedVariable)));
  size_t len = std::strlen(name);
  gv->name = static_cast<char*>(std::malloc(len + 1));
  std::memcpy(gv->name, name, len + 1);
  gv->get_attr = get_attr;
  gv->set_attr = set_attr;
  gv->next = v->vars;
  v->vars = gv;
}
