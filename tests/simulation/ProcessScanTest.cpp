#include <gtest/gtest.h>

#include "tests/simulation/World.h"

namespace vigilo {
namespace {

using test::Actions;
using test::World;

// The whole system on a machine whose processes it looks at.
class ProcessScanTest : public testing::Test {
 protected:
  ProcessScanTest() {
    world.scansProcesses = true;
    world.defaults.set("releaseDelaySeconds", 0.0);
    world.startHelper();
    world.startHost();
  }

  void run(const std::string& command) { world.machine.processes = {{4242, command}}; }
  void report(AgentState state) { world.event(AgentType::claude, state), world.run(1); }
  bool isHeld() const { return world.machine.holdsIdle() && world.machine.sleepDisabled; }

  World world;
};

TEST_F(ProcessScanTest, AnAgentWithoutHooksIsHeldForAsLongAsItsProcessLives) {
  run("aider --model sonnet");
  world.run(2);
  EXPECT_EQ(world.machine.take(), (Actions{"idle+ Vigilo: Aider working", "sleep off"}));
  world.run(24 * 3600);
  EXPECT_EQ(world.machine.take(), Actions{}) << "it never becomes stale";
  world.machine.processes.clear();
  world.run(2);
  EXPECT_EQ(world.machine.take(), (Actions{"release 1", "sleep on"}));
}

TEST_F(ProcessScanTest, AnAgentAtItsPromptIsNotHeldOnceItsHooksWereHeard) {
  run("claude --resume");
  world.run(2);
  EXPECT_TRUE(isHeld()) << "the command line cannot tell";
  report(AgentState::idle);
  EXPECT_TRUE(isHeld()) << "one that was only ever heard as idle may have no other hooks";
  report(AgentState::working);
  EXPECT_TRUE(isHeld());
  report(AgentState::idle);
  world.run(2);
  EXPECT_FALSE(isHeld());
  world.run(3600);
  EXPECT_FALSE(isHeld());
}

TEST_F(ProcessScanTest, AToolThatIsSilentForHoursKeepsItsHoldForSix) {
  run("claude");
  world.machine.processesBegan = world.time.now() - 60;
  report(AgentState::working);
  world.machine.childBegan = world.time.now();
  for (double minutes = 0; minutes < 359; ++minutes) {
    ASSERT_TRUE(isHeld()) << minutes;
    world.run(60);
  }
  world.run(120);
  EXPECT_FALSE(isHeld());

  report(AgentState::working);
  world.run(899);
  EXPECT_TRUE(isHeld());
  world.run(5);
  EXPECT_FALSE(isHeld()) << "no tool: the session is stale";
}

TEST_F(ProcessScanTest, AfterTheStopNoScanHoldsAnythingAgain) {
  run("aider");
  world.run(2);
  world.machine.take();
  world.host().stop();
  world.run(60);
  EXPECT_EQ(world.machine.take(), (Actions{"release 1", "sleep on"}));
}

}  // namespace
}  // namespace vigilo
