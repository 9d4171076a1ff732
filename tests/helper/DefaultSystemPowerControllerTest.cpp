#include "helper/DefaultSystemPowerController.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

TEST(DefaultSystemPowerController, SleepIsDisabledWhereAnySectionOfTheListingSaysSo) {
  const std::pair<std::string, bool> cases[] = {
      {"", false},
      {"disablesleep 1", true},
      {"Battery Power:\n \t disablesleep    1\n sleep 1\n", true},
      {"Battery Power:\n disablesleep 0\nAC Power:\n disablesleep 1\n", true},
      {" disablesleep\t1 comment\n", true},
      {" disablesleep 1\r\n", true},
      {" disablesleepless 1\n", true},  // Only the beginning of the line is compared.
      {" disablesleep\n 1\n", false},   // A name alone is passed over.
      {" disablesleep 0\n", false},
      {" disablesleep 10\n", false},
      {" disablesleep 01\n", false},
      {" Disablesleep 1\n", false},
      {" no disablesleep 1\n", false},
      {" sleep 1\n", false},
      {"\xFF\n disablesleep 1\n", false},  // Not UTF-8: says nothing.
      {"caf\xC3\xA9\n disablesleep 1\n", true},
  };
  for (const auto& [listing, disabled] : cases) {
    EXPECT_EQ(DefaultSystemPowerController::listingShowsSleepDisabled(listing), disabled) << listing;
  }
}

}  // namespace
}  // namespace vigilo
