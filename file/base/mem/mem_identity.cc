#include "file/base/mem/mem_identity.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>

#include "file/base/core/accounts.h"

namespace file {
namespace mem {
namespace {

const char* EntryName(const struct passwd& entry) { return entry.pw_name; }
const char* EntryName(const struct group& entry) { return entry.gr_name; }

// Runs a reentrant passwd or group lookup, lookup(entry, buffer, size,
// result), with a buffer that grows until the entry fits; the entry's name,
// or nothing when there is no such entry.
template <class Entry, class Lookup>
std::optional<::string> LookupEntryName(Lookup lookup) {
  vector<char> buffer(1024);
  for (;;) {
    Entry entry;
    Entry* found = nullptr;
    const int rc = lookup(&entry, buffer.data(), buffer.size(), &found);
    if (rc == ERANGE && buffer.size() < (1u << 20)) {
      buffer.resize(buffer.size() * 4);
      continue;
    }
    if (rc != 0 || found == nullptr) return std::nullopt;
    return ::string(EntryName(*found));
  }
}

::string UserName(uid_t uid) {
  return LookupEntryName<struct passwd>([uid](auto... args) {
           return getpwuid_r(uid, args...);
         }).value_or(::string(std::to_string(uid)));
}

::string GroupName(gid_t gid) {
  return LookupEntryName<struct group>([gid](auto... args) {
           return getgrgid_r(gid, args...);
         }).value_or(::string(std::to_string(gid)));
}

vector<gid_t> SupplementaryGroups() {
  vector<gid_t> groups(64);
  int count = getgroups(static_cast<int>(groups.size()), groups.data());
  if (count < 0 && errno == EINVAL) {  // more groups than room: ask how many
    groups.resize(std::max(getgroups(0, nullptr), 1));
    count = getgroups(static_cast<int>(groups.size()), groups.data());
  }
  groups.resize(count > 0 ? static_cast<size_t>(count) : 0);
  std::sort(groups.begin(), groups.end());
  return groups;
}

struct IdentityCache {
  std::mutex mu;
  uid_t uid = 0;
  gid_t gid = 0;
  vector<gid_t> groups;
  std::shared_ptr<const Identity> identity;
};

}  // namespace

std::shared_ptr<const Identity> CurrentIdentity() {
  static IdentityCache* cache = new IdentityCache;  // never destroyed
  const uid_t uid = geteuid();
  const gid_t gid = getegid();
  vector<gid_t> groups = SupplementaryGroups();
  std::lock_guard<std::mutex> lock(cache->mu);
  if (cache->identity && cache->uid == uid && cache->gid == gid &&
      cache->groups == groups) {
    return cache->identity;
  }
  auto identity = std::make_shared<Identity>();
  identity->privileged = uid == 0;
  identity->user = UserName(uid);
  identity->group = GroupName(gid);
  identity->groups.push_back(identity->group);
  for (gid_t g : groups) {
    if (g != gid) identity->groups.push_back(GroupName(g));
  }
  cache->uid = uid;
  cache->gid = gid;
  cache->groups = std::move(groups);
  cache->identity = identity;
  return identity;
}

unsigned int CurrentUmask() {
  // /proc tells the umask without the set-and-restore race of umask(2).
  if (FILE* status = std::fopen("/proc/self/status", "re")) {
    char line[256];
    unsigned int mask = 0;
    bool found = false;
    while (!found && std::fgets(line, sizeof(line), status) != nullptr) {
      found = std::sscanf(line, "Umask: %o", &mask) == 1;
    }
    std::fclose(status);
    if (found) return mask & 0777;
  }
  static std::mutex mu;
  std::lock_guard<std::mutex> lock(mu);
  const mode_t mask = umask(022);
  umask(mask);
  return mask & 0777;
}

std::optional<::string> KnownUserName(const char* name) {
  uid_t uid;
  if (!file_internal::LookupUserId(name, &uid)) return std::nullopt;
  return UserName(uid);
}

std::optional<::string> KnownGroupName(const char* name) {
  gid_t gid;
  if (!file_internal::LookupGroupId(name, &gid)) return std::nullopt;
  return GroupName(gid);
}

unsigned int GrantedAccess(const Identity& who, const ::string& owner,
                           const ::string& group, unsigned int mode) {
  if (who.privileged) return 7;
  if (owner == who.user) return (mode >> 6) & 7;
  if (std::find(who.groups.begin(), who.groups.end(), group) != who.groups.end()) {
    return (mode >> 3) & 7;
  }
  return mode & 7;
}

}  // namespace mem
}  // namespace file
