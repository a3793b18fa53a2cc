// The module's entry point: creates _file_base_pyquarry with its method
// table, registers the pointer types once, installs the constants and links
// the global variables under `cvar`.
#include "runtime/constants.h"
#include "runtime/cvar.h"
#include "runtime/python.h"
#include "runtime/type_table.h"
#include "runtime/varlink.h"
#include "wrappers/method_table.h"

extern "C" __attribute__((visibility("default"))) void init_file_base_pyquarry() {
  // Both survive a second initialisation: one link object, one registration.
  static PyObject* link = nullptr;
  static bool types_registered = false;

  if (!link) link = SWIG_Python_newvarlink();
  PyObject* m = Py_InitModule4("_file_base_pyquarry", pq::MethodTable(), nullptr, nullptr,
                               PYTHON_API_VERSION);
  PyObject* d = PyModule_GetDict(m);
  if (!types_registered) {
    for (int i = 0; swig_types_initial[i]; ++i) swig_types[i] = SWIG_Python_TypeRegister(swig_types_initial[i]);
    types_registered = true;
  }
  SWIG_Python_InstallConstants(d, swig_const_table);
  PyDict_SetItemString(d, "cvar", link);
  pq::LinkLeadingVariables(link);
  PyObject* block_size = PyLong_FromLongLong(1048576);
  if (block_size) {
    PyDict_SetItemString(d, "ChecksumState_kBlockSize", block_size);
    Py_DECREF(block_size);
  }
  pq::LinkTrailingVariables(link);
}
