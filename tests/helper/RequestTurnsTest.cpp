#include "helper/RequestTurns.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

TEST(RequestTurns, UsersTakeTurnsHoweverManyRequestsOneOfThemSends) {
  RequestTurns turns;
  std::size_t taken = 0;
  for (int request = 0; request < 3000; ++request) taken += turns.add({UniqueFd(), uid_t{1000}});
  EXPECT_EQ(taken, RequestTurns::mostOfAUser);
  EXPECT_TRUE(turns.add({UniqueFd(), uid_t{1001}}));
  EXPECT_TRUE(turns.add({UniqueFd(), std::nullopt}));
  EXPECT_TRUE(turns.add({UniqueFd(), uid_t{1001}}));

  const std::optional<uid_t> order[] = {1000, 1001, std::nullopt, 1000, 1001, 1000, 1000};
  for (const auto& user : order) EXPECT_EQ(turns.next()->user, user);
  for (std::size_t left = taken - 4; left > 0; --left) EXPECT_EQ(turns.next()->user, uid_t{1000});
  EXPECT_TRUE(turns.isEmpty());
  EXPECT_FALSE(turns.next());
}

TEST(RequestTurns, ManyUsersTogetherAreBoundedToo) {
  RequestTurns turns;
  for (uid_t user = 0; user < RequestTurns::mostInAll; ++user) EXPECT_TRUE(turns.add({UniqueFd(), user}));
  EXPECT_FALSE(turns.add({UniqueFd(), uid_t{100000}}));
  EXPECT_EQ(turns.next()->user, uid_t{0});
  EXPECT_TRUE(turns.add({UniqueFd(), uid_t{100000}}));
}

}  // namespace
}  // namespace vigilo
