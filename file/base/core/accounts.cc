// User and group names of local files.
#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "file/base/core/accounts.h"
#include "file/base/util/coarse_clock.h"

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
  // Sets *out to the name of id; `now` is util::CoarseMonotonicNanos().
  template <typename Lookup>
  void Get(unsigned id, int64_t now, Lookup lookup, ::string* out) {
    {
      std::lock_guard<std::mutex> lock(mu_);
      auto it = names_.find(id);
      if (it != names_.end() && now - it->second.when < kLifetimeNanos) {
        *out = it->second.name;
        return;
      }
    }
    *out = lookup(id);
    std::lock_guard<std::mutex> lock(mu_);
    names_[id] = Entry{*out, now};
  }

 private:
  static constexpr int64_t kLifetimeNanos = 30 * int64_t{1000000000};
  struct Entry {
    ::string name;
    int64_t when;
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

void UserName(uid_t uid, int64_t now, ::string* out) {
  static NameCache* cache = new NameCache();
  cache->Get(uid, now, [](unsigned id) { return LookUpUserName(id); }, out);
}

void GroupName(gid_t gid, int64_t now, ::string* out) {
  static NameCache* cache = new NameCache();
  cache->Get(gid, now, [](unsigned id) { return LookUpGroupName(id); }, out);
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
  const int64_t now = util::CoarseMonotonicNanos();
  UserName(st.st_uid, now, &stat->owner);
  GroupName(st.st_gid, now, &stat->group);
  stat->identifier = static_cast<int64>(st.st_ino);
}

}  // namespace file_internal
