#include "agents/AgentStateCoordinator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

#include "tests/support/MemorySink.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;

struct RecordingDelegate final : AgentStateCoordinatorDelegate {
  void coordinatorDidUpdateSessions(SessionSnapshot sessions, std::optional<Date> stoppedAt) override {
    ++calls;
    size = sessions->size();
    debounceStart = stoppedAt;
  }
  int calls = 0;
  std::size_t size = 0;
  std::optional<Date> debounceStart;
};

class AgentStateCoordinatorTest : public testing::Test {
 protected:
  AgentStateCoordinatorTest() { coordinator.setDelegate(delegate); }

  void hook(AgentState state, const std::string& id = "s", std::optional<std::int32_t> pid = {},
            AgentType agent = AgentType::claude) {
    coordinator.didReceiveHookEvent(HookEvent::of(agent, state, time.now(), id, pid));
  }
  void scan(std::vector<std::pair<std::int32_t, bool>> processes) {
    std::vector<ProcessMatch> matches;
    for (const auto& [pid, isWorking] : processes) {
      matches.push_back({AgentType::claude, pid, "Claude Code", true, isWorking, "claude"});
    }
    coordinator.syncProcessSessions(matches);
  }
  AgentSession session(const std::string& id = "s") const { return coordinator.sessions()->at(id); }

  test::MemorySink log;
  test::VirtualTime time;
  const std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  AgentStateCoordinator coordinator{time.clock()};
};

TEST_F(AgentStateCoordinatorTest, AHookEventCreatesTheSessionAndLaterOnesUpdateIt) {
  const Date first = time.now();
  HookEvent event = HookEvent::of(AgentType::claude, AgentState::working, first, "s", 4242);
  event.cwd = "/a";
  coordinator.didReceiveHookEvent(event);
  AgentSession expected{"s",
                        AgentType::claude,
                        AgentState::working,
                        first,
                        first,
                        4242,
                        "/a",
                        "Terminal",
                        "State: Working via Lifecycle Hook",
                        {},
                        IntegrationType::lifecycleHook,
                        1.0};
  EXPECT_EQ(session(), expected);

  time.advance(5);
  hook(AgentState::waiting);  // carries neither pid nor cwd: what is known stays
  expected.state = AgentState::waiting;
  expected.lastEventAt = first + 5;
  expected.lastEventDescription = "State: Waiting via Lifecycle Hook";
  EXPECT_EQ(session(), expected);
  EXPECT_EQ(delegate->calls, 2);
  EXPECT_EQ(log.take(), (Lines{"info [agents] Updated session s: agent=claude state=working",
                               "info [agents] Updated session s: agent=claude state=waiting"}));
}

TEST_F(AgentStateCoordinatorTest, TheHostApplicationAndTheIntegrationFollowTheAgent) {
  const std::tuple<AgentType, const char*, IntegrationType> cases[] = {
      {AgentType::codex, "Terminal", IntegrationType::lifecycleHook},
      {AgentType::opencode, "OpenCode", IntegrationType::plugin},
      {AgentType::antigravity, "Antigravity", IntegrationType::process},
      {AgentType::cursor, "Cursor", IntegrationType::process},
      {AgentType::windsurf, "Windsurf", IntegrationType::process},
      {AgentType::aider, "Terminal", IntegrationType::process},
      {AgentType::custom, "Terminal", IntegrationType::process},
  };
  for (const auto& [agent, host, integration] : cases) {
    hook(AgentState::idle, host, {}, agent);
    EXPECT_EQ(session(host).hostAppName, host);
    EXPECT_EQ(session(host).integrationType, integration) << host;
    coordinator.clearAllSessions();
  }
}

TEST_F(AgentStateCoordinatorTest, TheDebounceStartsWhenTheLastActiveSessionStopsAndOnlyOnce) {
  hook(AgentState::idle, "never active");
  EXPECT_EQ(delegate->debounceStart, std::nullopt);
  hook(AgentState::working, "a");
  hook(AgentState::waiting, "b");
  hook(AgentState::idle, "a");
  EXPECT_EQ(coordinator.activeWorkingCount(), 1);
  EXPECT_EQ(delegate->debounceStart, std::nullopt);

  time.advance(10);
  log.take();
  hook(AgentState::completed, "b");
  const Date stopped = time.now();
  EXPECT_EQ(delegate->debounceStart, stopped);
  EXPECT_EQ(log.take(), (Lines{"info [agents] Updated session b: agent=claude state=completed",
                               "info [agents] All active agent sessions stopped. Debounce timer started at "
                               "2026-11-21 12:00:10 +0000"}));
  time.advance(10);
  hook(AgentState::idle, "b");
  EXPECT_EQ(coordinator.lastActiveAgentStoppedAt(), stopped);
  hook(AgentState::working, "b");
  EXPECT_EQ(coordinator.lastActiveAgentStoppedAt(), std::nullopt);
}

