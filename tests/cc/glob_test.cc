#include "file/base/glob.h"

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>

#include "file/base/path.h"

namespace file {
namespace {

// An in-memory tree listed the way GlobExpand asks: "." is where relative
// names start, "/" is the root.
class FakeTree {
 public:
  void AddFile(const std::string& path) { Add(path, false); }
  void AddDir(const std::string& path) { Add(path, true); }
  void FailListing(const std::string& dir, int error) { failures_[dir] = error; }

  ListDirFn Lister() {
    return [this](const ::string& asked, vector<DirEntry>* out) {
      ++listings_[asked];
      const std::string dir = CleanPath(asked);  // a real lister resolves "dir/.." too
      out->clear();
      if (auto failure = failures_.find(dir); failure != failures_.end()) return failure->second;
      auto it = children_.find(dir);
      if (it == children_.end()) return files_.count(dir) ? ENOTDIR : ENOENT;
      for (const auto& [name, is_dir] : it->second) out->push_back(DirEntry{name, is_dir});
      return 0;
    };
  }

  int ListingsOf(const std::string& dir) const {
    auto it = listings_.find(dir);
    return it == listings_.end() ? 0 : it->second;
  }

 private:
  static std::string Parent(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
  }

  void Add(const std::string& path, bool is_dir) {
    if (is_dir) children_[path];
    else files_.insert(path);
    std::string parent = Parent(path);
    children_[parent][path.substr(path.rfind('/') + 1)] = is_dir;
    if (parent != "." && parent != "/") Add(parent, true);
  }

  std::map<std::string, std::map<std::string, bool>> children_;
  std::set<std::string> files_;
  std::map<std::string, int> failures_;
  std::map<std::string, int> listings_;
};

class GlobExpandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* path : {"a.txt", "b.txt", "c.log", ".hidden.txt", "old.txt~", "dir/x.txt",
                             "dir/y.txt", "dir/sub/z.txt", "dir/.dot/w.txt", "other/x.txt",
                             "/abs/one", "/abs/two", "star*", "q?x", "{a}", "brace{"}) {
      tree_.AddFile(path);
    }
    tree_.AddDir("emptydir");
  }

  // The expansion, or {"ERROR <errno>"} when it fails.
  std::vector<std::string> Glob(const std::string& pattern, int match_type = 0) {
    vector<::string> out{"stale"};
    int error = -1;
    if (!GlobExpand(pattern, match_type, tree_.Lister(), &out, &error)) {
      EXPECT_TRUE(out.empty());
      return {"ERROR " + std::to_string(error)};
    }
    EXPECT_EQ(error, 0);
    return std::vector<std::string>(out.begin(), out.end());
  }

  using Names = std::vector<std::string>;
  FakeTree tree_;
};

TEST_F(GlobExpandTest, WildcardsMatchWithinOneComponent) {
  EXPECT_EQ(Glob("*.txt"), (Names{"a.txt", "b.txt"}));
  EXPECT_EQ(Glob("?.txt"), (Names{"a.txt", "b.txt"}));
  EXPECT_EQ(Glob("dir/*.txt"), (Names{"dir/x.txt", "dir/y.txt"}));
  EXPECT_EQ(Glob("*/x.txt"), (Names{"dir/x.txt", "other/x.txt"}));
  EXPECT_EQ(Glob("*/*/*.txt"), (Names{"dir/sub/z.txt"}));
  EXPECT_EQ(Glob("/abs/*"), (Names{"/abs/one", "/abs/two"}));
  EXPECT_EQ(Glob("//abs//t*"), (Names{"/abs/two"}));
}

TEST_F(GlobExpandTest, BracketClasses) {
  EXPECT_EQ(Glob("[ab].txt"), (Names{"a.txt", "b.txt"}));
  EXPECT_EQ(Glob("[!a].txt"), (Names{"b.txt"}));
  EXPECT_EQ(Glob("[^a].txt"), (Names{"b.txt"}));
  EXPECT_EQ(Glob("[b-z].*"), (Names{"b.txt", "c.log"}));
  EXPECT_EQ(Glob("brace[{]"), (Names{"brace{"}));
}

