// The read-ahead of InputBuffer: pieces of a file read on the library's
// worker pool, kept until the buffer takes or drops them.
#ifndef FILE_BASE_STREAMS_ASYNC_READER_H_
#define FILE_BASE_STREAMS_ASYNC_READER_H_

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "file/base/core/forward.h"
#include "file/base/util/base_types.h"

namespace file {
namespace streams {

// Bytes [offset, offset + got) of a file, read on the worker pool.
struct Piece {
  int64 offset = 0;
  int64 length = 0;  // bytes asked for (the size of data)
  std::unique_ptr<char[]> data;
  int64 got = 0;     // valid once done
  int error = 0;     // the file's error code when the read failed
  bool done = false;
  // Run (on the completing thread, outside the reader's lock) when the
  // piece is done: (error, bytes).
  vector<std::function<void(int, int64)>> on_done;
};

// Not thread-safe itself except between its caller and its workers: one
// caller thread starts, takes and drops pieces.
class AsyncReader {
 public:
  AsyncReader() = default;
  // Waits for the reads still running.
  ~AsyncReader();
  AsyncReader(const AsyncReader&) = delete;
  AsyncReader& operator=(const AsyncReader&) = delete;

  // Starts reading [offset, offset + length) of file; false when the memory
  // for it cannot be had. `on_done` (may be empty) runs when it finishes.
  bool Start(File* file, int64 offset, int64 length, std::function<void(int, int64)> on_done);
  // The piece holding `offset` (dropping the pieces wholly before it). With
  // block, waits for it; without, returns null when it has not arrived
  // (adding `on_pending`, when given, to the pending piece's completions).
  // Null when no piece holds or is reading `offset`. A returned piece is
  // removed from the reader.
  std::shared_ptr<Piece> Take(int64 offset, bool block, std::function<void(int, int64)> on_pending);
  // True when a piece holds or is reading `offset`.
  bool Holds(int64 offset) const;
  // Drops the pieces overlapping [offset, offset + length) (all of them
  // for length < 0).
  void Drop(int64 offset, int64 length);
  // Waits until no read is running (pieces stay).
  void WaitIdle();
  // End of the last piece asked for (0 when there is none), and the bytes
  // asked for by pieces at or after `from`.
  int64 End() const;
  int64 BytesFrom(int64 from) const;
  int running() const;

 private:
  void Finished(const std::shared_ptr<Piece>& piece, int error, int64 got);

  mutable std::mutex mu_;
  std::condition_variable cv_;
  std::deque<std::shared_ptr<Piece>> pieces_;  // in the order asked for
  int running_ = 0;
};

}  // namespace streams
}  // namespace file

#endif  // FILE_BASE_STREAMS_ASYNC_READER_H_
