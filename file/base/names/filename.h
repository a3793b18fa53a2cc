// FileName: a file name taken apart by the name grammar of docs/names.md.
//
// Every name is <prefix><rest>: the prefix selects a special form and names
// its host or cell ("/rep/cell", "/remote/host", ...), the rest is the path
// inside it ("/a/b.txt"). Plain names and names under a registered prefix have
// an empty prefix and are all rest. A form given without a path ("/rep/cell")
// denotes its root: rest "/".
//
// The object layout (sixteen flags, then six strings) is relied on by code
// outside this file; keep the members and their order as they are.
#ifndef FILE_BASE_FILENAME_H_
#define FILE_BASE_FILENAME_H_

#include <functional>

#include "file/base/util/base_types.h"

class FileName {
 public:
  enum Type : int { TARN_PRIMARY = 0, TARN_SHADOW = 1 };

  // Everything empty and false.
  FileName() = default;
  explicit FileName(const char* name) { Parse(name); }

  // Replaces the contents with the parse of `name`. A null or empty name, or
  // one that starts like a special form but breaks its rules ("/rep//x",
  // "/remote/bad host/x"), leaves every field empty and every flag false.
  void Parse(const char* name);

  bool is_replicated() const { return is_replicated_; }    // /rep/<cell>/...
  bool is_simple() const { return is_simple_; }            // any other path
  bool is_remote() const { return is_remote_; }            // /remote/<host>/...
  bool is_wicket_remote() const { return is_wicket_remote_; }  // /wicket/<host[:port]>/...
  bool is_bigfile() const { return is_bigfile_; }          // /bigfile/<cell>/...
  bool is_striped() const { return is_striped_; }          // /striped/<cell>/...
  bool is_tarn() const { return is_tarn_; }                // /tarn/ and /tarn-shadow/
  bool is_tarn_shadow() const { return is_tarn_shadow_; }  // /tarn-shadow/<cell>/...
  bool is_cached() const { return is_cached_; }            // /cache/ and /cache-check/
  bool is_cached_check() const { return is_cached_check_; }  // /cache-check/...
  bool is_lock_server() const { return is_lock_server_; }  // /lock/<cell>/...
  bool is_namespace() const { return is_namespace_; }      // /ns/<cell>/...
  bool is_fern() const { return is_fern_; }                // /fern/<cell>/...
  bool is_kelp() const { return is_kelp_; }                // /kelp/<cell>/...
  bool is_quill() const { return is_quill_; }              // /quill/<cell>/...
  bool is_registered_prefix() const { return is_registered_prefix_; }

  // The host of remote and wicket names (with its ":port" when written).
  const ::string& host() const { return host_; }
  // The cell of the cell-based forms.
  const ::string& cellname() const { return cellname_; }
  // The directory of rest() without its trailing "/"; "/" for the top level
  // of an absolute rest, "" when rest has no "/".
  const ::string& directory_noslash() const { return directory_noslash_; }
  // The last component of rest() ("" when rest ends in "/").
  const ::string& basename() const { return basename_; }
  // The path inside the form.
  const ::string& rest() const { return rest_; }

  // The text before rest(): "/rep/cell", "" for plain names.
  ::string prefix() const;
  // The whole name up to and including the last "/": prefix() + directory().
  ::string strip_basename() const;
  // directory_noslash() with a "/" appended unless it is "" or "/".
  ::string directory() const {
    if (directory_noslash_.empty() || directory_noslash_ == "/") return directory_noslash_;
    return directory_noslash_ + "/";
  }
  // Whether the name denotes the root of its form: rest() is made of "/" only.
  bool is_root_directory() const;

  // Writes the name of the same path and cell in the tarn namespace: primary
  // "/tarn/<cell><rest>" or shadow "/tarn-shadow/<cell><rest>". Works for every
  // cell-based form; false (leaving `*out` alone) for names without a cell,
  // a null `out` or an unknown type.
  bool MakeTARNName(::string* out, Type type) const;

  // The test that decides is_registered_prefix for names no special form
  // claims. The file-system registry installs one that knows its prefixes; an
  // empty function restores the default, which claims names under "/mem/".
  // Thread-safe.
  static void SetRegisteredPrefixHook(std::function<bool(const char*)> hook);

 private:
  void Clear();

  bool is_replicated_ = false;
  bool is_simple_ = false;
  bool is_remote_ = false;
  bool is_wicket_remote_ = false;
  bool is_bigfile_ = false;
  bool is_striped_ = false;
  bool is_tarn_ = false;
  bool is_tarn_shadow_ = false;
  bool is_cached_ = false;
  bool is_cached_check_ = false;
  bool is_lock_server_ = false;
  bool is_namespace_ = false;
  bool is_fern_ = false;
  bool is_kelp_ = false;
  bool is_quill_ = false;
  bool is_registered_prefix_ = false;

  ::string host_;
  ::string cellname_;
  ::string directory_noslash_;
  ::string basename_;
  ::string rest_;
  ::string prefix_;  // the text before rest_
};

#endif  // FILE_BASE_FILENAME_H_
