// InputBuffer and InputBufferOptions. The raw reads answer with an owned
// ssize_t cell; the first ReadLine form and VerifyChecksum take a str that is
// copied into a temporary and dropped; the second ReadLine form writes into
// the caller's str, never past its own length. Optional constructor ints
// left out arrive as 0, which the library takes as its default.
#include "file/base/core/async.h"
#include "file/base/file.h"
#include "file/base/inputbuffer.h"
#include "wrappers/calling.h"
#include "wrappers/stream_params.h"

using namespace pq;  // NOLINT

namespace {
Owned<ssize_t> Count(ssize_t n) { return Owned<ssize_t>{new ssize_t(n)}; }

// The largest max that ReadToString serves as a single read (its own piece
// size); reads with a larger or no max take the general path.
constexpr int64 kMaxDirectString = int64{64} << 20;

// ReadToString with the bytes landing straight in the result str. For a max
// of at most kMaxDirectString the library's ReadToString is one Read of max
// bytes (short only at end of file or on an error), so that Read goes into
// a str of max bytes (address space only: pages are touched as bytes
// arrive), cut to what arrived. Other maxima read into a library string
// that is copied once. The lock is released only around the read.
PyObject* ReadToPyString(InputBuffer& b, int64 max) {
  if (max < 0 || max > kMaxDirectString) {
    ::string out;
    {
      Unlocked unlocked;
      b.ReadToString(&out, max);
    }
    return PyString_FromStringAndSize(out.data(), static_cast<Py_ssize_t>(out.size()));
  }
  if (max == 0) return PyString_FromStringAndSize("", 0);
  PyObject* bytes = PyString_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(max));
  if (bytes == nullptr) return nullptr;
  ssize_t got;
  {
    Unlocked unlocked;
    got = b.Read(PyString_AS_STRING(bytes), static_cast<size_t>(max));
  }
  if (got < max && _PyString_Resize(&bytes, got > 0 ? static_cast<Py_ssize_t>(got) : 0) != 0) return nullptr;
  return bytes;
}
}  // namespace

