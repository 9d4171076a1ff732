#pragma once

#include <functional>
#include <optional>
#include <string>

#include "helper/HelperProtocol.h"
#include "policy/WakeDecision.h"
#include "support/Date.h"

namespace vigilo {

// What `vigilo run` says on standard output: a few lines at the start, then a line for each change of the
// decision and for a deep hold that is not in force. Lives on the main queue.
class TerminalReport {
 public:
  // The lines of the start; nothing else is written before them.
  void introduce(const std::string& lines);
  // Called with each piece of news, in few words. May be empty.
  std::function<void(const std::string&)> onNews;
  // The host has evaluated, or knows more about the helper.
  void show(const WakeDecision& decision, const std::optional<DeepSleepStatus>& helper, Date now);

 private:
  void line(Date now, const std::string& text, const std::string& inFewWords);

  bool introduced_ = false;
  std::optional<WakeDecision> shown_;
  std::optional<std::string> problem_;
};

}  // namespace vigilo
