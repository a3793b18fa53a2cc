// Record reading: the reader (positions, limits and state), its options,
// and the script reader through which Python gets records as strings. Both
// constructors take their File from the proxy; optional arguments left out
// arrive as 0, which the reader takes as its defaults (524288 bytes; 65536
// for the script reader), and fixed_size as true.
#include "file/base/file.h"
#include "file/base/recordio.h"
#include "wrappers/calling.h"
#include "wrappers/stream_params.h"

using namespace pq;  // NOLINT

PQ_METHOD_LIST(kRecordReaderMethods,
  overload<"new_RecordReader",
           form<"O|iOiiO", [](Disown<File*> f, int budget, bool aio, int size, int lookahead, TrueUnlessGiven fixed) {
             return new RecordReader(f, budget, aio, size, lookahead, fixed);
           }>,
           form<"OO", [](Disown<File*> f, const RecordReaderOptions& o) { return new RecordReader(f, o); }>>(),
  def<"delete_RecordReader", "O", [](RecordReader* r) { delete r; }>(),
  def<"RecordReader_Close", "O", [](RecordReader& r) { return r.Close(); }>(),
  def<"RecordReader_RelinquishFileOwnership", "O", [](RecordReader& r) { r.RelinquishFileOwnership(); }>(),
  def<"RecordReader_owns_file", "O", [](const RecordReader& r) { return r.owns_file(); }>(),
  def<"RecordReader_AsyncReadEnabled", "O", [](const RecordReader& r) { return r.AsyncReadEnabled(); }>(),
  def<"RecordReader_Tell", "O", [](const RecordReader& r) { return r.Tell(); }>(),
  def<"RecordReader_PhysicalTell", "O", [](RecordReader& r) { return r.PhysicalTell(); }>(),
  def<"RecordReader_FileTell", "O", [](RecordReader& r) { return r.FileTell(); }>(),
  def<"RecordReader_LastRecordPosition", "O", [](const RecordReader& r) { return r.LastRecordPosition(); }>(),
  def<"RecordReader_Size", "O", [](RecordReader& r) { return r.Size(); }>(),
  def<"RecordReader_AtEOF", "OO", [](RecordReader& r, bool refresh) { return r.AtEOF(refresh); }>(),
  def<"RecordReader_Seek", "OO", [](RecordReader& r, int64 position) { return r.Seek(position); }>(),
  def<"RecordReader_FileSeek", "OO", [](RecordReader& r, int64 offset) { return r.FileSeek(offset); }>(),
  def<"RecordReader_GetPosition", "OO", [](RecordReader& r, DiscardedString position) {
    return r.GetPosition(position);
  }>(),
  def<"RecordReader_SetPosition", "OO", [](RecordReader& r, const ::string& p) { return r.SetPosition(p); }>(),
  def<"RecordReader_Prefetch", "OOOO", [](RecordReader& r, int64 offset, int64 length, AsyncIO* done) {
    r.Prefetch(offset, length, done);
  }>(),
  def<"RecordReader_Unfetch", "OOO", [](RecordReader& r, int64 offset, int64 length) { r.Unfetch(offset, length); }>(),
  def<"RecordReader_GetFileName", "O", [](RecordReader& r) { return r.GetFileName(); }>(),
  def<"RecordReader_Stat", "OO", [](RecordReader& r, FileStat* stat) { return r.Stat(stat); }>(),
  def<"RecordReader_set_log_skips", "OO", [](RecordReader& r, bool b) { r.set_log_skips(b); }>(),
  def<"RecordReader_skipped_bytes", "O", [](const RecordReader& r) { return r.skipped_bytes(); }>(),
  def<"RecordReader_skipped_regions", "O", [](const RecordReader& r) { return r.skipped_regions(); }>(),
  def<"RecordReader_read_error", "O", [](const RecordReader& r) { return r.read_error(); }>(),
  def<"RecordReader_clear_read_error", "O", [](RecordReader& r) { r.clear_read_error(); }>(),
  def<"RecordReader_set_max_record_length", "OO", [](RecordReader& r, size_t n) { r.set_max_record_length(n); }>(),
  def<"RecordReader_set_max_decoded_record_length", "OO", [](RecordReader& r, size_t n) {
    r.set_max_decoded_record_length(n);
  }>(),
  def<"RecordReader_set_max_expected_record_length", "OO", [](RecordReader& r, size_t n) {
    r.set_max_expected_record_length(n);
  }>(),
  def<"RecordReader_set_die_on_error", "OO", [](RecordReader& r, bool b) { r.set_die_on_error(b); }>(),
  registration<"RecordReader_swigregister", RecordReader>(),

  def<"new_RecordReaderOptions", "", []() { return new RecordReaderOptions(); }>(),
  def<"RecordReaderOptions_set_memory_budget", "Oi", [](RecordReaderOptions& o, int v) { o.set_memory_budget(v); }>(),
  def<"RecordReaderOptions_memory_budget", "O", [](const RecordReaderOptions& o) { return o.memory_budget(); }>(),
  def<"RecordReaderOptions_set_enable_aio", "OO", [](RecordReaderOptions& o, bool v) { o.set_enable_aio(v); }>(),
  def<"RecordReaderOptions_enable_aio", "O", [](const RecordReaderOptions& o) { return o.enable_aio(); }>(),
  def<"RecordReaderOptions_set_buffer_size", "Oi", [](RecordReaderOptions& o, int v) { o.set_buffer_size(v); }>(),
  def<"RecordReaderOptions_buffer_size", "O", [](const RecordReaderOptions& o) { return o.buffer_size(); }>(),
  def<"RecordReaderOptions_set_lookahead", "Oi", [](RecordReaderOptions& o, int v) { o.set_lookahead(v); }>(),
  def<"RecordReaderOptions_lookahead", "O", [](const RecordReaderOptions& o) { return o.lookahead(); }>(),
  def<"RecordReaderOptions_set_fixed_size", "OO", [](RecordReaderOptions& o, bool v) { o.set_fixed_size(v); }>(),
  def<"RecordReaderOptions_fixed_size", "O", [](const RecordReaderOptions& o) { return o.fixed_size(); }>(),
  def<"RecordReaderOptions_set_lookahead_on_open", "OO", [](RecordReaderOptions& o, bool v) {
    o.set_lookahead_on_open(v);
  }>(),
  def<"RecordReaderOptions_lookahead_on_open", "O", [](const RecordReaderOptions& o) { return o.lookahead_on_open(); }>(),
  def<"RecordReaderOptions_set_initial_seek_back", "Oi", [](RecordReaderOptions& o, int v) {
    o.set_initial_seek_back(v);
  }>(),
  def<"RecordReaderOptions_initial_seek_back", "O", [](const RecordReaderOptions& o) { return o.initial_seek_back(); }>(),
  def<"RecordReaderOptions_set_allow_unchecked_records", "OO", [](RecordReaderOptions& o, bool v) {
    o.set_allow_unchecked_records(v);
  }>(),
  def<"RecordReaderOptions_allow_unchecked_records", "O", [](const RecordReaderOptions& o) {
    return o.allow_unchecked_records();
  }>(),
  def<"RecordReaderOptions_LoadOptionsFromString", "OO", [](RecordReaderOptions& o, const ::string& text) {
    return o.LoadOptionsFromString(text);
  }>(),
  def<"delete_RecordReaderOptions", "O", [](RecordReaderOptions* o) { delete o; }>(),
  registration<"RecordReaderOptions_swigregister", RecordReaderOptions>()
)

PQ_METHOD_LIST(kRecordReaderScriptMethods,
  overload<"new_RecordReaderScript",
           form<"O|i", [](Disown<File*> f, int budget) { return new RecordReaderScript(f, budget > 0 ? budget : 65536); }>,
           form<"OO", [](Disown<File*> f, const RecordReaderOptions& o) { return new RecordReaderScript(f, o); }>>(),
  def<"RecordReaderScript_ReadRecordIntoString", "O", [](RecordReaderScript& r, Out<::string>& record) {
    return r.ReadRecordIntoString(record);
  }>(),
  def<"delete_RecordReaderScript", "O", [](RecordReaderScript* r) { delete r; }>(),
  registration<"RecordReaderScript_swigregister", RecordReaderScript>()
)
