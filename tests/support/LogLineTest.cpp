#include <gtest/gtest.h>

#include "support/Log.h"
#include "tests/support/MemorySink.h"

namespace vigilo {
namespace {

TEST(LogLine, ATextFromOutsideCannotPassForALineOfItsOwn) {
  test::MemorySink sink;
  Log("com.vigilo.app", "hooks").info("id %s, 100%%", "a\nerror [lease] \x1B[31mforged\x7F \xC3\xA9");
  EXPECT_EQ(sink.take(),
            (std::vector<std::string>{"info [hooks] id a?error [lease] ?[31mforged? \xC3\xA9, 100%"}));
}

}  // namespace
}  // namespace vigilo
