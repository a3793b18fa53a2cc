// Reed-Solomon archives of files (layout: archive_layout.h,
// docs/redundancy.md): making them, repairing them, and the hooks through
// which the core opens and stats them like any other file.
#ifndef FILE_BASE_REDUNDANCY_ARCHIVE_H_
#define FILE_BASE_REDUNDANCY_ARCHIVE_H_

#include "file/base/file.h"
#include "file/base/redundancy/archive_layout.h"

namespace redundancy {

// Turns `name` (a file of `factory`) into an archive with `encoding`,
// cutting it into cells of stripe_unit_kib KiB (0: the default, 256 KiB;
// at most 65536). The file's bytes are checked against its recorded
// checksum, when it has one, before anything changes; without one, the
// checksum of the bytes archived is recorded. A name that is already an
// archive is repaired instead (RepairArchive; the encoding and unit it was
// made with stay). False, with the failure in op, leaving the file as it
// was.
bool ArchiveName(FileFactory* factory, const ::string& name, FileReedSolomonEncoding encoding,
                 int stripe_unit_kib, file::Operation* op);

// Reads every cell of the archive `name`, and rewrites each shard file that
// is lost, has a damaged header or table, or holds a damaged cell, from the
// other shards. *rewritten (when not null) receives the indexes of the
// shard files written, in order. False (INTERNAL_ERROR, "data loss: ...") when some stripe
// has fewer good cells than the encoding needs; then nothing is rewritten.
bool RepairArchive(FileFactory* factory, const ::string& name, vector<int>* rewritten, file::Operation* op);

// Whether `name` is an archive: kValid (with *manifest) when its attribute
// record marks it and it holds a well-formed manifest; kDamaged when it is
// marked and holds a manifest that does not parse; kNone otherwise (also
// while archiving, before the manifest takes the file's place).
enum class ManifestState { kNone, kValid, kDamaged };
ManifestState ReadManifest(FileFactory* factory, const char* name, Manifest* manifest);
// ReadManifest(...) == kValid.
bool LoadManifest(FileFactory* factory, const char* name, Manifest* manifest);

// Installs archives into the core (file::SetArchiveSupport).
void InstallArchiveSupport();

}  // namespace redundancy

#endif  // FILE_BASE_REDUNDANCY_ARCHIVE_H_
