#include <gtest/gtest.h>

#include "support/RecordCoding.h"

namespace vigilo {
namespace {

TEST(RecordParse, AZeroByteIsNotTheEndOfADocument) {
  const auto document = coding::parse(std::string_view("{}\0{", 4));
  ASSERT_FALSE(document);
  EXPECT_EQ(document.error().description, "not valid JSON (byte 3 of 4)");
}

}  // namespace
}  // namespace vigilo
