#include "file/base/redundancy/reed_solomon.h"

#include <isa-l/erasure_code.h>

#include <cstring>

namespace {

struct EncodingInfo {
  const char* name;
  int data;
  int total;
};
constexpr EncodingInfo kEncodings[FILE_RS_NUM_ENCODINGS] = {
    {"rs_5_8", 5, 8},
    {"rs_9_13", 9, 13},
    {"rs_20_30", 20, 30},
};

const EncodingInfo* Find(FileReedSolomonEncoding encoding) {
  const int index = static_cast<int>(encoding);
  return index >= 0 && index < FILE_RS_NUM_ENCODINGS ? &kEncodings[index] : nullptr;
}

}  // namespace

bool FileReedSolomon::Encoding2Params(Encoding encoding, int* data, int* total) {
  const EncodingInfo* info = Find(encoding);
  if (info == nullptr) return false;
  if (data != nullptr) *data = info->data;
  if (total != nullptr) *total = info->total;
  return true;
}

bool FileReedSolomon::Name2Encoding(const char* name, Encoding* encoding) {
  if (name == nullptr) return false;
  for (int i = 0; i < FILE_RS_NUM_ENCODINGS; ++i) {
    if (std::strcmp(name, kEncodings[i].name) == 0) {
      if (encoding != nullptr) *encoding = static_cast<Encoding>(i);
      return true;
    }
  }
  return false;
}

const char* FileReedSolomon::Encoding2Name(Encoding encoding) {
  const EncodingInfo* info = Find(encoding);
  return info != nullptr ? info->name : nullptr;
}

namespace redundancy {

ReedSolomonCodec::ReedSolomonCodec(int data, int total)
    : data_(data), total_(total), matrix_(static_cast<size_t>(total * data)) {
  gf_gen_cauchy1_matrix(matrix_.data(), total_, data_);
  parity_tables_.resize(static_cast<size_t>(data_ * parity() * 32));
  ec_init_tables(data_, parity(), matrix_.data() + data_ * data_, parity_tables_.data());
}

void ReedSolomonCodec::Encode(int64 length, const unsigned char* const* data_cells,
                              unsigned char* const* parity_cells) const {
  if (length <= 0) return;
  ec_encode_data(static_cast<int>(length), data_, parity(), const_cast<unsigned char*>(parity_tables_.data()),
                 const_cast<unsigned char**>(data_cells), const_cast<unsigned char**>(parity_cells));
}

bool ReedSolomonCodec::MakeDecoder(const vector<int>& lost, const vector<int>& present,
                                   Decoder* decoder) const {
  if (static_cast<int>(present.size()) < data_) return false;
  vector<bool> seen(static_cast<size_t>(total_), false);
  for (int i : lost) {
    if (i < 0 || i >= total_ || seen[static_cast<size_t>(i)]) return false;
    seen[static_cast<size_t>(i)] = true;
  }
  vector<int> sources(present.begin(), present.begin() + data_);
  for (int i : sources) {
    if (i < 0 || i >= total_ || seen[static_cast<size_t>(i)]) return false;
    seen[static_cast<size_t>(i)] = true;
  }
  // The rows of the sources, inverted, turn the sources back into the data.
  const size_t k = static_cast<size_t>(data_);
  vector<unsigned char> rows(k * k), inverse(k * k);
  for (size_t r = 0; r < k; ++r) {
    std::memcpy(&rows[r * k], &matrix_[static_cast<size_t>(sources[r]) * k], k);
  }
  if (gf_invert_matrix(rows.data(), inverse.data(), data_) != 0) return false;
  // A lost data cell is its row of the inverse; a lost parity cell is its
  // generator row applied to the inverse.
  vector<unsigned char> decode(lost.size() * k);
  for (size_t l = 0; l < lost.size(); ++l) {
    const size_t cell = static_cast<size_t>(lost[l]);
    for (size_t c = 0; c < k; ++c) {
      if (cell < k) {
        decode[l * k + c] = inverse[cell * k + c];
      } else {
        unsigned char sum = 0;
        for (size_t j = 0; j < k; ++j) sum ^= gf_mul(matrix_[cell * k + j], inverse[j * k + c]);
        decode[l * k + c] = sum;
      }
    }
  }
  decoder->data_ = data_;
  decoder->sources_ = std::move(sources);
  decoder->lost_ = lost;
  decoder->tables_.assign(k * lost.size() * 32, 0);
  if (!lost.empty()) {
    ec_init_tables(data_, static_cast<int>(lost.size()), decode.data(), decoder->tables_.data());
  }
  return true;
}

void ReedSolomonCodec::Decoder::Rebuild(int64 length, const unsigned char* const* sources,
                                        unsigned char* const* targets) const {
  if (length <= 0 || lost_.empty()) return;
  ec_encode_data(static_cast<int>(length), data_, static_cast<int>(lost_.size()),
                 const_cast<unsigned char*>(tables_.data()), const_cast<unsigned char**>(sources),
                 const_cast<unsigned char**>(targets));
}

}  // namespace redundancy
