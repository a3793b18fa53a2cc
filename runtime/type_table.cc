// The static descriptor arrays of the module's pointer types, in
// registration order. Element 0 describes the type; the following elements
// are the pointer types it accepts (itself included), each with the cast that
// adjusts such a pointer to this type; a null name closes the array.
#include "runtime/type_table.h"

namespace {

// Every subclass keeps its base at the start of the object (single
// inheritance), so all the casts are the identity.
void* IdentityCast(void* p) { return p; }

void* _p_AsyncIOForSSTo_p_AsyncIO(void* p) { return IdentityCast(p); }
void* _p_AsyncIOWatcherTo_p_AsyncIO(void* p) { return IdentityCast(p); }
void* _p_LogReaderScriptTo_p_LogBase(void* p) { return IdentityCast(p); }
void* _p_LogReaderScriptTo_p_LogReader(void* p) { return IdentityCast(p); }
void* _p_LogReaderTo_p_LogBase(void* p) { return IdentityCast(p); }
void* _p_LogWriterTo_p_LogBase(void* p) { return IdentityCast(p); }
void* _p_RecordReaderScriptTo_p_RecordReader(void* p) { return IdentityCast(p); }
void* _p_Sha1ChecksumTo_p_Sha1(void* p) { return IdentityCast(p); }

#define PQ_ENTRY(mangled, cast) {"_p_" #mangled, cast, nullptr, nullptr, nullptr, nullptr, nullptr}
#define PQ_HEAD(mangled, text) {"_p_" #mangled, nullptr, text, nullptr, nullptr, nullptr, nullptr}
#define PQ_END {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}
// A type that accepts only pointers of its own type.
#define PQ_PLAIN_TYPE(mangled, text) \
  swig_type_info descriptors_p_##mangled[] = {PQ_HEAD(mangled, text), PQ_ENTRY(mangled, nullptr), PQ_END};

PQ_PLAIN_TYPE(vectorTFileStat_t, "vector<FileStat > *")
PQ_PLAIN_TYPE(util__Status, "util::Status *")
swig_type_info descriptors_p_LogBase[] = {
    PQ_HEAD(LogBase, "LogBase *"),
    PQ_ENTRY(LogWriter, _p_LogWriterTo_p_LogBase),
    PQ_ENTRY(LogReader, _p_LogReaderTo_p_LogBase),
    PQ_ENTRY(LogBase, nullptr),
    PQ_ENTRY(LogReaderScript, _p_LogReaderScriptTo_p_LogBase),
    PQ_END};
PQ_PLAIN_TYPE(vectorTFile__DataVariant_p_t, "vector<File::DataVariant * > *")
PQ_PLAIN_TYPE(FileReedSolomon, "FileReedSolomon *")
PQ_PLAIN_TYPE(FileVersion, "FileVersion *")
swig_type_info descriptors_p_RecordReader[] = {
    PQ_HEAD(RecordReader, "RecordReader *"),
    PQ_ENTRY(RecordReader, nullptr),
    PQ_ENTRY(RecordReaderScript, _p_RecordReaderScriptTo_p_RecordReader),
    PQ_END};
PQ_PLAIN_TYPE(FileFactory, "FileFactory *")
PQ_PLAIN_TYPE(proto2__Message, "proto2::Message *")
PQ_PLAIN_TYPE(FileAttributes, "FileAttributes *")
PQ_PLAIN_TYPE(p_FileDataVerifier, "FileDataVerifier **")
PQ_PLAIN_TYPE(file__FileProperties, "file::FileProperties *")
PQ_PLAIN_TYPE(InputBuffer, "InputBuffer *")
PQ_PLAIN_TYPE(OutputBuffer, "OutputBuffer *")
PQ_PLAIN_TYPE(CheckpointWriter, "CheckpointWriter *")
PQ_PLAIN_TYPE(RecordWriter, "RecordWriter *")
swig_type_info descriptors_p_uint32[] = {
    PQ_HEAD(uint32, "uint32 *"),
    PQ_ENTRY(uint32, nullptr),
    PQ_ENTRY(size_t, nullptr),
    PQ_END};
PQ_PLAIN_TYPE(bool, "bool *")
PQ_PLAIN_TYPE(AsyncIOWatcher, "AsyncIOWatcher *")
PQ_PLAIN_TYPE(p_void, "void **")
PQ_PLAIN_TYPE(BandwidthLimit, "BandwidthLimit *")
PQ_PLAIN_TYPE(file__Operation, "file::Operation *")
PQ_PLAIN_TYPE(int64, "int64 *")
PQ_PLAIN_TYPE(util__ErrorSpace, "util::ErrorSpace *")
PQ_PLAIN_TYPE(ssize_t, "ssize_t *")
PQ_PLAIN_TYPE(StringPiece, "StringPiece *")
swig_type_info descriptors_p_size_t[] = {
    PQ_HEAD(size_t, "size_t *"),
    PQ_ENTRY(uint32, nullptr),
    PQ_ENTRY(size_t, nullptr),
    PQ_END};
PQ_PLAIN_TYPE(RecordIO, "RecordIO *")
PQ_PLAIN_TYPE(Cord, "Cord *")
PQ_PLAIN_TYPE(FileCloser, "FileCloser *")
PQ_PLAIN_TYPE(RecordReaderScript, "RecordReaderScript *")
PQ_PLAIN_TYPE(LogReaderScript, "LogReaderScript *")
swig_type_info descriptors_p_LogReader[] = {
    PQ_HEAD(LogReader, "LogReader *"),
    PQ_ENTRY(LogReader, nullptr),
    PQ_ENTRY(LogReaderScript, _p_LogReaderScriptTo_p_LogReader),
    PQ_END};
PQ_PLAIN_TYPE(BackgroundLogReader, "BackgroundLogReader *")
swig_type_info descriptors_p_Sha1[] = {
    PQ_HEAD(Sha1, "Sha1 *"),
    PQ_ENTRY(Sha1Checksum, _p_Sha1ChecksumTo_p_Sha1),
    PQ_ENTRY(Sha1, nullptr),
    PQ_END};
PQ_PLAIN_TYPE(IOBuffer, "IOBuffer *")
PQ_PLAIN_TYPE(LogWriter, "LogWriter *")
PQ_PLAIN_TYPE(vectorTint_t, "vector<int > *")
PQ_PLAIN_TYPE(MemBlock, "MemBlock *")
PQ_PLAIN_TYPE(RecordWriterOpener, "RecordWriterOpener *")
PQ_PLAIN_TYPE(FileStat, "FileStat *")
PQ_PLAIN_TYPE(util__Priority, "util::Priority *")
PQ_PLAIN_TYPE(vectorTFile_p_t, "vector<File * > *")
PQ_PLAIN_TYPE(FileName, "FileName *")
PQ_PLAIN_TYPE(file__RecursiveCreateOptions, "file::RecursiveCreateOptions *")
PQ_PLAIN_TYPE(FileOpenOptions, "FileOpenOptions *")
PQ_PLAIN_TYPE(InputBufferOptions, "InputBufferOptions *")
PQ_PLAIN_TYPE(net_base__OptionalTrafficClass, "net_base::OptionalTrafficClass *")
PQ_PLAIN_TYPE(OutputBufferOptions, "OutputBufferOptions *")
PQ_PLAIN_TYPE(RecordReaderOptions, "RecordReaderOptions *")
PQ_PLAIN_TYPE(vectorTbool_t, "vector<bool > *")
PQ_PLAIN_TYPE(Callback1Tbool_t, "Callback1<bool > *")
PQ_PLAIN_TYPE(CheckpointRecord, "CheckpointRecord *")
PQ_PLAIN_TYPE(Sha1Checksum, "Sha1Checksum *")
PQ_PLAIN_TYPE(Attr_t, "Attr_t *")
swig_type_info descriptors_p_AsyncIO[] = {
    PQ_HEAD(AsyncIO, "AsyncIO *"),
    PQ_ENTRY(AsyncIOForSS, _p_AsyncIOForSSTo_p_AsyncIO),
    PQ_ENTRY(AsyncIOWatcher, _p_AsyncIOWatcherTo_p_AsyncIO),
    PQ_ENTRY(AsyncIO, nullptr),
    PQ_END};
PQ_PLAIN_TYPE(shared_ptrTFileFactory_t, "shared_ptr<FileFactory > *")
PQ_PLAIN_TYPE(FileOpStats, "FileOpStats *")
PQ_PLAIN_TYPE(FileAttr, "FileAttr *")
PQ_PLAIN_TYPE(p_FileAttr, "FileAttr **")
PQ_PLAIN_TYPE(ChecksumState, "ChecksumState *")
PQ_PLAIN_TYPE(Callback1Tstring_const_R_t, "Callback1<string const & > *")
PQ_PLAIN_TYPE(AsyncIOForSS, "AsyncIOForSS *")
PQ_PLAIN_TYPE(int, "int *")
PQ_PLAIN_TYPE(FileDeleter, "FileDeleter *")
PQ_PLAIN_TYPE(vectorTstring_t, "vector<string > *")
PQ_PLAIN_TYPE(std__vectorTstring_t, "std::vector<string > *")
PQ_PLAIN_TYPE(FileReedSolomon__Encoding, "FileReedSolomon::Encoding *")
PQ_PLAIN_TYPE(File, "File *")
PQ_PLAIN_TYPE(LockInfo, "LockInfo *")
PQ_PLAIN_TYPE(WallTime, "WallTime *")

}  // namespace

swig_type_info* swig_types[pq::kTypeCount + 1];
// Registration order is slot order (PQ_TYPES).
#define PQ_INITIAL(slot, mangled, cpp) descriptors_p_##mangled,
swig_type_info* swig_types_initial[pq::kTypeCount + 1] = {PQ_TYPES(PQ_INITIAL) nullptr};
