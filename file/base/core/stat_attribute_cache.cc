#include "file/base/core/stat_attribute_cache.h"

#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

#include "file/base/core/attr_record.h"
#include "file/base/util/coarse_clock.h"

namespace file {
namespace {

constexpr int64_t kLifetimeNanos = 1000000000;  // one second
constexpr size_t kMaxEntries = 4096;

// Entries are keyed by the serving factory and the name; a look-up borrows
// the caller's name instead of building a key string.
using Key = std::pair<const FileFactory*, std::string>;
using KeyView = std::pair<const FileFactory*, std::string_view>;

struct KeyHash {
  using is_transparent = void;
  size_t operator()(const KeyView& k) const {
    return std::hash<std::string_view>()(k.second) ^ (std::hash<const void*>()(k.first) * 31);
  }
  size_t operator()(const Key& k) const { return (*this)(KeyView(k.first, k.second)); }
};

struct KeyEqual {
  using is_transparent = void;
  static KeyView View(const Key& k) { return KeyView(k.first, k.second); }
  static KeyView View(const KeyView& k) { return k; }
  template <class A, class B>
  bool operator()(const A& a, const B& b) const {
    return View(a) == View(b);
  }
};

struct Entry {
  Attr_t attr;
  uint64 generation;
  int64_t loaded;
};

class Cache {
 public:
  bool Find(const KeyView& key, Attr_t* attr) {
    const uint64 generation = AttributeRecordGeneration();
    const int64_t now = util::CoarseMonotonicNanos();
    std::lock_guard<std::mutex> lock(mu_);
    auto it = entries_.find(key);
    if (it == entries_.end()) return false;
    if (it->second.generation != generation || now - it->second.loaded > kLifetimeNanos) {
      entries_.erase(it);
      return false;
    }
    *attr = it->second.attr;
    return true;
  }

  void Put(const KeyView& key, Attr_t attr, uint64 generation) {
    const Entry entry{attr, generation, util::CoarseMonotonicNanos()};
    std::lock_guard<std::mutex> lock(mu_);
    if (entries_.size() >= kMaxEntries) entries_.clear();
    auto it = entries_.find(key);
    if (it != entries_.end()) {
      it->second = entry;
    } else {
      entries_.emplace(Key(key.first, std::string(key.second)), entry);
    }
  }

 private:
  std::mutex mu_;
  std::unordered_map<Key, Entry, KeyHash, KeyEqual> entries_;
};

Cache& TheCache() {
  static Cache* cache = new Cache();
  return *cache;
}

}  // namespace

bool FindStatAttributes(const FileFactory* factory, std::string_view name, Attr_t* attr,
                        uint64* generation) {
  if (TheCache().Find(KeyView(factory, name), attr)) return true;
  // The generation is taken before loading, so a change made meanwhile
  // leaves an entry that is already stale.
  *generation = AttributeRecordGeneration();
  return false;
}

void StoreStatAttributes(const FileFactory* factory, std::string_view name, Attr_t attr,
                         uint64 generation) {
  TheCache().Put(KeyView(factory, name), attr, generation);
}

}  // namespace file
