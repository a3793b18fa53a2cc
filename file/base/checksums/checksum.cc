#include "file/base/checksums/checksum.h"

#include <isa-l/crc64.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

// CRC-64/XZ, continued from `crc` (0 to start): chaining calls over pieces
// gives the CRC of the pieces joined.
uint64 Crc64(uint64 crc, const void* data, size_t length) {
  return crc64_ecma_refl(crc, static_cast<const unsigned char*>(data), length);
}

// ---- record text -------------------------------------------------------------

constexpr char kEmptyField[] = "-";
constexpr char kHexDigits[] = "0123456789abcdef";

void AppendHexNumber(uint64 value, ::string* out) {
  char digits[16];
  auto [end, ec] = std::to_chars(digits, digits + sizeof(digits), value, 16);
  out->append(digits, end);
}

bool ParseHexNumber(std::string_view text, uint64* value) {
  if (text.empty()) return false;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value, 16);
  return ec == std::errc() && end == text.data() + text.size();
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Splits `text` at single spaces into exactly `count` fields.
bool SplitFields(std::string_view text, std::string_view* fields, int count) {
  for (int i = 0; i < count; ++i) {
    const size_t space = text.find(' ');
    const bool last = i == count - 1;
    if (last != (space == std::string_view::npos)) return false;
    fields[i] = text.substr(0, space);
    if (fields[i].empty()) return false;
    if (!last) text.remove_prefix(space + 1);
  }
  return true;
}

