#include "file/base/names/glob.h"

#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <map>
#include <random>

#include "file/base/names/path.h"
#include "tests/cc/fs_conformance.h"

namespace file {
namespace {

// An in-memory tree listed the way GlobExpand asks: "." is where relative
// names start, "/" is the root.
struct FakeTree {
  std::map<std::string, bool> paths;  // each path, and whether it is a directory
  std::map<std::string, int> failures, listings;

  void Add(const std::string& path, bool is_dir = false) {
    paths[path] = is_dir;
    const size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash != 0) Add(path.substr(0, slash), true);
  }
  ListDirFn Lister() {
    return [this](const ::string& asked, vector<DirEntry>* out) {
      ++listings[asked];
      const std::string dir = CleanPath(asked);  // a real lister resolves "dir/.." too
      out->clear();
      if (failures.count(dir)) return failures[dir];
      const bool top = dir == "." || dir == "/";
      if (!top && !paths.count(dir)) return ENOENT;
      if (!top && !paths[dir]) return ENOTDIR;
      const std::string prefix = dir == "." ? "" : dir == "/" ? "/" : dir + "/";
      for (const auto& [path, is_dir] : paths) {
        if (path.size() > prefix.size() && path.compare(0, prefix.size(), prefix) == 0 &&
            path.find('/', prefix.size()) == std::string::npos) {
          out->push_back(DirEntry{path.substr(prefix.size()), is_dir});
        }
      }
      return 0;
    };
  }
};

class GlobExpandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* path : {"a.txt", "b.txt", "c.log", ".hidden.txt", "old.txt~", "dir/x.txt",
                             "dir/y.txt", "dir/sub/z.txt", "dir/.dot/w.txt", "other/x.txt",
                             "/abs/one", "/abs/two", "star*", "q?x", "{a}", "brace{"}) {
      tree_.Add(path);
    }
    tree_.Add("emptydir", true);
  }

  // The expansion joined by spaces, or "ERROR <errno>" when it fails.
  std::string Glob(const std::string& pattern, int match_type = 0) {
    vector<::string> out{"stale"};
    int error = -1;
    if (!GlobExpand(pattern, match_type, tree_.Lister(), &out, &error)) {
      EXPECT_TRUE(out.empty()) << pattern;
      return "ERROR " + std::to_string(error);
    }
    EXPECT_EQ(error, 0) << pattern;
    std::string joined;
    for (const ::string& name : out) joined += (joined.empty() ? "" : " ") + name;
    return joined;
  }

  FakeTree tree_;
};

