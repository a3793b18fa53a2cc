#include "file/base/records/record_decoder.h"

#include <algorithm>
#include <cstring>

namespace records {

int64 StringSource::ReadAt(int64 offset, char* buffer, int64 n) {
  if (offset < 0 || n < 0) return -1;
  if (offset >= static_cast<int64>(bytes_.size())) return 0;
  const int64 take = std::min<int64>(n, static_cast<int64>(bytes_.size()) - offset);
  std::memcpy(buffer, bytes_.data() + offset, static_cast<size_t>(take));
  return take;
}

RecordDecoder::RecordDecoder(ByteSource* source, size_t window)
    : source_(source), window_size_(std::max<size_t>(window, 4096)) {}

int64 RecordDecoder::Fetch(int64 offset, int64 n, const char** p) {
  const int64 window_end = window_offset_ + window_length_;
  if (offset >= window_offset_ && offset + n <= window_end) {
    *p = window_.get() + (offset - window_offset_);
    return n;
  }
  // Allocate for a long frame only once the source shows it has the bytes.
  if (n > static_cast<int64>(window_size_)) {
    char last;
    const int64 r = source_->ReadAt(offset + n - 1, &last, 1);
    if (r < 0) return -1;
    if (r == 0) return n - 1;
  }
  // The window runs from the page that holds `offset` to a page boundary,
  // and the bytes land in memory at their alignment in the file: the
  // kernel copies page-cache pages fastest that way.
  const int64 start = offset - offset % kPage;
  const int64 lead = offset - start;
  const size_t want = static_cast<size_t>((std::max<int64>(n + lead, static_cast<int64>(window_size_)) + kPage - 1) /
                                          kPage * kPage);
  int64 kept = 0;
  if (start >= window_offset_ && start < window_end) {
    kept = window_end - start;
    std::memmove(window_.get(), window_.get() + (start - window_offset_), static_cast<size_t>(kept));
  }
  if (window_capacity_ < want || (window_capacity_ > 2 * want && kept == 0)) {
    // Grows, or gives back what one long frame took.
    std::unique_ptr<char, FreeDeleter> bigger(static_cast<char*>(std::aligned_alloc(kPage, want)));
    if (bigger == nullptr) {
      window_length_ = 0;
      return -1;
    }
    if (kept > 0) std::memcpy(bigger.get(), window_.get(), static_cast<size_t>(kept));
    window_ = std::move(bigger);
    window_capacity_ = want;
  }
  window_offset_ = start;
  int64 got = kept;
  while (got < static_cast<int64>(want)) {
    const int64 r = source_->ReadAt(start + got, window_.get() + got, static_cast<int64>(want) - got);
    if (r < 0) {
      window_length_ = got;
      return -1;
    }
    if (r == 0) break;
    got += r;
  }
  window_length_ = got;
  *p = window_.get() + lead;
  return std::clamp<int64>(got - lead, 0, n);
}

void RecordDecoder::Preload(int64 offset, int64 n) {
  const char* p;
  if (offset >= 0 && n > 0) Fetch(offset, std::min<int64>(n, static_cast<int64>(window_size_)), &p);
}

void RecordDecoder::Unload(int64 offset, int64 n) {
  if (offset < window_offset_ + window_length_ && offset + n > window_offset_) window_length_ = 0;
}

void RecordDecoder::Skip(int64 offset, int64 length, const char* why) {
  if (length <= 0) return;
  skipped_bytes_ += length;
  ++skipped_regions_;
  if (on_skip) on_skip(offset, length, why);
}

void RecordDecoder::BeginScan(int64 offset, const char* why) {
  if (assembling_) offset = assembly_start_;
  assembling_ = dropping_ = false;
  assembly_.clear();
  if (scan_start_ < 0) {
    scan_start_ = offset;
    scan_reason_ = why;
  }
}

void RecordDecoder::EndScan(int64 offset) {
  if (scan_start_ < 0) return;
  if (!quiet_scan_) Skip(scan_start_, offset - scan_start_, scan_reason_);
  scan_start_ = -1;
  quiet_scan_ = false;
}

void RecordDecoder::DropAssembly(const char* why) {
  if (!assembling_) return;
  Skip(assembly_start_, pos_ - assembly_start_, why);
  assembling_ = dropping_ = false;
  assembly_.clear();
}

size_t RecordDecoder::FrameLimit(uint8 tag) const {
  if (!IsCompressionTag(tag)) return limits_.max_record;
  // A batch is judged by what it decodes to; its compressed bytes may run a
  // little over that when they did not compress.
  const size_t d = limits_.max_decoded;
  return d >= kMaxPayload / 2 ? kMaxPayload : d + d / 8 + 1024;
}

RecordDecoder::Status RecordDecoder::EndOf(int64 available) {
  // A record cut short is read again from its start when more arrives.
  if (assembling_) {
    pos_ = assembly_start_;
    assembling_ = dropping_ = false;
    assembly_.clear();
    return kPartial;
  }
  EndScan(pos_);
  return available == 0 ? kEnd : kPartial;
}

void RecordDecoder::Seek(int64 position) {
  pos_ = position & kOffsetMask;
  seek_index_ = position >> kIndexShift;
  scan_start_ = -1;
  quiet_scan_ = false;
  assembling_ = dropping_ = false;
  assembly_.clear();
  spans_.clear();
  batch_index_ = 0;
  batch_start_ = -1;
}

void RecordDecoder::SeekToBoundary(int64 offset) {
  Seek(offset);
  scan_start_ = offset;
  scan_reason_ = "";
  quiet_scan_ = true;
}

int64 RecordDecoder::Tell() const {
  if (batch_index_ < spans_.size()) return MakePosition(batch_start_, static_cast<int64>(batch_index_));
  return MakePosition(pos_, seek_index_);
}

bool RecordDecoder::Accept(uint8 tag, int64 start, int64 end, const char* data, size_t n,
                           const char** out, size_t* out_length) {
  const int64 skip = seek_index_;
  seek_index_ = 0;
  if (IsCompressionTag(tag)) {
    std::string reason;
    if (!DecodeBatch(data, n, limits_.max_decoded, &batch_, &spans_, &reason)) {
      spans_.clear();
      Skip(start, end - start, reason.c_str());
      return false;
    }
    batch_start_ = start;
    batch_index_ = std::min<size_t>(static_cast<size_t>(skip), spans_.size());
    return false;  // handed out by Next
  }
  last_position_ = start;
  *out = data;
  *out_length = n;
  return true;
}

bool RecordDecoder::NextInWindow(const char** data, size_t* length) {
  const int64 at = pos_ - window_offset_;
  if (at < 0 || window_length_ - at < kHeaderSize) return false;
  const char* p = window_.get() + at;
  Header h;
  if (!DecodeHeader(p, &h) || h.kind != FULL || IsCompressionTag(h.tag) || h.length > limits_.max_record ||
      window_length_ - at - kHeaderSize < static_cast<int64>(h.length) ||
      (!limits_.allow_unchecked && !PayloadMatches(h, p + kHeaderSize))) {
    return false;
  }
  seek_index_ = 0;
  last_position_ = pos_;
  pos_ += kHeaderSize + static_cast<int64>(h.length);
  *data = p + kHeaderSize;
  *length = h.length;
  return true;
}

RecordDecoder::Status RecordDecoder::Next(const char** data, size_t* length, int64 limit) {
  for (;;) {
    if (batch_index_ < spans_.size()) {
      const size_t i = batch_index_++;
      const auto [offset, n] = spans_[i];
      if (n > limits_.max_record) {
        Skip(batch_start_, static_cast<int64>(n), "record in a batch longer than the limit");
        continue;
      }
      last_position_ = MakePosition(batch_start_, static_cast<int64>(i));
      *data = batch_.data() + offset;
      *length = n;
      return kRecord;
    }
    spans_.clear();
    batch_index_ = 0;
    if (!assembling_ && scan_start_ < 0) {
      if (pos_ >= limit) return kEnd;
      if (NextInWindow(data, length)) return kRecord;
    }

    const char* p;
    int64 got = Fetch(pos_, kHeaderSize, &p);
    if (got < 0) return kError;
    if (got < kHeaderSize) return EndOf(got);
    Header h;
    const bool scanning = scan_start_ >= 0;
    if (!DecodeHeader(p, &h) || (scanning && h.length > limits_.max_expected)) {
      BeginScan(pos_, "damaged header");
      ++pos_;
      continue;
    }
    const int64 frame_length = kHeaderSize + static_cast<int64>(h.length);
    const int64 frame_end = pos_ + frame_length;
    // A frame too long to keep is passed over on its header's word, once
    // the source shows it complete; its bytes are never read.
    const bool keep = h.length <= FrameLimit(h.tag);
    const char* payload = nullptr;
    if (keep || scanning) {
      got = Fetch(pos_, frame_length, &p);
      if (got < 0) return kError;
      if (got < frame_length) {
        if (scanning && limits_.final_size) {  // noise that looked like a header
          ++pos_;
          continue;
        }
        return EndOf(1);
      }
      payload = p + kHeaderSize;
      if (!limits_.allow_unchecked && !PayloadMatches(h, payload)) {
        if (scanning) {
          ++pos_;
        } else {  // the header is sound, so its length leads past the damage
          BeginScan(pos_, "payload checksum mismatch");
          pos_ = frame_end;
        }
        continue;
      }
      if (!keep) payload = nullptr;
    } else {
      char last;
      const int64 r = source_->ReadAt(frame_end - 1, &last, 1);
      if (r < 0) return kError;
      if (r == 0) return EndOf(1);
    }
    if (scanning) {
      if (h.kind == MIDDLE || h.kind == LAST) {  // the rest of a lost record
        pos_ = frame_end;
        continue;
      }
      EndScan(pos_);
    }

    const int64 start = pos_;
    if (h.kind == FULL || h.kind == FIRST) {
      DropAssembly("record cut short");
      pos_ = frame_end;
      if (h.kind == FULL) {
        if (payload == nullptr) {
          Skip(start, frame_length, "record longer than the limit");
        } else if (Accept(h.tag, start, frame_end, payload, h.length, data, length)) {
          return kRecord;
        }
        continue;
      }
      assembling_ = true;
      dropping_ = payload == nullptr;
      assembly_tag_ = h.tag;
      assembly_start_ = start;
      if (!dropping_) assembly_.assign(payload, h.length);
      continue;
    }
    if (!assembling_ || h.tag != assembly_tag_) {
      DropAssembly("record cut short");
      Skip(start, frame_length, "fragment without its record's start");
      pos_ = frame_end;
      continue;
    }
    pos_ = frame_end;
    if (!dropping_) {
      if (payload == nullptr || assembly_.size() + h.length > FrameLimit(assembly_tag_)) {
        dropping_ = true;
        std::string().swap(assembly_);
      } else {
        assembly_.append(payload, h.length);
      }
    }
    if (h.kind == MIDDLE) continue;
    assembling_ = false;
    if (dropping_) {
      dropping_ = false;
      Skip(assembly_start_, pos_ - assembly_start_, "record longer than the limit");
      continue;
    }
    if (Accept(assembly_tag_, assembly_start_, pos_, assembly_.data(), assembly_.size(), data, length)) {
      return kRecord;
    }
  }
}

}  // namespace records
