#include "file/base/core/stat_attribute_cache.h"

#include <chrono>
#include <mutex>
#include <string>
#include <unordered_map>

#include "file/base/core/attr_record.h"

namespace file {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kLifetime = std::chrono::seconds(1);
constexpr size_t kMaxEntries = 4096;

struct Entry {
  Attr_t attr;
  uint64 generation;
  Clock::time_point loaded;
};

class Cache {
 public:
  bool Find(const std::string& key, Attr_t* attr) {
    const uint64 generation = AttributeRecordGeneration();
    std::lock_guard<std::mutex> lock(mu_);
    auto it = entries_.find(key);
    if (it == entries_.end()) return false;
    if (it->second.generation != generation || Clock::now() - it->second.loaded > kLifetime) {
      entries_.erase(it);
      return false;
    }
    *attr = it->second.attr;
    return true;
  }

  void Put(const std::string& key, Attr_t attr, uint64 generation) {
    std::lock_guard<std::mutex> lock(mu_);
    if (entries_.size() >= kMaxEntries) entries_.clear();
    entries_[key] = Entry{attr, generation, Clock::now()};
  }

 private:
  std::mutex mu_;
  std::unordered_map<std::string, Entry> entries_;
};

Cache& TheCache() {
  static Cache* cache = new Cache();
  return *cache;
}

}  // namespace

bool CachedStatAttributes(const FileFactory* factory, const ::string& name, Attr_t* attr,
                          const std::function<bool(Attr_t*)>& load) {
  std::string key(reinterpret_cast<const char*>(&factory), sizeof(factory));
  key += name;
  if (TheCache().Find(key, attr)) return true;
  // The generation is taken before loading, so a change made meanwhile
  // leaves an entry that is already stale.
  const uint64 generation = AttributeRecordGeneration();
  if (!load(attr)) return false;
  TheCache().Put(key, *attr, generation);
  return true;
}

}  // namespace file
