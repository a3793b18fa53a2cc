/* The floor of the call-overhead benchmark: the least a flat function can
 * do (parse one object, return an int). */
#include <Python.h>

static PyObject* floor_call(PyObject* self, PyObject* args) {
  PyObject* o;
  if (!PyArg_ParseTuple(args, "O:floor", &o)) return NULL;
  return PyInt_FromLong(1);
}

static PyMethodDef methods[] = {
    {"floor", floor_call, METH_VARARGS, NULL},
    {NULL, NULL, 0, NULL},
};

__attribute__((visibility("default"))) void init_pq_floor(void) {
  Py_InitModule4("_pq_floor", methods, NULL, NULL, PYTHON_API_VERSION);
}