bool ParsePending(std::string_view hex, char* bytes, int* count) {
  if (hex == kEmptyField) {
    *count = 0;
    return true;
  }
  if (hex.size() % 2 != 0 || hex.size() / 2 >= static_cast<size_t>(ChecksumState::kChunkSize)) {
    return false;
  }
  for (size_t i = 0; i < hex.size(); i += 2) {
    const int high = HexValue(hex[i]);
    const int low = HexValue(hex[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes[i / 2] = static_cast<char>(high * 16 + low);
  }
  *count = static_cast<int>(hex.size() / 2);
  return true;
}

bool ParseHistory(std::string_view text, vector<uint64>* history) {
  history->clear();
  if (text == kEmptyField) return true;
  for (;;) {
    const size_t comma = text.find(',');
    uint64 entry;
    if (!ParseHexNumber(text.substr(0, comma), &entry)) return false;
    history->push_back(entry);
    if (comma == std::string_view::npos) return true;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace

ChecksumState::ChecksumState() = default;

bool ChecksumState::Equals(const ChecksumState* other, ::string* why) const {
  auto differ = [why](const ::string& reason) {
    if (why != nullptr) *why = reason;
    return false;
  };
  if (other == nullptr) return differ("no state to compare with");
  if (Length() != other->Length()) {
    return differ("lengths differ: " + std::to_string(Length()) + " vs " +
                  std::to_string(other->Length()));
  }
  if (aligned_length_ != other->aligned_length_ || aligned_checksum_ != other->aligned_checksum_) {
    return differ("aligned checksums differ");
  }
  if (std::memcmp(pending_, other->pending_, static_cast<size_t>(pending_count_)) != 0) {
    return differ("bytes after the last whole chunk differ");
  }
  if (history_ != other->history_) return differ("block histories differ");
  return true;
}

void ChecksumState::Add(const void* data, size_t length) {
  if (data == nullptr || length == 0) return;
  const char* next = static_cast<const char*>(data);
  if (pending_count_ > 0) {
    const size_t take = std::min(length, static_cast<size_t>(kChunkSize - pending_count_));
    std::memcpy(pending_ + pending_count_, next, take);
    pending_count_ += static_cast<int>(take);
    next += take;
    length -= take;
    if (pending_count_ < kChunkSize) return;
    FoldWholeChunks(pending_, kChunkSize);
    pending_count_ = 0;
  }
  const size_t whole = length - length % kChunkSize;
  FoldWholeChunks(next, static_cast<int64>(whole));
  std::memcpy(pending_, next + whole, length - whole);
  pending_count_ = static_cast<int>(length - whole);
}

void ChecksumState::FoldWholeChunks(const char* data, int64 length) {
  while (length > 0) {
    // Stop at each block boundary to note the history there.
    const int64 to_boundary = kBlockSize - aligned_length_ % kBlockSize;
    const int64 step = std::min(length, to_boundary);
    aligned_checksum_ = Crc64(aligned_checksum_, data, static_cast<size_t>(step));
    aligned_length_ += step;
    if (aligned_length_ % kBlockSize == 0) history_.push_back(aligned_checksum_);
    data += step;
    length -= step;
  }
}

void ChecksumState::Clear() { *this = ChecksumState(); }

uint64 ChecksumState::Checksum() const {
  return Crc64(aligned_checksum_, pending_, static_cast<size_t>(pending_count_));
}

uint64 ChecksumState::History(int index) const {
  if (index < 0 || index >= HistoryLength()) return 0;
  return history_[static_cast<size_t>(index)];
}

int64 ChecksumState::RewindTo(int64 position) {
  if (position >= Length()) return Length();
  const int64 blocks = std::max<int64>(position, 0) / kBlockSize;
  history_.resize(static_cast<size_t>(blocks));
  aligned_checksum_ = blocks > 0 ? history_.back() : 0;
  aligned_length_ = blocks * kBlockSize;
  pending_count_ = 0;
  return aligned_length_;
}

::string ChecksumState::ToRecordText() const {
  ::string text;
  AppendHexNumber(static_cast<uint64>(aligned_length_), &text);
  text += ' ';
  AppendHexNumber(aligned_checksum_, &text);
  text += ' ';
  if (pending_count_ == 0) text += kEmptyField;
  for (int i = 0; i < pending_count_; ++i) {
    const unsigned char byte = static_cast<unsigned char>(pending_[i]);
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 15];
  }
  text += ' ';
  if (history_.empty()) text += kEmptyField;
  for (size_t i = 0; i < history_.size(); ++i) {
    if (i > 0) text += ',';
    AppendHexNumber(history_[i], &text);
  }
  return text;
}

bool ChecksumState::FromRecordText(const ::string& text, ChecksumState* state) {
  if (state == nullptr) return false;
  std::string_view fields[4];
  if (!SplitFields(text, fields, 4)) return false;
  ChecksumState parsed;
  uint64 aligned_length;
  if (!ParseHexNumber(fields[0], &aligned_length) || !ParseHexNumber(fields[1], &parsed.aligned_checksum_) ||
      !ParsePending(fields[2], parsed.pending_, &parsed.pending_count_) ||
      !ParseHistory(fields[3], &parsed.history_)) {
    return false;
  }
  // A state that Add could not have produced is a damaged record.
  if (aligned_length > static_cast<uint64>(INT64_MAX) || aligned_length % kChunkSize != 0) return false;
  parsed.aligned_length_ = static_cast<int64>(aligned_length);
  if (parsed.history_.size() != static_cast<size_t>(parsed.aligned_length_ / kBlockSize)) return false;
  if (parsed.aligned_length_ == 0 && parsed.aligned_checksum_ != 0) return false;
  if (!parsed.history_.empty() && parsed.aligned_length_ % kBlockSize == 0 &&
      parsed.history_.back() != parsed.aligned_checksum_) {
    return false;
  }
  *state = parsed;
  return true;
}

bool ChecksumState::HistoryIndexToPositionRange(int index, int64* start, int64* end) const {
  if (index < 0 || index >= HistoryLength()) return false;
  if (start != nullptr) *start = index * kBlockSize;
  if (end != nullptr) *end = (index + 1) * kBlockSize;
  return true;
}

void ChecksumState::SetRunningChecksum(uint64 checksum) {
  aligned_checksum_ = checksum;
  if (!history_.empty() && aligned_length_ == HistoryLength() * kBlockSize) history_.back() = checksum;
}

bool ChecksumState::VerifyRange(int64 offset, int64 length, const RangeReader& read,
                                ::string* why) const {
  auto fail = [why](const ::string& reason) {
    if (why != nullptr) *why = reason;
    return false;
  };
  if (offset < 0 || length < 0 || length > Length() || offset > Length() - length) {
    return fail("range [" + std::to_string(offset) + ", +" + std::to_string(length) +
                ") lies outside the " + std::to_string(Length()) + " checksummed bytes");
  }
  if (length == 0) return true;
  // From the history point at or before offset to the next one at or after
  // the range's end (or the end of the checksummed bytes).
  const int64 first_block = offset / kBlockSize;
  int64 position = first_block * kBlockSize;
  uint64 crc = first_block > 0 ? history_[static_cast<size_t>(first_block - 1)] : 0;
  const int64 end_block = (offset + length + kBlockSize - 1) / kBlockSize;
  const bool in_history = end_block <= HistoryLength();
  const int64 stop = in_history ? end_block * kBlockSize : Length();
  const uint64 expected = in_history ? history_[static_cast<size_t>(end_block - 1)] : Checksum();
  constexpr int64 kPiece = 1 << 20;
  ::string buffer(static_cast<size_t>(std::min(kPiece, stop - position)), '\0');
  while (position < stop) {
    const int64 want = std::min<int64>(static_cast<int64>(buffer.size()), stop - position);
    const int64 got = read(position, buffer.data(), want);
    if (got < 0) return fail("cannot read at " + std::to_string(position));
    if (got == 0) return fail("the file ends at " + std::to_string(position) + ", before its checksummed length");
    crc = Crc64(crc, buffer.data(), static_cast<size_t>(got));
    position += got;
  }
  if (crc != expected) {
    return fail("bytes [" + std::to_string(first_block * kBlockSize) + ", " + std::to_string(stop) +
                ") do not match the recorded checksum");
  }
  return true;
}