TEST_F(GlobExpandTest, Expansions) {
  const struct { const char* pattern; int match_type; const char* expected; } cases[] = {
      // Wildcards, classes, braces (nested, spanning components, unique; literal
      // without a top-level comma or closing brace) and escapes.
      {"*.txt", 0, "a.txt b.txt"}, {"dir/*.txt", 0, "dir/x.txt dir/y.txt"},
      {"*/x.txt", 0, "dir/x.txt other/x.txt"}, {"*/*/*.txt", 0, "dir/sub/z.txt"},
      {"/abs/*", 0, "/abs/one /abs/two"}, {"//abs//t*", 0, "/abs/two"},
      {"[!a].txt", 0, "b.txt"}, {"brace[{]", 0, "brace{"}, {"{a,c}.*", 0, "a.txt c.log"},
      {"{a,b{.txt,x}}*", 0, "a.txt b.txt"}, {"{a,a,b}.txt", 0, "a.txt b.txt"},
      {"{dir/sub,other}/*", 0, "dir/sub/z.txt other/x.txt"}, {"{a}", 0, "{a}"},
      {"brace{", 0, "brace{"}, {"star\\*", 0, "star*"}, {"q\\?x", 0, "q?x"},
      {"\\{a\\}", 0, "{a}"}, {"\\*", 0, ""},
      // Match types filter wildcard matches and hidden directories, but not
      // components spelling the dot or tilde out, nor literal components.
      {"*txt*", kGlobShowDotfiles, ".hidden.txt a.txt b.txt"},
      {"*txt*", kGlobShowBackups, "a.txt b.txt old.txt~"},
      {"*txt*", 3, ".hidden.txt a.txt b.txt old.txt~"}, {"dir/*/*.txt", 0, "dir/sub/z.txt"},
      {"dir/*/*.txt", kGlobShowDotfiles, "dir/.dot/w.txt dir/sub/z.txt"},
      {".*", 0, ".hidden.txt"}, {"*~", 0, "old.txt~"}, {".hidden.txt", 0, ".hidden.txt"},
      {"dir/.dot/*", 0, "dir/.dot/w.txt"},
      // Literal components must exist and keep their spelling; a trailing
      // slash selects directories; a missing directory or a file matches nothing.
      {"./a.txt", 0, "./a.txt"}, {"dir/../*.log", 0, "dir/../c.log"}, {"/", 0, "/"}, {"", 0, ""},
      {"emptydir/.", 0, "emptydir/."}, {"nodir/.", 0, ""}, {"*/", 0, "dir/ emptydir/ other/"},
      {"dir/", 0, "dir/"}, {"a.txt/", 0, ""}, {"nodir/*", 0, ""}, {"a.txt/*", 0, ""},
      {"emptydir/*", 0, ""}, {"a.txt/x", 0, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(Glob(c.pattern, c.match_type), c.expected) << c.pattern << " " << c.match_type;
}

TEST_F(GlobExpandTest, LiteralsAreNotListedAndDirectoriesAreListedOnce) {
  EXPECT_EQ(Glob("dir/sub/z.txt"), "dir/sub/z.txt");
  EXPECT_EQ(Glob("dir/sub/nope.txt"), "");
  EXPECT_EQ(tree_.listings["."], 0);
  EXPECT_EQ(tree_.listings["dir"], 0);
  EXPECT_EQ(Glob("{dir/x,dir/y,dir/s}*"), "dir/sub dir/x.txt dir/y.txt");
  EXPECT_EQ(tree_.listings["dir"], 1);
}

TEST_F(GlobExpandTest, FailuresStopTheExpansion) {
  std::string pattern;
  for (int i = 0; i < 17; ++i) pattern += "{a,b}";  // 2^17 alternatives
  EXPECT_EQ(Glob(pattern), "ERROR " + std::to_string(E2BIG));

  tree_.failures["dir"] = EACCES;
  const std::string denied = "ERROR " + std::to_string(EACCES);
  EXPECT_EQ(Glob("dir/*"), denied);
  EXPECT_EQ(Glob("{other,dir}/*.txt"), denied);
  EXPECT_EQ(Glob("dir/x.txt"), denied);
  EXPECT_EQ(Glob("other/*"), "other/x.txt");
  vector<::string> out;
  EXPECT_FALSE(GlobExpand("dir/*", 0, tree_.Lister(), &out, nullptr));  // null error is fine
}

// The brace-free syntax is compared with fnmatch below; these are the cases
// that comparison skips or cannot generate.
TEST(GlobMatchTest, Components) {
  const struct { const char* pattern; const char* name; bool match; } cases[] = {
      {"a*b*c", "aXbYbZc", true}, {"", "", true}, {"[]]", "]", true}, {"[!]]", "]", false},
      {"[", "[", true}, {"a[b", "a[b", true}, {"x\\", "x\\", true}, {"[\\]]", "]", true},
      {"[\xe0-\xef]", "\xe5", true},  // bytes compare unsigned
  };
  for (const auto& c : cases) EXPECT_EQ(GlobMatchComponent(c.pattern, c.name), c.match) << c.pattern << " " << c.name;
}

// fnmatch(3) implements the same brace-free syntax; the cases it reads
// differently on purpose are skipped: a trailing "\\" (ours is literal),
// "[." collating symbols, and an escaped "/".
TEST(GlobMatchTest, AgreesWithFnmatch) {
  std::mt19937 random(1);
  auto draw = [&random](const std::string& alphabet, int max_length) {
    std::string s;
    for (int n = random() % (max_length + 1); n > 0; --n) s += alphabet[random() % alphabet.size()];
    return s;
  };
  int compared = 0;
  for (int i = 0; i < 60000; ++i) {
    const std::string pattern = draw("*?[]!^-\\ab/.", 7), name = draw("ab-]!^\\/.[", 5);
    if ((!pattern.empty() && pattern.back() == '\\') || pattern.find("[.") != std::string::npos ||
        pattern.find("\\/") != std::string::npos ||
        pattern.find("[?-") != std::string::npos) {  // glibc: that unclosed "[" fails the match
      continue;
    }
    ++compared;
    const bool expected = fnmatch(pattern.c_str(), name.c_str(), FNM_PATHNAME) == 0;
    ASSERT_EQ(GlobMatchComponent(pattern, name), expected) << pattern << " on " << name;
  }
  EXPECT_GT(compared, 30000);
}

// Unescaping and brace expansion show through the expansions above; whole
// paths are matched by the sharded-name suite.
TEST(GlobHelpersTest, HasGlobCharsAndHiding) {
  for (const char* s : {"a*", "{a,b}", "a[b"}) EXPECT_TRUE(HasGlobChars(s)) << s;
  for (const char* s : {"a\\*b", "plain.txt"}) EXPECT_FALSE(HasGlobChars(s)) << s;

  for (int type = 0; type < 4; ++type) {
    EXPECT_EQ(HiddenByMatchType(".a", type), !(type & kGlobShowDotfiles)) << type;
    EXPECT_EQ(HiddenByMatchType("a~", type), !(type & kGlobShowBackups)) << type;
    EXPECT_EQ(HiddenByMatchType(".a~", type), type != 3) << type;
    EXPECT_FALSE(HiddenByMatchType("a", type) || HiddenByMatchType("", type)) << type;
  }
}

TEST(LocalGlobTest, ListsRealDirectoriesFollowingLinks) {
  const ScratchDir scratch("glob_test");
  const std::string dir = scratch.path;
  ASSERT_EQ(mkdir((dir + "/real").c_str(), 0755), 0);
  std::ofstream(dir + "/real/f.txt").put('x');
  std::ofstream(dir + "/g.txt").put('x');
  ASSERT_EQ(symlink("real", (dir + "/link").c_str()), 0);

  // The link lists as a directory: the expansion goes through it.
  vector<::string> out;
  int error = 0;
  ASSERT_TRUE(GlobExpand(dir + "/*/*.txt", 0, ListLocalDirectory, &out, &error));
  EXPECT_EQ(out, (vector<::string>{dir + "/link/f.txt", dir + "/real/f.txt"}));
  vector<DirEntry> entries;
  EXPECT_EQ(ListLocalDirectory(dir + "/nope", &entries), ENOENT);
  EXPECT_EQ(ListLocalDirectory(dir + "/g.txt", &entries), ENOTDIR);
  remove((dir + "/link").c_str());  // so that removing the directory never follows it
}

}  // namespace
}  // namespace file
