#include "file/base/redundancy/archive_layout.h"

#include <isa-l/crc64.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "file/base/names/path.h"

namespace redundancy {

namespace {

constexpr char kShardMagic[8] = {'P', 'Q', 'A', 'R', 'S', 'H', 'R', 'D'};

uint64 Crc(const char* data, int64 n) {
  return crc64_ecma_refl(0, reinterpret_cast<const unsigned char*>(data), static_cast<uint64_t>(n));
}

void PutLittle(uint64 value, int bytes, ::string* out) {
  for (int i = 0; i < bytes; ++i) out->push_back(static_cast<char>((value >> (8 * i)) & 0xff));
}

uint64 GetLittle(const char* p, int bytes) {
  uint64 value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(p[i]);
  return value;
}

bool ParseNumber(std::string_view text, int base, uint64* value) {
  if (text.empty()) return false;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value, base);
  return ec == std::errc() && end == text.data() + text.size();
}

}  // namespace

int64 Manifest::StripeDataLength(int64 stripe) const {
  return std::min(stripe_bytes(), length - stripe * stripe_bytes());
}

int64 Manifest::CellLength(int64 stripe) const {
  return (StripeDataLength(stripe) + data - 1) / data;
}

::string Manifest::ToText() const {
  ::string text = ::string(kManifestMagic) + "\n";
  text += "encoding " + ::string(FileReedSolomon::Encoding2Name(encoding)) + "\n";
  text += "unit " + std::to_string(unit) + "\n";
  text += "length " + std::to_string(length) + "\n";
  char hex[17];
  auto [end, ec] = std::to_chars(hex, hex + 16, checksum, 16);
  text += "checksum " + ::string(hex, end) + "\n";
  for (const ::string& shard : shards) text += "shard " + shard + "\n";
  return text;
}

bool Manifest::FromText(const ::string& text, Manifest* manifest) {
  std::string_view rest(text);
  auto next_line = [&rest](std::string_view* line) {
    const size_t end = rest.find('\n');
    if (end == std::string_view::npos) return false;
    *line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return true;
  };
  std::string_view line;
  if (!next_line(&line) || line != kManifestMagic) return false;
  Manifest parsed;
  bool have_encoding = false, have_unit = false, have_length = false, have_checksum = false;
  while (next_line(&line)) {
    const size_t space = line.find(' ');
    if (space == std::string_view::npos) return false;
    const std::string_view key = line.substr(0, space), value = line.substr(space + 1);
    uint64 number = 0;
    if (key == "encoding") {
      if (!FileReedSolomon::Name2Encoding(::string(value).c_str(), &parsed.encoding)) return false;
      FileReedSolomon::Encoding2Params(parsed.encoding, &parsed.data, &parsed.total);
      have_encoding = true;
    } else if (key == "unit" && ParseNumber(value, 10, &number) && number > 0 &&
               number <= static_cast<uint64>(kMaxUnitKib) * 1024) {
      parsed.unit = static_cast<int64>(number);
      have_unit = true;
    } else if (key == "length" && ParseNumber(value, 10, &number) && number <= static_cast<uint64>(INT64_MAX / 2)) {
      parsed.length = static_cast<int64>(number);
      have_length = true;
    } else if (key == "checksum" && ParseNumber(value, 16, &number)) {
      parsed.checksum = number;
      have_checksum = true;
    } else if (key == "shard" && !value.empty()) {
      parsed.shards.emplace_back(value);
    } else {
      return false;
    }
  }
  if (!rest.empty() || !have_encoding || !have_unit || !have_length || !have_checksum ||
      static_cast<int>(parsed.shards.size()) != parsed.total) {
    return false;
  }
  *manifest = std::move(parsed);
  return true;
}

vector<::string> ShardNames(const ::string& name, int total) {
  const ::string dir = file::StripBasename(name.c_str());
  const ::string base = file::Basename(name.c_str());
  vector<::string> names;
  for (int i = 0; i < total; ++i) {
    char suffix[32];
    std::snprintf(suffix, sizeof(suffix), ".rs-%02d-of-%02d", i, total);
    names.push_back(dir + "." + base + suffix);
  }
  return names;
}

