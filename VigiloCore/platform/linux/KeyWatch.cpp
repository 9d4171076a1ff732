#include "platform/linux/KeyWatch.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace vigilo {

struct KeyWatch::Token final : Cancellable {
  explicit Token(std::shared_ptr<KeyWatch> begun) : watch(std::move(begun)) {}
  ~Token() override {
    Queue& queue = watch->queue_;
    queue.async([ended = std::move(watch)] { ended->end(); });
  }
  std::shared_ptr<KeyWatch> watch;
};

CancelToken KeyWatch::begin(Queue& queue, KeySourceFactory makeSource, KeyMonitor::Callbacks callbacks) {
  auto watch = std::make_shared<KeyWatch>(queue, std::move(makeSource), std::move(callbacks));
  queue.async([watch] { watch->open(); });
  return std::make_unique<Token>(std::move(watch));
}

void KeyWatch::open() {
  retry_.reset();
  reader_.reset();
  source_.reset();  // what it holds is given back before the new one asks for it
  source_ = makeSource_();
  if (source_->descriptor() >= 0) {
    reader_ = queue_.readSource(source_->descriptor(), [this] { process(); });
  }
  process();
}

void KeyWatch::process() {
  const int presses = source_->process();
  settle();
  for (int i = 0; i < presses; ++i) callbacks_.pressed();
}

// Acts on what the source says of itself.
void KeyWatch::settle() {
  const KeyMonitorState state = source_->state();
  if (state.isRegistered) pause_ = firstPause;
  if (!hasTold_ || state != told_) {
    hasTold_ = true;
    told_ = state;
    callbacks_.state(state);
  }
  // A lost connection would be readable for ever.
  if (source_->descriptor() < 0) reader_.reset();
  if (source_->next() == KeySource::Next::retryNow) {
    pause_ = firstPause;
    replaceAfter(shortPause);
  } else if (source_->next() == KeySource::Next::retryLater && retry_ == nullptr) {
    replaceAfter(std::exchange(pause_, std::min<Duration>(pause_ * 2, longestPause)));
  }
}

void KeyWatch::replaceAfter(Duration pause) {
  retry_ = queue_.timer(pause, Duration::zero(), [this] { open(); });
}

void KeyWatch::end() {
  retry_.reset();
  reader_.reset();
  source_.reset();
}

}  // namespace vigilo
