#include "agents/HookEventReceiver.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <random>
#include <system_error>
#include <thread>

#include "support/AsioQueue.h"
#include "tests/support/MemorySink.h"
#include "tests/support/SocketClient.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using Lines = std::vector<std::string>;
using test::SocketClient;

const Date now = Date::fromUnix(1795262400);
constexpr std::string_view event = R"({"agent":"codex","state":"working","session_id":"s"})";
constexpr const char* ok = "{\"ok\":true}\n";

struct Recorder final : HookEventReceiverDelegate {
  void didReceiveHookEvent(const HookEvent& received) override {
    const std::lock_guard guard(mutex);
    events.push_back(received);
  }
  std::size_t count() {
    const std::lock_guard guard(mutex);
    return events.size();
  }
  std::mutex mutex;
  std::vector<HookEvent> events;
};

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

int permissions(const std::string& path) {
  struct stat found {};
  return ::stat(path.c_str(), &found) == 0 ? static_cast<int>(found.st_mode & 0777) : -1;
}

class HookEventReceiverTest : public testing::Test {
 protected:
  HookEventReceiverTest() { receiver.setDelegate(recorder); }

  std::string exchange(std::string_view bytes) {
    SocketClient client(path);
    client.send(bytes);
    return client.answer();
  }
  // Once this returns, the delegate has been told of every event that was acknowledged before.
  void settle() {
    queue->sync([] {});
  }

  test::MemorySink log;
  const test::TempFolder folder;
  const std::string path = folder.path("Vigilo/run/vigilo.sock");
  const std::unique_ptr<AsioQueue> queue = AsioQueue::withThread("com.vigilo.hookreceiver");
  const std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
  HookEventReceiver receiver{path, *queue, [] { return now; }};
};

TEST_F(HookEventReceiverTest, AnswersExactlyAndThenTellsTheDelegate) {
  receiver.start();
  log.take();
  EXPECT_EQ(exchange(event), ok);
  settle();
  EXPECT_EQ(recorder->events, std::vector{HookEvent::of(AgentType::codex, AgentState::working, now, "s")});
  EXPECT_EQ(exchange("not json"), "{\"ok\":false,\"error\":\"not valid JSON (byte 2 of 8)\"}\n");
  settle();
  EXPECT_EQ(recorder->count(), 1u);
  EXPECT_EQ(log.take(),
            (Lines{"debug [hooks] Received event: agent=codex state=working session=s",
                   "error [hooks] Failed to parse hook event (8 bytes): not valid JSON (byte 2 of 8)"}));
}

TEST_F(HookEventReceiverTest, AMisspeltWordIsToldOnceWithTheNearestRightOne) {
  receiver.start();
  log.take();
  for (int i = 0; i < 3; ++i) {
    exchange(R"({"agent":"Claude","state":"workng"})");
    exchange(R"({"agent":"cladue","state":"Working"})");
    exchange(R"({"agent":"butler","state":"idle"})");
  }
  settle();
  Lines told = log.take();
  std::erase_if(told, [](const std::string& line) { return line.starts_with("debug"); });
  EXPECT_EQ(
      told,
      (Lines{"error [hooks] An event of Claude Code says the state \"workng\", which is none: its session "
             "does not count as working. Did you mean \"working\"?",
             "error [hooks] An event says the agent \"cladue\", which counts as a custom one. Did you mean "
             "\"claude\"?",
             "info [hooks] Events of \"butler\" count as a custom agent's"}));
  EXPECT_EQ(recorder->count(), 9U) << "and counts as far as it can be read";
}

TEST_F(HookEventReceiverTest, AnEventFromTheFutureIsTakenAsOfNow) {
  const std::pair<double, Date> cases[] = {{60, now + 60}, {61, now}, {1e300, now}, {-1e9, now - 1e9}};
  for (const auto& [ahead, expected] : cases) {
    const auto json = encodeHookEvent(HookEvent::of(AgentType::claude, AgentState::idle, now + ahead));
    EXPECT_EQ(receiver.handle(*json).event->timestamp, expected) << ahead;
  }
}

TEST_F(HookEventReceiverTest, TheSocketIsTheOwnersAloneAndGoneAfterStop) {
  receiver.start();
  receiver.start();
  EXPECT_TRUE(receiver.isRunning());
  EXPECT_EQ(permissions(path), 0600);
  EXPECT_EQ(permissions(folder.path("Vigilo/run")), 0700);
  receiver.stop();
  receiver.stop();
  EXPECT_FALSE(receiver.isRunning());
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(log.take(), (Lines{"info [hooks] HookEventReceiver started on " + path,
                               "info [hooks] HookEventReceiver stopped"}));
  receiver.start();
  EXPECT_EQ(exchange(event), ok) << "it can be started again";
}

