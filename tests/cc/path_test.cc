#include "file/base/path.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace file {
namespace {

TEST(CleanPathTest, CollapsesDotsAndSlashes) {
  EXPECT_EQ(CleanPath(""), "");
  EXPECT_EQ(CleanPath("/"), "/");
  EXPECT_EQ(CleanPath("//"), "/");
  EXPECT_EQ(CleanPath("a//b/./c/"), "a/b/c");
  EXPECT_EQ(CleanPath("/a/b/../c"), "/a/c");
  EXPECT_EQ(CleanPath("/../a"), "/a");
  EXPECT_EQ(CleanPath("/.."), "/");
  EXPECT_EQ(CleanPath("a/.."), ".");
  EXPECT_EQ(CleanPath("."), ".");
  EXPECT_EQ(CleanPath("./"), ".");
  EXPECT_EQ(CleanPath("../a/../.."), "../..");
  EXPECT_EQ(CleanPath("a/../../b"), "../b");
  EXPECT_EQ(CleanPath("..."), "...");
  EXPECT_EQ(CleanPath(std::string("a\0b/../c", 8)), "c");  // bytes, not C strings
}

TEST(JoinPathTest, HandlesSlashesAndAbsoluteParts) {
  EXPECT_EQ(JoinPath("a", "b"), "a/b");
  EXPECT_EQ(JoinPath("a/", "b"), "a/b");
  EXPECT_EQ(JoinPath("/", "b"), "/b");
  EXPECT_EQ(JoinPath("a", "/b"), "/b");
  EXPECT_EQ(JoinPath("", "b"), "b");
  EXPECT_EQ(JoinPath("a", ""), "a");
  EXPECT_EQ(JoinPath("", ""), "");
}

TEST(BasenameSuffixTest, PointIntoTheArgument) {
  const char* path = "dir/sub/file.tar.gz";
  EXPECT_EQ(Basename(path), path + 8);
  EXPECT_STREQ(Suffix(path), "gz");
  EXPECT_EQ(Suffix(path), path + 17);
  EXPECT_STREQ(Basename("plain"), "plain");
  EXPECT_STREQ(Basename("dir/"), "");
  EXPECT_EQ(Basename(nullptr), nullptr);
  EXPECT_EQ(Suffix(nullptr), nullptr);
  EXPECT_EQ(Suffix("dir.d/file"), nullptr);  // the dot is in the directory
  EXPECT_EQ(Suffix(".profile"), nullptr);
  EXPECT_STREQ(Suffix("dir/.a.txt"), "txt");
  EXPECT_STREQ(Suffix("a."), "");
  EXPECT_EQ(Suffix("dir/"), nullptr);
}

TEST(DirectoryPartsTest, StripBasenameAddSlashDirname) {
  EXPECT_EQ(StripBasename("a/b/c"), "a/b/");
  EXPECT_EQ(StripBasename("/c"), "/");
  EXPECT_EQ(StripBasename("c"), "");
  EXPECT_EQ(StripBasename(nullptr), "");
  EXPECT_EQ(AddSlash("a"), "a/");
  EXPECT_EQ(AddSlash("a/"), "a/");
  EXPECT_EQ(AddSlash(""), "");
  EXPECT_EQ(Dirname("a/b"), "a");
  EXPECT_EQ(Dirname("a/b/"), "a/b");
  EXPECT_EQ(Dirname("/a"), "/");
  EXPECT_EQ(Dirname("//a"), "/");
  EXPECT_EQ(Dirname("a//b"), "a");
  EXPECT_EQ(Dirname("a"), "");
  EXPECT_EQ(Dirname(""), "");
}

TEST(CanonicalizeTest, JoinsTheWorkingDirectory) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof(cwd)), nullptr);
  EXPECT_EQ(CanonicalizeFileName("x/./y/../z"), CleanPath(std::string(cwd) + "/x/z"));
  EXPECT_EQ(CanonicalizeFileName("/a//b/"), "/a/b");
  EXPECT_EQ(CanonicalizeFileName(""), "");
  EXPECT_EQ(CanonicalizeFileName(nullptr), "");

  vector<::string> names{"/a/../b", "/c/"};
  CanonicalizeFileNameList(&names, names);  // may alias
  EXPECT_EQ(names, (vector<::string>{"/b", "/c"}));
}

