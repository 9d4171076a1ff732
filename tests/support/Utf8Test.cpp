#include "support/Utf8.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

TEST(Utf8, AcceptsEveryShortestFormUpToTheLastCodePoint) {
  for (const std::string_view text : {"", "a\x7F", "\xC2\x80\xDF\xBF", "\xE0\xA0\x80",
                                      "\xED\x9F\xBF\xEE\x80\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBFz"}) {
    EXPECT_TRUE(isUtf8(text)) << text;
  }
}

TEST(Utf8, RefusesOverlongFormsSurrogatesAndCutSequences) {
  for (const std::string_view text : {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
                                      "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
                                      "a\xC3", "\xE2\x82", "\xE2\x28\xA1", "\xF0\x9F\x98", "\xE2\x82\x28"}) {
    EXPECT_FALSE(isUtf8(text)) << text;
  }
}

TEST(Utf8, ATextThatIsTooLongEndsInAnEllipsisBetweenCharacters) {
  EXPECT_EQ(shortened("abcdef", 6), "abcdef");
  EXPECT_EQ(shortened("abcdefg", 6), "abc\u2026");
  EXPECT_EQ(shortened("ab\u00e9fghi", 6), "ab\u2026");
  EXPECT_EQ(shortened("\U0001F600\U0001F600", 6), "\u2026");
}

}  // namespace
}  // namespace vigilo
