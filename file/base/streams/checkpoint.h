// Checkpoints of streams that write files: where writing stood (file name and
// offset) and, for writers that keep one, the checksum of the bytes before
// that offset. OutputBuffer::Checkpoint hands a CheckpointRecord to a
// CheckpointWriter; OutputBuffer::OpenOrDie and OpenWithOptions resume a file
// at one. Record files and logs keep checkpoints the same way.
//
// The record itself (CheckpointRecord) is declared with the File records in
// file/base/core/file_records.h, because File::OpenToCheckpointOrDie takes it;
// this header is the one to include for checkpoints.
#ifndef FILE_BASE_STREAMS_CHECKPOINT_H_
#define FILE_BASE_STREAMS_CHECKPOINT_H_

#include "file/base/core/file_records.h"
#include "file/base/util/base_types.h"

namespace file {

// The text form of a checkpoint, three lines:
//   "offset <decimal>\n"
//   "checksum <ChecksumState::ToRecordText() or ->\n"
//   "file <name>"            (the name is the rest of the text, any bytes)
::string CheckpointToText(const CheckpointRecord& checkpoint);
// Parses CheckpointToText's form; false (leaving *checkpoint alone) for
// anything else (a negative offset, a damaged checksum, a checksum whose
// length is not the offset).
bool CheckpointFromText(const ::string& text, CheckpointRecord* checkpoint);

}  // namespace file

// Receives the checkpoints of a writer. This base class keeps the latest one
// in memory; subclasses keep them elsewhere. Thread-compatible.
class CheckpointWriter {
 public:
  CheckpointWriter() = default;
  virtual ~CheckpointWriter();
  CheckpointWriter(const CheckpointWriter&) = delete;
  CheckpointWriter& operator=(const CheckpointWriter&) = delete;

  // Keeps `checkpoint`; false when it could not be kept (the writer that
  // made it carries on either way).
  virtual bool WriteCheckpoint(const CheckpointRecord& checkpoint);

  // Checkpoints received so far, and the latest (a default record when
  // count() is 0).
  int count() const { return count_; }
  const CheckpointRecord& last() const { return last_; }

 private:
  int count_ = 0;
  CheckpointRecord last_;
};

// Keeps each checkpoint in a file of any file system, in its text form. The
// file is replaced whole: written to "<name>.tmp" and renamed over <name>,
// so a reader sees the previous checkpoint or the new one, never a mix.
class FileCheckpointWriter : public CheckpointWriter {
 public:
  explicit FileCheckpointWriter(const ::string& name) : name_(name) {}
  bool WriteCheckpoint(const CheckpointRecord& checkpoint) override;

  // Reads the checkpoint kept in `name`; false when there is none or it is
  // damaged.
  static bool Load(const char* name, CheckpointRecord* checkpoint);

 private:
  ::string name_;
};

#endif  // FILE_BASE_STREAMS_CHECKPOINT_H_