::string EncodeShardHeader(const Manifest& manifest, int index) {
  ::string header(kShardMagic, sizeof(kShardMagic));
  PutLittle(1, 4, &header);
  PutLittle(static_cast<uint64>(index), 4, &header);
  PutLittle(static_cast<uint64>(manifest.data), 4, &header);
  PutLittle(static_cast<uint64>(manifest.total), 4, &header);
  PutLittle(static_cast<uint64>(manifest.unit), 8, &header);
  PutLittle(static_cast<uint64>(manifest.length), 8, &header);
  PutLittle(static_cast<uint64>(manifest.stripes()), 8, &header);
  PutLittle(manifest.checksum, 8, &header);
  PutLittle(Crc(header.data(), static_cast<int64>(header.size())), 8, &header);
  return header;
}

bool ShardHeaderMatches(const ::string& header, const Manifest& manifest, int index) {
  return header.size() == static_cast<size_t>(kShardHeaderSize) && header == EncodeShardHeader(manifest, index);
}

bool ArchiveShards::Open(FileFactory* factory, const Manifest& manifest, ::string* why) {
  manifest_ = manifest;
  codec_ = std::make_unique<ReedSolomonCodec>(manifest.data, manifest.total);
  shards_.clear();
  shards_.resize(static_cast<size_t>(manifest.total));
  const int64 table_bytes = 8 * manifest.stripes();
  for (int i = 0; i < manifest.total; ++i) {
    ScopedFile f(factory->CreateWithOptions(manifest.shards[static_cast<size_t>(i)].c_str(), "r",
                                            FileOpenOptions()));
    if (f == nullptr || !f->Open()) continue;
    ::string head(static_cast<size_t>(kShardHeaderSize + table_bytes), '\0');
    if (f->PRead(0, head.data(), static_cast<int64>(head.size())) != static_cast<int64>(head.size()) ||
        !ShardHeaderMatches(head.substr(0, kShardHeaderSize), manifest, i)) {
      continue;
    }
    Shard& shard = shards_[static_cast<size_t>(i)];
    for (int64 s = 0; s < manifest.stripes(); ++s) {
      shard.checksums.push_back(GetLittle(head.data() + kShardHeaderSize + 8 * s, 8));
    }
    shard.file = std::move(f);
  }
  if (usable() < manifest.data) {
    if (why != nullptr) {
      *why = "data loss: only " + std::to_string(usable()) + " of the " + std::to_string(manifest.total) +
             " shards are readable, " + std::to_string(manifest.data) + " are needed";
    }
    Close();
    return false;
  }
  return true;
}

void ArchiveShards::Close() {
  for (Shard& shard : shards_) shard.file.reset();
}

int ArchiveShards::usable() const {
  return static_cast<int>(std::count_if(shards_.begin(), shards_.end(),
                                        [](const Shard& s) { return s.file != nullptr; }));
}

bool ArchiveShards::ReadCell(int index, int64 stripe, char* to) {
  Shard& shard = shards_[static_cast<size_t>(index)];
  if (shard.file == nullptr) return false;
  const int64 length = manifest_.CellLength(stripe);
  return shard.file->PRead(manifest_.CellOffset(stripe), to, length) == length &&
         Crc(to, length) == shard.checksums[static_cast<size_t>(stripe)];
}

