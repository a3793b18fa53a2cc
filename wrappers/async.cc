// Completion objects. Every call into one releases the interpreter lock,
// even the plain field reads, so a waiting thread never blocks Python.
// Receivers are taken by reference: None raises "null reference" rather than
// reaching the library.
#include "file/base/core/async.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT

PQ_METHOD_LIST(kAsyncMethods,
  def<"delete_AsyncIO", "O", [](AsyncIO* a) { delete a; }>(),
  def<"AsyncIO_Finish", "OiO", [](AsyncIO& a, int error, int64 bytes) { a.Finish(error, bytes); }>(),
  def<"AsyncIO_SetAbandonCallback", "OO", [](AsyncIO& a, Callback1<bool>* cb) { a.SetAbandonCallback(cb); }>(),
  registration<"AsyncIO_swigregister", AsyncIO>(),

  def<"new_AsyncIOWatcher", "", []() { return new AsyncIOWatcher(); }>(),
  def<"delete_AsyncIOWatcher", "O", [](AsyncIOWatcher* w) { delete w; }>(),
  def<"AsyncIOWatcher_Abandon", "O", [](AsyncIOWatcher& w) { w.Abandon(); }>(),
  def<"AsyncIOWatcher_AbandonAndRelease", "O", [](AsyncIOWatcher& w) { w.AbandonAndRelease(); }>(),
  def<"AsyncIOWatcher_Detach", "O", [](AsyncIOWatcher& w) { w.Detach(); }>(),
  def<"AsyncIOWatcher_WaitWithTimeout", "Oi", [](AsyncIOWatcher& w, int ms) { return w.WaitWithTimeout(ms); }>(),
  def<"AsyncIOWatcher_Wait", "O", [](AsyncIOWatcher& w) { w.Wait(); }>(),
  def<"AsyncIOWatcher_IsFinished", "O", [](AsyncIOWatcher& w) { return w.IsFinished(); }>(),
  def<"AsyncIOWatcher_Error", "O", [](AsyncIOWatcher& w) { return w.Error(); }>(),
  def<"AsyncIOWatcher_Bytes", "O", [](AsyncIOWatcher& w) { return w.Bytes(); }>(),
  def<"AsyncIOWatcher_HandleFinish", "O", [](AsyncIOWatcher& w) { w.HandleFinish(); }>(),
  def<"AsyncIOWatcher_Finish", "OiO", [](AsyncIOWatcher& w, int error, int64 bytes) { w.Finish(error, bytes); }>(),
  def<"AsyncIOWatcher_SetAbandonCallback", "OO", [](AsyncIOWatcher& w, Callback1<bool>* cb) { w.SetAbandonCallback(cb); }>(),
  registration<"AsyncIOWatcher_swigregister", AsyncIOWatcher>(),

  def<"delete_AsyncIOForSS", "O", [](AsyncIOForSS* a) { delete a; }>(),
  def<"AsyncIOForSS_Run", "O", [](AsyncIOForSS& a) { a.Run(); }>(),
  def<"AsyncIOForSS_Error", "O", [](AsyncIOForSS& a) { return a.Error(); }>(),
  def<"AsyncIOForSS_Bytes", "O", [](AsyncIOForSS& a) { return a.Bytes(); }>(),
  def<"AsyncIOForSS_Finish", "OiO", [](AsyncIOForSS& a, int error, int64 bytes) { a.Finish(error, bytes); }>(),
  registration<"AsyncIOForSS_swigregister", AsyncIOForSS>()
)
