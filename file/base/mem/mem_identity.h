// Who the process is, as the memory file system needs it: owner and group
// names for new nodes, the umask, and the POSIX permission check, so that
// memory files grant and refuse access as files on disk do.
#ifndef FILE_BASE_MEM_IDENTITY_H_
#define FILE_BASE_MEM_IDENTITY_H_

#include <memory>
#include <optional>

#include "file/base/util/base_types.h"

namespace file {
namespace mem {

struct Identity {
  bool privileged = false;  // effective uid 0: permission bits do not apply
  ::string user;            // name of the effective user (its number if none)
  ::string group;           // name of the effective group (likewise)
  vector<::string> groups;  // every group the process is in, by name
};

// The identity of the process now; cached while the effective ids and the
// supplementary groups stay the same.
std::shared_ptr<const Identity> CurrentIdentity();

// The process umask, read without changing it.
unsigned int CurrentUmask();

// The name of the user or group that `name` (a name or a decimal id, as
// chown(1) takes them) stands for; nothing when it names nobody.
std::optional<::string> KnownUserName(const char* name);
std::optional<::string> KnownGroupName(const char* name);

// The permission bits that matter for `who` on a node with this owner,
// group and mode: owner bits, else group bits, else the others' (as an
// octal digit 0..7, 4 read, 2 write, 1 search/execute); 7 when privileged.
unsigned int GrantedAccess(const Identity& who, const ::string& owner,
                           const ::string& group, unsigned int mode);

}  // namespace mem
}  // namespace file

#endif  // FILE_BASE_MEM_IDENTITY_H_