TEST_F(GlobExpandTest, BracesExpandNestAndSpanComponents) {
  EXPECT_EQ(Glob("{a,c}.*"), (Names{"a.txt", "c.log"}));
  EXPECT_EQ(Glob("{a,b{.txt,x}}*"), (Names{"a.txt", "b.txt"}));
  EXPECT_EQ(Glob("{dir/sub,other}/*"), (Names{"dir/sub/z.txt", "other/x.txt"}));
  EXPECT_EQ(Glob("{a,a,b}.txt"), (Names{"a.txt", "b.txt"}));  // unique
  // No top-level comma, or no closing brace: literal text.
  EXPECT_EQ(Glob("{a}"), (Names{"{a}"}));
  EXPECT_EQ(Glob("brace{"), (Names{"brace{"}));
}

TEST_F(GlobExpandTest, EveryDirectoryIsListedOnce) {
  EXPECT_EQ(Glob("{dir/x,dir/y,dir/s}*"), (Names{"dir/sub", "dir/x.txt", "dir/y.txt"}));
  EXPECT_EQ(tree_.ListingsOf("dir"), 1);
}

TEST_F(GlobExpandTest, TooManyAlternativesFails) {
  std::string pattern;
  for (int i = 0; i < 17; ++i) pattern += "{a,b}";  // 2^17 alternatives
  EXPECT_EQ(Glob(pattern), (Names{"ERROR " + std::to_string(E2BIG)}));
}

TEST_F(GlobExpandTest, EscapesMakeCharactersLiteral) {
  EXPECT_EQ(Glob("star\\*"), (Names{"star*"}));
  EXPECT_EQ(Glob("q\\?x"), (Names{"q?x"}));
  EXPECT_EQ(Glob("\\{a\\}"), (Names{"{a}"}));
  EXPECT_EQ(Glob("s[\\t]ar*"), (Names{"star*"}));
  EXPECT_EQ(Glob("\\*"), Names{});  // no file is called "*"
}

TEST_F(GlobExpandTest, MatchTypesFilterWildcardMatchesOnly) {
  EXPECT_EQ(Glob("*txt*"), (Names{"a.txt", "b.txt"}));
  EXPECT_EQ(Glob("*txt*", kGlobShowDotfiles), (Names{".hidden.txt", "a.txt", "b.txt"}));
  EXPECT_EQ(Glob("*txt*", kGlobShowBackups), (Names{"a.txt", "b.txt", "old.txt~"}));
  EXPECT_EQ(Glob("*txt*", 3), (Names{".hidden.txt", "a.txt", "b.txt", "old.txt~"}));
  // Hidden directories are not walked into either.
  EXPECT_EQ(Glob("dir/*/*.txt"), (Names{"dir/sub/z.txt"}));
  EXPECT_EQ(Glob("dir/*/*.txt", kGlobShowDotfiles), (Names{"dir/.dot/w.txt", "dir/sub/z.txt"}));
  // A component that spells the dot or tilde out asks for those names.
  EXPECT_EQ(Glob(".*"), (Names{".hidden.txt"}));
  EXPECT_EQ(Glob("*~"), (Names{"old.txt~"}));
  // Literal components are never filtered.
  EXPECT_EQ(Glob(".hidden.txt"), (Names{".hidden.txt"}));
  EXPECT_EQ(Glob("dir/.dot/*"), (Names{"dir/.dot/w.txt"}));
}

TEST_F(GlobExpandTest, LiteralComponentsMustExistButAreNotListed) {
  EXPECT_EQ(Glob("dir/sub/z.txt"), (Names{"dir/sub/z.txt"}));
  EXPECT_EQ(Glob("dir/sub/nope.txt"), Names{});
  EXPECT_EQ(tree_.ListingsOf("."), 0);
  EXPECT_EQ(tree_.ListingsOf("dir"), 0);
  EXPECT_EQ(Glob("./a.txt"), (Names{"./a.txt"}));  // spelling kept
  EXPECT_EQ(Glob("dir/../*.log"), (Names{"dir/../c.log"}));
  EXPECT_EQ(Glob("emptydir/."), (Names{"emptydir/."}));
  EXPECT_EQ(Glob("nodir/."), Names{});
  EXPECT_EQ(Glob("/"), (Names{"/"}));
  EXPECT_EQ(Glob(""), Names{});
}

