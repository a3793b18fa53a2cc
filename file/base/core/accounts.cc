// User and group names of local files.
#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "file/base/core/accounts.h"

namespace file_internal {
namespace {

// The getpw*_r/getgr*_r calls want a caller buffer: grow it until the entry
// fits, then hand the entry to `use` while the buffer is alive.
template <typename Entry, typename Lookup, typename Use>
bool WithEntry(Lookup lookup, Use use) {
  std::vector<char> buffer(1024);
  for (;;) {
    Entry entry;
    Entry* result = nullptr;
    const int error = lookup(&entry, buffer.data(), buffer.size(), &result);
    if (error == ERANGE && buffer.size() < (1u << 20)) {
      buffer.resize(buffer.size() * 2);
      continue;
    }
    if (error != 0 || result == nullptr) return false;
    use(*result);
    return true;
  }
}

bool ParseId(const char* text, unsigned long* id) {  // NOLINT
  if (text == nullptr || *text == '\0') return false;
  char* end = nullptr;
  errno = 0;
  *id = std::strtoul(text, &end, 10);
  return *end == '\0' && errno == 0;
}

// Names by id, remembered for a while: every stat names its owner and group,
// and the system's lookup reads the account databases each time.
class NameCache {
 public:
  template <typename Lookup>
  ::string Get(unsigned id, Lookup lookup) {
    const auto now = std::chrono::steady_clock::now();
    {
      std::lock_guard<std::mutex> lock(mu_);
      auto it = names_.find(id);
      if (it != names_.end() && now - it->second.when < kLifetime) return it->second.name;
    }
    ::string name = lookup(id);
    std::lock_guard<std::mutex> lock(mu_);
    names_[id] = Entry{name, now};
    return name;
  }

 private:
  static constexpr std::chrono::seconds kLifetime{30};
  struct Entry {
    ::string name;
    std::chrono::steady_clock::time_point when;
  };
  std::mutex mu_;
  std::unordered_map<unsigned, Entry> names_;
};

::string LookUpUserName(uid_t uid) {
  ::string name(std::to_string(uid));
  WithEntry<struct passwd>(
      [uid](struct passwd* e, char* buf, size_t len, struct passwd** out) {
        return getpwuid_r(uid, e, buf, len, out);
      },
      [&name](const struct passwd& e) { name = e.pw_name; });
  return name;
}

::string LookUpGroupName(gid_t gid) {
  ::string name(std::to_string(gid));
  WithEntry<struct group>(
      [gid](struct group* e, char* buf, size_t len, struct group** out) {
        return getgrgid_r(gid, e, buf, len, out);
      },
      [&name](const struct group& e) { name = e.gr_name; });
  return name;
}

::string UserName(uid_t uid) {
  static NameCache* cache = new NameCache();
  return cache->Get(uid, [](unsigned id) { return LookUpUserName(id); });
}

::string GroupName(gid_t gid) {
  static NameCache* cache = new NameCache();
  return cache->Get(gid, [](unsigned id) { return LookUpGroupName(id); });
}

}  // namespace

bool LookupUserId(const char* owner, uid_t* uid) {
  if (owner == nullptr || *owner == '\0') return false;
  const bool found = WithEntry<struct passwd>(
      [owner](struct passwd* e, char* buf, size_t len, struct passwd** out) {
        return getpwnam_r(owner, e, buf, len, out);
      },
      [uid](const struct passwd& e) { *uid = e.pw_uid; });
  if (found) return true;
  unsigned long id;  // NOLINT
  if (!ParseId(owner, &id)) return false;
  *uid = static_cast<uid_t>(id);
  return true;
}

bool LookupGroupId(const char* group, gid_t* gid) {
  if (group == nullptr || *group == '\0') return false;
  const bool found = WithEntry<struct group>(
      [group](struct group* e, char* buf, size_t len, struct group** out) {
        return getgrnam_r(group, e, buf, len, out);
      },
      [gid](const struct group& e) { *gid = e.gr_gid; });
  if (found) return true;
  unsigned long id;  // NOLINT
  if (!ParseId(group, &id)) return false;
  *gid = static_cast<gid_t>(id);
  return true;
}

void FillStatFromPosix(const struct stat& st, FileStat* stat) {
  stat->length = static_cast<int64>(st.st_size);
  stat->mtime = static_cast<long>(st.st_mtime);  // NOLINT
  stat->mode = static_cast<uint32>(st.st_mode);
  stat->owner = UserName(st.st_uid);
  stat->group = GroupName(st.st_gid);
  stat->identifier = static_cast<int64>(st.st_ino);
}

}  // namespace file_internal