TEST(ConstructFullFileNameTest, JoinsPartsSuffixAndShards) {
  EXPECT_EQ(ConstructFullFileName("/d", {"a", "b"}, "txt", 3), "/d/a/b.txt@3");
  EXPECT_EQ(ConstructFullFileName("/d/", {"a/", "./b"}, ".txt", 0), "/d/a/b.txt");
  EXPECT_EQ(ConstructFullFileName("/d", {"/x", "y"}, "", -1), "/x/y@*");
  EXPECT_EQ(ConstructFullFileName("", {"rel"}, "", 0), "rel");
  EXPECT_EQ(ConstructFullFileName("", {}, "txt", 2), "");
}

TEST(RemoveHostsTest, KeepsThePathInside) {
  EXPECT_EQ(RemoveHosts("/remote/m7/a/b"), "/a/b");
  EXPECT_EQ(RemoveHosts("/wicket/m7:80/a"), "/a");
  EXPECT_EQ(RemoveHosts("/rep/east/a"), "/a");
  EXPECT_EQ(RemoveHosts("/rep/east"), "/");
  EXPECT_EQ(RemoveHosts("/cache/x"), "/cache/x");     // no host or cell
  EXPECT_EQ(RemoveHosts("/remote/bad host/a"), "/remote/bad host/a");
  EXPECT_EQ(RemoveHosts("/plain/a"), "/plain/a");
  EXPECT_TRUE(IsReplicatedFileName("/rep/east/a"));
  EXPECT_FALSE(IsReplicatedFileName("/remote/m7/a"));
  EXPECT_FALSE(IsReplicatedFileName(nullptr));
}

// The data directory is process-wide, so one test walks through its states.
TEST(DatadirTest, InitAndRewrite) {
  const ::string previous = Datadir();  // other tests may have recorded one
  if (previous.empty()) {
    EXPECT_EQ(RewriteDatadir("$DATADIR/x"), "$DATADIR/x");
  }
  EXPECT_EQ(RewriteDatadir(nullptr), "");

  const char* base = getenv("PQ_TEST_TMP");
  std::string root = base != nullptr && *base ? base : "/tmp";
  mkdir(root.c_str(), 0755);
  std::string templ = root + "/datadir_test.XXXXXX";
  ASSERT_NE(mkdtemp(templ.data()), nullptr);
  const std::string dir = CanonicalizeFileName(templ.c_str());

  InitWithDatadirFrom(dir.c_str());
  EXPECT_TRUE(InitCalled());
  EXPECT_EQ(Datadir(), dir);
  EXPECT_EQ(RewriteDatadir("$DATADIR/a/b"), dir + "/a/b");
  EXPECT_EQ(RewriteDatadir("/datadir/a"), dir + "/a");
  EXPECT_EQ(RewriteDatadir("$DATADIR"), dir);
  EXPECT_EQ(RewriteDatadir("$DATADIRX/a"), "$DATADIRX/a");
  EXPECT_EQ(RewriteDatadir("/data/a"), "/data/a");

  // A file (such as a program's path) gives its directory.
  InitWithDatadirFrom((dir + "/program").c_str());
  EXPECT_EQ(Datadir(), dir);
  InitWithDatadirFrom("/");
  EXPECT_EQ(RewriteDatadir("/datadir/a"), "/a");
  InitWithDatadirFrom(nullptr);  // records nothing
  EXPECT_EQ(Datadir(), "/");
  rmdir(templ.c_str());
  if (!previous.empty()) InitWithDatadirFrom((previous + "/").c_str());
}

}  // namespace
}  // namespace file
