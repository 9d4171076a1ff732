#include "support/NearestWord.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

TEST(NearestWord, IsTheOneWithTheFewestEditsAndNoneThatIsFar) {
  constexpr std::string_view words[] = {"status", "setup", "settings", "top", "on", "off", "soundEnabled"};
  const std::pair<const char*, const char*> rows[] = {{"stauts", "status"},
                                                      {"statu", "status"},
                                                      {"Status", "status"},
                                                      {"sett", "settings"},
                                                      {"setp", "setup"},
                                                      {"soundenabld", "soundEnabled"},
                                                      {"topp", "top"},
                                                      {"of", "off"},
                                                      {"fly", ""},
                                                      {"xy", ""},
                                                      {"", ""},
                                                      {"sundial", ""}};
  for (const auto& [wrong, right] : rows) EXPECT_EQ(nearestWord(wrong, words).value_or(""), right) << wrong;
  EXPECT_EQ(didYouMean("stauts", words), " Did you mean \"status\"?");
  EXPECT_EQ(didYouMean(std::string(100'000, 's'), words), "");
}

}  // namespace
}  // namespace vigilo
