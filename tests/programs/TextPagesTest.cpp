#include "VigiloApp/control/TextPages.h"

#include <gtest/gtest.h>

#include "VigiloApp/control/ControlProtocol.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

class TextPagesTest : public testing::Test {
 protected:
  test::VirtualTime time;
  const std::unique_ptr<Queue> queue = time.queue("control");
  TextPages pages{*queue};
};

TEST_F(TextPagesTest, TheyFitAMessageEachAndAreTheWholeReportTogether) {
  for (const char* unit : {"\"", "é", "€", "😀", "x"}) {
    std::string text = "a";
    while (text.size() < 100'000) text += unit;
    TextPage page = pages.begin(text);
    std::string joined;
    for (;;) {
      ControlResponse response;
      response.diagnostics = page;
      const std::string line = controlLine(response);
      EXPECT_LE(line.size(), controlMessageLimit);
      // As it arrives: a page that ended inside a character would not.
      joined += decodeRecord<ControlResponse>(line, controlForm)->diagnostics->text;
      if (page.remaining == 0) break;
      const auto next = pages.page(page.id, static_cast<std::int64_t>(joined.size()));
      ASSERT_TRUE(next);
      page = *next;
    }
    EXPECT_EQ(joined, text);
    EXPECT_FALSE(pages.page(page.id, 0)) << "not kept once it was read";
  }
}

TEST_F(TextPagesTest, AReaderThatGoesAwayCostsNothingForLong) {
  const std::string text(100'000, 'x');
  const std::string slow = pages.begin(text).id;
  time.advance(9);
  EXPECT_TRUE(pages.page(slow, 5)) << "whoever asks goes on";
  time.advance(9);
  EXPECT_TRUE(pages.page(slow, 5));
  time.advance(11);
  EXPECT_FALSE(pages.page(slow, 5));
  const std::string first = pages.begin(text).id;
  for (int i = 0; i < 3; ++i) pages.begin(text);
  EXPECT_TRUE(pages.page(first, 0));
  pages.begin(text);
  EXPECT_FALSE(pages.page(first, 0)) << "at most four are kept";
}

TEST_F(TextPagesTest, APlaceOutsideTheReportIsRefused) {
  const std::string id = pages.begin(std::string(100'000, 'x')).id;
  for (const std::int64_t offset : {std::int64_t{-1}, std::int64_t{100'001}, INT64_MAX, INT64_MIN})
    EXPECT_FALSE(pages.page(id, offset)) << offset;
  EXPECT_FALSE(pages.page("nonsense", 0));
}

}  // namespace
}  // namespace vigilo
