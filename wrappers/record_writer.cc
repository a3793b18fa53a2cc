// Record writing: RecordIO (the format's constants live in runtime/), the
// writer, and the opener a writer with a length limit asks for its next
// file. new_RecordWriter takes its File from the proxy; optional ints left
// out arrive as 0: the buffer size then comes from the process-wide
// default (FLAGS_record_writer_default_buffer_size, read at each call).
// FormatHeader and PopulateHeader write the header into the caller's str in
// place, and only when it has room for all 12 bytes; a length beyond the
// data text gives a header no reader accepts rather than a read past it.
#include <cstring>

#include "file/base/file.h"
#include "file/base/recordio.h"
#include "file/base/streams/checkpoint.h"
#include "wrappers/calling.h"
#include "wrappers/stream_params.h"

using namespace pq;  // NOLINT

namespace {

void WriteHeader(RecordIO::Tag tag, WritableText buf, const char* data, int len) {
  if (buf.capacity < static_cast<size_t>(RecordIO::kHeaderSize) + 1) return;
  if (len > 0 && static_cast<size_t>(len) > std::strlen(data)) len = -1;
  RecordWriter::PopulateHeader(tag, buf.data, data, len);
}

}  // namespace

PQ_METHOD_LIST(kRecordWriterMethods,
  def<"new_RecordIO", "", []() { return new RecordIO(); }>(),
  def<"delete_RecordIO", "O", [](RecordIO* r) { delete r; }>(),
  registration<"RecordIO_swigregister", RecordIO>(),

  def<"new_RecordWriter", "O|iii", [](Disown<File*> f, int size, RecordWriter::Concurrency c, int max_record) {
    return new RecordWriter(f, size > 0 ? size : FLAGS_record_writer_default_buffer_size, c, max_record);
  }>(),
  def<"RecordWriter_Open", "ssOiiOi", &RecordWriter::Open>(),
  def<"RecordWriter_OpenOrDie", "ssOiiOi", &RecordWriter::OpenOrDie>(),
  def<"delete_RecordWriter", "O", [](RecordWriter* w) { delete w; }>(),
  def<"RecordWriter_Close", "O", [](RecordWriter& w) { return w.Close(); }>(),
  def<"RecordWriter_RelinquishFileOwnership", "O", [](RecordWriter& w) { w.RelinquishFileOwnership(); }>(),
  def<"RecordWriter_owns_file", "O", [](const RecordWriter& w) { return w.owns_file(); }>(),
  def<"RecordWriter_NoSyncOnClose", "O", [](RecordWriter& w) { w.NoSyncOnClose(); }>(),
  overload<"RecordWriter_EnableCompression",
           form<"Oi", [](RecordWriter& w, int level) { w.EnableCompression(level); }>,
           form<"Oii", [](RecordWriter& w, int level, int batch) { w.EnableCompression(level, batch); }>>(),
  def<"RecordWriter_EnablePlumeCompression", "Oi", [](RecordWriter& w, int accel) { w.EnablePlumeCompression(accel); }>(),
  overload<"RecordWriter_EnableCWCompression",
           form<"OiiOO", [](RecordWriter& w, int level, int window, bool long_matching, bool windowed) {
             w.EnableCWCompression(level, window, long_matching, windowed);
           }>,
           form<"OiiOOi", [](RecordWriter& w, int level, int window, bool long_matching, bool windowed, int batch) {
             w.EnableCWCompression(level, window, long_matching, windowed, batch);
           }>>(),
  def<"RecordWriter_DisableCompression", "O", [](RecordWriter& w) { w.DisableCompression(); }>(),
  overload<"RecordWriter_WriteRecord",
           form<"OO", [](RecordWriter& w, const Cord& c) { return w.WriteRecord(c); }>,
           form<"OO", [](RecordWriter& w, const ::string& s) { return w.WriteRecord(s); }>,
           form<"OOO", [](RecordWriter& w, const void* p, size_t n) { return w.WriteRecord(p, n); }>>(),
  def<"RecordWriter_TryWriteRecord", "OOOO", [](RecordWriter& w, const void* p, size_t n, AsyncIO* aio) {
    return w.TryWriteRecord(p, n, aio);
  }>(),
  def<"RecordWriter_WriteProtocolMessage", "OO", [](RecordWriter& w, const proto2::Message& m) {
    return w.WriteProtocolMessage(m);
  }>(),
  def<"RecordWriter_TryWriteProtocolMessage", "OOO", [](RecordWriter& w, const proto2::Message& m, AsyncIO* aio) {
    return w.TryWriteProtocolMessage(m, aio);
  }>(),
  def<"RecordWriter_Flush", "O", [](RecordWriter& w) { return w.Flush(); }>(),
  def<"RecordWriter_Sync", "O", [](RecordWriter& w) { return w.Sync(); }>(),
  def<"RecordWriter_DataSync", "O", [](RecordWriter& w) { return w.DataSync(); }>(),
  def<"RecordWriter_Tell", "O", [](const RecordWriter& w) { return w.Tell(); }>(),
  def<"RecordWriter_ApproximateTell", "O", [](RecordWriter& w) { return w.ApproximateTell(); }>(),
  def<"RecordWriter_GetCurrentErrorMessage", "O", [](RecordWriter& w) { return w.GetCurrentErrorMessage(); }>(),
  def<"RecordWriter_GetCurrentErrorCode", "O", [](RecordWriter& w) { return w.GetCurrentErrorCode(); }>(),
  def<"RecordWriter_Checkpoint", "OO", [](RecordWriter& w, CheckpointWriter* c) { w.Checkpoint(c); }>(),
  def<"RecordWriter_GetFileName", "O", [](RecordWriter& w) { return w.GetFileName(); }>(),
  def<"RecordWriter_max_record_size", "O", [](const RecordWriter& w) { return w.max_record_size(); }>(),
  def<"RecordWriter_SetMaxFileLength", "OOO", [](RecordWriter& w, int64 length, RecordWriterOpener* opener) {
    w.SetMaxFileLength(length, opener);
  }>(),
  def<"RecordWriter_AsyncEnabled", "O", [](const RecordWriter& w) { return w.AsyncEnabled(); }>(),
  def<"RecordWriter_FormatHeader", "Oissi", [](const RecordWriter&, RecordIO::Tag tag, WritableText buf,
                                                const char* data, int len) { WriteHeader(tag, buf, data, len); }>(),
  def<"RecordWriter_PopulateHeader", "issi", &WriteHeader>(),
  def<"RecordWriter_WriteRecordString", "OO", [](RecordWriter& w, Bytes record) {
    return w.WriteRecord(record.data, record.size);
  }>(),
  registration<"RecordWriter_swigregister", RecordWriter>()
)

PQ_METHOD_LIST(kRecordWriterOpenerMethods,
  def<"delete_RecordWriterOpener", "O", [](RecordWriterOpener* o) { delete o; }>(),
  registration<"RecordWriterOpener_swigregister", RecordWriterOpener>()
)
