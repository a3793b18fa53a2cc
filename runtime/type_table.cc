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

swig_type_info _swigt__p_vectorTFileStat_t[] = {
    {"_p_vectorTFileStat_t", nullptr, "vector<FileStat > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_vectorTFileStat_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_util__Status[] = {
    {"_p_util__Status", nullptr, "util::Status *", nullptr, nullptr, nullptr, nullptr},
    {"_p_util__Status", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_LogBase[] = {
    {"_p_LogBase", nullptr, "LogBase *", nullptr, nullptr, nullptr, nullptr},
    {"_p_LogWriter", _p_LogWriterTo_p_LogBase, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_LogReader", _p_LogReaderTo_p_LogBase, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_LogBase", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_LogReaderScript", _p_LogReaderScriptTo_p_LogBase, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_vectorTFile__DataVariant_p_t[] = {
    {"_p_vectorTFile__DataVariant_p_t", nullptr, "vector<File::DataVariant * > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_vectorTFile__DataVariant_p_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileReedSolomon[] = {
    {"_p_FileReedSolomon", nullptr, "FileReedSolomon *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileReedSolomon", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileVersion[] = {
    {"_p_FileVersion", nullptr, "FileVersion *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileVersion", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_RecordReader[] = {
    {"_p_RecordReader", nullptr, "RecordReader *", nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordReader", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordReaderScript", _p_RecordReaderScriptTo_p_RecordReader, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileFactory[] = {
    {"_p_FileFactory", nullptr, "FileFactory *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileFactory", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_proto2__Message[] = {
    {"_p_proto2__Message", nullptr, "proto2::Message *", nullptr, nullptr, nullptr, nullptr},
    {"_p_proto2__Message", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileAttributes[] = {
    {"_p_FileAttributes", nullptr, "FileAttributes *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileAttributes", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_p_FileDataVerifier[] = {
    {"_p_p_FileDataVerifier", nullptr, "FileDataVerifier **", nullptr, nullptr, nullptr, nullptr},
    {"_p_p_FileDataVerifier", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_file__FileProperties[] = {
    {"_p_file__FileProperties", nullptr, "file::FileProperties *", nullptr, nullptr, nullptr, nullptr},
    {"_p_file__FileProperties", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_InputBuffer[] = {
    {"_p_InputBuffer", nullptr, "InputBuffer *", nullptr, nullptr, nullptr, nullptr},
    {"_p_InputBuffer", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_OutputBuffer[] = {
    {"_p_OutputBuffer", nullptr, "OutputBuffer *", nullptr, nullptr, nullptr, nullptr},
    {"_p_OutputBuffer", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_CheckpointWriter[] = {
    {"_p_CheckpointWriter", nullptr, "CheckpointWriter *", nullptr, nullptr, nullptr, nullptr},
    {"_p_CheckpointWriter", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_RecordWriter[] = {
    {"_p_RecordWriter", nullptr, "RecordWriter *", nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordWriter", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_uint32[] = {
    {"_p_uint32", nullptr, "uint32 *", nullptr, nullptr, nullptr, nullptr},
    {"_p_uint32", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_size_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_bool[] = {
    {"_p_bool", nullptr, "bool *", nullptr, nullptr, nullptr, nullptr},
    {"_p_bool", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_AsyncIOWatcher[] = {
    {"_p_AsyncIOWatcher", nullptr, "AsyncIOWatcher *", nullptr, nullptr, nullptr, nullptr},
    {"_p_AsyncIOWatcher", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_p_void[] = {
    {"_p_p_void", nullptr, "void **", nullptr, nullptr, nullptr, nullptr},
    {"_p_p_void", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_BandwidthLimit[] = {
    {"_p_BandwidthLimit", nullptr, "BandwidthLimit *", nullptr, nullptr, nullptr, nullptr},
    {"_p_BandwidthLimit", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_file__Operation[] = {
    {"_p_file__Operation", nullptr, "file::Operation *", nullptr, nullptr, nullptr, nullptr},
    {"_p_file__Operation", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_int64[] = {
    {"_p_int64", nullptr, "int64 *", nullptr, nullptr, nullptr, nullptr},
    {"_p_int64", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_util__ErrorSpace[] = {
    {"_p_util__ErrorSpace", nullptr, "util::ErrorSpace *", nullptr, nullptr, nullptr, nullptr},
    {"_p_util__ErrorSpace", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_ssize_t[] = {
    {"_p_ssize_t", nullptr, "ssize_t *", nullptr, nullptr, nullptr, nullptr},
    {"_p_ssize_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_StringPiece[] = {
    {"_p_StringPiece", nullptr, "StringPiece *", nullptr, nullptr, nullptr, nullptr},
    {"_p_StringPiece", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_size_t[] = {
    {"_p_size_t", nullptr, "size_t *", nullptr, nullptr, nullptr, nullptr},
    {"_p_uint32", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_size_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_RecordIO[] = {
    {"_p_RecordIO", nullptr, "RecordIO *", nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordIO", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_Cord[] = {
    {"_p_Cord", nullptr, "Cord *", nullptr, nullptr, nullptr, nullptr},
    {"_p_Cord", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileCloser[] = {
    {"_p_FileCloser", nullptr, "FileCloser *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileCloser", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_RecordReaderScript[] = {
    {"_p_RecordReaderScript", nullptr, "RecordReaderScript *", nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordReaderScript", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_LogReaderScript[] = {
    {"_p_LogReaderScript", nullptr, "LogReaderScript *", nullptr, nullptr, nullptr, nullptr},
    {"_p_LogReaderScript", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_LogReader[] = {
    {"_p_LogReader", nullptr, "LogReader *", nullptr, nullptr, nullptr, nullptr},
    {"_p_LogReader", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_LogReaderScript", _p_LogReaderScriptTo_p_LogReader, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_BackgroundLogReader[] = {
    {"_p_BackgroundLogReader", nullptr, "BackgroundLogReader *", nullptr, nullptr, nullptr, nullptr},
    {"_p_BackgroundLogReader", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_Sha1[] = {
    {"_p_Sha1", nullptr, "Sha1 *", nullptr, nullptr, nullptr, nullptr},
    {"_p_Sha1Checksum", _p_Sha1ChecksumTo_p_Sha1, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_Sha1", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_IOBuffer[] = {
    {"_p_IOBuffer", nullptr, "IOBuffer *", nullptr, nullptr, nullptr, nullptr},
    {"_p_IOBuffer", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_LogWriter[] = {
    {"_p_LogWriter", nullptr, "LogWriter *", nullptr, nullptr, nullptr, nullptr},
    {"_p_LogWriter", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_vectorTint_t[] = {
    {"_p_vectorTint_t", nullptr, "vector<int > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_vectorTint_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_MemBlock[] = {
    {"_p_MemBlock", nullptr, "MemBlock *", nullptr, nullptr, nullptr, nullptr},
    {"_p_MemBlock", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_RecordWriterOpener[] = {
    {"_p_RecordWriterOpener", nullptr, "RecordWriterOpener *", nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordWriterOpener", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileStat[] = {
    {"_p_FileStat", nullptr, "FileStat *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileStat", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_util__Priority[] = {
    {"_p_util__Priority", nullptr, "util::Priority *", nullptr, nullptr, nullptr, nullptr},
    {"_p_util__Priority", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_vectorTFile_p_t[] = {
    {"_p_vectorTFile_p_t", nullptr, "vector<File * > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_vectorTFile_p_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileName[] = {
    {"_p_FileName", nullptr, "FileName *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileName", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_file__RecursiveCreateOptions[] = {
    {"_p_file__RecursiveCreateOptions", nullptr, "file::RecursiveCreateOptions *", nullptr, nullptr, nullptr, nullptr},
    {"_p_file__RecursiveCreateOptions", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileOpenOptions[] = {
    {"_p_FileOpenOptions", nullptr, "FileOpenOptions *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileOpenOptions", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_InputBufferOptions[] = {
    {"_p_InputBufferOptions", nullptr, "InputBufferOptions *", nullptr, nullptr, nullptr, nullptr},
    {"_p_InputBufferOptions", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_net_base__OptionalTrafficClass[] = {
    {"_p_net_base__OptionalTrafficClass", nullptr, "net_base::OptionalTrafficClass *", nullptr, nullptr, nullptr, nullptr},
    {"_p_net_base__OptionalTrafficClass", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_OutputBufferOptions[] = {
    {"_p_OutputBufferOptions", nullptr, "OutputBufferOptions *", nullptr, nullptr, nullptr, nullptr},
    {"_p_OutputBufferOptions", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_RecordReaderOptions[] = {
    {"_p_RecordReaderOptions", nullptr, "RecordReaderOptions *", nullptr, nullptr, nullptr, nullptr},
    {"_p_RecordReaderOptions", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_vectorTbool_t[] = {
    {"_p_vectorTbool_t", nullptr, "vector<bool > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_vectorTbool_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_Callback1Tbool_t[] = {
    {"_p_Callback1Tbool_t", nullptr, "Callback1<bool > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_Callback1Tbool_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_CheckpointRecord[] = {
    {"_p_CheckpointRecord", nullptr, "CheckpointRecord *", nullptr, nullptr, nullptr, nullptr},
    {"_p_CheckpointRecord", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_Sha1Checksum[] = {
    {"_p_Sha1Checksum", nullptr, "Sha1Checksum *", nullptr, nullptr, nullptr, nullptr},
    {"_p_Sha1Checksum", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_Attr_t[] = {
    {"_p_Attr_t", nullptr, "Attr_t *", nullptr, nullptr, nullptr, nullptr},
    {"_p_Attr_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_AsyncIO[] = {
    {"_p_AsyncIO", nullptr, "AsyncIO *", nullptr, nullptr, nullptr, nullptr},
    {"_p_AsyncIOForSS", _p_AsyncIOForSSTo_p_AsyncIO, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_AsyncIOWatcher", _p_AsyncIOWatcherTo_p_AsyncIO, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"_p_AsyncIO", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_shared_ptrTFileFactory_t[] = {
    {"_p_shared_ptrTFileFactory_t", nullptr, "shared_ptr<FileFactory > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_shared_ptrTFileFactory_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileOpStats[] = {
    {"_p_FileOpStats", nullptr, "FileOpStats *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileOpStats", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileAttr[] = {
    {"_p_FileAttr", nullptr, "FileAttr *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileAttr", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_p_FileAttr[] = {
    {"_p_p_FileAttr", nullptr, "FileAttr **", nullptr, nullptr, nullptr, nullptr},
    {"_p_p_FileAttr", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_ChecksumState[] = {
    {"_p_ChecksumState", nullptr, "ChecksumState *", nullptr, nullptr, nullptr, nullptr},
    {"_p_ChecksumState", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_Callback1Tstring_const_R_t[] = {
    {"_p_Callback1Tstring_const_R_t", nullptr, "Callback1<string const & > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_Callback1Tstring_const_R_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_AsyncIOForSS[] = {
    {"_p_AsyncIOForSS", nullptr, "AsyncIOForSS *", nullptr, nullptr, nullptr, nullptr},
    {"_p_AsyncIOForSS", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_int[] = {
    {"_p_int", nullptr, "int *", nullptr, nullptr, nullptr, nullptr},
    {"_p_int", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileDeleter[] = {
    {"_p_FileDeleter", nullptr, "FileDeleter *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileDeleter", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_vectorTstring_t[] = {
    {"_p_vectorTstring_t", nullptr, "vector<string > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_vectorTstring_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_std__vectorTstring_t[] = {
    {"_p_std__vectorTstring_t", nullptr, "std::vector<string > *", nullptr, nullptr, nullptr, nullptr},
    {"_p_std__vectorTstring_t", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_FileReedSolomon__Encoding[] = {
    {"_p_FileReedSolomon__Encoding", nullptr, "FileReedSolomon::Encoding *", nullptr, nullptr, nullptr, nullptr},
    {"_p_FileReedSolomon__Encoding", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_File[] = {
    {"_p_File", nullptr, "File *", nullptr, nullptr, nullptr, nullptr},
    {"_p_File", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_LockInfo[] = {
    {"_p_LockInfo", nullptr, "LockInfo *", nullptr, nullptr, nullptr, nullptr},
    {"_p_LockInfo", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};
swig_type_info _swigt__p_WallTime[] = {
    {"_p_WallTime", nullptr, "WallTime *", nullptr, nullptr, nullptr, nullptr},
    {"_p_WallTime", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr}};

}  // namespace

swig_type_info* swig_types[pq::kTypeCount + 1];
swig_type_info* swig_types_initial[pq::kTypeCount + 1] = {
    _swigt__p_vectorTFileStat_t,
    _swigt__p_util__Status,
    _swigt__p_LogBase,
    _swigt__p_vectorTFile__DataVariant_p_t,
    _swigt__p_FileReedSolomon,
    _swigt__p_FileVersion,
    _swigt__p_RecordReader,
    _swigt__p_FileFactory,
    _swigt__p_proto2__Message,
    _swigt__p_FileAttributes,
    _swigt__p_p_FileDataVerifier,
    _swigt__p_file__FileProperties,
    _swigt__p_InputBuffer,
    _swigt__p_OutputBuffer,
    _swigt__p_CheckpointWriter,
    _swigt__p_RecordWriter,
    _swigt__p_uint32,
    _swigt__p_bool,
    _swigt__p_AsyncIOWatcher,
    _swigt__p_p_void,
    _swigt__p_BandwidthLimit,
    _swigt__p_file__Operation,
    _swigt__p_int64,
    _swigt__p_util__ErrorSpace,
    _swigt__p_ssize_t,
    _swigt__p_StringPiece,
    _swigt__p_size_t,
    _swigt__p_RecordIO,
    _swigt__p_Cord,
    _swigt__p_FileCloser,
    _swigt__p_RecordReaderScript,
    _swigt__p_LogReaderScript,
    _swigt__p_LogReader,
    _swigt__p_BackgroundLogReader,
    _swigt__p_Sha1,
    _swigt__p_IOBuffer,
    _swigt__p_LogWriter,
    _swigt__p_vectorTint_t,
    _swigt__p_MemBlock,
    _swigt__p_RecordWriterOpener,
    _swigt__p_FileStat,
    _swigt__p_util__Priority,
    _swigt__p_vectorTFile_p_t,
    _swigt__p_FileName,
    _swigt__p_file__RecursiveCreateOptions,
    _swigt__p_FileOpenOptions,
    _swigt__p_InputBufferOptions,
    _swigt__p_net_base__OptionalTrafficClass,
    _swigt__p_OutputBufferOptions,
    _swigt__p_RecordReaderOptions,
    _swigt__p_vectorTbool_t,
    _swigt__p_Callback1Tbool_t,
    _swigt__p_CheckpointRecord,
    _swigt__p_Sha1Checksum,
    _swigt__p_Attr_t,
    _swigt__p_AsyncIO,
    _swigt__p_shared_ptrTFileFactory_t,
    _swigt__p_FileOpStats,
    _swigt__p_FileAttr,
    _swigt__p_p_FileAttr,
    _swigt__p_ChecksumState,
    _swigt__p_Callback1Tstring_const_R_t,
    _swigt__p_AsyncIOForSS,
    _swigt__p_int,
    _swigt__p_FileDeleter,
    _swigt__p_vectorTstring_t,
    _swigt__p_std__vectorTstring_t,
    _swigt__p_FileReedSolomon__Encoding,
    _swigt__p_File,
    _swigt__p_LockInfo,
    _swigt__p_WallTime,
    nullptr};