TEST_F(AgentStateCoordinatorTest, ASessionIsStaleOnlyBeyondTheLimitAndIsReportedOnce) {
  hook(AgentState::working);
  log.take();
  time.advance(900);
  coordinator.sweepStaleSessions(time.now());
  EXPECT_EQ(session().state, AgentState::working);
  time.advance(1.5);
  coordinator.sweepStaleSessions(time.now());
  coordinator.sweepStaleSessions(time.now());
  EXPECT_EQ(session().state, AgentState::stale);
  EXPECT_EQ(delegate->debounceStart, time.now());
  EXPECT_EQ(log.take(), (Lines{"error [agents] Session s is stale (901s old). Marking stale.",
                               "info [agents] All active agent sessions stopped. Debounce timer started at "
                               "2026-11-21 12:15:01 +0000"}));
  hook(AgentState::working);
  EXPECT_EQ(coordinator.activeWorkingCount(), 1);
}

TEST_F(AgentStateCoordinatorTest, APictureIsOfOneMomentAndAgesWithoutTellingAnybody) {
  hook(AgentState::working);
  time.advance(900);
  EXPECT_TRUE(coordinator.picture().sessions->at("s").isWorking());
  log.take();
  time.advance(0.5);
  const Date stopped = time.now();
  for (int look = 0; look < 2; ++look) {
    const SessionPicture picture = coordinator.picture();
    EXPECT_EQ(picture.sessions->at("s").state, AgentState::stale);
    EXPECT_EQ(picture.lastActiveAgentStoppedAt, stopped) << "for the first look only";
    EXPECT_EQ(picture.now, time.now());
    time.advance(5);
  }
  EXPECT_EQ(log.take().size(), 2u) << "of the session and of the debounce, once each";
  EXPECT_EQ(delegate->calls, 1) << "of the event";
}

TEST_F(AgentStateCoordinatorTest, AClockThatIsSetBackAgesWhatWasHeardBeforeAndNothingElse) {
  hook(AgentState::working, "before");
  time.advance(10);
  (void)coordinator.picture();
  time.setWallClock(time.now() - 7200);
  hook(AgentState::working, "after");
  time.advance(890.5);
  const auto sessions = coordinator.picture().sessions;
  EXPECT_EQ(sessions->at("before").state, AgentState::stale);
  EXPECT_EQ(sessions->at("after").state, AgentState::working);
}

TEST_F(AgentStateCoordinatorTest, AnAbsurdDateOfAnEventDoesNotStopTheSweep) {
  coordinator.didReceiveHookEvent(
      HookEvent::of(AgentType::claude, AgentState::working, Date::fromUnix(-1e300), "old"));
  coordinator.didReceiveHookEvent(
      HookEvent::of(AgentType::claude, AgentState::working, Date::fromUnix(1e300), "young"));
  log.take();
  coordinator.sweepStaleSessions(time.now());
  EXPECT_EQ(log.take(), Lines{"error [agents] Session old is stale (1000000000000000s old). Marking stale."});
  EXPECT_EQ(session("young").state, AgentState::working);
}

TEST_F(AgentStateCoordinatorTest, AScanAddsUpdatesAndRemovesProcessSessions) {
  const Date first = time.now();
  scan({{4242, true}, {7, false}});
  const AgentSession working{"proc-claude-4242",
                             AgentType::claude,
                             AgentState::working,
                             first,
                             first,
                             4242,
                             {},
                             "Terminal",
                             "CLI task running (PID 4242)",
                             {},
                             IntegrationType::process,
                             0.6};
  EXPECT_EQ(session("proc-claude-4242"), working);
  EXPECT_EQ(session("proc-claude-7").lastEventDescription, "Process detected (PID 7)");

  time.advance(3);
  scan({{4242, true}, {7, false}});
  EXPECT_EQ(session("proc-claude-4242").lastEventAt, first + 3);
  EXPECT_EQ(session("proc-claude-7").lastEventAt, first) << "an idle process must age";
  time.advance(3);
  scan({{4242, false}, {7, false}});
  EXPECT_EQ(session("proc-claude-4242").lastEventAt, first + 6);
  EXPECT_EQ(delegate->debounceStart, first + 6);

  hook(AgentState::idle, "hook", 4242);
  scan({});
  EXPECT_EQ(coordinator.sessions()->size(), 1u);
  EXPECT_EQ(session("hook").pid, 4242) << "a hook session outlives the scan";
  for (const double confidence : {0.8, 0.3}) {
    coordinator.registerProcessSession(AgentType::cursor, 9, true, confidence);
    EXPECT_EQ(session("proc-cursor-9").confidence, confidence) << "only a scan is always worth the same";
  }
}

