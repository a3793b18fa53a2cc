// OutputBuffer and OutputBufferOptions. The static openers return buffers
// their proxies do not own; write counts are plain ints. Optional
// constructor ints left out arrive as 0, which the library takes as its
// default.
#include "file/base/core/async.h"
#include "file/base/core/file_attributes.h"
#include "file/base/file.h"
#include "file/base/outputbuffer.h"
#include "wrappers/calling.h"
#include "wrappers/stream_params.h"

using namespace pq;  // NOLINT

PQ_METHOD_LIST(kOutputBufferMethods,
  def<"new_OutputBufferOptions", "", []() { return new OutputBufferOptions(); }>(),
  def<"OutputBufferOptions_set_file_attributes", "OO", [](OutputBufferOptions& o, unsigned int v) { o.set_file_attributes(v); }>(),
  def<"OutputBufferOptions_set_file_permissions", "OO", [](OutputBufferOptions& o, unsigned int v) { o.set_file_permissions(v); }>(),
  def<"OutputBufferOptions_set_file_group", "Os", [](OutputBufferOptions& o, const char* g) { o.set_file_group(g); }>(),
  def<"OutputBufferOptions_set_aio_budget", "Oi", [](OutputBufferOptions& o, int v) { o.set_aio_budget(v); }>(),
  def<"OutputBufferOptions_set_memory_budget", "Oi", [](OutputBufferOptions& o, int v) { o.set_memory_budget(v); }>(),
  def<"OutputBufferOptions_set_checkpoint", "OO", [](OutputBufferOptions& o, const CheckpointRecord* c) { o.set_checkpoint(c); }>(),
  def<"OutputBufferOptions_set_attribute_file", "OO", [](OutputBufferOptions& o, bool v) { o.set_attribute_file(v); }>(),
  def<"delete_OutputBufferOptions", "O", [](OutputBufferOptions* o) { delete o; }>(),
  registration<"OutputBufferOptions_swigregister", OutputBufferOptions>(),

  def<"OutputBuffer_OpenWithOptions", "ssO", &OutputBuffer::OpenWithOptions>(),
  def<"OutputBuffer_OpenWithFile", "OO", &OutputBuffer::OpenWithFile>(),
  def<"OutputBuffer_OpenOrDie", "ssOiiO", &OutputBuffer::OpenOrDie>(),
  def<"new_OutputBuffer", "O|ii", [](File* f, int size, int aio_budget) { return new OutputBuffer(f, size, aio_budget); }>(),
  def<"delete_OutputBuffer", "O", [](OutputBuffer* b) { delete b; }>(),
  def<"OutputBuffer_CloseFile", "O", [](OutputBuffer& b) { return b.CloseFile(); }>(),
  def<"OutputBuffer_Write", "OOO", [](OutputBuffer& b, const void* buf, size_t n) { return b.Write(buf, n); }>(),
  def<"OutputBuffer_TryWrite", "OOOO", [](OutputBuffer& b, const void* buf, size_t n, AsyncIO* aio) {
    return b.TryWrite(buf, n, aio);
  }>(),
  def<"OutputBuffer_Flush", "O", [](OutputBuffer& b) { return b.Flush(); }>(),
  def<"OutputBuffer_Size", "O", [](OutputBuffer& b) { return b.Size(); }>(),
  def<"OutputBuffer_Tell", "O", [](OutputBuffer& b) { return b.Tell(); }>(),
  def<"OutputBuffer_AvailableBuffer", "O", [](const OutputBuffer& b) { return b.AvailableBuffer(); }>(),
  def<"OutputBuffer_Seek", "OO", [](OutputBuffer& b, int64 offset) { return b.Seek(offset); }>(),
  def<"OutputBuffer_Truncate", "OO", [](OutputBuffer& b, int64 length) { return b.Truncate(length); }>(),
  def<"OutputBuffer_RewindOrDie", "OO", [](OutputBuffer& b, const FileAttr& attr) { b.RewindOrDie(attr); }>(),
  def<"OutputBuffer_AsyncEnabled", "O", [](const OutputBuffer& b) { return b.AsyncEnabled(); }>(),
  // WriteString(s) is Write(s.data(), s.length()): the str's own bytes go
  // to Write, with no copy into a library string first.
  def<"OutputBuffer_WriteString", "OO", [](OutputBuffer& b, Bytes s) { return b.Write(s.data, s.size); }>(),
  def<"OutputBuffer_WriteLine", "OO", [](OutputBuffer& b, const ::string& s) { return b.WriteLine(s); }>(),
  def<"OutputBuffer_Align", "Oic", [](OutputBuffer& b, int alignment, char fill) { return b.Align(alignment, fill); }>(),
  def<"OutputBuffer_AlignDefault", "Oc", [](OutputBuffer& b, char fill) { return b.AlignDefault(fill); }>(),
  def<"OutputBuffer_GetFile", "O", [](OutputBuffer& b) { return b.GetFile(); }>(),
  def<"OutputBuffer_CreateFileName", "O", [](OutputBuffer& b) { return b.CreateFileName(); }>(),
  def<"OutputBuffer_GetAttributes", "OO", [](const OutputBuffer& b, FileAttr* attr) { b.GetAttributes(attr); }>(),
  def<"OutputBuffer_Checkpoint", "OO", [](OutputBuffer& b, CheckpointWriter* w) { b.Checkpoint(w); }>(),
  def<"OutputBuffer_RelinquishFileOwnership", "O", [](OutputBuffer& b) { b.RelinquishFileOwnership(); }>(),
  def<"OutputBuffer_owns_file", "O", [](const OutputBuffer& b) { return b.owns_file(); }>(),
  def<"OutputBuffer_keeps_checksum", "O", [](const OutputBuffer& b) { return b.keeps_checksum(); }>(),
  registration<"OutputBuffer_swigregister", OutputBuffer>()
)