PQ_METHOD_LIST(kInputBufferMethods,
  overload<"new_InputBuffer",
           form<"O|iiiO", [](File* f, int size, int lookahead, int read_size, TrueUnlessGiven owns) {
             return new InputBuffer(f, size, lookahead, read_size, owns);
           }>,
           form<"OO", [](File* f, const InputBufferOptions& o) { return new InputBuffer(f, o); }>>(),
  def<"delete_InputBuffer", "O", [](InputBuffer* b) { delete b; }>(),
  def<"InputBuffer_CloseFile", "O", [](InputBuffer& b) { return b.CloseFile(); }>(),
  def<"InputBuffer_Read", "OOO", [](InputBuffer& b, void* buf, size_t n) { return Count(b.Read(buf, n)); }>(),
  def<"InputBuffer_ReadToString", "OO", &ReadToPyString, HoldLock>(),
  def<"InputBuffer_TryRead", "OOOO", [](InputBuffer& b, void* buf, size_t n, AsyncIO* aio) {
    return Count(b.TryRead(buf, n, aio));
  }>(),
  def<"InputBuffer_Prefetch", "OOOO", [](InputBuffer& b, int64 offset, int64 length, AsyncIO* done) {
    b.Prefetch(offset, length, done);
  }>(),
  def<"InputBuffer_Unfetch", "OOO", [](InputBuffer& b, int64 offset, int64 length) { b.Unfetch(offset, length); }>(),
  def<"InputBuffer_AsyncReadEnabled", "O", [](const InputBuffer& b) { return b.AsyncReadEnabled(); }>(),
  def<"InputBuffer_UseAIO", "OO", [](InputBuffer& b, bool use) { b.UseAIO(use); }>(),
  def<"InputBuffer_Tell", "O", [](const InputBuffer& b) { return b.Tell(); }>(),
  def<"InputBuffer_Seek", "OO", [](InputBuffer& b, int64 offset) { return b.Seek(offset); }>(),
  def<"InputBuffer_Size", "O", [](const InputBuffer& b) { return b.Size(); }>(),
  def<"InputBuffer_SizeHint", "O", [](const InputBuffer& b) { return b.SizeHint(); }>(),
  def<"InputBuffer_eof", "O", [](const InputBuffer& b) { return b.eof(); }>(),
  def<"InputBuffer_AvailableData", "O", [](const InputBuffer& b) { return b.AvailableData(); }>(),
  overload<"InputBuffer_ReadLine",
           form<"OO", [](InputBuffer& b, DiscardedString line) { return b.ReadLine(line); }>,
           form<"OsO", [](InputBuffer& b, WritableText text, size_t size) {
             return b.ReadLine(text.data, size < text.capacity ? size : text.capacity);
           }>>(),
  def<"InputBuffer_ReadLineAsString", "OO", [](InputBuffer& b, size_t max) { return b.ReadLineAsString(max); }>(),
  def<"InputBuffer_GetFile", "O", [](InputBuffer& b) { return b.GetFile(); }>(),
  def<"InputBuffer_ReadVarint32", "O", [](InputBuffer& b, Out<uint32>& value) { return b.ReadVarint32(value); }>(),
  def<"InputBuffer_SetFile", "OOO", [](InputBuffer& b, File* f, int64 offset) { b.SetFile(f, offset); }>(),
  def<"InputBuffer_CreateFileName", "O", [](InputBuffer& b) { return b.CreateFileName(); }>(),
  def<"InputBuffer_SetReadSize", "OO", [](InputBuffer& b, size_t size) { b.SetReadSize(size); }>(),
  def<"InputBuffer_SetLookahead", "OO", [](InputBuffer& b, size_t bytes) { b.SetLookahead(bytes); }>(),
  def<"InputBuffer_ReadGeneral", "OOOOO", [](InputBuffer& b, void* buf, size_t n, bool block, AsyncIO* aio) {
    return Count(b.ReadGeneral(buf, n, block, aio));
  }>(),
  def<"InputBuffer_RelinquishFileOwnership", "O", [](InputBuffer& b) { b.RelinquishFileOwnership(); }>(),
  def<"InputBuffer_owns_file", "O", [](const InputBuffer& b) { return b.owns_file(); }>(),
  def<"InputBuffer_die_on_error", "O", [](const InputBuffer& b) { return b.die_on_error(); }>(),
  def<"InputBuffer_set_die_on_error", "OO", [](InputBuffer& b, bool die) { b.set_die_on_error(die); }>(),
  def<"InputBuffer_read_error", "O", [](const InputBuffer& b) { return b.read_error(); }>(),
  def<"InputBuffer_SetChecksumming", "OOO", [](InputBuffer& b, bool enable, bool verify_at_eof) {
    return b.SetChecksumming(enable, verify_at_eof);
  }>(),
  def<"InputBuffer_VerifyChecksum", "OO", [](const InputBuffer& b, DiscardedString why) { return b.VerifyChecksum(why); }>(),
  registration<"InputBuffer_swigregister", InputBuffer>(),

  def<"new_InputBufferOptions", "", []() { return new InputBufferOptions(); }>(),
  def<"InputBufferOptions_set_memory_budget", "Oi", [](InputBufferOptions& o, int v) { o.set_memory_budget(v); }>(),
  def<"InputBufferOptions_memory_budget", "O", [](const InputBufferOptions& o) { return o.memory_budget(); }>(),
  def<"InputBufferOptions_set_buffer_size", "Oi", [](InputBufferOptions& o, int v) { o.set_buffer_size(v); }>(),
  def<"InputBufferOptions_buffer_size", "O", [](const InputBufferOptions& o) { return o.buffer_size(); }>(),
  def<"InputBufferOptions_set_lookahead", "Oi", [](InputBufferOptions& o, int v) { o.set_lookahead(v); }>(),
  def<"InputBufferOptions_lookahead", "O", [](const InputBufferOptions& o) { return o.lookahead(); }>(),
  def<"InputBufferOptions_set_fixed_size", "OO", [](InputBufferOptions& o, bool v) { o.set_fixed_size(v); }>(),
  def<"InputBufferOptions_fixed_size", "O", [](const InputBufferOptions& o) { return o.fixed_size(); }>(),
  def<"InputBufferOptions_set_lookahead_on_open", "OO", [](InputBufferOptions& o, bool v) { o.set_lookahead_on_open(v); }>(),
  def<"InputBufferOptions_lookahead_on_open", "O", [](const InputBufferOptions& o) { return o.lookahead_on_open(); }>(),
  def<"delete_InputBufferOptions", "O", [](InputBufferOptions* o) { delete o; }>(),
  registration<"InputBufferOptions_swigregister", InputBufferOptions>()
)
