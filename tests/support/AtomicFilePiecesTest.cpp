#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "support/AtomicFile.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

bool anywhere(const std::string&) {
  return true;
}

TEST(AtomicFile, PiecesOfAnyNumberAndLengthAreWrittenInOrder) {
  const test::TempFolder folder;
  std::string whole;
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < 1000; ++i) {
    texts.emplace_back(i % 7 == 0 ? 0 : i * 31 % 5000, static_cast<char>('a' + i % 26));
    whole += texts.back();
  }
  const std::vector<std::string_view> pieces(texts.begin(), texts.end());
  EXPECT_FALSE(replaceFile(folder.path("a/b"), pieces, anywhere));
  EXPECT_EQ(folder.read("a/b"), whole);
  EXPECT_FALSE(replaceFile(folder.path("a/b"), std::vector<std::string_view>{"", ""}, anywhere));
  EXPECT_EQ(folder.read("a/b"), "");
}

TEST(AtomicFile, OnlyTemporariesOfTheFileItselfAreCleanedUp) {
  const test::TempFolder folder;
  const std::vector<std::string> kept{"f.json",         "f.json.backup",          "f.json.unreadable",
                                      "f.json.writing", "f.json.writing-aB3dEfG", "g.json.writing-aB3dEf"};
  for (const auto& name : kept) folder.write(name, "x");
  folder.write("f.json.writing-aB3dEf", "x");
  removeLeftTemporaries(folder.path("f.json"), anywhere);
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    left.push_back(entry.path().filename());
  }
  std::ranges::sort(left);
  EXPECT_EQ(left, kept);
  removeLeftTemporaries(folder.path("not/there"), anywhere);
}

}  // namespace
}  // namespace vigilo
