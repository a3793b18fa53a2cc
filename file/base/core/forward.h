// Forward declarations of every library type that crosses into other layers.
// Types whose full definition lives elsewhere (or arrives later) are named
// here so that pointers to them can be passed around without their headers.
#ifndef FILE_BASE_FORWARD_H_
#define FILE_BASE_FORWARD_H_

#include "file/base/util/base_types.h"

struct Attr_t;
struct FileStat;
class FileOpenOptions;
class FileVersion;
class AsyncIO;
class AsyncIOWatcher;
class AsyncIOForSS;
template <class Arg> class Callback1;
class StringPiece;
typedef double WallTime;

class File;
struct FileDataVariant;  // File::DataVariant
class FileFactory;
class FileCloser;
class FileDeleter;
class FileName;
struct FileAttr;
class FileAttributes;
class FileOpStats;
class FileDataVerifier;
class LockInfo;
class CheckpointRecord;
class CheckpointWriter;
class IOBuffer;
class MemBlock;
class BandwidthLimit;
class Cord;

class InputBuffer;
class InputBufferOptions;
class OutputBuffer;
class OutputBufferOptions;
class RecordIO;
class RecordWriter;
class RecordWriterOpener;
class RecordReader;
class RecordReaderOptions;
class RecordReaderScript;
class LogBase;
class LogReader;
class BackgroundLogReader;
class LogWriter;
class LogReaderScript;
class ChecksumState;
class Sha1;
class Sha1Checksum;
class FileReedSolomon;
enum FileReedSolomonEncoding : int;  // FileReedSolomon::Encoding

namespace file {
class Operation;
class FileProperties;
struct RecursiveCreateOptions;
}  // namespace file
namespace util {
class Status;
class Priority;
class ErrorSpace;
}  // namespace util
namespace net_base {
class OptionalTrafficClass;
}
namespace proto2 {
class Message;
}

#endif  // FILE_BASE_FORWARD_H_
