// Type descriptors, the process-private type registry, pointer text encoding
// and proxy ownership.
//
// A library pointer crosses into Python as the text "_" + the pointer's bytes
// in memory order as lower-case hex + the mangled type name (for example
// "_b0a0040800000000_p_File"), or as a proxy instance holding that text in
// its "this" attribute together with a "thisown" ownership flag.
#ifndef RUNTIME_TYPE_REGISTRY_H_
#define RUNTIME_TYPE_REGISTRY_H_

#include "runtime/python.h"

struct swig_type_info;
typedef void* (*SubtypeCast)(void*);
typedef swig_type_info* (*DynamicCastHook)(void**);

struct swig_type_info {
  const char* name;               // mangled name, e.g. "_p_File"
  SubtypeCast converter;  // subtype entry: adjusts to the owning type
  const char* str;                // human text, e.g. "File *"
  PyObject* clientdata;           // proxy class, null until registered
  DynamicCastHook dcast;         // dynamic down-cast hook (unused here)
  swig_type_info* next;           // next accepted-subtype entry
  swig_type_info* prev;           // previous entry; for heads, older head
};

// Conversion flags.
enum { kPointerRaise = 1, kPointerDisown = 2 };

swig_type_info* SWIG_Python_TypeRegister(swig_type_info* ti);
swig_type_info* SWIG_Python_TypeCheck(const char* c, swig_type_info* ty);
void* SWIG_Python_TypeCast(swig_type_info* ty, void* ptr);
swig_type_info* SWIG_Python_TypeDynamicCast(swig_type_info* ty, void** ptr);
const char* SWIG_Python_TypeName(const swig_type_info* ty);
swig_type_info* SWIG_Python_TypeQuery(const char* name);
void SWIG_Python_TypeClientData(swig_type_info* ti, PyObject* clientdata);

char* SWIG_Python_PackData(char* c, const void* ptr, int sz);
const char* SWIG_Python_UnpackData(const char* c, void* ptr, int sz);

int SWIG_Python_ConvertPtr(PyObject* obj, void** ptr, swig_type_info* ty, int flags);
void* SWIG_Python_MustGetPtr(PyObject* obj, swig_type_info* ty, int argnum, int flags);
int SWIG_Python_ConvertPacked(PyObject* obj, void* ptr, int sz, swig_type_info* ty, int flags);
PyObject* SWIG_Python_NewPointerObj(void* ptr, swig_type_info* type, int own);
PyObject* SWIG_Python_NewPackedObj(void* ptr, int sz, swig_type_info* type);

// Head of the registry (most recently registered type).
swig_type_info* RegisteredTypesHead();

#endif  // RUNTIME_TYPE_REGISTRY_H_
