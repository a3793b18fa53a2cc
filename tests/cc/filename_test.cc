#include "file/base/names/filename.h"

#include <type_traits>

#include "tests/cc/fs_conformance.h"

namespace {

// "<set flags>|host|cell|prefix|rest", the flags as indexes in layout order.
// The flags are also the first 16 bytes of the object, in that order.
std::string Describe(const FileName& n) {
  static_assert(std::is_standard_layout_v<FileName>);
  const bool flags[16] = {
      n.is_replicated(), n.is_simple(),       n.is_remote(),      n.is_wicket_remote(),
      n.is_bigfile(),    n.is_striped(),      n.is_tarn(),        n.is_tarn_shadow(),
      n.is_cached(),     n.is_cached_check(), n.is_lock_server(), n.is_namespace(),
      n.is_fern(),       n.is_kelp(),         n.is_quill(),       n.is_registered_prefix(),
  };
  std::string set;
  for (int i = 0; i < 16; ++i) {
    if (flags[i]) set += (set.empty() ? "" : ",") + std::to_string(i);
    EXPECT_EQ(reinterpret_cast<const bool*>(&n)[i], flags[i]) << i;
  }
  return set + "|" + n.host() + "|" + n.cellname() + "|" + n.prefix() + "|" + n.rest();
}

void ExpectEmpty(const FileName& name, const std::string& context) {
  EXPECT_EQ(Describe(name), "||||") << context;
  EXPECT_EQ(name.directory_noslash() + name.basename(), "") << context;
  EXPECT_FALSE(name.is_root_directory()) << context;
}

TEST(FileNameTest, EveryFlagHasItsForm) {
  const std::pair<const char*, const char*> cases[] = {
      {"/rep/east/logs/a", "0||east|/rep/east|/logs/a"}, {"/tmp/a", "1||||/tmp/a"}, {"rel/a", "1||||rel/a"},
      {"/remote/m7/a", "2|m7||/remote/m7|/a"}, {"/wicket/m7/a", "3|m7||/wicket/m7|/a"},
      {"/wicket/m7:4100/a", "3|m7:4100||/wicket/m7:4100|/a"}, {"/bigfile/east/a", "4||east|/bigfile/east|/a"},
      {"/striped/east/a", "5||east|/striped/east|/a"}, {"/tarn/east/a", "6||east|/tarn/east|/a"},
      {"/tarn-shadow/east/a", "6,7||east|/tarn-shadow/east|/a"}, {"/cache/rep/east/a", "8|||/cache|/rep/east/a"},
      {"/cache-check/x", "8,9|||/cache-check|/x"}, {"/lock/east/a", "10||east|/lock/east|/a"},
      {"/ns/east/a", "11||east|/ns/east|/a"}, {"/fern/east/a", "12||east|/fern/east|/a"},
      {"/kelp/east/a", "13||east|/kelp/east|/a"}, {"/quill/east/a", "14||east|/quill/east|/a"},
      {"/mem/a/b", "15||||/mem/a/b"}, {"/reps/a", "1||||/reps/a"}, {"//rep/c/a", "1||||//rep/c/a"},  // exact markers
  };
  for (const auto& [text, expected] : cases) {
    FileName name(text);
    EXPECT_EQ(Describe(name), expected) << text;
    EXPECT_EQ(name.prefix() + name.rest(), text) << text;  // nothing lost
  }
}

TEST(FileNameTest, DirectoryFields) {
  // "directory_noslash|directory|basename|strip_basename"
  const std::pair<const char*, const char*> cases[] = {
      {"/a", "/|/|a|/"}, {"a", "||a|"}, {"a/b/c", "a/b|a/b/|c|a/b/"}, {"/a/b/", "/a/b|/a/b/||/a/b/"},
      {"/rep/east", "/|/||/rep/east/"}};
  for (const auto& [text, expected] : cases) {
    FileName name(text);
    EXPECT_EQ(name.directory_noslash() + "|" + name.directory() + "|" + name.basename() + "|" + name.strip_basename(),
              expected);
    EXPECT_EQ(name.is_root_directory(), text == std::string("/rep/east")) << text;
  }
}

TEST(FileNameTest, MalformedAndGarbageNamesParseToNothing) {
  ExpectEmpty(FileName(), "default");
  ExpectEmpty(FileName(nullptr), "null");
  for (const char* bad : {"", "/rep", "/rep/", "/rep//a", "/remote/bad host/a", "/remote/../a",
                          "/wicket/h:0/a", "/wicket/h:70000/a", "/wicket/h:/a", "/wicket/:80/a",
                          "/ns/c@d/a", "/remote/h:80/a", "/lock"}) {
    ExpectEmpty(FileName(bad), bad);
  }
  FileName reused("/rep/east/a");
  reused.Parse("/rep//a");
  ExpectEmpty(reused, "re-parsing clears what the previous parse set");
}

}  // namespace
