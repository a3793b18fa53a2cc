// The module's 71 pointer types: their registry slots and the C++ types that
// map to them.
#ifndef RUNTIME_TYPE_TABLE_H_
#define RUNTIME_TYPE_TABLE_H_

#include <sys/types.h>

#include <cstddef>

#include "file/base/core/forward.h"
#include "runtime/type_registry.h"

// X(slot, mangled name, C++ type the slot's pointers point to)
#define PQ_TYPES(X)                                                \
  X(0, vectorTFileStat_t, vector<FileStat>)                        \
  X(1, util__Status, util::Status)                                 \
  X(2, LogBase, LogBase)                                           \
  X(3, vectorTFile__DataVariant_p_t, vector<FileDataVariant*>)     \
  X(4, FileReedSolomon, FileReedSolomon)                           \
  X(5, FileVersion, FileVersion)                                   \
  X(6, RecordReader, RecordReader)                                 \
  X(7, FileFactory, FileFactory)                                   \
  X(8, proto2__Message, proto2::Message)                           \
  X(9, FileAttributes, FileAttributes)                             \
  X(10, p_FileDataVerifier, FileDataVerifier*)                     \
  X(11, file__FileProperties, file::FileProperties)                \
  X(12, InputBuffer, InputBuffer)                                  \
  X(13, OutputBuffer, OutputBuffer)                                \
  X(14, CheckpointWriter, CheckpointWriter)                        \
  X(15, RecordWriter, RecordWriter)                                \
  X(16, uint32, uint32)                                            \
  X(17, bool, bool)                                                \
  X(18, AsyncIOWatcher, AsyncIOWatcher)                            \
  X(19, p_void, void*)                                             \
  X(20, BandwidthLimit, BandwidthLimit)                            \
  X(21, file__Operation, file::Operation)                          \
  X(22, int64, int64)                                              \
  X(23, util__ErrorSpace, util::ErrorSpace)                        \
  X(24, ssize_t, ssize_t)                                          \
  X(25, StringPiece, StringPiece)                                  \
  X(26, size_t, size_t)                                            \
  X(27, RecordIO, RecordIO)                                        \
  X(28, Cord, Cord)                                                \
  X(29, FileCloser, FileCloser)                                    \
  X(30, RecordReaderScript, RecordReaderScript)                    \
  X(31, LogReaderScript, LogReaderScript)                          \
  X(32, LogReader, LogReader)                                      \
  X(33, BackgroundLogReader, BackgroundLogReader)                  \
  X(34, Sha1, Sha1)                                                \
  X(35, IOBuffer, IOBuffer)                                        \
  X(36, LogWriter, LogWriter)                                      \
  X(37, vectorTint_t, vector<int>)                                 \
  X(38, MemBlock, MemBlock)                                        \
  X(39, RecordWriterOpener, RecordWriterOpener)                    \
  X(40, FileStat, FileStat)                                        \
  X(41, util__Priority, util::Priority)                            \
  X(42, vectorTFile_p_t, vector<File*>)                            \
  X(43, FileName, FileName)                                        \
  X(44, file__RecursiveCreateOptions, file::RecursiveCreateOptions) \
  X(45, FileOpenOptions, FileOpenOptions)                          \
  X(46, InputBufferOptions, InputBufferOptions)                    \
  X(47, net_base__OptionalTrafficClass, net_base::OptionalTrafficClass) \
  X(48, OutputBufferOptions, OutputBufferOptions)                  \
  X(49, RecordReaderOptions, RecordReaderOptions)                  \
  X(50, vectorTbool_t, vector<bool>)                               \
  X(51, Callback1Tbool_t, Callback1<bool>)                         \
  X(52, CheckpointRecord, CheckpointRecord)                        \
  X(53, Sha1Checksum, Sha1Checksum)                                \
  X(54, Attr_t, Attr_t)                                            \
  X(55, AsyncIO, AsyncIO)                                          \
  X(56, shared_ptrTFileFactory_t, shared_ptr<FileFactory>)         \
  X(57, FileOpStats, FileOpStats)                                  \
  X(58, FileAttr, FileAttr)                                        \
  X(59, p_FileAttr, FileAttr*)                                     \
  X(60, ChecksumState, ChecksumState)                              \
  X(61, Callback1Tstring_const_R_t, Callback1<const ::string&>)    \
  X(62, AsyncIOForSS, AsyncIOForSS)                                \
  X(63, int, int)                                                  \
  X(64, FileDeleter, FileDeleter)                                  \
  X(65, vectorTstring_t, vector<::string>)                         \
  X(66, std__vectorTstring_t, pq::StdStringVectorTag)              \
  X(67, FileReedSolomon__Encoding, FileReedSolomonEncoding)        \
  X(68, File, File)                                                \
  X(69, LockInfo, LockInfo)                                        \
  X(70, WallTime, WallTime)

namespace pq {

// `std::vector<string>` (the stringVector class) is the same C++ type as
// `vector<string>` but a different pointer type; this tag names its slot.
struct StdStringVectorTag;

constexpr int kTypeCount = 71;

// Maps the pointed-to C++ type of a pointer parameter or result to its slot.
template <class T>
struct TypeSlot;  // undefined: a type that cannot cross the boundary
#define PQ_TYPE_SLOT(slot, mangled, cpp) \
  template <>                           \
  struct TypeSlot<cpp> {                \
    static constexpr int value = slot;  \
  };
PQ_TYPES(PQ_TYPE_SLOT)
#undef PQ_TYPE_SLOT

template <class T>
concept Wrapped = requires { TypeSlot<T>::value; };

}  // namespace pq

// Registered heads, filled at initialisation; wrappers address types by slot.
extern swig_type_info* swig_types[pq::kTypeCount + 1];
// The static descriptor arrays, in registration order, null-terminated.
extern swig_type_info* swig_types_initial[pq::kTypeCount + 1];

namespace pq {
template <class T>
inline swig_type_info* TypeOf() {
  return swig_types[TypeSlot<std::remove_cv_t<T>>::value];
}
}  // namespace pq

#endif  // RUNTIME_TYPE_TABLE_H_
