// The process-wide registry of file systems, by name and by path prefix.
#include <algorithm>
#include <map>
#include <mutex>
#include <typeinfo>

#include "file/base/file.h"
#include "file/base/core/loaded_file_system.h"
#include "file/base/names/filename.h"
#include "file/base/names/glob.h"
#include "file/base/names/path.h"
#include "file/base/names/sharded.h"

const char* FileFactory::tarn_file = "tarn";
const char* FileFactory::cached_file = "cached";
const char* FileFactory::autocache_file = "autocache";
const char* FileFactory::readahead_file = "readahead";
const char* FileFactory::replicated_file = "replicated";
const char* FileFactory::remote_file = "remote";
const char* FileFactory::wicket_remote_file = "wicket_remote";
const char* FileFactory::big_file = "big";
const char* FileFactory::striped_file = "striped";
const char* FileFactory::lock_server_file = "lock_server";
const char* FileFactory::local_file = "local";
const char* FileFactory::mem_file = "mem";
const char* FileFactory::storage_server_file = "storage_server";
const char* FileFactory::zip_file = "zip";
const char* FileFactory::managed_replicated_file = "managed_replicated";
const char* FileFactory::namespace_file = "namespace";
const char* FileFactory::fern_file = "fern";
const char* FileFactory::kelp_file = "kelp";
const char* FileFactory::loom_file = "loom";
const char* FileFactory::brisk_file = "brisk";
const char* FileFactory::spindle_resource_file = "spindle_resource";
const char* FileFactory::quill_file = "quill";
const char* FileFactory::inline_file = "inline";
const char* FileFactory::fastwrite_file = "fastwrite";
const char* FileFactory::encrypted_file = "encrypted";

namespace {

struct Registry {
  std::mutex mu;
  std::map<::string, shared_ptr<FileFactory>> by_name;
  std::map<::string, shared_ptr<FileFactory>> by_prefix;
  shared_ptr<FileFactory> local;  // serves every name no prefix claims
};

// Registry pointers to factories the registry does not own.
shared_ptr<FileFactory> Unowned(FileFactory* factory) {
  return shared_ptr<FileFactory>(factory, [](FileFactory*) {});
}

void RegisterBuiltins(Registry* registry) {
  for (const BuiltinFileSystem& fs : BuiltinFileSystems()) {
    shared_ptr<FileFactory> factory(fs.make != nullptr ? fs.make()
                                                       : new file::DeferredFileSystem(fs));
    if (factory == nullptr) continue;
    if (fs.prefix == nullptr) {
      registry->local = factory;
    } else {
      registry->by_prefix[fs.prefix] = factory;
    }
    if (*fs.name != nullptr) registry->by_name[*fs.name] = factory;
  }
  // Sharded-name detection searches every file system, not just local disk.
  file_base::SetShardMatchFunction([](const ::string& pattern, vector<::string>* out) {
    return File::Match(pattern.c_str(), out);
  });
  // A parsed name is under a registered prefix when the registry says so.
  FileName::SetRegisteredPrefixHook(
      [](const char* name) { return FileFactory::FindPrefixFactory(name) != nullptr; });
}

// Built on first use, so that assignments to the name variables made before
// then are the names the built-ins register under.
Registry& GetRegistry() {
  static Registry* registry = [] {
    Registry* r = new Registry;
    RegisterBuiltins(r);
    return r;
  }();
  return *registry;
}

// A file system still to be loaded is loaded now, outside the registry's
// lock (loading runs the object's initialisers); the registry then holds the
// factory it made. A file system that cannot be loaded stays the deferred
// one, which fails every operation.
shared_ptr<FileFactory> Loaded(shared_ptr<FileFactory> factory) {
  // Every by-name lookup passes here: the exact type (the class is final)
  // is cheaper to compare than a dynamic_cast.
  if (factory == nullptr || typeid(*factory) != typeid(file::DeferredFileSystem)) return factory;
  auto* deferred = static_cast<file::DeferredFileSystem*>(factory.get());
  shared_ptr<FileFactory> loaded = deferred->Load(factory);
  if (loaded != factory) {
    Registry& registry = GetRegistry();
    std::lock_guard<std::mutex> lock(registry.mu);
    for (auto* map : {&registry.by_name, &registry.by_prefix}) {
      for (auto& [key, value] : *map) {
        if (value == factory) value = loaded;
      }
    }
  }
  return loaded;
}

// Whether `prefix` claims `name`. A prefix ending in "/" names a directory
// and also claims that directory spelled without the slash ("/mem").
bool Claims(std::string_view prefix, std::string_view name) {
  if (name.substr(0, prefix.size()) == prefix) return true;
  return prefix.size() > 1 && prefix.back() == '/' && name == prefix.substr(0, prefix.size() - 1);
}

// The longest registered prefix of name; by_prefix.end() when none.
std::map<::string, shared_ptr<FileFactory>>::const_iterator LongestPrefix(
    const Registry& registry, std::string_view name) {
  auto best = registry.by_prefix.end();
  for (auto it = registry.by_prefix.begin(); it != registry.by_prefix.end(); ++it) {
    if (Claims(it->first, name) &&
        (best == registry.by_prefix.end() || it->first.size() > best->first.size())) {
      best = it;
    }
  }
  return best;
}

}  // namespace

