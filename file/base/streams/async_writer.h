// The write-behind of OutputBuffer: full buffers written to the file, in
// order, by one job at a time on the library's worker pool, with at most a
// budget of bytes in flight.
#ifndef FILE_BASE_STREAMS_ASYNC_WRITER_H_
#define FILE_BASE_STREAMS_ASYNC_WRITER_H_

#include <condition_variable>
#include <deque>
#include <mutex>

#include "file/base/core/forward.h"
#include "file/base/util/base_types.h"

namespace file {
namespace streams {

class AsyncWriter {
 public:
  // budget: bytes allowed in flight (a single buffer is always allowed,
  // whatever its size). buffer_size: the size of the buffers handed in.
  AsyncWriter(File* file, int64 budget, size_t buffer_size);
  // Waits for the writes in flight.
  ~AsyncWriter();
  AsyncWriter(const AsyncWriter&) = delete;
  AsyncWriter& operator=(const AsyncWriter&) = delete;

  // Queues bytes [data, data + n) of a buffer of buffer_size bytes; the
  // writer owns it from then on and *data receives a free buffer of
  // buffer_size bytes to carry on with (null when none can be had; the
  // submission then did not happen). With block, waits for room within the
  // budget; without, returns false at once when there is none, and `room`
  // (may be null) gets Finish(error, bytes in flight) when room appears.
  bool Submit(char** data, int64 n, bool block, AsyncIO* room);
  // Waits until everything queued is written; false when a write failed
  // (then every later call fails too).
  bool Wait();
  bool failed() const;
  int64 in_flight() const;

 private:
  void Drain();

  File* const file_;
  const int64 budget_;
  const size_t buffer_size_;
  mutable std::mutex mu_;
  std::condition_variable cv_;
  struct Item {
    char* data;
    int64 n;
  };
  std::deque<Item> queue_;
  vector<char*> free_;  // written buffers, for reuse
  int64 in_flight_ = 0;
  bool running_ = false;  // a drain job is on the pool
  bool failed_ = false;
  vector<AsyncIO*> waiting_for_room_;
};

}  // namespace streams
}  // namespace file

#endif  // FILE_BASE_STREAMS_ASYNC_WRITER_H_
