// Parsed file names (FileName) and the free functions that build and take
// apart replicated and remote names.
#include "file/base/names/filename.h"
#include "file/base/names/replicated_names.h"
#include "wrappers/calling.h"

namespace pq {
namespace {

// A FileName accessor as a row's callable: strings come back as copies.
template <auto Accessor>
constexpr auto kRead = [](const FileName& name) { return (name.*Accessor)(); };

// The caller's str stands in for the library's output text, which is
// dropped: only the pointer into the name reaches Python.
const char* ParseWicket(const char* name, int default_port, DiscardedString host,
                        DiscardedString path) {
  return ParseWicketRemoteName(name, default_port, host, path);
}

// The search variable defaults to PATH.
::string FindInPath(const char* filename, const char* env_var) {
  return FindFullPath(filename, env_var != nullptr ? env_var : "PATH");
}

}  // namespace
}  // namespace pq

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kNameFunctionMethods,
  def<"MultiProtocolReplicatedFileNameToOpen", "ssi", &MultiProtocolReplicatedFileNameToOpen>(),
  def<"ReplicatedFileNameToOpen", "ss", &ReplicatedFileNameToOpen>(),
  def<"ParseWicketRemoteName", "siOO", &ParseWicket>(),
  def<"ReplicatedFileNameAppend", "ss", &ReplicatedFileNameAppend>(),
  def<"FindFullPath", "s|s", &FindInPath>()
)

PQ_METHOD_LIST(kFileNameClassMethods,
  overload<"new_FileName",
           form<"", []() { return new FileName(); }>,
           form<"s", [](const char* name) { return new FileName(name); }>>(),
  def<"delete_FileName", "O", [](FileName* name) { delete name; }>(),
  def<"FileName_Parse", "Os", [](FileName& name, const char* text) { name.Parse(text); }>(),
  def<"FileName_MakeTARNName", "OOi", [](const FileName& name, DiscardedString out, FileName::Type type) {
    return name.MakeTARNName(out, type);
  }>(),
  def<"FileName_is_root_directory", "O", kRead<&FileName::is_root_directory>>(),
  def<"FileName_is_simple", "O", kRead<&FileName::is_simple>>(),
  def<"FileName_is_replicated", "O", kRead<&FileName::is_replicated>>(),
  def<"FileName_is_remote", "O", kRead<&FileName::is_remote>>(),
  def<"FileName_is_wicket_remote", "O", kRead<&FileName::is_wicket_remote>>(),
  def<"FileName_is_bigfile", "O", kRead<&FileName::is_bigfile>>(),
  def<"FileName_is_striped", "O", kRead<&FileName::is_striped>>(),
  def<"FileName_is_tarn", "O", kRead<&FileName::is_tarn>>(),
  def<"FileName_is_tarn_shadow", "O", kRead<&FileName::is_tarn_shadow>>(),
  def<"FileName_is_cached", "O", kRead<&FileName::is_cached>>(),
  def<"FileName_is_cached_check", "O", kRead<&FileName::is_cached_check>>(),
  def<"FileName_is_lock_server", "O", kRead<&FileName::is_lock_server>>(),
  def<"FileName_is_namespace", "O", kRead<&FileName::is_namespace>>(),
  def<"FileName_is_fern", "O", kRead<&FileName::is_fern>>(),
  def<"FileName_is_kelp", "O", kRead<&FileName::is_kelp>>(),
  def<"FileName_is_quill", "O", kRead<&FileName::is_quill>>(),
  def<"FileName_is_registered_prefix", "O", kRead<&FileName::is_registered_prefix>>(),
  def<"FileName_host", "O", kRead<&FileName::host>>(),
  def<"FileName_cellname", "O", kRead<&FileName::cellname>>(),
  def<"FileName_directory_noslash", "O", kRead<&FileName::directory_noslash>>(),
  def<"FileName_basename", "O", kRead<&FileName::basename>>(),
  def<"FileName_rest", "O", kRead<&FileName::rest>>(),
  def<"FileName_prefix", "O", kRead<&FileName::prefix>>(),
  def<"FileName_strip_basename", "O", kRead<&FileName::strip_basename>>(),
  def<"FileName_directory", "O", kRead<&FileName::directory>>(),
  registration<"FileName_swigregister", FileName>()
)