void FileFactory::RegisterFactory(FileFactory* factory, const ::string& name) {
  if (factory == nullptr) return;
  Registry& registry = GetRegistry();
  std::lock_guard<std::mutex> lock(registry.mu);
  registry.by_name[name] = Unowned(factory);
}

bool FileFactory::RegisterFactoryPrefix(FileFactory* factory, const ::string& prefix) {
  if (factory == nullptr) return false;
  return RegisterFactoryPrefix(Unowned(factory), prefix);
}

bool FileFactory::RegisterFactoryPrefix(const shared_ptr<FileFactory>& factory,
                                        const ::string& prefix) {
  if (factory == nullptr || prefix.empty()) return false;
  Registry& registry = GetRegistry();
  std::lock_guard<std::mutex> lock(registry.mu);
  registry.by_prefix[prefix] = factory;
  return true;
}

bool FileFactory::UnRegisterFactoryPrefix(const ::string& prefix) {
  Registry& registry = GetRegistry();
  std::lock_guard<std::mutex> lock(registry.mu);
  return registry.by_prefix.erase(prefix) != 0;
}

shared_ptr<FileFactory> FileFactory::Find(const char* name) {
  if (name == nullptr) return nullptr;
  Registry& registry = GetRegistry();
  shared_ptr<FileFactory> found;
  {
    std::lock_guard<std::mutex> lock(registry.mu);
    const auto it = registry.by_name.find(name);
    if (it == registry.by_name.end()) return nullptr;
    found = it->second;
  }
  return Loaded(std::move(found));
}

shared_ptr<FileFactory> FileFactory::FindPrefixFactory(const char* name) {
  ::string ignored;
  return FindPrefixFactoryAndPrefix(name, &ignored);
}

shared_ptr<FileFactory> FileFactory::FindPrefixFactoryAndPrefix(const char* name,
                                                                ::string* prefix) {
  if (name == nullptr) return nullptr;
  Registry& registry = GetRegistry();
  shared_ptr<FileFactory> found;
  {
    std::lock_guard<std::mutex> lock(registry.mu);
    const auto best = LongestPrefix(registry, name);
    if (best == registry.by_prefix.end()) return nullptr;
    if (prefix != nullptr) *prefix = best->first;
    found = best->second;
  }
  return Loaded(std::move(found));
}

shared_ptr<FileFactory> FileFactory::ForName(const char* name) {
  Registry& registry = GetRegistry();
  shared_ptr<FileFactory> found;
  {
    std::lock_guard<std::mutex> lock(registry.mu);
    if (name == nullptr) return registry.local;
    const auto best = LongestPrefix(registry, name);
    if (best == registry.by_prefix.end()) return registry.local;
    found = best->second;
  }
  return Loaded(std::move(found));
}

shared_ptr<FileFactory> FileFactory::FindBestFactory(const vector<::string>& names) {
  if (names.empty()) return nullptr;
  shared_ptr<FileFactory> first = ForName(names[0].c_str());
  for (size_t i = 1; i < names.size(); ++i) {
    if (ForName(names[i].c_str()) != first) return nullptr;
  }
  return first;
}

void FileFactory::FilterMatches(const char* pattern, vector<::string>* matches,
                                File::MatchType type, int include_attribute_files) {
  if (matches == nullptr) return;
  // No name passes a filter the library does not know.
  if (!file::IsMatchType(type)) {
    matches->clear();
    return;
  }
  // Only names matched by a glob are filtered: a name spelled out in full
  // is what the caller asked for.
  const char* pattern_base = pattern != nullptr ? file::Basename(pattern) : nullptr;
  const bool last_is_glob = pattern_base == nullptr || file::HasGlobChars(pattern_base);
  if (last_is_glob) {
    // As in GlobExpand, a component that starts with "." or ends in "~"
    // asks for the names the match type would hide.
    int shown = type;
    const std::string_view pattern_view = pattern_base != nullptr ? pattern_base : "";
    if (!pattern_view.empty() && pattern_view.front() == '.') shown |= File::MATCH_DOTFILES;
    if (!pattern_view.empty() && pattern_view.back() == '~') shown |= File::MATCH_BACKUPS;
    vector<::string> kept;
    kept.reserve(matches->size());
    for (::string& name : *matches) {
      const char* base = file::Basename(name.c_str());
      const std::string_view base_view = base != nullptr ? base : "";
      if (file::HiddenByMatchType(base_view, shown)) continue;
      if (!include_attribute_files && File::IsAttributeFilename(name.c_str())) continue;
      kept.push_back(std::move(name));
    }
    matches->swap(kept);
  }
  std::sort(matches->begin(), matches->end());
  matches->erase(std::unique(matches->begin(), matches->end()), matches->end());
}
