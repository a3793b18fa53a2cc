// Reed-Solomon erasure codes over libisal: the named encodings of
// FileReedSolomon and the codec that archives use.
//
// An encoding "k of n" cuts data into k data cells and adds n - k parity
// cells (a Cauchy generator matrix over GF(2^8)); any k of the n cells give
// back the data.
#ifndef FILE_BASE_REDUNDANCY_REED_SOLOMON_H_
#define FILE_BASE_REDUNDANCY_REED_SOLOMON_H_

#include "file/base/util/base_types.h"

enum FileReedSolomonEncoding : int {
  FILE_RS_ENCODING_5_8 = 0,
  FILE_RS_ENCODING_9_13 = 1,
  FILE_RS_ENCODING_20_30 = 2,
  FILE_RS_NUM_ENCODINGS = 3,
};

class FileReedSolomon {
 public:
  using Encoding = FileReedSolomonEncoding;
  static constexpr Encoding ENCODING_5_8 = FILE_RS_ENCODING_5_8;
  static constexpr Encoding ENCODING_9_13 = FILE_RS_ENCODING_9_13;
  static constexpr Encoding ENCODING_20_30 = FILE_RS_ENCODING_20_30;
  static constexpr Encoding NUM_ENCODINGS = FILE_RS_NUM_ENCODINGS;

  // *data and *total of the encoding ("k of n"); false (outputs untouched)
  // for a value that names no encoding. Null outputs are skipped.
  static bool Encoding2Params(Encoding encoding, int* data, int* total);
  // The encoding of a name ("rs_5_8", "rs_9_13", "rs_20_30"); false (output
  // untouched) for any other text.
  static bool Name2Encoding(const char* name, Encoding* encoding);
  // The name of an encoding; null for a value that names none.
  static const char* Encoding2Name(Encoding encoding);
};

namespace redundancy {

// The code of one "k of n" encoding: encodes parity cells and rebuilds lost
// cells. Immutable after construction; thread safe.
class ReedSolomonCodec {
 public:
  // 1 <= data < total <= 255.
  ReedSolomonCodec(int data, int total);

  int data() const { return data_; }
  int total() const { return total_; }
  int parity() const { return total_ - data_; }

  // Writes the parity() parity cells from the data() data cells; every cell
  // is `length` bytes.
  void Encode(int64 length, const unsigned char* const* data_cells,
              unsigned char* const* parity_cells) const;

  // A decoder for one pattern of lost cells, reusable for every stripe that
  // lost the same cells.
  class Decoder {
   public:
    // The cells the decoder reads, in order: data() of the cells not lost.
    const vector<int>& sources() const { return sources_; }
    const vector<int>& lost() const { return lost_; }
    // Rebuilds the lost cells (targets[i] receives lost()[i]) from the
    // source cells (sources[i] holds sources()[i]), `length` bytes each.
    void Rebuild(int64 length, const unsigned char* const* sources,
                 unsigned char* const* targets) const;

   private:
    friend class ReedSolomonCodec;
    int data_ = 0;
    vector<int> sources_;
    vector<int> lost_;
    vector<unsigned char> tables_;
  };

  // A decoder that rebuilds `lost` (cell indices in [0, total()), no
  // repeats) from the cells in `present`, taken in the order given (only the
  // first data() are used). False when fewer than data() cells are present
  // or an index is out of range.
  bool MakeDecoder(const vector<int>& lost, const vector<int>& present, Decoder* decoder) const;

 private:
  int data_;
  int total_;
  vector<unsigned char> matrix_;  // total x data, the top data rows the identity
  vector<unsigned char> parity_tables_;
};

}  // namespace redundancy

#endif  // FILE_BASE_REDUNDANCY_REED_SOLOMON_H_
