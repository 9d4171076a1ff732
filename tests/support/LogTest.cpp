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

TEST(Log, ATextFromOutsideCannotPassForALineOfItsOwn) {
  test::MemorySink sink;
  log.info("id %s, 100%%", "a\nerror [lease] \x1B[31mforged\x7F \xC3\xA9");
  EXPECT_EQ(sink.take(), Lines{"info [test] id a?error [lease] ?[31mforged? \xC3\xA9, 100%"});
}

TEST(Log, AHugeNumberIsWrittenWhole) {
  test::MemorySink sink;
  log.info("%f", -std::numeric_limits<double>::max());
  const std::string line = sink.take().at(0);
  EXPECT_EQ(line.size(), std::string("info [test] ").size() + 1 + 309 + 7);
}

}  // namespace
}  // namespace vigilo