TEST_F(GlobExpandTest, TrailingSlashSelectsDirectories) {
  EXPECT_EQ(Glob("*/"), (Names{"dir/", "emptydir/", "other/"}));
  EXPECT_EQ(Glob("dir/"), (Names{"dir/"}));
  EXPECT_EQ(Glob("a.txt/"), Names{});
}

TEST_F(GlobExpandTest, MissingDirectoriesAndFilesAsDirectoriesMatchNothing) {
  EXPECT_EQ(Glob("nodir/*"), Names{});
  EXPECT_EQ(Glob("a.txt/*"), Names{});
  EXPECT_EQ(Glob("emptydir/*"), Names{});
  EXPECT_EQ(Glob("a.txt/x"), Names{});
}

TEST_F(GlobExpandTest, OtherListingErrorsStopTheExpansion) {
  tree_.FailListing("dir", EACCES);
  EXPECT_EQ(Glob("dir/*"), (Names{"ERROR " + std::to_string(EACCES)}));
  EXPECT_EQ(Glob("{other,dir}/*.txt"), (Names{"ERROR " + std::to_string(EACCES)}));
  EXPECT_EQ(Glob("dir/x.txt"), (Names{"ERROR " + std::to_string(EACCES)}));
  EXPECT_EQ(Glob("other/*"), (Names{"other/x.txt"}));
  vector<::string> out;
  EXPECT_FALSE(GlobExpand("dir/*", 0, tree_.Lister(), &out, nullptr));  // null error is fine
}

TEST(GlobMatchComponentTest, Wildcards) {
  EXPECT_TRUE(GlobMatchComponent("a*b*c", "aXbYbZc"));
  EXPECT_TRUE(GlobMatchComponent("*", ""));
  EXPECT_TRUE(GlobMatchComponent("**x", "abx"));
  EXPECT_FALSE(GlobMatchComponent("a*b", "a"));
  EXPECT_FALSE(GlobMatchComponent("?", ""));
  EXPECT_FALSE(GlobMatchComponent("abc", "ab"));
  EXPECT_FALSE(GlobMatchComponent("ab", "abc"));
  EXPECT_TRUE(GlobMatchComponent("", ""));
}

TEST(GlobMatchComponentTest, WildcardsNeverCrossSlash) {
  EXPECT_FALSE(GlobMatchComponent("a*c", "a/c"));
  EXPECT_FALSE(GlobMatchComponent("a?c", "a/c"));
  EXPECT_FALSE(GlobMatchComponent("a[!x]c", "a/c"));
  EXPECT_TRUE(GlobMatchPath("*/*.txt", "dir/a.txt"));
  EXPECT_FALSE(GlobMatchPath("*.txt", "dir/a.txt"));
  EXPECT_TRUE(GlobMatchPath("{d/*,e}.txt", "d/a.txt"));
}

TEST(GlobMatchComponentTest, ClassesAndEscapes) {
  EXPECT_TRUE(GlobMatchComponent("[]]", "]"));
  EXPECT_TRUE(GlobMatchComponent("[!]]", "a"));
  EXPECT_FALSE(GlobMatchComponent("[!]]", "]"));
  EXPECT_TRUE(GlobMatchComponent("[a-]", "-"));
  EXPECT_TRUE(GlobMatchComponent("[\\]]", "]"));
  EXPECT_TRUE(GlobMatchComponent("[", "["));        // unclosed: literal
  EXPECT_TRUE(GlobMatchComponent("a[b", "a[b"));
  EXPECT_TRUE(GlobMatchComponent("x\\", "x\\"));    // trailing backslash is itself
  EXPECT_TRUE(GlobMatchComponent("[\xe0-\xef]", "\xe5"));  // bytes compare unsigned
  EXPECT_FALSE(GlobMatchComponent("\\*", "a"));
}

