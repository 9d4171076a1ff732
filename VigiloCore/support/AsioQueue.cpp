#include "support/AsioQueue.h"

#include <pthread.h>

#include <asio/dispatch.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <condition_variable>
#include <future>
#include <mutex>
#include <optional>
#include <thread>

#include "support/Log.h"

namespace vigilo {

namespace {

// Can drop what waits before its own end, as its destructor does: whoever owns a task may be kept by it.
struct LoopContext : asio::io_context {
  using asio::io_context::io_context;
  using asio::io_context::shutdown;
};

}  // namespace

struct AsioQueue::Loop {
  LoopContext context{1};
  asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
  std::optional<asio::signal_set> signals;
  std::thread thread;
  std::atomic<std::thread::id> runner{};
  std::atomic<bool> ended{false};  // its thread has been joined
  std::promise<void> leaving;      // kept when its thread runs nothing any more
  const std::shared_future<void> left = leaving.get_future().share();
};

namespace {

// Linux shows 15 characters of a thread's name: the last part of the label tells most.
std::string threadName(const std::string& label) {
  const auto dot = label.rfind('.');
  return label.substr(dot == std::string::npos ? 0 : dot + 1, 15);
}

// A repeating or single timer. Touched on the loop's thread only, but for `cancelled`.
struct TimerState : std::enable_shared_from_this<TimerState> {
  TimerState(asio::io_context& context, Duration repeat, Task handler)
      : timer(context), interval(repeat), task(std::move(handler)) {}

  void arm(std::chrono::steady_clock::time_point due) {
    timer.expires_at(due);
    timer.async_wait([self = shared_from_this()](const asio::error_code& error) {
      if (!error) self->fire();
    });
  }

  void fire() {
    if (cancelled) return;
    task();
    if (interval == Duration::zero() || cancelled) return;
    // Keeps the rhythm; after a stall it goes on from the next due time and does not replay the missed ones.
    auto next = timer.expiry() + interval;
    const auto now = std::chrono::steady_clock::now();
    if (next <= now) next += ((now - next) / interval + 1) * interval;
    arm(next);
  }

  asio::steady_timer timer;
  const Duration interval;
  const Task task;
  std::atomic<bool> cancelled{false};
};

struct SourceState : std::enable_shared_from_this<SourceState> {
  SourceState(asio::io_context& context, int fd, Task handler)
      : descriptor(context), watched(fd), task(std::move(handler)) {}

  void begin() {
    asio::error_code error;
    if (!cancelled) descriptor.assign(watched, error);
    if (error) fatal("cannot watch descriptor " + std::to_string(watched) + ": " + error.message());
    wait();
  }

  void wait() {
    if (cancelled) return;
    descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                          [self = shared_from_this()](const asio::error_code& error) {
                            if (error || self->cancelled) return;
                            self->task();
                            self->wait();
                          });
  }

  // The descriptor belongs to somebody else: it is given back, never closed here.
  void end() {
    if (descriptor.is_open()) (void)descriptor.release();
  }

  asio::posix::stream_descriptor descriptor;
  const int watched;
  const Task task;
  std::atomic<bool> cancelled{false};
};

}  // namespace

AsioQueue::AsioQueue(std::string label) : Queue(std::move(label)), loop_(std::make_shared<Loop>()) {}

std::unique_ptr<AsioQueue> AsioQueue::withThread(std::string label) {
  std::unique_ptr<AsioQueue> queue(new AsioQueue(std::move(label)));
  queue->loop_->thread = std::thread([loop = queue->loop_, name = threadName(queue->label())] {
#if defined(__APPLE__)
    pthread_setname_np(name.c_str());
#else
    pthread_setname_np(pthread_self(), name.c_str());
#endif
    loop->context.run();
    loop->leaving.set_value();
  });
  queue->loop_->runner = queue->loop_->thread.get_id();
  return queue;
}

