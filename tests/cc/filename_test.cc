#include "file/base/names/filename.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <random>
#include <type_traits>

#include "file/base/names/replicated_names.h"
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
      {"/rep/east/logs/a", "0||east|/rep/east|/logs/a"}, {"/tmp/a", "1||||/tmp/a"},
      {"rel/a", "1||||rel/a"}, {"/remote/m7/a", "2|m7||/remote/m7|/a"},
      {"/wicket/m7:4100/a", "3|m7:4100||/wicket/m7:4100|/a"},
      {"/wicket/m7/a", "3|m7||/wicket/m7|/a"}, {"/bigfile/east/a", "4||east|/bigfile/east|/a"},
      {"/striped/east/a", "5||east|/striped/east|/a"}, {"/tarn/east/a", "6||east|/tarn/east|/a"},
      {"/tarn-shadow/east/a", "6,7||east|/tarn-shadow/east|/a"},
      {"/cache/rep/east/a", "8|||/cache|/rep/east/a"}, {"/cache-check/x", "8,9|||/cache-check|/x"},
      {"/lock/east/a", "10||east|/lock/east|/a"}, {"/ns/east/a", "11||east|/ns/east|/a"},
      {"/fern/east/a", "12||east|/fern/east|/a"}, {"/kelp/east/a", "13||east|/kelp/east|/a"},
      {"/quill/east/a", "14||east|/quill/east|/a"}, {"/mem/a/b", "15||||/mem/a/b"},
      {"/reps/a", "1||||/reps/a"}, {"//rep/c/a", "1||||//rep/c/a"},  // markers match exactly
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
  for (const char* root : {"/", "//", "/rep/east/", "/remote/h"}) {
    EXPECT_TRUE(FileName(root).is_root_directory()) << root;
    EXPECT_EQ(FileName(root).rest().substr(0, 1), "/") << root;
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

  std::mt19937 random(7);
  // Pieces that make near-misses of every form likely.
  const char* pieces[] = {"/", "/", "rep", "remote", "wicket", "cache-check", "tarn-shadow", "mem",
                          "h", ":80", ":", "..", ".", "a b", "\xff", "-", "x"};
  int special = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text = random() % 2 ? "/" + std::string(pieces[2 + random() % 6]) : "";
    for (int n = random() % 8; n > 0; --n) text += pieces[random() % std::size(pieces)];
    FileName name(text.c_str());
    if (name.rest().empty()) {
      ExpectEmpty(name, text);
      continue;
    }
    EXPECT_NE(Describe(name)[0], '|') << text;
    if (!name.prefix().empty()) ++special;
    const std::string rebuilt = name.prefix() + name.rest();
    EXPECT_TRUE(rebuilt == text || rebuilt == text + "/") << text;
  }
  EXPECT_GT(special, 300);  // the generator does reach the special forms
}

TEST(FileNameTest, MakeTARNNameAndRegisteredPrefixHook) {
  const auto kPrimary = FileName::TARN_PRIMARY;
  const struct { const char* name; FileName::Type type; const char* made; } cases[] = {
      {"/rep/east/a/b", kPrimary, "/tarn/east/a/b"}, {"/lock/east", kPrimary, "/tarn/east/"},
      {"/tarn/east/a", FileName::TARN_SHADOW, "/tarn-shadow/east/a"}, {"/remote/h/a", kPrimary, nullptr},
      {"/tmp/a", kPrimary, nullptr}, {"/rep/east/a", static_cast<FileName::Type>(5), nullptr}};
  for (const auto& c : cases) {
    ::string out = "untouched";
    EXPECT_EQ(FileName(c.name).MakeTARNName(&out, c.type), c.made != nullptr) << c.name;
    EXPECT_EQ(out, c.made != nullptr ? c.made : "untouched") << c.name;
  }
  EXPECT_FALSE(FileName("/rep/east/a").MakeTARNName(nullptr, kPrimary));

  FileName::SetRegisteredPrefixHook([](const char* name) { return name[0] == '/' && name[1] == 'z'; });
  EXPECT_TRUE(FileName("/zz/a").is_registered_prefix());
  EXPECT_TRUE(FileName("/mem/a").is_simple());
  EXPECT_TRUE(FileName("/rep/east/a").is_replicated());  // special forms come first
  FileName::SetRegisteredPrefixHook(nullptr);
  EXPECT_TRUE(FileName("/mem/a").is_registered_prefix());
  EXPECT_TRUE(FileName("/zz/a").is_simple());
}