// fnmatch(3) implements the same brace-free syntax; the cases it reads
// differently on purpose are skipped: a trailing "\\" (ours is literal),
// "[." collating symbols, and an escaped "/".
TEST(GlobMatchComponentTest, AgreesWithFnmatch) {
  std::mt19937 random(1);
  const char pattern_chars[] = "*?[]!^-\\ab/.";
  const char name_chars[] = "ab-]!^\\/.[";
  int compared = 0;
  for (int i = 0; i < 200000; ++i) {
    std::string pattern, name;
    for (int n = random() % 8; n > 0; --n) {
      pattern += pattern_chars[random() % (sizeof(pattern_chars) - 1)];
    }
    for (int n = random() % 6; n > 0; --n) name += name_chars[random() % (sizeof(name_chars) - 1)];
    if (!pattern.empty() && pattern.back() == '\\') continue;
    if (pattern.find("[.") != std::string::npos) continue;
    if (pattern.find("\\/") != std::string::npos) continue;
    if (pattern.find("[?-") != std::string::npos) continue;  // glibc: unclosed "[" fails the match
    ++compared;
    const bool expected = fnmatch(pattern.c_str(), name.c_str(), FNM_PATHNAME) == 0;
    ASSERT_EQ(GlobMatchComponent(pattern, name), expected) << pattern << " on " << name;
  }
  EXPECT_GT(compared, 100000);
}

TEST(GlobHelpersTest, HasGlobCharsAndUnescape) {
  EXPECT_TRUE(HasGlobChars("a*"));
  EXPECT_TRUE(HasGlobChars("{a,b}"));
  EXPECT_TRUE(HasGlobChars("a[b"));
  EXPECT_FALSE(HasGlobChars("a\\*b"));
  EXPECT_FALSE(HasGlobChars("plain.txt"));
  EXPECT_EQ(GlobUnescape("a\\*b\\\\"), "a*b\\");
  vector<::string> out;
  ASSERT_TRUE(GlobExpandBraces("x{a,{b,c}d}y", &out));
  EXPECT_EQ(out, (vector<::string>{"xay", "xbdy", "xcdy"}));
}

TEST(GlobHelpersTest, HiddenByMatchType) {
  EXPECT_TRUE(HiddenByMatchType(".a", 0));
  EXPECT_TRUE(HiddenByMatchType("a~", 0));
  EXPECT_FALSE(HiddenByMatchType(".a", kGlobShowDotfiles));
  EXPECT_TRUE(HiddenByMatchType(".a~", kGlobShowDotfiles));
  EXPECT_FALSE(HiddenByMatchType(".a~", 3));
  EXPECT_FALSE(HiddenByMatchType("a", 0));
  EXPECT_FALSE(HiddenByMatchType("", 0));
}

class LocalGlobTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* base = getenv("PQ_TEST_TMP");
    std::string root = base != nullptr && *base ? base : "/tmp";
    mkdir(root.c_str(), 0755);
    std::string templ = root + "/glob_test.XXXXXX";
    ASSERT_NE(mkdtemp(templ.data()), nullptr);
    dir_ = templ;
  }
  void TearDown() override {
    for (const std::string& path : created_) remove(path.c_str());
    rmdir(dir_.c_str());
  }
  void Touch(const std::string& name) {
    std::ofstream(dir_ + "/" + name).put('x');
    created_.insert(created_.begin(), dir_ + "/" + name);
  }
  void MakeDir(const std::string& name) {
    ASSERT_EQ(mkdir((dir_ + "/" + name).c_str(), 0755), 0);
    created_.push_back(dir_ + "/" + name);
  }
  std::string dir_;
  std::vector<std::string> created_;  // removed in order
};

TEST_F(LocalGlobTest, ListsRealDirectoriesFollowingLinks) {
  MakeDir("real");
  Touch("real/f.txt");
  Touch("g.txt");
  ASSERT_EQ(symlink("real", (dir_ + "/link").c_str()), 0);
  created_.insert(created_.begin(), dir_ + "/link");

  vector<DirEntry> entries;
  ASSERT_EQ(ListLocalDirectory(dir_, &entries), 0);
  std::map<std::string, bool> is_dir;
  for (const DirEntry& e : entries) is_dir[e.name] = e.is_dir;
  const std::map<std::string, bool> expected{{"g.txt", false}, {"link", true}, {"real", true}};
  EXPECT_EQ(is_dir, expected);
  EXPECT_EQ(ListLocalDirectory(dir_ + "/nope", &entries), ENOENT);
  EXPECT_EQ(ListLocalDirectory(dir_ + "/g.txt", &entries), ENOTDIR);

  vector<::string> out;
  int error = 0;
  ASSERT_TRUE(GlobExpand(dir_ + "/*/*.txt", 0, ListLocalDirectory, &out, &error));
  EXPECT_EQ(out, (vector<::string>{dir_ + "/link/f.txt", dir_ + "/real/f.txt"}));
}

}  // namespace
}  // namespace file
