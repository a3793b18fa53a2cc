#include "file/base/names/path.h"

#include <unistd.h>

#include "tests/cc/fs_conformance.h"

namespace file {
namespace {

using Case = std::pair<std::string, std::string>;

TEST(PathTest, CleanPathCollapsesDotsAndSlashes) {
  const Case cases[] = {
      {"", ""}, {"/", "/"}, {"//", "/"}, {"a//b/./c/", "a/b/c"}, {"/a/b/../c", "/a/c"},
      {"/../a", "/a"}, {"/..", "/"}, {"a/..", "."}, {".", "."}, {"./", "."},
      {"../a/../..", "../.."}, {"a/../../b", "../b"}, {"...", "..."},
      {std::string("a\0b/../c", 8), "c"},  // bytes, not C strings
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(CleanPath(in), out) << in;
}

TEST(PathTest, JoinPathAddSlashDirname) {
  const std::pair<Case, std::string> joins[] = {
      {{"a", "b"}, "a/b"}, {{"a/", "b"}, "a/b"}, {{"/", "b"}, "/b"}, {{"a", "/b"}, "/b"},
      {{"", "b"}, "b"},    {{"a", ""}, "a"},     {{"", ""}, ""},
  };
  for (const auto& [in, out] : joins) EXPECT_EQ(JoinPath(in.first, in.second), out) << in.first << " + " << in.second;
  for (const auto& [in, out] : {Case{"a", "a/"}, {"a/", "a/"}, {"", ""}}) EXPECT_EQ(AddSlash(in), out) << in;
  const Case dirnames[] = {{"a/b", "a"}, {"a/b/", "a/b"}, {"/a", "/"}, {"//a", "/"},
                           {"a//b", "a"}, {"a", ""},      {"", ""}};
  for (const auto& [in, out] : dirnames) EXPECT_EQ(Dirname(in), out) << in;
  for (const auto& [in, out] : {Case{"a/b/c", "a/b/"}, {"/c", "/"}, {"c", ""}}) EXPECT_EQ(StripBasename(&in[0]), out);
  EXPECT_EQ(StripBasename(nullptr), "");
}

TEST(PathTest, BasenameAndSuffixPointIntoTheArgument) {
  const char* path = "dir/sub/file.tar.gz";
  EXPECT_EQ(Basename(path), path + 8);
  EXPECT_EQ(Suffix(path), path + 17);
  EXPECT_STREQ(Basename("plain"), "plain");
  EXPECT_STREQ(Basename("dir/"), "");
  EXPECT_EQ(Basename(nullptr), nullptr);
  EXPECT_STREQ(Suffix("dir/.a.txt"), "txt");
  EXPECT_STREQ(Suffix("a."), "");
  // No suffix: the dot is in the directory, or starts the name, or no name.
  for (const char* none : {"dir.d/file", ".profile", "dir/", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(Suffix(none), nullptr) << (none ? none : "null");
  }
}

TEST(PathTest, CanonicalizeJoinsTheWorkingDirectory) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
  EXPECT_EQ(CanonicalizeFileName("x/./y/../z"), CleanPath(std::string(cwd) + "/x/z"));
  EXPECT_EQ(CanonicalizeFileName("/a//b/"), "/a/b");
  EXPECT_EQ(CanonicalizeFileName("") + CanonicalizeFileName(nullptr), "");
  vector<::string> names{"/a/../b", "/c/"};
  CanonicalizeFileNameList(&names, names);  // may alias
  EXPECT_EQ(names, (vector<::string>{"/b", "/c"}));
}

TEST(PathTest, ConstructFullFileNameAndRemoveHosts) {
  EXPECT_EQ(ConstructFullFileName("/d/", {"a/", "./b"}, ".txt", 0), "/d/a/b.txt");
  EXPECT_EQ(ConstructFullFileName("/d", {"/x", "y"}, "", -1), "/x/y@*");
  EXPECT_EQ(ConstructFullFileName("", {"rel"}, "", 0), "rel");

  // The path inside is kept; names without a host or cell are unchanged.
  const Case hosts[] = {{"/remote/m7/a/b", "/a/b"}, {"/wicket/m7:80/a", "/a"}, {"/rep/east/a", "/a"},
                        {"/rep/east", "/"}, {"/cache/x", "/cache/x"}, {"/plain/a", "/plain/a"},
                        {"/remote/bad host/a", "/remote/bad host/a"}};
  for (const auto& [in, out] : hosts) EXPECT_EQ(RemoveHosts(in.c_str()), out) << in;
  EXPECT_TRUE(IsReplicatedFileName("/rep/east/a"));
  EXPECT_FALSE(IsReplicatedFileName("/remote/m7/a") || IsReplicatedFileName(nullptr));
}

// The data directory is process-wide, so one test walks through its states.
TEST(DatadirTest, InitAndRewrite) {
  const ::string previous = Datadir();  // other tests may have recorded one
  if (previous.empty()) EXPECT_EQ(RewriteDatadir("$DATADIR/x"), "$DATADIR/x");
  EXPECT_EQ(RewriteDatadir(nullptr), "");

  const ScratchDir scratch("datadir_test");
  const std::string dir = CanonicalizeFileName(scratch.path.c_str());

  InitWithDatadirFrom(dir.c_str());
  EXPECT_EQ(Datadir(), dir);
  const Case rewrites[] = {{"$DATADIR/a/b", dir + "/a/b"}, {"/datadir/a", dir + "/a"}, {"$DATADIR", dir},
                           {"$DATADIRX/a", "$DATADIRX/a"}, {"/data/a", "/data/a"}};
  for (const auto& [in, out] : rewrites) EXPECT_EQ(RewriteDatadir(in.c_str()), out) << in;

  if (!previous.empty()) InitWithDatadirFrom((previous + "/").c_str());
}

}  // namespace
}  // namespace file
