#include "usage/LineReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <vector>

#include "support/UniqueFd.h"
#include "tests/support/TempFolder.h"

namespace vigilo::test {
namespace {

class LineReaderTest : public ::testing::Test {
 protected:
  // The lengths of the lines handed out; an unterminated one is refused.
  std::vector<std::size_t> read() {
    const UniqueFd fd(::open(folder.path("log").c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<std::size_t> lengths;
    LineReader().read(fd.get(), position, [&](std::string_view line, bool isTerminated) {
      if (isTerminated) lengths.push_back(line.size());
      return false;
    });
    return lengths;
  }

  TempFolder folder;
  LineReader::Position position;
};

using Lengths = std::vector<std::size_t>;
constexpr std::size_t limit = LineReader::longestLine;

TEST_F(LineReaderTest, LinesUpToTheLimitAreHandedOutAndLongerOnesSkipped) {
  std::string text;
  for (const std::size_t length : {std::size_t{0}, limit, std::size_t{3}, limit + 1, std::size_t{300000},
                                   std::size_t{50} << 20, std::size_t{7}}) {
    text += std::string(length, 'x') + "\n";
  }
  folder.write("log", text);
  EXPECT_EQ(read(), (Lengths{0, limit, 3, 300000, 7}));
  EXPECT_EQ(position.offset, text.size());
}

TEST_F(LineReaderTest, ALineOverTheLimitIsSkippedThoughItGrowsOverSeveralReadings) {
  std::string text(limit + 5, 'x');
  folder.write("log", text);
  EXPECT_EQ(read(), Lengths{});
  EXPECT_EQ(position.offset, text.size());
  folder.write("log", text += std::string(1000, 'y'));
  EXPECT_EQ(read(), Lengths{});
  folder.write("log", text += "end\nnext\n");
  EXPECT_EQ(read(), Lengths{4});
}

TEST_F(LineReaderTest, LinesAcrossBlocksAreWhole) {
  std::string text;
  Lengths expected;
  for (std::size_t length = 1; text.size() < 3'000'000; length = length * 5 % 100'003) {
    text += std::string(length, 'x') + "\n";
    expected.push_back(length);
  }
  folder.write("log", text + "rest");
  EXPECT_EQ(read(), expected);
  EXPECT_EQ(position.offset, text.size());
}

}  // namespace
}  // namespace vigilo::test