std::unique_ptr<AsioQueue> AsioQueue::mainQueue() {
  return std::unique_ptr<AsioQueue>(new AsioQueue("main"));
}

AsioQueue::~AsioQueue() {
  stopAndWait();
}

void AsioQueue::async(Task task) {
  asio::post(loop_->context, std::move(task));
}

void AsioQueue::asyncAfter(Duration delay, Task task) {
  auto state = std::make_shared<TimerState>(loop_->context, Duration::zero(), std::move(task));
  state->arm(std::chrono::steady_clock::now() + delay);
}

CancelToken AsioQueue::timer(Duration first, Duration interval, Task task) {
  struct Token final : Cancellable {
    std::shared_ptr<Loop> loop;
    std::shared_ptr<TimerState> state;
    ~Token() override {
      state->cancelled = true;
      asio::dispatch(loop->context, [state = state] { state->timer.cancel(); });
    }
  };
  auto token = std::make_unique<Token>();
  token->loop = loop_;
  token->state = std::make_shared<TimerState>(loop_->context, interval, std::move(task));
  const auto due = std::chrono::steady_clock::now() + first;
  asio::dispatch(loop_->context, [state = token->state, due] {
    if (!state->cancelled) state->arm(due);
  });
  return token;
}

CancelToken AsioQueue::readSource(int fd, Task task) {
  // Off the queue the token waits until the loop has let go of the descriptor: its owner closes it next.
  struct Token final : Cancellable {
    AsioQueue* queue = nullptr;
    std::shared_ptr<Loop> loop;
    std::shared_ptr<SourceState> state;
    ~Token() override {
      state->cancelled = true;
      if (loop->context.stopped() || queue->isCurrent() || loop->runner.load() == std::thread::id()) {
        state->end();
      } else {
        queue->sync([this] { state->end(); });
      }
    }
  };
  auto token = std::make_unique<Token>();
  token->queue = this;
  token->loop = loop_;
  token->state = std::make_shared<SourceState>(loop_->context, fd, std::move(task));
  asio::dispatch(loop_->context, [state = token->state] {
    if (!state->cancelled) state->begin();
  });
  return token;
}

bool AsioQueue::isCurrent() const {
  return loop_->runner.load() == std::this_thread::get_id();
}

void AsioQueue::sync(const Task& task) {
  if (isCurrent()) fatal("sync onto a queue's own thread: " + label());
  if (loop_->ended) return task();
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
  async([&] {
    task();
    const std::lock_guard guard(mutex);
    finished = true;
    done.notify_one();
  });
  std::unique_lock guard(mutex);
  done.wait(guard, [&] { return finished; });
}

void AsioQueue::run() {
  loop_->runner = std::this_thread::get_id();
  loop_->context.run();
  loop_->runner = std::thread::id();
}

void AsioQueue::stop() {
  loop_->context.stop();
}

void AsioQueue::stopAndWait() {
  stop();
  if (isCurrent()) fatal("a queue was ended on its own thread: " + label());
  if (loop_->thread.joinable()) loop_->thread.join();
  loop_->ended = true;
  loop_->context.shutdown();
}

bool AsioQueue::stopAndWait(Duration patience) {
  stop();
  if (loop_->thread.joinable() && loop_->left.wait_for(patience) != std::future_status::ready) {
    return false;
  }
  stopAndWait();
  return true;
}

void AsioQueue::onSignal(std::initializer_list<int> signals, std::function<void(int)> handler) {
  loop_->signals.emplace(loop_->context);
  for (const int number : signals) loop_->signals->add(number);
  auto wait = std::make_shared<std::function<void()>>();
  *wait = [loop = loop_.get(), handler = std::move(handler), weak = std::weak_ptr(wait)] {
    loop->signals->async_wait([handler, again = weak.lock()](const asio::error_code& error, int number) {
      if (error) return;
      handler(number);
      (*again)();
    });
  };
  (*wait)();
}

}  // namespace vigilo
