// Numbered logs: LogBase (names and positions), LogReader, the background
// reader, LogWriter and the scripts' reader. Receivers are taken by
// reference, so None raises "null reference" instead of reaching the
// library; the LogBase rows accept writers and readers alike.
#include <algorithm>

#include "file/base/logio.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT: the rows read best unqualified

namespace {

using Start = Defaulted<int64, int64{LogBase::kLogStart}>;
using BufferSize = Defaulted<int, 524288>;
using Flag = Defaulted<bool, false>;
using SecondName = Defaulted<const ::string&, 0>;
using Concurrency = Defaulted<LogWriter::Concurrency, LogWriter::AUTO>;
using WriterFlags = Defaulted<int, 0>;

// The position text goes into the caller's string, within its own length.
template <void (LogReader::*Get)(char*, int)>
void PositionInto(LogReader& r, WritableText buf, int len) {
  (r.*Get)(buf.data, std::min<int64>(len, static_cast<int64>(buf.capacity)));
}

}  // namespace

PQ_METHOD_LIST(kLogMethods,
  def<"LogBase_base_file", "O", [](const LogBase& b) -> ::string { return b.base_file(); }>(),
  def<"LogBase_base_name", "O", [](const LogBase& b) -> ::string { return b.base_name(); }>(),
  def<"LogBase_FileBase", "O", [](const LogBase& b) -> ::string { return b.FileBase(); }>(),
  def<"LogBase_FileName", "Oi", [](const LogBase& b, int n) { return b.FileName(n); }>(),
  def<"LogBase_MakeLogPosition", "iO", &LogBase::MakeLogPosition>(),
  def<"LogBase_LogPositionToFileNumber", "O", &LogBase::LogPositionToFileNumber>(),
  def<"LogBase_LogPositionToOffset", "O", &LogBase::LogPositionToOffset>(),
  def<"LogBase_LogFileNameToFileNumber", "s", &LogBase::LogFileNameToFileNumber>(),
  def<"LogBase_GetLogChunkSize", "", &LogBase::GetLogChunkSize>(),
  registration<"LogBase_swigregister", LogBase>(),

  def<"new_LogReader", "O|OiO", [](const ::string& base, Start start, BufferSize size, Flag async) {
    return new LogReader(base, start, size, async);
  }>(),
  def<"delete_LogReader", "O", [](LogReader* r) { delete r; }>(),
  def<"LogReader_EOFPosition", "O", [](const LogReader& r) { return r.EOFPosition(); }>(),
  def<"LogReader_GetPosition", "Osi", &PositionInto<&LogReader::GetPosition>>(),
  def<"LogReader_SetInitialPosition", "Os", [](LogReader& r, const char* text) { return r.SetInitialPosition(text); }>(),
  def<"LogReader_GetEOFPosition", "Osi", &PositionInto<&LogReader::GetEOFPosition>>(),
  def<"LogReader_UnreadBytes", "O", [](const LogReader& r) { return r.UnreadBytes(); }>(),
  def<"LogReader_ReadRecordIfAvailable", "OO|O",
      [](LogReader& r, void** data, Out<size_t>& len, Defaulted<bool*, nullptr> new_file) {
        void* ignored;
        return r.ReadRecordIfAvailable(data != nullptr ? data : &ignored, len, new_file);
      }>(),
  def<"LogReader_ReadProtocolMessageIfAvailable", "OO", [](LogReader& r, proto2::Message* m) {
    return r.ReadProtocolMessageIfAvailable(m);
  }>(),
  def<"LogReader_ReadRecordAsStringIfAvailable", "O", [](LogReader& r, Out<::string>& record) {
    return r.ReadRecordAsStringIfAvailable(record);
  }>(),
  def<"LogReader_AsyncReadEnabled", "O", [](const LogReader& r) { return r.AsyncReadEnabled(); }>(),
  def<"LogReader_Tell", "O", [](const LogReader& r) { return r.Tell(); }>(),
  def<"LogReader_LastRecordPosition", "O", [](const LogReader& r) { return r.LastRecordPosition(); }>(),
  def<"LogReader_Seek", "OO", [](LogReader& r, int64 position) { return r.Seek(position); }>(),
  def<"LogReader_LogPositionAdd", "OOO", [](LogReader& r, int64 position, int64 delta) {
    return r.LogPositionAdd(position, delta);
  }>(),
  overload<"LogReader_GarbageCollect",
           form<"OO", [](const ::string& base, int64 position) { return LogReader::GarbageCollect(base, position); }>,
           form<"OOO", [](const ::string& base, int64 position, Callback1<const ::string&>* done) {
             return LogReader::GarbageCollect(base, position, done);
           }>>(),
  def<"LogReader_NumBytesSkipped", "O", [](const LogReader& r) { return r.NumBytesSkipped(); }>(),
  def<"LogReader_ExportNumBytesSkipped", "O", [](const LogReader& r) { return r.ExportNumBytesSkipped(); }>(),
  registration<"LogReader_swigregister", LogReader>(),

  def<"delete_BackgroundLogReader", "O", [](BackgroundLogReader* b) { delete b; }>(),
  def<"BackgroundLogReader_MakeExit", "O", [](BackgroundLogReader& b) { b.MakeExit(); }>(),
  def<"BackgroundLogReader_ProcessRecord", "OOOs", [](BackgroundLogReader& b, void* data, int len, const char* text) {
    b.ProcessRecord(data, len, text);
  }>(),
  def<"BackgroundLogReader_WaitBeforeReadingAgain", "Oi", [](BackgroundLogReader& b, int n) { b.WaitBeforeReadingAgain(n); }>(),
  def<"BackgroundLogReader_log_reader", "O", [](const BackgroundLogReader& b) { return b.log_reader(); }>(),
  def<"BackgroundLogReader_set_max_sleep_time_in_secs", "Oi", [](BackgroundLogReader& b, int seconds) {
    b.set_max_sleep_time_in_secs(seconds);
  }>(),
  def<"BackgroundLogReader_log_reader__set", "OO", [](BackgroundLogReader* b, Disown<LogReader*> r) {
    if (b != nullptr) b->log_reader_ = r;
  }, HoldLock>(),
  def<"BackgroundLogReader_log_reader__get", "O", [](const BackgroundLogReader& b) { return b.log_reader_; }, HoldLock>(),
  registration<"BackgroundLogReader_swigregister", BackgroundLogReader>(),

  overload<"new_LogWriter",
           form<"", []() { return new LogWriter(); }>,
           form<"O|Oiii", [](const ::string& base, SecondName name, Concurrency c, BufferSize size, WriterFlags flags) {
             return new LogWriter(base, name, c, size, flags);
           }>>(),
  def<"LogWriter_Open", "OO|Oiii", [](LogWriter& w, const ::string& base, SecondName name, Concurrency c,
                                      BufferSize size, WriterFlags flags) {
    return w.Open(base, name, c, size, flags);
  }>(),
  def<"delete_LogWriter", "O", [](LogWriter* w) { delete w; }>(),
  overload<"LogWriter_WriteRecord",
           form<"OO", [](LogWriter& w, const ::string& record) { return w.WriteRecord(record); }>,
           form<"OOO", [](LogWriter& w, void* data, uint64 n) { return w.WriteRecord(data, n); }>>(),
  def<"LogWriter_WriteProtocolMessage", "OO", [](LogWriter& w, const proto2::Message& m) {
    return w.WriteProtocolMessage(m);
  }>(),
  overload<"LogWriter_TryWriteRecord",
           form<"OOO", [](LogWriter& w, const ::string& record, AsyncIO* done) { return w.TryWriteRecord(record, done); }>,
           form<"OOOO", [](LogWriter& w, void* data, uint64 n, AsyncIO* done) {
             return w.TryWriteRecord(data, n, done);
           }>>(),
  def<"LogWriter_TryWriteProtocolMessage", "OOO", [](LogWriter& w, const proto2::Message& m, AsyncIO* done) {
    return w.TryWriteProtocolMessage(m, done);
  }>(),
  def<"LogWriter_AsyncEnabled", "O", [](const LogWriter& w) { return w.AsyncEnabled(); }>(),
  def<"LogWriter_Flush", "O", [](LogWriter& w) { return w.Flush(); }>(),
  def<"LogWriter_Close", "O", [](LogWriter& w) { w.Close(); }>(),
  def<"LogWriter_EnableCompression", "Oi", [](LogWriter& w, int level) { w.EnableCompression(level); }>(),
  def<"LogWriter_EnableCWCompression", "OiiOOi", [](LogWriter& w, int level, int window, bool long_matching,
                                                    bool windowed, int threads) {
    w.EnableCWCompression(level, window, long_matching, windowed, threads);
  }>(),
  def<"LogWriter_DisableCompression", "O", [](LogWriter& w) { w.DisableCompression(); }>(),
  def<"LogWriter_ApproximateTell", "O", [](LogWriter& w) { return w.ApproximateTell(); }>(),
  def<"LogWriter_ApproximateEOFPosition", "O", [](LogWriter& w) { return w.ApproximateEOFPosition(); }>(),
  def<"LogWriter_GetPosition", "O", [](LogWriter& w) { return w.GetPosition(); }>(),
  def<"LogWriter_EOFPosition", "O", [](LogWriter& w) { return w.EOFPosition(); }>(),
  def<"LogWriter_max_record_size", "O", [](const LogWriter& w) { return w.max_record_size(); }>(),
  def<"LogWriter_GetInitialPosition", "", &LogWriter::GetInitialPosition>(),
  def<"LogWriter_TruncateLog", "ss", &LogWriter::TruncateLog>(),
  def<"LogWriter_setLogChunkSize_TEST", "i", &LogWriter::setLogChunkSize_TEST>(),
  def<"LogWriter_WriteRecordString", "OO", [](LogWriter& w, Bytes record) {
    return w.WriteRecord(record.data, record.size);
  }>(),
  registration<"LogWriter_swigregister", LogWriter>(),

  def<"new_LogReaderScript", "OO", [](const ::string& base, int64 start) { return new LogReaderScript(base, start); }>(),
  def<"delete_LogReaderScript", "O", [](LogReaderScript* r) { delete r; }>(),
  def<"LogReaderScript_ReadRecordIntoString", "O", [](LogReaderScript& r, Out<::string>& record) {
    return r.ReadRecordIntoString(record);
  }>(),
  registration<"LogReaderScript_swigregister", LogReaderScript>()
)
