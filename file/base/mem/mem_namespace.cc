#include "file/base/mem/mem_namespace.h"

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <mutex>
#include <optional>
#include <string_view>

#include "file/base/mem/mem_identity.h"
#include "file/base/mem/mem_locks.h"

namespace file {
namespace mem {
namespace {

constexpr std::string_view kRootName = "/mem";

int64 NextNodeId() {
  static std::atomic<int64> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

// The components of `path`, empty ones dropped.
vector<std::string_view> SplitComponents(std::string_view path) {
  vector<std::string_view> parts;
  while (!path.empty()) {
    const size_t slash = path.find('/');
    const std::string_view part = path.substr(0, slash);
    if (!part.empty()) parts.push_back(part);
    if (slash == std::string_view::npos) break;
    path.remove_prefix(slash + 1);
  }
  return parts;
}

bool Grants(const Node& node, unsigned int wanted) {
  const auto who = CurrentIdentity();
  return (GrantedAccess(*who, node.owner, node.group, node.mode) & wanted) ==
         wanted;
}

// Whether the process may give a node it owns the group `group`, as chgrp
// allows an unprivileged owner only groups it belongs to.
int CheckGroupChange(const Identity& who, const ::string& group) {
  if (who.privileged) return 0;
  for (const ::string& mine : who.groups) {
    if (mine == group) return 0;
  }
  return EPERM;
}

}  // namespace

Node::Node(bool is_dir, unsigned int mode, const ::string& owner,
           const ::string& group)
    : id(NextNodeId()),
      is_dir(is_dir),
      mode(mode & 07777),
      owner(owner),
      group(group),
      mtime(std::time(nullptr)) {}

void Node::FillStat(FileStat* stat) const {
  stat->length = is_dir ? 0 : bytes.size();
  stat->mtime = mtime;
  stat->mode = (is_dir ? S_IFDIR : S_IFREG) | mode;
  stat->owner = owner;
  stat->group = group;
  stat->identifier = id;
}

void Node::Touch() { mtime = std::time(nullptr); }

// Where a name leads. `parent` and `leaf` are set when the last component
// is an entry name (not for the root, "." or ".."); `node` is null when that
// entry does not exist.
struct Namespace::Resolved {
  vector<NodePtr> ancestors;  // the root .. the directory holding the leaf
  NodePtr parent;
  ::string leaf;
  NodePtr node;
  bool must_be_dir = false;  // the name ended in "/", "." or ".."
};

Namespace& Namespace::Get() {
  static Namespace* tree = new Namespace;  // handles may outlive main
  return *tree;
}

Namespace::Namespace() : root_([] {
  const auto who = CurrentIdentity();
  return std::make_shared<Node>(true, 0777, who->user, who->group);
}()) {}

bool Namespace::Claims(const ::string& name) {
  const std::string_view view(name.c_str());
  return view.substr(0, kRootName.size()) == kRootName &&
         (view.size() == kRootName.size() || view[kRootName.size()] == '/');
}

int Namespace::Resolve(const ::string& name, Resolved* out) const {
  if (!Claims(name)) return ENOENT;
  const std::string_view view(name.c_str());
  const vector<std::string_view> parts =
      SplitComponents(view.substr(kRootName.size()));
  out->ancestors.assign(1, root_);
  out->must_be_dir = view.back() == '/';
  for (size_t i = 0; i < parts.size(); ++i) {
    const std::string_view part = parts[i];
    if (part.size() > NAME_MAX) return ENAMETOOLONG;
    if (part == ".") continue;
    if (part == "..") {
      // No ancestors: the walk stands at "/", above this file system.
      if (!out->ancestors.empty()) out->ancestors.pop_back();
      continue;
    }
    if (out->ancestors.empty()) {
      // From "/" only "mem" leads back in; the rest is the local disk's.
      if (part != kRootName.substr(1)) return ENOENT;
      out->ancestors.push_back(root_);
      continue;
    }
    const Node& dir = *out->ancestors.back();
    auto it = dir.children.find(part);
    NodePtr child = it == dir.children.end() ? nullptr : it->second;
    if (i + 1 == parts.size()) {
      out->parent = out->ancestors.back();
      out->leaf = ::string(part);
      out->node = std::move(child);
      break;
    }
    if (child == nullptr) return ENOENT;
    if (!child->is_dir) return ENOTDIR;
    out->ancestors.push_back(std::move(child));
  }
  if (out->parent == nullptr) {  // the root, or a name ending in a dot name
    if (out->ancestors.empty()) return ENOENT;
    out->node = out->ancestors.back();
    out->must_be_dir = true;
  }
  if (out->node && out->must_be_dir && !out->node->is_dir) return ENOTDIR;
  return 0;
}

int Namespace::ResolveEntry(const ::string& name, Resolved* out) const {
  const int error = Resolve(name, out);
  if (error != 0) return error;
  if (out->parent == nullptr) return out->node == root_ ? EBUSY : EINVAL;
  return 0;
}

int Namespace::CheckDirectoryWritable(const Node& dir) {
  std::shared_lock<std::shared_mutex> lock(dir.mu);
  return Grants(dir, 2 | 1) ? 0 : EACCES;
}

int Namespace::Lookup(const ::string& name, NodePtr* node) const {
  std::shared_lock<std::shared_mutex> tree(tree_mu_);
  Resolved resolved;
  const int error = Resolve(name, &resolved);
  if (error != 0) return error;
  if (resolved.node == nullptr) return ENOENT;
  *node = std::move(resolved.node);
  return 0;
}

int Namespace::OpenFile(const ::string& name, const OpenRequest& request,
                        NodePtr* out) {
  auto open_existing = [&](const NodePtr& node) {
    if (node->is_dir) return EISDIR;
    std::unique_lock<std::shared_mutex> lock(node->mu);
    const unsigned int wanted = (request.read ? 4 : 0) | (request.write ? 2 : 0);
    if (!Grants(*node, wanted)) return EACCES;
    if (request.truncate && node->bytes.size() != 0) {
      node->bytes.Resize(0);
      node->Touch();
    }
    *out = node;
    return 0;
  };
  {
    // Most opens find the file: keep the tree shared for them.
    std::shared_lock<std::shared_mutex> tree(tree_mu_);
    Resolved resolved;
    const int error = Resolve(name, &resolved);
    if (error != 0) return error;
    if (resolved.node) return open_existing(resolved.node);
    if (!request.create) return ENOENT;
  }
  std::unique_lock<std::shared_mutex> tree(tree_mu_);
  Resolved resolved;
  int error = Resolve(name, &resolved);
  if (error != 0) return error;
  // Another thread may have made it since the shared look.
  if (resolved.node) return open_existing(resolved.node);
  if (resolved.must_be_dir || resolved.parent == nullptr) return EISDIR;
  if ((error = CheckDirectoryWritable(*resolved.parent)) != 0) return error;
  const auto who = CurrentIdentity();
  ::string group = who->group;
  if (request.group != nullptr && *request.group != '\0') {
    const std::optional<::string> known = KnownGroupName(request.group);
    if (!known) return kUnknownGroup;
    group = *known;
    if ((error = CheckGroupChange(*who, group)) != 0) return error;
  }
  auto node = std::make_shared<Node>(
      false, request.permissions & ~CurrentUmask(), who->user, group);
  resolved.parent->children.emplace(resolved.leaf, node);
  std::unique_lock<std::shared_mutex> parent_lock(resolved.parent->mu);
  resolved.parent->Touch();
  *out = std::move(node);
  return 0;
}

int Namespace::Unlink(const ::string& name) {
  std::unique_lock<std::shared_mutex> tree(tree_mu_);
  Resolved resolved;
  int error = ResolveEntry(name, &resolved);
  if (error == EBUSY) return EISDIR;
  if (error != 0) return error;
  if (resolved.node == nullptr) return ENOENT;
  if (resolved.node->is_dir) return EISDIR;
  if ((error = CheckDirectoryWritable(*resolved.parent)) != 0) return error;
  resolved.parent->children.erase(resolved.leaf);
  std::unique_lock<std::shared_mutex> parent_lock(resolved.parent->mu);
  resolved.parent->Touch();
  return 0;
}

int Namespace::MakeDirectory(const ::string& name, unsigned int mode) {
  std::unique_lock<std::shared_mutex> tree(tree_mu_);
  Resolved resolved;
  int error = Resolve(name, &resolved);
  if (error != 0) return error;
  if (resolved.node != nullptr) return EEXIST;
  if ((error = CheckDirectoryWritable(*resolved.parent)) != 0) return error;
  const auto who = CurrentIdentity();
  resolved.parent->children.emplace(
      resolved.leaf,
      std::make_shared<Node>(true, mode & ~CurrentUmask(), who->user, who->group));
  std::unique_lock<std::shared_mutex> parent_lock(resolved.parent->mu);
  resolved.parent->Touch();
  return 0;
}

int Namespace::RemoveDirectory(const ::string& name) {
  std::unique_lock<std::shared_mutex> tree(tree_mu_);
  Resolved resolved;
  int error = ResolveEntry(name, &resolved);
  if (error != 0) return error;
  if (resolved.node == nullptr) return ENOENT;
  if (!resolved.node->is_dir) return ENOTDIR;
  if (!resolved.node->children.empty()) return ENOTEMPTY;
  if ((error = CheckDirectoryWritable(*resolved.parent)) != 0) return error;
  resolved.parent->children.erase(resolved.leaf);
  std::unique_lock<std::shared_mutex> parent_lock(resolved.parent->mu);
  resolved.parent->Touch();
  return 0;
}

int Namespace::Rename(const ::string& from, const ::string& to,
                      bool overwrite) {
  if (!Claims(to)) return EXDEV;
  std::unique_lock<std::shared_mutex> tree(tree_mu_);
  Resolved source;
  Resolved target;
  int error = ResolveEntry(from, &source);
  if (error != 0) return error;
  if (source.node == nullptr) return ENOENT;
  if ((error = ResolveEntry(to, &target)) != 0) return error;
  if (target.node == source.node) {
    // One node under both names: nothing to move, but like the local file
    // system, only an overwriting rename accepts an existing target.
    return overwrite ? 0 : EEXIST;
  }
  if (!source.node->is_dir && target.must_be_dir) return ENOTDIR;
  // A directory cannot move into its own subtree.
  for (const NodePtr& ancestor : target.ancestors) {
    if (ancestor == source.node) return EINVAL;
  }
  if (target.node != nullptr) {
    if (!overwrite) return EEXIST;
    if (source.node->is_dir && !target.node->is_dir) return ENOTDIR;
    if (!source.node->is_dir && target.node->is_dir) return EISDIR;
    if (target.node->is_dir && !target.node->children.empty()) return ENOTEMPTY;
  }
  if ((error = CheckDirectoryWritable(*source.parent)) != 0) return error;
  if ((error = CheckDirectoryWritable(*target.parent)) != 0) return error;
  target.parent->children[target.leaf] = source.node;
  source.parent->children.erase(source.leaf);
  for (const NodePtr& dir : {source.parent, target.parent}) {
    std::unique_lock<std::shared_mutex> dir_lock(dir->mu);
    dir->Touch();
  }
  return 0;
}

int Namespace::List(const ::string& dir, vector<DirEntry>* entries) const {
  entries->clear();
  if (dir == "/") {
    // Seen from the root of all names, this file system is one directory.
    entries->push_back(DirEntry{::string(kRootName.substr(1)), true});
    return 0;
  }
  std::shared_lock<std::shared_mutex> tree(tree_mu_);
  Resolved resolved;
  const int error = Resolve(dir, &resolved);
  if (error != 0) return error;
  if (resolved.node == nullptr) return ENOENT;
  if (!resolved.node->is_dir) return ENOTDIR;
  entries->reserve(resolved.node->children.size());
  for (const auto& [name, child] : resolved.node->children) {
    entries->push_back(DirEntry{name, child->is_dir});
  }
  return 0;
}

int Namespace::CloneFile(const ::string& from, const ::string& to) {
  std::unique_lock<std::shared_mutex> tree(tree_mu_);
  Resolved source;
  Resolved target;
  int error = Resolve(from, &source);
  if (error != 0) return error;
  if (source.node == nullptr) return ENOENT;
  if (source.node->is_dir) return EISDIR;
  if ((error = ResolveEntry(to, &target)) != 0) return error;
  if (target.node != nullptr) return EEXIST;
  if (target.must_be_dir) return EISDIR;
  // Only the chunk table is copied; the pages are shared copy-on-write.
  MemBytes snapshot;
  unsigned int source_mode;
  {
    std::shared_lock<std::shared_mutex> lock(source.node->mu);
    if (!Grants(*source.node, 4)) return EACCES;
    snapshot = source.node->bytes;
    source_mode = source.node->mode;
  }
  if ((error = CheckDirectoryWritable(*target.parent)) != 0) return error;
  const auto who = CurrentIdentity();
  auto copy = std::make_shared<Node>(false, source_mode, who->user, who->group);
  copy->bytes = std::move(snapshot);
  target.parent->children.emplace(target.leaf, std::move(copy));
  std::unique_lock<std::shared_mutex> parent_lock(target.parent->mu);
  target.parent->Touch();
  return 0;
}

template <class Change>
int Namespace::ChangeMetadata(const ::string& name, Change change) {
  NodePtr node;
  const int error = Lookup(name, &node);
  if (error != 0) return error;
  const auto who = CurrentIdentity();
  std::unique_lock<std::shared_mutex> lock(node->mu);
  if (!who->privileged && node->owner != who->user) return EPERM;
  return change(*who, node.get());
}

int Namespace::SetMode(const ::string& name, unsigned int mode) {
  return ChangeMetadata(name, [mode](const Identity&, Node* node) {
    node->mode = mode & 07777;
    return 0;
  });
}

int Namespace::SetOwner(const ::string& name, const ::string& owner) {
  return ChangeMetadata(name, [&owner](const Identity& who, Node* node) {
    // Only a privileged process gives files away.
    if (!who.privileged && owner != who.user) return EPERM;
    node->owner = owner;
    return 0;
  });
}

int Namespace::SetGroup(const ::string& name, const ::string& group) {
  return ChangeMetadata(name, [&group](const Identity& who, Node* node) {
    const int error = CheckGroupChange(who, group);
    if (error == 0) node->group = group;
    return error;
  });
}

int Namespace::SetMtime(const ::string& name, long mtime) {  // NOLINT
  return ChangeMetadata(name, [mtime](const Identity&, Node* node) {
    node->mtime = mtime;
    return 0;
  });
}

int Namespace::CheckReadable(const ::string& name) const {
  NodePtr node;
  const int error = Lookup(name, &node);
  if (error != 0) return error;
  std::shared_lock<std::shared_mutex> lock(node->mu);
  return Grants(*node, 4) ? 0 : EACCES;
}

int Namespace::Lock(const ::string& name, const LockInfo& request,
                    std::unique_ptr<HeldLock>* held) {
  NodePtr node;
  const int error = Lookup(name, &node);
  if (error != 0) return error;
  return AcquireNodeLock(node->id, request, held);
}

}  // namespace mem
}  // namespace file
