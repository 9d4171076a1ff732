#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>

#include "tests/simulation/World.h"

namespace vigilo {
namespace {

using test::World;

// How long, in seconds, a condition has held without a break.
class Since {
 public:
  void update(bool holds) { seconds_ = holds ? seconds_ + 1 : 0; }
  bool lasts(int seconds) const { return seconds_ >= seconds; }
  bool longerThan(const Since& other) const { return seconds_ > other.seconds_ + 9; }

 private:
  int seconds_ = 0;
};

// Agents with and without hooks, battery and charger, temperature, lid, pauses, a clock that is set, and both
// programs killed, hung and restarted at random, for days of virtual time. After each second the machine must
// be as the rules demand, and what the host said to the helper and to the user as its decisions demand.
class Life {
 public:
  explicit Life(unsigned seed) : random_(seed) {
    world_.scansProcesses = true;
    world_.startHelper();
    startHost();
  }

  void run(int seconds) {
    for (second_ = 0; second_ < seconds; ++second_) {
      const double moment = upTo(99) / 100.0;
      world_.run(moment);
      disturb();
      world_.run(1 - moment);
      observe();
      check();
      checkRequests();
      EXPECT_EQ(notices(), std::exchange(expectedNotices_, {})) << "second " << second_;
      if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(secondsHeld_, seconds / 20) << "it must not be passed asleep";
    EXPECT_GT(secondsReleased_, seconds / 20) << "nor awake";
  }

 private:
  bool oneIn(int chances) { return random_() % static_cast<unsigned>(chances) == 0; }
  int upTo(int most) { return static_cast<int>(random_() % static_cast<unsigned>(most + 1)); }

  void disturb() {
    // The clock first: what happens next may be the first that comes after it was set.
    if (oneIn(9000)) setClockBack(upTo(oneIn(2) ? 90 : 7200));
    if (oneIn(20000)) moveClockOn(upTo(7200));
    if (world_.hostRuns() && oneIn(busy_ ? 40 : 400)) sendEvent();
    if (oneIn(3600)) busy_ = !busy_;
    if (oneIn(600)) world_.machine.setBattery(onAC_ = oneIn(2), percent_ = upTo(100));
    if (oneIn(2000)) world_.machine.setThermal(thermal_ = upTo(3));
    if (oneIn(7200)) world_.defaults.set("pauseUntil", pauseUntil_ = world_.time.now() + upTo(600));
    if (oneIn(4000)) runOrEndProcess();
    if (oneIn(3000)) closeOrOpenLid();
    // Faults are frequent and end within minutes, about as long as a lease lasts.
    if (oneIn(world_.helperHangs ? 120 : 1500)) world_.helperHangs = !world_.helperHangs;
    if (oneIn(world_.helperRuns() ? 1500 : 100))
      world_.helperRuns() ? world_.killHelper() : world_.startHelper();
    if (oneIn(world_.hostRuns() ? 3000 : 100)) restartHost();
  }

  void sendEvent() {
    static constexpr AgentState states[] = {AgentState::working, AgentState::waiting, AgentState::idle,
                                            AgentState::completed, AgentState::error};
    const std::string session = "s" + std::to_string(upTo(3));
    const AgentState state = states[upTo(busy_ ? 3 : 4)];
    world_.event(AgentType::codex, state, session);
    if (isActivelyWorking(state))
      active_[session] = world_.time.now();
    else
      active_.erase(session);
  }

  void runOrEndProcess() {
    world_.machine.processes.clear();
    if (oneIn(4)) world_.machine.processes = {{4242, "aider --model sonnet"}};
  }

  // A lid that nobody holds up puts the machine to sleep: only the clock goes on.
  void closeOrOpenLid() {
    world_.machine.isLidClosed = !world_.machine.isLidClosed;
    if (!world_.machine.isLidClosed || world_.machine.sleepDisabled) return;
    moveClockOn(upTo(3600));
    world_.machine.isLidClosed = false;
  }

  // The machine was asleep, or the clock was set.
  void moveClockOn(int seconds) {
    world_.time.setWallClock(world_.time.now() + seconds);
    woke_ = second_;
  }

  void setClockBack(int seconds) {
    world_.time.setWallClock(world_.time.now() - seconds);
    for (auto& [session, heard] : active_) heard = heard - seconds;
    leasesLastUntil_ = second_ + 70 + seconds;
  }

  void restartHost() {
    if (world_.hostRuns()) {
      world_.killHost();
      active_.clear();
    } else {
      startHost();
    }
  }

  void startHost() {
    decision_ = WakeDecision::Release{"Initializing"};
    askedToRelease_ = holdIsDecided_ = false;
    world_.scanLag = upTo(99) / 100.0;
    world_.startHost();
    world_.host().onEvaluated = [this] { decided(world_.host().currentDecision.get()); };
    decided(world_.host().currentDecision.get());
  }

  // Keeps account of what the user is to be told, and when the helper may be asked for a hold again.
  void decided(const WakeDecision& now) {
    counts_ = counts_ || countsAsActive();
    const bool was = decision_.isHolding();
    const bool agentsEnd = was && decision_.hold()->activeAgentCount > 0 && now.release() != nullptr;
    require(agentsEnd, second_ - woke_ <= 1, "the last agent's end is debounced");
    const bool begins = now.isHolding() && decision_.release() != nullptr;
    require(begins, now.hold() != nullptr && now.hold()->activeAgentCount > 0, "only an agent begins a hold");
    if (!was && now.isHolding()) {
      world_.requests.emplace_back("hold");
      const int agents = std::max(now.hold()->activeAgentCount, 1);
      expectedNotices_.push_back("vigilo.started silent: " + std::to_string(agents) +
                                 " coding agent session" + (agents == 1 ? "" : "s") + " working.");
    } else if (was && now.release() != nullptr) {
      expectedNotices_.emplace_back("vigilo.finished silent: Normal sleep behavior has been restored.");
    } else if (was && now.isBlocked(SafetyBlock::thermalCritical)) {
      expectedNotices_.emplace_back(
          "vigilo.thermal urgent silent: Vigilo released sleep protection so macOS can cool down normally.");
    } else if (was && now.isBlocked(SafetyBlock::batteryBelowFloor)) {
      expectedNotices_.push_back("vigilo.battery urgent silent: Vigilo released sleep protection at " +
                                 std::to_string(percent_) + "%.");
    }
    if (was && !now.isHolding()) world_.requests.emplace_back("end");
    decision_ = now;
  }

  test::Actions notices() {
    auto lines = world_.desktop.take();
    std::erase(lines, "Hero");
    return lines;
  }

  // After a release nothing is asked for until the next hold is decided.
  void checkRequests() {
    for (const std::string& request : std::exchange(world_.requests, {})) {
      if (request == "hold" || request == "end") holdIsDecided_ = request == "hold";
      // A release that had to wait for a helper that hung may come when the next hold is decided already.
      if (request == "hold" || request == "release") askedToRelease_ = !holdIsDecided_;
      require(askedToRelease_, request != "acquire" && request != "renew", "asked for after the release");
    }
  }

  bool countsAsActive() const {
    const auto& sessions = world_.host().activeSessionsList.get();
    return std::any_of(sessions.begin(), sessions.end(), [](const auto& s) { return s.isWorking(); });
  }

  void observe() {
    const Date now = world_.time.now();
    std::erase_if(active_, [now](const auto& entry) { return now - entry.second > 900; });
    const bool safe = now > pauseUntil_ && thermal_ < 3;
    const bool charged = onAC_ || percent_ >= 18;
    const bool runs = world_.hostRuns();
    allowed_.update(runs && safe && charged);
    forbidden_.update(runs && (thermal_ == 3 || (!onAC_ && percent_ <= 15) || now < pauseUntil_));
    working_.update(!active_.empty());
    counted_.update(runs && countsAsActive());
    uncounted_.update(runs && !std::exchange(counts_, false));
    hostRuns_.update(runs);
    hostGone_.update(!runs);
    notHolding_.update(!runs || !decision_.isHolding());
    helperServes_.update(world_.helperRuns() && !world_.helperHangs);
    helperRuns_.update(world_.helperRuns());
    world_.machine.holdsIdle() ? ++secondsHeld_ : ++secondsReleased_;
  }

  void check() const {
    const bool idle = world_.machine.holdsIdle();
    const bool deep = world_.machine.sleepDisabled;
    const bool awake = second_ - woke_ > 12;
    require(allowed_.lasts(3) && (working_.lasts(3) || counted_.lasts(3)), idle,
            "an agent works and nothing forbids the hold");
    require(allowed_.lasts(9) && counted_.lasts(9) && helperServes_.lasts(9) && awake, deep,
            "an agent works and the helper serves");
    require(forbidden_.lasts(3), !idle, "held against a safety block");
    require(hostGone_.lasts(1), !idle, "the host is dead");
    // A clock that is set back is noticed a second late.
    require(hostRuns_.lasts(1) && uncounted_.lasts(32), !decision_.isHolding(), "nobody has worked for 30 s");
    require(notHolding_.lasts(3), !idle, "no hold is decided");
    const bool answered = helperServes_.longerThan(notHolding_) && hostRuns_.longerThan(notHolding_);
    require(notHolding_.lasts(9) && answered, !deep, "no hold is decided, and the helper took it back");
    // What a helper did not take back for want of an answer ends with the lease, one watchdog period later.
    const bool leaseIsOver = notHolding_.lasts(67) && helperRuns_.lasts(67) && second_ > leasesLastUntil_;
    require(leaseIsOver, !deep, "the lease has lapsed");
  }

  void require(bool when, bool holds, const char* rule) const {
    EXPECT_TRUE(!when || holds) << rule << ", second " << second_;
  }

  World world_;
  std::mt19937 random_;
  int second_ = 0;
  bool busy_ = true;
  bool onAC_ = true;
  int percent_ = 80;
  int thermal_ = 0;
  Date pauseUntil_;
  int woke_ = -100;          // the second of the last wake-up
  int leasesLastUntil_ = 0;  // on the helper's clock, which was set back
  bool holdIsDecided_ = false;
  bool askedToRelease_ = false;
  WakeDecision decision_;
  bool counts_ = false;  // whether a session counted as active at any moment of the second
  test::Actions expectedNotices_;
  std::map<std::string, Date> active_;  // when each active session last reported
  Since allowed_, forbidden_, working_, counted_, uncounted_, hostRuns_, hostGone_, notHolding_,
      helperServes_, helperRuns_;
  int secondsHeld_ = 0;
  int secondsReleased_ = 0;
};

// VIGILO_SEED runs one seed for a week of virtual time; without it four seeds run most of a day each.
TEST(Life, FollowsTheRulesWhateverHappens) {
  if (const char* seed = std::getenv("VIGILO_SEED")) {
    Life(static_cast<unsigned>(std::atoi(seed))).run(7 * 86400);
    return;
  }
  for (const unsigned seed : {1u, 2u, 3u, 4u}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Life(seed).run(65000);
  }
}

}  // namespace
}  // namespace vigilo
