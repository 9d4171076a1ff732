#include "helper/RequestTurns.h"

#include <algorithm>

namespace vigilo {

bool RequestTurns::add(ReadyConnection connection) {
  if (count_ >= mostInAll) return false;
  const auto line = std::find_if(lines_.begin(), lines_.end(), [&](const Line& candidate) {
    return candidate.front().user == connection.user;
  });
  if (line == lines_.end()) {
    lines_.emplace_back().push_back(std::move(connection));
  } else if (line->size() < mostOfAUser) {
    line->push_back(std::move(connection));
  } else {
    return false;
  }
  ++count_;
  return true;
}

std::optional<ReadyConnection> RequestTurns::next() {
  if (lines_.empty()) return std::nullopt;
  Line& line = lines_.front();
  ReadyConnection connection = std::move(line.front());
  line.pop_front();
  --count_;
  if (line.empty()) {
    lines_.pop_front();
  } else {
    lines_.splice(lines_.end(), lines_, lines_.begin());
  }
  return connection;
}

}  // namespace vigilo