bool ArchiveShards::Assemble(int64 stripe, const vector<int>& order, const vector<int>& wanted,
                             vector<char*>* targets, vector<int>* bad, ::string* why) {
  const int64 length = manifest_.CellLength(stripe);
  const int k = manifest_.data;
  // Cells land in their targets when wanted, else in scratch space.
  vector<::string> scratch(static_cast<size_t>(manifest_.total));
  vector<char*> where(static_cast<size_t>(manifest_.total), nullptr);
  for (size_t w = 0; w < wanted.size(); ++w) where[static_cast<size_t>(wanted[w])] = (*targets)[w];
  vector<int> good;
  for (int index : order) {
    if (static_cast<int>(good.size()) == k) break;
    char*& to = where[static_cast<size_t>(index)];
    if (to == nullptr) {
      scratch[static_cast<size_t>(index)].resize(static_cast<size_t>(length));
      to = scratch[static_cast<size_t>(index)].data();
    }
    if (ReadCell(index, stripe, to)) {
      good.push_back(index);
    } else if (bad != nullptr) {
      bad->push_back(index);
    }
  }
  if (static_cast<int>(good.size()) < k) {
    if (why != nullptr) {
      *why = "data loss: stripe " + std::to_string(stripe) + " has " + std::to_string(good.size()) +
             " good cells where " + std::to_string(k) + " are needed";
    }
    return false;
  }
  vector<int> lost;
  vector<unsigned char*> lost_targets;
  for (int index : wanted) {
    if (std::find(good.begin(), good.end(), index) == good.end()) {
      lost.push_back(index);
      lost_targets.push_back(reinterpret_cast<unsigned char*>(where[static_cast<size_t>(index)]));
    }
  }
  if (lost.empty()) return true;
  ReedSolomonCodec::Decoder decoder;
  if (!codec_->MakeDecoder(lost, good, &decoder)) {
    if (why != nullptr) *why = "cannot decode stripe " + std::to_string(stripe);
    return false;
  }
  vector<const unsigned char*> sources;
  for (int index : decoder.sources()) {
    sources.push_back(reinterpret_cast<const unsigned char*>(where[static_cast<size_t>(index)]));
  }
  decoder.Rebuild(length, sources.data(), lost_targets.data());
  return true;
}

bool ArchiveShards::ReadStripe(int64 stripe, Sources sources, char* out, vector<int>* bad, ::string* why) {
  const int k = manifest_.data, n = manifest_.total;
  const int64 length = manifest_.CellLength(stripe);
  vector<int> order, wanted;
  vector<char*> targets;
  for (int j = 0; j < k; ++j) {
    wanted.push_back(j);
    targets.push_back(out + j * length);
  }
  if (sources == Sources::kParityFirst) {
    for (int i = k; i < n; ++i) order.push_back(i);
  }
  for (int j = 0; j < k; ++j) order.push_back(j);
  if (sources == Sources::kDataFirst) {
    for (int i = k; i < n; ++i) order.push_back(i);
  }
  return Assemble(stripe, order, wanted, &targets, bad, why);
}

bool ArchiveShards::ReadAllCells(int64 stripe, vector<::string>* cells, vector<int>* bad, ::string* why) {
  const int n = manifest_.total;
  const int64 length = manifest_.CellLength(stripe);
  cells->assign(static_cast<size_t>(n), ::string(static_cast<size_t>(length), '\0'));
  vector<int> order, wanted;
  vector<char*> targets;
  for (int i = 0; i < n; ++i) {
    order.push_back(i);
    wanted.push_back(i);
    targets.push_back((*cells)[static_cast<size_t>(i)].data());
  }
  // Every cell is read (not only the first `data` good ones), so that all
  // damage is found.
  vector<int> found;
  for (int i = 0; i < n; ++i) {
    if (!ReadCell(i, stripe, targets[static_cast<size_t>(i)])) found.push_back(i);
  }
  if (bad != nullptr) *bad = found;
  if (found.empty()) return true;
  vector<int> good_order;
  for (int i = 0; i < n; ++i) {
    if (std::find(found.begin(), found.end(), i) == found.end()) good_order.push_back(i);
  }
  vector<char*> lost_targets;
  for (int i : found) lost_targets.push_back(targets[static_cast<size_t>(i)]);
  return Assemble(stripe, good_order, found, &lost_targets, nullptr, why);
}

}  // namespace redundancy
