#include "support/AsioQueue.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>
#include <vector>

#include "support/UniqueFd.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;
using Moment = std::chrono::steady_clock::time_point;

Moment now() {
  return std::chrono::steady_clock::now();
}

// Keeps a queue's thread from its other work until that time, as a blocking call does.
void busyUntil(Moment end) {
  while (now() < end) std::this_thread::yield();
}

struct Pipe {
  Pipe() {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("pipe");
    read.reset(fds[0]);
    write.reset(fds[1]);
  }
  UniqueFd read, write;
};

class AsioQueueTest : public testing::Test {
 protected:
  // Every task that was added before has run once this returns.
  void settle() {
    queue->sync([] {});
  }
  std::unique_ptr<AsioQueue> queue = AsioQueue::withThread("com.vigilo.test");
};

TEST_F(AsioQueueTest, TasksOfEachThreadRunOneAtATimeInTheirOrder) {
  constexpr int threads = 4, tasks = 2000;
  int inside = 0;  // touched on the queue only: the thread sanitizer watches
  std::vector<std::vector<int>> seen(threads);
  std::vector<std::thread> adders;
  for (int t = 0; t < threads; ++t) {
    adders.emplace_back([&, t] {
      for (int i = 0; i < tasks; ++i) {
        queue->async([&, t, i] {
          EXPECT_EQ(inside++, 0);
          EXPECT_TRUE(queue->isCurrent());
          seen[static_cast<std::size_t>(t)].push_back(i);
          --inside;
        });
      }
    });
  }
  for (auto& adder : adders) adder.join();
  settle();
  for (const auto& order : seen) {
    EXPECT_EQ(order.size(), static_cast<std::size_t>(tasks));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
  EXPECT_FALSE(queue->isCurrent());
}

// A handler that takes 8 of every 20 ms must not push the following calls back.
TEST_F(AsioQueueTest, ATimerKeepsItsRhythmHoweverLongItsTaskTakes) {
  constexpr auto interval = 20ms;
  constexpr int calls = 12;
  std::vector<Duration> lateness;
  std::promise<void> done;
  const Moment start = now();
  const CancelToken token = queue->timer(interval, interval, [&] {
    if (lateness.size() == calls) return;
    const Moment at = now();
    EXPECT_GE(at, start + interval * static_cast<int>(lateness.size() + 1)) << "too early";
    lateness.push_back((at - start) % interval);
    busyUntil(at + 8ms);
    if (lateness.size() == calls) done.set_value();
  });
  done.get_future().wait();
  queue->sync([&] {
    std::nth_element(lateness.begin(), lateness.begin() + calls / 2, lateness.end());
    EXPECT_LT(lateness[calls / 2], 6ms) << "the calls drift";
  });
}

TEST_F(AsioQueueTest, ATimerDoesNotReplayWhatAStallMadeItMiss) {
  constexpr auto interval = 5ms;
  std::vector<std::int64_t> periods;
  std::promise<void> done;
  const Moment start = now();
  const CancelToken token = queue->timer(interval, interval, [&] {
    if (periods.size() == 5) return;
    periods.push_back((now() - start) / interval);
    if (periods.size() == 1) busyUntil(start + 50ms);
    if (periods.size() == 5) done.set_value();
  });
  done.get_future().wait();
  queue->sync([&] {
    EXPECT_EQ(std::adjacent_find(periods.begin(), periods.end()), periods.end()) << "two calls in one period";
    EXPECT_GE(periods[1], 10);
  });
}

TEST_F(AsioQueueTest, CancellingOnTheQueueMeansNoFurtherCall) {
  int calls = 0;
  CancelToken own, other, source;
  const Pipe pipe;
  ASSERT_EQ(::write(pipe.write.get(), "x", 1), 1);
  queue->sync([&] {
    own = queue->timer(0ms, 1ms, [&] {
      ++calls;
      own.reset();
    });
    // Due already when it is cancelled below, on the queue.
    other = queue->timer(0ms, 1ms, [&] { ADD_FAILURE() << "a cancelled timer"; });
    source = queue->readSource(pipe.read.get(), [&] { ADD_FAILURE() << "a cancelled source"; });
    busyUntil(now() + 5ms);
    other.reset();
    source.reset();
  });
  std::promise<void> later;
  queue->asyncAfter(20ms, [&] { later.set_value(); });
  later.get_future().wait();
  settle();
  EXPECT_EQ(calls, 1);
}

// The owner closes it next, and the number may be used again at once.
TEST_F(AsioQueueTest, AReadSourceNeverClosesItsDescriptorAndLetsGoOfIt) {
  for (const bool onTheQueue : {true, false}) {
    Pipe first;
    CancelToken source =
        queue->readSource(first.read.get(), [] { ADD_FAILURE() << "the descriptor was let go"; });
    settle();
    if (onTheQueue) {
      queue->sync([&] { source.reset(); });
    } else {
      source.reset();
    }
    EXPECT_GE(::fcntl(first.read.get(), F_GETFD), 0);
    const int number = first.read.get();
    first.read.reset();
    Pipe second;
    ASSERT_EQ(second.read.get(), number);
    std::promise<void> readable;
    CancelToken again = queue->readSource(number, [&] {
      again.reset();
      readable.set_value();
    });
    settle();
    ASSERT_EQ(::write(second.write.get(), "x", 1), 1);
    readable.get_future().wait();
    settle();
  }
}

TEST_F(AsioQueueTest, WhatWaitsIsDroppedWithTheQueueAndTokensMayOutliveIt) {
  const auto witness = std::make_shared<int>();
  const Pipe pipe;
  CancelToken timer = queue->timer(1h, 1h, [witness] {});
  CancelToken source = queue->readSource(pipe.read.get(), [witness] {});
  queue->asyncAfter(1h, [witness] { ADD_FAILURE(); });
  settle();
  queue.reset();
  timer.reset();
  source.reset();
  EXPECT_EQ(witness.use_count(), 1) << "tasks that nobody will run are still held";
  EXPECT_GE(::fcntl(pipe.read.get(), F_GETFD), 0);
}

// Its number may be another descriptor's by then.
TEST(AsioMainQueue, ASourceThatWasCancelledBeforeTheQueueRunsIsNeverWatched) {
  const auto main = AsioQueue::mainQueue();
  const Pipe pipe;
  ASSERT_EQ(::write(pipe.write.get(), "x", 1), 1);
  CancelToken source = main->readSource(pipe.read.get(), [] { ADD_FAILURE() << "a cancelled source"; });
  source.reset();
  main->asyncAfter(20ms, [&main] { main->stop(); });
  main->run();
}

TEST_F(AsioQueueTest, SyncOnAnEndedQueueRunsInPlace) {
  queue->stopAndWait();
  bool ran = false;
  queue->sync([&] { ran = true; });
  EXPECT_TRUE(ran);
}

// What a task keeps alive may keep something of the queue in turn.
TEST_F(AsioQueueTest, WhatWaitsIsDroppedAtTheEndWithAllThatItKeeps) {
  struct Owner {
    CancelToken timer;
  };
  auto owner = std::make_shared<Owner>();
  const std::weak_ptr<Owner> lives = owner;
  std::promise<void> begun;
  queue->async([&begun] {
    begun.set_value();
    busyUntil(now() + 50ms);
  });
  begun.get_future().wait();
  owner->timer = queue->timer(1h, 1h, [] {});
  queue->asyncAfter(1h, [owner] {});
  queue->async([owner = std::move(owner)] { FAIL() << "it came after the end"; });
  queue->stop();
  queue->stopAndWait();
  EXPECT_TRUE(lives.expired());
}

TEST_F(AsioQueueTest, ATaskThatHangsIsWaitedForNoLongerThanAsked) {
  std::promise<void> begun, end;
  queue->async([&] {
    begun.set_value();
    end.get_future().wait();
  });
  begun.get_future().wait();
  EXPECT_FALSE(queue->stopAndWait(10ms));
  end.set_value();
  EXPECT_TRUE(queue->stopAndWait(60s));
}

TEST(AsioQueueDeathTest, SyncOntoItsOwnThreadAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        const auto queue = AsioQueue::withThread("com.vigilo.test");
        queue->sync([&] { queue->sync([] {}); });
      },
      "sync onto a queue's own thread: com.vigilo.test");
}

}  // namespace
}  // namespace vigilo
