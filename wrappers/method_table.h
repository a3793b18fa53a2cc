// The module's method table, assembled from the families' rows in table order.
#ifndef WRAPPERS_METHOD_TABLE_H_
#define WRAPPERS_METHOD_TABLE_H_

#include "runtime/python.h"

namespace pq {
// Null-terminated; built on first use and kept for the life of the process.
PyMethodDef* MethodTable();
size_t MethodCount();
}  // namespace pq

#endif  // WRAPPERS_METHOD_TABLE_H_
