#include "runtime/constants.h"

// Installed in this order; values are those of the library's enumerations and
// sizes. The marker constant deliberately holds the library constant's name.
ConstantRow swig_const_table[] = {
    {kConstantInteger, "OK", 0, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_INVALID_ARGUMENT", 1, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_DEADLINE_EXCEEDED", 2, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_NOT_FOUND", 3, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_ALREADY_EXISTS", 4, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_PERMISSION_DENIED", 5, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_WRONG_TYPE", 6, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_NOT_EMPTY", 7, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_NO_SPACE", 8, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_PAST_EOF", 9, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_UNKNOWN", 10, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_UNIMPLEMENTED", 11, 0, nullptr, nullptr},
    {kConstantInteger, "INTERNAL_ERROR", 12, 0, nullptr, nullptr},
    {kConstantInteger, "ERROR_TEMPORARY", 13, 0, nullptr, nullptr},
    {kConstantInteger, "MAX_ERROR_CODE", 13, 0, nullptr, nullptr},
    {kConstantInteger, "USE_FREAD", 1, 0, nullptr, nullptr},
    {kConstantInteger, "USE_MMAP", 2, 0, nullptr, nullptr},
    {kConstantInteger, "USE_RAWIO", 3, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_NONE", 0, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_APPEND", 1, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_PROTECTED", 2, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_FINALIZED", 4, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_FROZEN", 8, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_ARCHIVAL_PENDING", 16, 0, nullptr, nullptr},
    {kConstantInteger, "Attr_t_DEFAULT", 2147483647, 0, nullptr, nullptr},
    {kConstantInteger, "NONE", 0, 0, nullptr, nullptr},
    {kConstantInteger, "NORMAL", 1, 0, nullptr, nullptr},
    {kConstantInteger, "RANDOM", 2, 0, nullptr, nullptr},
    {kConstantInteger, "SEQUENTIAL", 3, 0, nullptr, nullptr},
    {kConstantInteger, "CACHED", 0, 0, nullptr, nullptr},
    {kConstantInteger, "UNCACHED", 1, 0, nullptr, nullptr},
    {kConstantInteger, "File_TYPE_RFSERVER", 0, 0, nullptr, nullptr},
    {kConstantInteger, "File_TYPE_SREMOTE_SERVER", 1, 0, nullptr, nullptr},
    {kConstantInteger, "File_MATCH_DEFAULT", 0, 0, nullptr, nullptr},
    {kConstantInteger, "File_MATCH_DOTFILES", 1, 0, nullptr, nullptr},
    {kConstantInteger, "File_MATCH_BACKUPS", 2, 0, nullptr, nullptr},
    {kConstantInteger, "File_MATCH_ALL", 3, 0, nullptr, nullptr},
    {kConstantInteger, "File_kWriteMask", 146, 0, nullptr, nullptr},
    {kConstantInteger, "FileName_TARN_PRIMARY", 0, 0, nullptr, nullptr},
    {kConstantInteger, "FileName_TARN_SHADOW", 1, 0, nullptr, nullptr},
    {kConstantInteger, "FileReedSolomon_ENCODING_5_8", 0, 0, nullptr, nullptr},
    {kConstantInteger, "FileReedSolomon_ENCODING_9_13", 1, 0, nullptr, nullptr},
    {kConstantInteger, "FileReedSolomon_ENCODING_20_30", 2, 0, nullptr, nullptr},
    {kConstantInteger, "FileReedSolomon_NUM_ENCODINGS", 3, 0, nullptr, nullptr},
    {kConstantInteger, "InputBuffer_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {kConstantInteger, "InputBuffer_NO_CHECKSUMMING", 0, 0, nullptr, nullptr},
    {kConstantInteger, "InputBuffer_NO_ATTRIBUTE_FILE", 1, 0, nullptr, nullptr},
    {kConstantInteger, "InputBuffer_MATCHES_PREFIX", 2, 0, nullptr, nullptr},
    {kConstantInteger, "InputBuffer_MATCHES_FULL", 3, 0, nullptr, nullptr},
    {kConstantInteger, "InputBuffer_MISMATCH", 4, 0, nullptr, nullptr},
    {kConstantInteger, "OutputBuffer_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {kConstantInteger, "ChecksumState_kChunkSize", 128, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_kRecSize", 1011, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_kHeaderSize", 12, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_kPhysicalRecSize", 1024, 0, nullptr, nullptr},
    {kConstantString, "RecordIO_kLegacySyncMarker", 0, 0, const_cast<char*>("RecordIO::kLegacySyncMarker"), nullptr},
    {kConstantInteger, "RecordIO_kMaxRecordSize", 1073741823, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_SINGLETON", 0, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_FIXED_SIZE", 1, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_VARIABLE_SIZE", 2, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_OTHER_TAG", 3, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_ZLIB_TAG", 4, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_CWZ_TAG", 5, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_CW_TAG", 6, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_PLUME_TAG", 7, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_MIN_TAG", 0, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_MAX_TAG", 7, 0, nullptr, nullptr},
    {kConstantInteger, "RecordIO_NUM_TAGS", 8, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_SINGLE_WRITER", 0, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_CONCURRENT_APPENDERS", 1, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_AUTO", 2, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_WRITE_ERROR", 0, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_WRITE_OK", 1, 0, nullptr, nullptr},
    {kConstantInteger, "RecordWriter_WRITE_RETRY", 2, 0, nullptr, nullptr},
    {kConstantInteger, "RecordReader_READ_OK", 0, 0, nullptr, nullptr},
    {kConstantInteger, "RecordReader_READ_DONE", 1, 0, nullptr, nullptr},
    {kConstantInteger, "RecordReader_READ_RETRY", 2, 0, nullptr, nullptr},
    {kConstantInteger, "RecordReader_kDefaultMaxExpectedRecordLength", 4194304, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_kDefaultBufferSize", 524288, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_SINGLE_WRITER", 0, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_CONCURRENT_APPENDERS", 1, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_AUTO", 2, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_WRITE_OK", 1, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_WRITE_ERROR", 0, 0, nullptr, nullptr},
    {kConstantInteger, "LogWriter_WRITE_RETRY", 2, 0, nullptr, nullptr},
    {0, nullptr, 0, 0, nullptr, nullptr}};

void SWIG_Python_InstallConstants(PyObject* d, ConstantRow constants[]) {
  for (ConstantRow* c = constants; c->type; ++c) {
    PyObject* obj = nullptr;
    switch (c->type) {
      case kConstantInteger:
        obj = PyInt_FromLong(c->lvalue);
        break;
      case kConstantFloat:
        obj = PyFloat_FromDouble(c->dvalue);
        break;
      case kConstantString:
        obj = PyString_FromString(static_cast<const char*>(c->pvalue));
        break;
      case kConstantPointer:
        obj = SWIG_Python_NewPointerObj(c->pvalue, *c->ptype, 0);
        break;
      case kConstantPacked:
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
