#pragma once

#include <chrono>
#include <memory>

#include "platform/linux/KeySource.h"

namespace vigilo {

// Keeps one source of key presses at work: begins it, reads it, tells its state when that has changed, and
// replaces it when it cannot serve, after pauses that grow from `firstPause` to `longestPause`.
//
// Everything happens on the queue; `begin` returns the token that ends it, as KeyMonitor says.
class KeyWatch final : public std::enable_shared_from_this<KeyWatch> {
 public:
  // For a service that has just come: not at once, so that one that comes and goes costs little.
  static constexpr auto shortPause = std::chrono::milliseconds(100);
  static constexpr auto firstPause = std::chrono::seconds(1);
  // An attempt without a service costs one failed connect, so the feature is soon back.
  static constexpr auto longestPause = std::chrono::seconds(10);

  [[nodiscard]] static CancelToken begin(Queue& queue, KeySourceFactory makeSource,
                                         KeyMonitor::Callbacks callbacks);

  KeyWatch(Queue& queue, KeySourceFactory makeSource, KeyMonitor::Callbacks callbacks)
      : queue_(queue), makeSource_(std::move(makeSource)), callbacks_(std::move(callbacks)) {}

 private:
  struct Token;
  void open();
  void process();
  void settle();
  void replaceAfter(Duration pause);
  void end();

  Queue& queue_;
  const KeySourceFactory makeSource_;
  const KeyMonitor::Callbacks callbacks_;

  std::unique_ptr<KeySource> source_;
  CancelToken reader_;  // of the source's descriptor
  CancelToken retry_;
  Duration pause_ = firstPause;
  bool hasTold_ = false;
  KeyMonitorState told_;
};

}  // namespace vigilo