TEST(ReplicatedNamesTest, BuildsParseBack) {
  // Python's test_filename.py builds and parses back the usual forms.
  const ::string remote = ReplicatedFileNameToOpen("/rep/east/a/b", "m7");
  EXPECT_EQ(Describe(FileName(remote.c_str())), "2|m7||/remote/m7|/a/b");
  EXPECT_EQ(MultiProtocolReplicatedFileNameToOpen("/rep/east", "m7", kRemoteProtocolRfServer), "/remote/m7/");

  EXPECT_EQ(ReplicatedFileNameToOpen("/rep/east/a", "m7:4100"), "");  // no port on /remote/
  EXPECT_EQ(ReplicatedFileNameToOpen("/remote/m7/a", "m8"), "");
  EXPECT_EQ(ReplicatedFileNameToOpen("/rep/east/a", "bad/host"), "");
  EXPECT_EQ(ReplicatedFileNameToOpen(nullptr, "m7"), "");
  EXPECT_EQ(ReplicatedFileNameToOpen("/rep/east/a", nullptr), "");

  const std::pair<const char*, const char*> appends[] = {
      {"/rep/east/dir/", "/rep/east/dir/f"}, {"/rep/east", "/rep/east/f"}, {"/tmp/dir", ""}};
  for (const auto& [dir, expected] : appends) EXPECT_EQ(ReplicatedFileNameAppend(dir, "f"), expected) << dir;
  EXPECT_EQ(ReplicatedFileNameAppend("/rep/east/dir", "/x"), "/rep/east/x");

  for (uint64 v : {1ULL << 63, ~0ULL}) EXPECT_TRUE(IsUInt64ANegativeInt64(v)) << v;
  for (uint64 v : {(1ULL << 63) - 1, 0ULL}) EXPECT_FALSE(IsUInt64ANegativeInt64(v)) << v;
}

TEST(ReplicatedNamesTest, ParseWicketRemoteName) {
  const char* name = "/wicket/m7/a/b";
  ::string host = "h", path = "p";
  EXPECT_EQ(ParseWicketRemoteName(name, 4100, &host, &path), name + 10);
  EXPECT_EQ(host, "m7:4100");
  EXPECT_EQ(path, "/a/b");
  const char* with_port = "/wicket/m7:99";
  EXPECT_EQ(ParseWicketRemoteName(with_port, 4100, &host, &path), with_port + 13);
  EXPECT_EQ(host, "m7:99");
  EXPECT_EQ(path, "/");
  EXPECT_NE(ParseWicketRemoteName(name, 1, nullptr, nullptr), nullptr);

  host = "h";
  EXPECT_EQ(ParseWicketRemoteName(name, 0, &host, &path), nullptr);  // no port anywhere
  EXPECT_EQ(ParseWicketRemoteName("/remote/m7/a", 80, &host, &path), nullptr);
  EXPECT_EQ(ParseWicketRemoteName(nullptr, 80, &host, &path), nullptr);
  EXPECT_EQ(host, "h");
}

TEST(ReplicatedNamesTest, FindFullPathSearchesTheVariable) {
  const ScratchDir scratch("findpath_test");
  const std::string dir = scratch.path;
  const std::string file = dir + "/tool.cfg";
  std::ofstream(file).put('x');
  mkdir((dir + "/adir").c_str(), 0755);

  setenv("PQ_FIND_TEST", ("/nonexistent::" + dir).c_str(), 1);
  EXPECT_EQ(FindFullPath("tool.cfg", "PQ_FIND_TEST"), file);
  EXPECT_EQ(FindFullPath(file.c_str(), "PQ_FIND_TEST"), file);
  for (const char* missing : {"adir", "missing", static_cast<const char*>(nullptr)}) {  // no dirs
    EXPECT_EQ(FindFullPath(missing, "PQ_FIND_TEST"), "") << (missing ? missing : "null");
  }
  EXPECT_EQ(FindFullPath("tool.cfg", "PQ_FIND_TEST_UNSET"), "");
  unsetenv("PQ_FIND_TEST");
  EXPECT_NE(FindFullPath("sh", nullptr), "");  // null searches PATH
}

}  // namespace
