#include "support/HomeFolder.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace vigilo {
namespace {

class HomeFolderTest : public testing::Test {
 protected:
  ~HomeFolderTest() override { ::setenv("HOME", before.c_str(), 1); }
  const std::string before = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "/";
};

TEST_F(HomeFolderTest, TheVariableCountsWhereItIsAbsolute) {
  const std::pair<const char*, const char*> cases[] = {{"/home/me", "/home/me"},
                                                       {"/home/me///", "/home/me"},
                                                       {"/", "/"},
                                                       {"/a b/ü", "/a b/ü"},
                                                       {"/home//me", "/home/me"},
                                                       {"//", "/"},
                                                       {"/./home/../home/./me/.", "/home/me"},
                                                       {"/../a/..b/...", "/a/..b/..."},
                                                       {"/a/../..", "/"}};
  for (const auto& [variable, expected] : cases) {
    ::setenv("HOME", variable, 1);
    EXPECT_EQ(homeFolder(), expected);
  }
}

TEST_F(HomeFolderTest, TheAccountsEntryCountsOtherwise) {
  const passwd* account = ::getpwuid(::getuid());
  if (account == nullptr) GTEST_SKIP() << "this user has no account";
  for (const char* variable : {"", "relative/home"}) {
    ::setenv("HOME", variable, 1);
    EXPECT_EQ(homeFolder(), account->pw_dir);
  }
  ::unsetenv("HOME");
  EXPECT_EQ(homeFolder(), account->pw_dir);
}

TEST_F(HomeFolderTest, APathThatDoesNotFitIsNoneAndNeverAPartOfIt) {
  ::setenv("HOME", "/home/me", 1);
  const std::string whole = "/home/me/Library/Application Support/Vigilo/run/vigilo.sock";
  std::vector<char> buffer(whole.size());
  EXPECT_EQ(hookSocketPath(buffer), whole);
  EXPECT_EQ(hookSocketPath(std::span(buffer).first(whole.size() - 1)), "");
  EXPECT_EQ(homeFolder(std::span(buffer).first(7)), "");
  ::setenv("HOME", ("/" + std::string(5000, 'x')).c_str(), 1);
  EXPECT_EQ(homeFolder(), "");
  EXPECT_EQ(hookSocketPath(buffer), "");
}

}  // namespace
}  // namespace vigilo
