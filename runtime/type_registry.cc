#include "runtime/type_registry.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

swig_type_info* swig_type_list = nullptr;

// Interned attribute names, made once on first use.
PyObject* ThisName() {
  static PyObject* name = PyString_InternFromString("this");
  return name;
}
PyObject* ThisOwnName() {
  static PyObject* name = PyString_InternFromString("thisown");
  return name;
}

// Digit values: 0..15 for "0-9a-f", -1 for everything else (upper case too).
struct HexTable {
  signed char value[256];
  constexpr HexTable() : value() {
    for (int i = 0; i < 256; ++i) value[i] = -1;
    for (int i = 0; i < 10; ++i) value['0' + i] = static_cast<signed char>(i);
    for (int i = 0; i < 6; ++i) value['a' + i] = static_cast<signed char>(10 + i);
  }
};
constexpr HexTable kHex;
constexpr char kDigits[] = "0123456789abcdef";

// Reads a character and advances, except at the terminating NUL, so that a
// short pointer text never reads past its string.
inline int NextChar(const char*& c) {
  int d = static_cast<unsigned char>(*c);
  if (d != 0) ++c;
  return d;
}

// Raises the conversion's TypeError when asked to: the two type names when
// both are known, else "Expected a pointer".
void ReportTypeFailure(int flags, const swig_type_info* expected, const char* got) {
  if (!(flags & kPointerRaise)) return;
  if (!expected || !got) {
    PyErr_SetString(PyExc_TypeError, "Expected a pointer");
    return;
  }
  size_t n = std::strlen(got) + std::strlen(expected->name) + 64;
  char* msg = static_cast<char*>(std::malloc(n));
  std::snprintf(msg, n, "Type error. Got %s, expected %s", got, expected->name);
  PyErr_SetString(PyExc_TypeError, msg);
  std::free(msg);
}

}  // namespace

swig_type_info* RegisteredTypesHead() { return swig_type_list; }

swig_type_info* SWIG_Python_TypeRegister(swig_type_info* ti) {
  swig_type_info* head = nullptr;
  swig_type_info* old_continuation = nullptr;
  for (swig_type_info* tc = swig_type_list; tc; tc = tc->prev) {
    if (std::strcmp(tc->name, ti->name) == 0) {
      if (tc->clientdata) ti->clientdata = tc->clientdata;
      head = tc;
      old_continuation = tc->next;
      break;
    }
  }
  if (!head) {
    head = ti;
    ti->prev = swig_type_list;
    swig_type_list = ti;
  }
  swig_type_info* attach = head;
  swig_type_info* last = head;
  for (swig_type_info* tc = ti + 1; tc->name; ++tc) {
    last->next = tc;
    tc->prev = last;
    last = tc;
  }
  if (old_continuation) old_continuation->prev = last;
  last->next = old_continuation;
  return attach;
}

swig_type_info* SWIG_Python_TypeCheck(const char* c, swig_type_info* ty) {
  if (!ty) return nullptr;
  swig_type_info* first = ty->next;
  for (swig_type_info* s = first; s;) {
    if (std::strcmp(s->name, c) == 0) {
      if (s != ty->next) {  // move to the front, behind the head
        s->prev->next = s->next;
        if (s->next) s->next->prev = s->prev;
        s->next = ty->next;
        if (ty->next) ty->next->prev = s;
        ty->next = s;
        s->prev = ty;
      }
      return s;
    }
    s = s->next;
    if (s == first) break;
  }
  return nullptr;
}

void* SWIG_Python_TypeCast(swig_type_info* ty, void* ptr) {
  if (!ty || !ty->converter) return ptr;
  return ty->converter(ptr);
}

swig_type_info* SWIG_Python_TypeDynamicCast(swig_type_info* ty, void** ptr) {
  swig_type_info* last = ty;
  if (!ty || !ty->dcast) return ty;
  while (ty && ty->dcast) {
    ty = ty->dcast(ptr);
    if (ty) last = ty;
  }
  return last;
}

const char* SWIG_Python_TypeName(const swig_type_info* ty) { return ty->name; }

swig_type_info* SWIG_Python_TypeQuery(const char* name) {
  for (swig_type_info* ty = swig_type_list; ty; ty = ty->prev) {
    if (ty->str && std::strcmp(name, ty->str) == 0) return ty;
    if (ty->name && std::strcmp(name, ty->name) == 0) return ty;
  }
  return nullptr;
}

void SWIG_Python_TypeClientData(swig_type_info* ti, PyObject* clientdata) {
  if (ti->clientdata == clientdata) return;
  ti->clientdata = clientdata;
  for (swig_type_info* equiv = ti->next; equiv; equiv = equiv->next) {
    if (equiv->converter) continue;  // subclasses keep their own class
    for (swig_type_info* tc = swig_type_list; tc; tc = tc->prev) {
      if (std::strcmp(tc->name, equiv->name) == 0) SWIG_Python_TypeClientData(tc, clientdata);
    }
  }
}

