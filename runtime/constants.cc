#include "runtime/constants.h"

// Installed in this order; values are those of the library's enumerations and
// sizes. The marker constant deliberately holds the library constant's name.
swig_const_info swig_const_table[] = {
    {SWIG_PY_INT, "OK", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_INVALID_ARGUMENT", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_DEADLINE_EXCEEDED", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_NOT_FOUND", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_ALREADY_EXISTS", 4, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_PERMISSION_DENIED", 5, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_WRONG_TYPE", 6, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_NOT_EMPTY", 7, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_NO_SPACE", 8, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_PAST_EOF", 9, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_UNKNOWN", 10, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_UNIMPLEMENTED", 11, 0, nullptr, nullptr},
    {SWIG_PY_INT, "INTERNAL_ERROR", 12, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ERROR_TEMPORARY", 13, 0, nullptr, nullptr},
    {SWIG_PY_INT, "MAX_ERROR_CODE", 13, 0, nullptr, nullptr},
    {SWIG_PY_INT, "USE_FREAD", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "USE_MMAP", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "USE_RAWIO", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_NONE", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_APPEND", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_PROTECTED", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_FINALIZED", 4, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_FROZEN", 8, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_ARCHIVAL_PENDING", 16, 0, nullptr, nullptr},
    {SWIG_PY_INT, "Attr_t_DEFAULT", 2147483647, 0, nullptr, nullptr},
    {SWIG_PY_INT, "NONE", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "NORMAL", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RANDOM", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "SEQUENTIAL", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "CACHED", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "UNCACHED", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_TYPE_RFSERVER", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_TYPE_SREMOTE_SERVER", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_MATCH_DEFAULT", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_MATCH_DOTFILES", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_MATCH_BACKUPS", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_MATCH_ALL", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "File_kWriteMask", 146, 0, nullptr, nullptr},
    {SWIG_PY_INT, "FileName_TARN_PRIMARY", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "FileName_TARN_SHADOW", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "FileReedSolomon_ENCODING_5_8", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "FileReedSolomon_ENCODING_9_13", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "FileReedSolomon_ENCODING_20_30", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "FileReedSolomon_NUM_ENCODINGS", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "InputBuffer_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {SWIG_PY_INT, "InputBuffer_NO_CHECKSUMMING", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "InputBuffer_NO_ATTRIBUTE_FILE", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "InputBuffer_MATCHES_PREFIX", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "InputBuffer_MATCHES_FULL", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "InputBuffer_MISMATCH", 4, 0, nullptr, nullptr},
    {SWIG_PY_INT, "OutputBuffer_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {SWIG_PY_INT, "ChecksumState_kChunkSize", 128, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_kRecSize", 1011, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_kHeaderSize", 12, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_kPhysicalRecSize", 1024, 0, nullptr, nullptr},
    {SWIG_PY_STRING, "RecordIO_kLegacySyncMarker", 0, 0, const_cast<char*>("RecordIO::kLegacySyncMarker"), nullptr},
    {SWIG_PY_INT, "RecordIO_kMaxRecordSize", 1073741823, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_SINGLETON", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_FIXED_SIZE", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_VARIABLE_SIZE", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_OTHER_TAG", 3, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_ZLIB_TAG", 4, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_CWZ_TAG", 5, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_CW_TAG", 6, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_PLUME_TAG", 7, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_MIN_TAG", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_MAX_TAG", 7, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordIO_NUM_TAGS", 8, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_SINGLE_WRITER", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_CONCURRENT_APPENDERS", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_AUTO", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_WRITE_ERROR", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_WRITE_OK", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordWriter_WRITE_RETRY", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordReader_READ_OK", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordReader_READ_DONE", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordReader_READ_RETRY", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "RecordReader_kDefaultMaxExpectedRecordLength", 4194304, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_SINGLE_WRITER", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_CONCURRENT_APPENDERS", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_AUTO", 2, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_WRITE_OK", 1, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_WRITE_ERROR", 0, 0, nullptr, nullptr},
    {SWIG_PY_INT, "LogWriter_WRITE_RETRY", 2, 0, nullptr, nullptr},
    {0, nullptr, 0, 0, nullptr, nullptr}};

void SWIG_Python_InstallConstants(PyObject* d, swig_const_info constants[]) {
  for (swig_const_info* c = constants; c->type; ++c) {
    PyObject* obj = nullptr;
    switch (c->type) {
      case SWIG_PY_INT:
        obj = PyInt_FromLong(c->lvalue);
        break;
      case SWIG_PY_FLOAT:
        obj = PyFloat_FromDouble(c->dvalue);
        break;
      case SWIG_PY_STRING:
        obj = PyString_FromString(static_cast<const char*>(c->pvalue));
        break;
      case SWIG_PY_POINTER:
        obj = SWIG_Python_NewPointerObj(c->pvalue, *c->ptype, 0);
        break;
      case SWIG_PY_BINARY:
        obj = SWIG_Python_NewPackedObj(c->pvalue, c->lvalue, *c->ptype);
        break;
      default:
        break;
    }
    if (obj) {
      PyDict_SetItemString(d, c->name, obj);
      Py_DECREF(obj);
    }
  }
}

void SWIG_exception_(int code, const char* msg) {
  PyObject* type;
  switch (code) {
    case 1: type = PyExc_MemoryError; break;
    case 2: type = PyExc_IOError; break;
    case 3: type = PyExc_RuntimeError; break;
    case 4: type = PyExc_IndexError; break;
    case 5: type = PyExc_TypeError; break;
    case 6: type = PyExc_ZeroDivisionError; break;
    case 7: type = PyExc_OverflowError; break;
    case 8: type = PyExc_SyntaxError; break;
    case 9: type = PyExc_ValueError; break;
    case 10: type = PyExc_SystemError; break;
    default: type = PyExc_RuntimeError; break;
  }
  PyErr_SetString(type, msg);
}
