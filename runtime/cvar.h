// The module's linked global variables (`cvar`).
#ifndef RUNTIME_CVAR_H_
#define RUNTIME_CVAR_H_

#include "runtime/python.h"

namespace pq {
// Links kMinMMapSize, DEFAULT_FILE_MODE and the 25 factory names.
void LinkLeadingVariables(PyObject* link);
// Links file_attributes, kDefaultBufferSize and kMaxLogReaderPosLen.
void LinkTrailingVariables(PyObject* link);
}  // namespace pq

#endif  // RUNTIME_CVAR_H_
