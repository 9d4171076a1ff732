#include "support/Log.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/support/MemorySink.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;
constexpr Log log{"com.vigilo.app", "test"};

TEST(Log, FormatsAsPrintfDoes) {
  test::MemorySink sink;
  log.info("plain 100%%");
  log.error("%s %s %s", "literal", std::string("string"), std::string_view("view", 2));
  log.debug("%d %u %ld %x", -5, 7u, std::numeric_limits<long>::min(), 255);
  log.info("%lds %zu %04d", 901L, std::size_t{3}, 42);
  log.info("%f %.1f %g", 1.5, 90.04, 0.25);
  log.info("%{bool}d %{bool}d", true, false);
  EXPECT_EQ(sink.take(), (Lines{"info [test] plain 100%", "error [test] literal string vi",
                                "debug [test] -5 7 -9223372036854775808 ff", "info [test] 901s 3 0042",
                                "info [test] 1.500000 90.0 0.25", "info [test] true false"}));
}

TEST(Log, AHugeNumberIsWrittenWhole) {
  test::MemorySink sink;
  log.info("%f", -std::numeric_limits<double>::max());
  const std::string line = sink.take().at(0);
  EXPECT_EQ(line.size(), std::string("info [test] ").size() + 1 + 309 + 7);
}

TEST(Log, ALineThatNobodyWantsIsNotFormatted) {
  struct Picky final : LogSink {
    Picky() : before(installLogSink(this)) {}
    ~Picky() override { installLogSink(before); }
    bool accepts(LogLevel level) const noexcept override { return level == LogLevel::error; }
    void write(LogLevel, std::string_view, std::string_view, std::string_view) noexcept override {
      ++written;
    }
    LogSink* before;
    int written = 0;
  } sink;
  log.debug("%s", "no");
  log.info("%s", "no");
  log.error("%s", "yes");
  EXPECT_EQ(sink.written, 1);
}

TEST(FailureEpisode, ReportsTheBeginningEachChangeAndTheEnd) {
  FailureEpisode episode;
  EXPECT_FALSE(episode.ends());
  EXPECT_TRUE(episode.begins("a"));
  EXPECT_FALSE(episode.begins("a"));
  EXPECT_TRUE(episode.begins("b"));
  EXPECT_TRUE(episode.ends());
  EXPECT_FALSE(episode.ends());
  EXPECT_TRUE(episode.begins("b"));
}

TEST(FatalDeathTest, SaysWhyBeforeItAborts) {
  EXPECT_DEATH(fatal("the reason"), "vigilo: fatal: the reason");
}

}  // namespace
}  // namespace vigilo