char* SWIG_Python_PackData(char* c, const void* ptr, int sz) {
  const unsigned char* u = static_cast<const unsigned char*>(ptr);
  for (int i = 0; i < sz; ++i) {
    *c++ = kDigits[u[i] >> 4];
    *c++ = kDigits[u[i] & 0xf];
  }
  return c;
}

// The working value of a byte carries over when a digit is not valid; this
// tolerance is part of the encoding's contract.
const char* SWIG_Python_UnpackData(const char* c, void* ptr, int sz) {
  unsigned char* u = static_cast<unsigned char*>(ptr);
  unsigned char uu = 0;
  for (int i = 0; i < sz; ++i) {
    int hi = kHex.value[NextChar(c)];
    if (hi >= 0) uu = static_cast<unsigned char>(hi << 4);
    int lo = kHex.value[NextChar(c)];
    if (lo >= 0) uu |= static_cast<unsigned char>(lo);
    u[i] = uu;
  }
  return c;
}

int SWIG_Python_ConvertPtr(PyObject* obj, void** ptr, swig_type_info* ty, int flags) {
  if (!obj) return 0;
  if (obj == Py_None) {
    *ptr = nullptr;
    return 0;
  }
  PyObject* proxy = nullptr;
  PyObject* text_obj = nullptr;  // new reference when taken from a proxy
  const char* c;
  swig_type_info* tc = nullptr;
  if (PyString_Check(obj)) {
    c = PyString_AS_STRING(obj);
  } else {
    proxy = obj;
    text_obj = PyObject_GetAttr(obj, ThisName());
    if (!text_obj || !PyString_Check(text_obj)) {
      Py_XDECREF(text_obj);
      ReportTypeFailure(flags, nullptr, nullptr);
      return -1;
    }
    c = PyString_AS_STRING(text_obj);
  }
  if (*c != '_') {
    *ptr = nullptr;
    if (std::strcmp(c, "NULL") == 0) {
      Py_XDECREF(text_obj);
      return 0;
    }
    goto type_error;
  }
  c = SWIG_Python_UnpackData(c + 1, ptr, sizeof(void*));
  if (ty) {
    tc = SWIG_Python_TypeCheck(c, ty);
    if (!tc) goto type_error;
    *ptr = SWIG_Python_TypeCast(tc, *ptr);
  }
  if (proxy && (flags & kPointerDisown)) {
    PyObject* zero = PyInt_FromLong(0);
    PyObject_SetAttr(proxy, ThisOwnName(), zero);
    Py_DECREF(zero);
  }
  Py_XDECREF(text_obj);
  return 0;

type_error:
  ReportTypeFailure(flags, ty, c);
  Py_XDECREF(text_obj);
  return -1;
}

void* SWIG_Python_MustGetPtr(PyObject* obj, swig_type_info* ty, int argnum, int flags) {
  void* result = nullptr;
  // A failed conversion yields null (with its TypeError pending), never the
  // digits of a pointer of the wrong type.
  if (SWIG_Python_ConvertPtr(obj, &result, ty, flags | kPointerRaise) == -1) return nullptr;
  return result;
}

int SWIG_Python_ConvertPacked(PyObject* obj, void* ptr, int sz, swig_type_info* ty, int flags) {
  const char* c = nullptr;
  if (!PyString_Check(obj)) goto type_error;
  c = PyString_AS_STRING(obj);
  if (*c != '_') goto type_error;
  c = SWIG_Python_UnpackData(c + 1, ptr, sz);
  if (ty && !SWIG_Python_TypeCheck(c, ty)) goto type_error;
  return 0;

type_error:
  ReportTypeFailure(flags, ty, c);
  return -1;
}

PyObject* SWIG_Python_NewPointerObj(void* ptr, swig_type_info* type, int own) {
  if (!ptr) {
    Py_INCREF(Py_None);
    return Py_None;
  }
  char buffer[1024];
  char* end = SWIG_Python_PackData(buffer + 1, &ptr, sizeof(void*));
  buffer[0] = '_';
  size_t name_len = std::strlen(type->name);
  if (name_len > sizeof(buffer) - (end - buffer) - 1) name_len = sizeof(buffer) - (end - buffer) - 1;
  std::memcpy(end, type->name, name_len);
  PyObject* text = PyString_FromStringAndSize(buffer, (end - buffer) + name_len);
  if (!text) return nullptr;
  if (!type->clientdata) return text;
  PyObject* args = Py_BuildValue("(O)", text);
  Py_DECREF(text);
  if (!args) return nullptr;
  PyObject* inst = PyObject_CallObject(type->clientdata, args);
  Py_DECREF(args);
  if (inst && own) {
    PyObject* one = PyInt_FromLong(1);
    PyObject_SetAttr(inst, ThisOwnName(), one);
    Py_DECREF(one);
  }
  return inst;  // null with the class call's error pending
}

PyObject* SWIG_Python_NewPackedObj(void* ptr, int sz, swig_type_info* type) {
  char result[1024];
  if (2 * sz + std::strlen(type->name) + 1 > 1000) return nullptr;
  result[0] = '_';
  char* r = SWIG_Python_PackData(result + 1, ptr, sz);
  std::strcpy(r, type->name);
  return PyString_FromString(result);
}
