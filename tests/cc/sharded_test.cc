#include "file/base/names/sharded.h"

#include <tuple>

#include "file/base/names/glob.h"
#include "tests/cc/fs_conformance.h"

namespace file_base {
namespace {

TEST(ShardedNamesTest, GenerateNamesAndSets) {
  const struct { const char* base; int shard, count; const char* name; } cases[] = {
      {"a/b", 0, 3, "a/b-00000-of-00003"}, {"b", 99999, 100000, "b-099999-of-100000"},
      {"b", 7, 123456, "b-000007-of-123456"}, {"b", 3, 3, ""}, {"b", -1, 3, ""}, {"b", 0, 0, ""}};
  for (const auto& c : cases) EXPECT_EQ(GenerateShardedFilename(c.base, c.shard, c.count), c.name) << c.shard;

  vector<::string> names{"stale"};
  ASSERT_TRUE(GenerateShardedFilenames("dir/x@3", &names));
  EXPECT_EQ(names, (vector<::string>{"dir/x-00000-of-00003", "dir/x-00001-of-00003",
                                     "dir/x-00002-of-00003"}));
  ASSERT_TRUE(GenerateShardedFilenames("user@host@2", &names));  // the last "@" counts
  EXPECT_EQ(names[1], "user@host-00001-of-00002");
  for (const char* not_a_set : {"x", "x@0", "x@-1", "x@*", "x@", "@3", "dir/@3", "x@3/y", "x@3a",
                                "x@ 3", "x@99999999999", "x@2000000"}) {
    names = {"stale"};
    EXPECT_FALSE(GenerateShardedFilenames(not_a_set, &names)) << not_a_set;
    EXPECT_TRUE(names.empty()) << not_a_set;
  }
}

TEST(ShardedNamesTest, PatternMatchesExactlyTheSet) {
  EXPECT_EQ(GenerateShardedFilePattern("a/b", 3), "a/b-?????" "-of-00003");
  const ::string any = GenerateShardedFilePattern("a/b", 0);
  const ::string odd = GenerateShardedFilePattern("w[1]*{a,b}", 2);  // the base is literal
  const std::tuple<::string, const char*, bool> matches[] = {
      {any, "a/b-00001-of-00003", true}, {any, "a/b-000001-of-123456", true}, {any, "a/b-0001-of-00003", false},
      {any, "a/bc-00001-of-00003", false}, {odd, "w[1]*{a,b}-00001-of-00002", true},
      {odd, "w1xa-00001-of-00002", false}};
  for (const auto& [pattern, name, match] : matches) EXPECT_EQ(file::GlobMatchPath(pattern, name), match) << name;

  ::string pattern;
  ASSERT_TRUE(ShardSetToPattern("a/b@3", &pattern));
  EXPECT_EQ(pattern, "a/b-?????" "-of-00003");
  ASSERT_TRUE(ShardSetToPattern("a/b@*", &pattern));
  EXPECT_EQ(pattern, any);
  EXPECT_FALSE(ShardSetToPattern("a/b", &pattern));
}

TEST(ShardedNamesTest, TakeAShardNameApart) {
  int shard = -1, count = -1, digits = -1;
  EXPECT_STREQ(ShardedBasenameWithNumShards("dir/b-00001-of-00003", &shard, &count, &digits), "dir/b@3");
  EXPECT_EQ(std::tuple(shard, count, digits), std::tuple(1, 3, 5));
  EXPECT_STREQ(ShardedBasenameWithNumShards("x.y-000004-of-100010", nullptr, nullptr, nullptr), "x.y@100010");

  shard = count = digits = -1;
  for (const char* not_a_shard : {"b-0001-of-00003", "b-00003-of-00003", "b-00001-of-00000",
                                  "b-000001-of-000003", "b-00001-of-0003", "-00001-of-00003",
                                  "dir/-00001-of-00003", "b-00001-of-00003x", "b_00001-of-00003",
                                  "b-0000a-of-00003", "-of-", "", "b-99999999999-of-99999999999"}) {
    EXPECT_EQ(ShardedBasenameWithNumShards(not_a_shard, &shard, &count, &digits), nullptr) << not_a_shard;
  }
  EXPECT_EQ(shard, -1);
  EXPECT_EQ(ShardedBasenameWithNumShards(nullptr, &shard, &count, &digits), nullptr);
}

// Installs a matcher over a fixed list of existing names.
void Existing(vector<::string> names) {
  SetShardMatchFunction([names](const ::string& pattern, vector<::string>* out) {
    out->clear();
    for (const ::string& name : names) {
      if (file::GlobMatchPath(pattern, name)) out->push_back(name);
    }
    return true;
  });
}

TEST(DetectShardsTest, CountComesFromTheExistingFiles) {
  Existing({"d/x-00000-of-00004", "d/x-00002-of-00004", "d/xy-00000-of-00002", "d/x-1-of-2"});
  for (const char* set_name : {"d/x", "d/x@*", "d/x@4"}) {
    int count = 0;
    EXPECT_TRUE(DetectNumberOfShards(set_name, &count)) << set_name;
    EXPECT_EQ(count, 4) << set_name;
  }
  int count = 77;
  EXPECT_FALSE(DetectNumberOfShards("d/x@5", &count) || DetectNumberOfShards("d/none", &count));
  EXPECT_EQ(count, 77);
  EXPECT_TRUE(DetectNumberOfShards("d/xy", nullptr));

  // Disagreeing counts, or a failed search, give false.
  Existing({"x-00000-of-00002", "x-00000-of-00003"});
  EXPECT_FALSE(DetectNumberOfShards("x@*", &count));
  EXPECT_TRUE(DetectNumberOfShards("x@3", &count));  // the pattern for 3 sees only that set
  EXPECT_EQ(count, 3);
  SetShardMatchFunction([](const ::string&, vector<::string>*) { return false; });
  EXPECT_FALSE(DetectNumberOfShards("x@*", &count));
  SetShardMatchFunction(nullptr);
}

}  // namespace
}  // namespace file_base
