// BackgroundLogReader: a LogReader polled on its own thread.
#include <algorithm>
#include <chrono>

#include "file/base/logio.h"

BackgroundLogReader::BackgroundLogReader(LogReader* reader) : log_reader_(reader) {}

BackgroundLogReader::~BackgroundLogReader() {
  Stop();
  delete log_reader_;
}

void BackgroundLogReader::Start() {
  if (thread_.joinable()) return;
  exit_ = false;
  thread_ = std::thread([this] { Run(); });
}

void BackgroundLogReader::MakeExit() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    exit_ = true;
  }
  wake_.notify_all();
}

void BackgroundLogReader::Stop() {
  MakeExit();
  if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

void BackgroundLogReader::set_max_sleep_time_in_secs(int seconds) {
  max_sleep_ms_ = std::clamp(seconds, 0, 3600) * 1000;
}

void BackgroundLogReader::WaitBeforeReadingAgain(int empty_polls) {
  const int64 wanted = int64{1} << std::clamp(empty_polls, 0, 30);
  const int64 ms = std::min<int64>(wanted, max_sleep_ms_.load());
  std::unique_lock<std::mutex> lock(mu_);
  wake_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return exit_.load(); });
}

void BackgroundLogReader::Run() {
  int empty_polls = 0;
  while (!exit_) {
    LogReader* reader = log_reader_;
    void* data;
    size_t len;
    if (reader != nullptr && reader->ReadRecordIfAvailable(&data, &len, nullptr)) {
      empty_polls = 0;
      const ::string position = LogBase::PositionToText(reader->LastRecordPosition());
      ProcessRecord(data, static_cast<int>(std::min<size_t>(len, 0x7fffffff)), position.c_str());
    } else {
      WaitBeforeReadingAgain(empty_polls);
      empty_polls = std::min(empty_polls + 1, 64);
    }
  }
}