TEST_F(HookEventReceiverTest, AStaleFileDoesNotStopItAndAnotherOnesSocketOutlivesIt) {
  folder.write("Vigilo/run/vigilo.sock", "left behind");
  receiver.start();
  EXPECT_EQ(exchange(event), ok);
  std::filesystem::remove(path);
  folder.write("Vigilo/run/vigilo.sock", "somebody else's");
  receiver.stop();
  EXPECT_EQ(folder.read("Vigilo/run/vigilo.sock"), "somebody else's");
}

TEST_F(HookEventReceiverTest, AFailedStartSaysWhyAndLeavesNothingOpen) {
  folder.write("file", "");
  std::filesystem::create_directories(folder.path("taken.sock/below"));
  const std::string tooLong = folder.path(std::string(104 - folder.path("").size(), 'x'));
  const std::tuple<std::string, std::error_code, Lines> cases[] = {
      {folder.path("file/run/vigilo.sock"), {ENOTDIR, std::generic_category()}, {}},
      {tooLong, HookEventError::payloadTooLarge, {}},
      {folder.path("taken.sock"),
       {EADDRINUSE, std::generic_category()},
       {"error [hooks] Failed to bind UNIX domain socket at " + folder.path("taken.sock") + ": " +
        std::to_string(EADDRINUSE)}},
  };
  const std::size_t before = openDescriptors();
  for (const auto& [bad, code, lines] : cases) {
    HookEventReceiver failing(bad, *queue, Date::now);
    try {
      failing.start();
      ADD_FAILURE() << "started on " << bad;
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), code) << bad << ": " << error.what();
    }
    EXPECT_FALSE(failing.isRunning());
    EXPECT_EQ(log.take(), lines);
  }
  EXPECT_EQ(openDescriptors(), before);
  HookEventReceiver longest(tooLong.substr(0, 103), *queue, Date::now);
  EXPECT_NO_THROW(longest.start());
}

TEST_F(HookEventReceiverTest, HostileBytesGetAnErrorAndNeverReachTheDelegate) {
  receiver.start();
  const std::string whole = R"({"agent":"codex","state":"working","cwd":")";
  std::vector<std::string> corpus = {std::string(60000, '['),
                                     whole + std::string(70000 - whole.size() - 2, 'x') + "\"}",
                                     std::string(5, '\0')};
  std::mt19937 random(20261121);
  for (int i = 0; i < 300; ++i) {
    std::string bytes(1 + random() % 2000, ' ');
    for (char& byte : bytes) byte = static_cast<char>(random());
    corpus.push_back(bytes);
  }
  for (const auto& bytes : corpus) {
    const std::string answer = exchange(bytes);
    EXPECT_EQ(answer.rfind("{\"ok\":false,\"error\":\"", 0), 0u) << answer;
    EXPECT_EQ(answer.substr(answer.size() - 3), "\"}\n");
  }
  settle();
  EXPECT_EQ(recorder->count(), 0u);
  EXPECT_EQ(exchange(event), ok);
}

TEST_F(HookEventReceiverTest, AClientThatVanishesCostsNothing) {
  receiver.start();
  settle();
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 500; ++i) {
    SocketClient client(path);
    if (i % 2 == 0) client.send(event);  // and does not wait for the answer
  }
  EXPECT_EQ(exchange(event), ok);
  settle();
  EXPECT_EQ(recorder->count(), 251u);
  EXPECT_EQ(SocketClient(path).answer(), "") << "closed after a second of silence";
  settle();
  EXPECT_EQ(openDescriptors(), before);
}

// For the thread sanitizer, and for the lock that start and stop share with a delegate that asks.
TEST_F(HookEventReceiverTest, StartsAndStopsWhileClientsComeAndTheDelegateAsks) {
  struct Asking final : HookEventReceiverDelegate {
    explicit Asking(HookEventReceiver& of) : receiver(of) {}
    void didReceiveHookEvent(const HookEvent&) override {
      if (++count % 7 == 0) receiver.stop();
      (void)receiver.isRunning();
    }
    HookEventReceiver& receiver;
    int count = 0;
  };
  const auto asking = std::make_shared<Asking>(receiver);
  receiver.setDelegate(asking);
  std::atomic<bool> done{false};
  std::thread client([&] {
    while (!done) (void)sendToUnixSocket(path, event, 200);
  });
  for (int i = 0; i < 300; ++i) {
    receiver.start();
    std::this_thread::yield();
    if (i % 3 == 0) receiver.stop();
  }
  done = true;
  client.join();
  receiver.stop();
  settle();
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace vigilo