TEST_F(AgentStateCoordinatorTest, ASnapshotNeverChangesAndATableWithoutChangesIsNotCopied) {
  hook(AgentState::working);
  scan({{7, false}});
  const auto before = coordinator.sessions();
  coordinator.sweepStaleSessions(time.now());
  scan({{7, false}});
  coordinator.removeSession("unknown");
  EXPECT_EQ(coordinator.sessions(), before) << "nothing changed: the same table";
  hook(AgentState::idle);
  EXPECT_EQ(before->at("s").state, AgentState::working);
  EXPECT_EQ(session().state, AgentState::idle);
  const auto* table = coordinator.sessions().get();
  hook(AgentState::working);
  EXPECT_EQ(coordinator.sessions().get(), table) << "nobody holds it: changed in place";
}

// A delegate may call back, since no lock is held.
TEST_F(AgentStateCoordinatorTest, TheDelegateMayReadTheCoordinator) {
  struct Reader final : AgentStateCoordinatorDelegate {
    explicit Reader(AgentStateCoordinator& of) : coordinator(of) {}
    void coordinatorDidUpdateSessions(SessionSnapshot sessions, std::optional<Date>) override {
      same = sessions == coordinator.sessions();
    }
    AgentStateCoordinator& coordinator;
    bool same = false;
  };
  const auto reader = std::make_shared<Reader>(coordinator);
  coordinator.setDelegate(reader);
  hook(AgentState::working);
  EXPECT_TRUE(reader->same);
}

// The counted number of active sessions and the debounce start against a model that looks at every session.
TEST_F(AgentStateCoordinatorTest, TheBookkeepingAgreesWithAFullCountAfterAnySequence) {
  std::mt19937 random(7);
  const auto upTo = [&](unsigned limit) { return static_cast<int>(random() % limit); };
  std::optional<Date> expected;
  SessionSnapshot held;
  const auto countActive = [&] {
    const auto table = coordinator.sessions();
    return static_cast<int>(
        std::count_if(table->begin(), table->end(), [](auto& s) { return s.second.isWorking(); }));
  };
  for (int step = 0; step < 20000; ++step) {
    time.advance(upTo(120));
    const int before = countActive();
    const int kind = upTo(20);
    if (kind < 10) {
      hook(RawValues<AgentState>::table[random() % 7].first, "s" + std::to_string(upTo(12)));
    } else if (kind < 14) {
      std::vector<std::pair<std::int32_t, bool>> processes;
      for (int pid = 0; pid < 6; ++pid) {
        if (upTo(2) == 0) processes.emplace_back(pid, upTo(2) == 0);
      }
      scan(processes);
    } else if (kind < 15) {
      coordinator.registerProcessSession(AgentType::claude, upTo(6), upTo(2) == 0, 0.5);
    } else if (kind < 17) {
      kind == 15 ? coordinator.sweepStaleSessions(time.now()) : static_cast<void>(coordinator.picture());
    } else if (kind < 19) {
      coordinator.removeSession("s" + std::to_string(upTo(12)));
    } else if (upTo(20) == 0) {
      coordinator.clearAllSessions();
    }
    if (upTo(3) == 0) held = coordinator.sessions();  // makes the next change copy
    const int after = countActive();
    ASSERT_EQ(coordinator.activeWorkingCount(), after) << "step " << step;
    if (kind < 17) {
      if (after > 0) expected.reset();
      if (after == 0 && before > 0) expected = time.now();
    }
    ASSERT_EQ(coordinator.lastActiveAgentStoppedAt(), expected) << "step " << step;
    ASSERT_EQ(delegate->size, coordinator.sessions()->size());
    const auto table = coordinator.sessions();
    for (const auto& [id, session] : *table) ASSERT_EQ(id, session.id);
  }
}

// For the thread sanitizer: snapshots are read while the table changes.
TEST_F(AgentStateCoordinatorTest, SnapshotsAreReadWhileOtherThreadsChangeTheTable) {
  coordinator.setDelegate({});  // the recording one is for one thread
  std::atomic<int> changing{2};
  std::thread hooks([&] {
    for (int i = 0; i < 5000; ++i) {
      hook(i % 2 == 0 ? AgentState::working : AgentState::idle, std::to_string(i % 8));
    }
    --changing;
  });
  std::thread scans([&] {
    for (int i = 0; i < 1000; ++i) scan({{i % 5, i % 2 == 0}});
    --changing;
  });
  while (changing > 0) {
    const auto table = coordinator.sessions();
    for (const auto& [id, session] : *table) {
      EXPECT_FALSE(session.lastEventDescription->empty()) << id;
    }
  }
  hooks.join();
  scans.join();
  EXPECT_EQ(coordinator.sessions()->size(), 9u);
}

}  // namespace
}  // namespace vigilo
