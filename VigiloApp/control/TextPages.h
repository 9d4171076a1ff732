#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "support/Queue.h"
#include "support/RecordFields.h"

namespace vigilo {

// A piece of a report's JSON text, as it travels in a control response.
struct TextPage {
  std::string id;              // names the report to whoever asks for the rest
  std::string text;            // whole characters
  std::int64_t remaining = 0;  // bytes behind this piece; 0 ends the report

  static constexpr auto fields() {
    using P = TextPage;
    return std::tuple{field("id", &P::id), field("text", &P::text), field("remaining", &P::remaining)};
  }
};

// Reports that are being fetched: diagnostics, exports. With many sessions a report is larger than a control
// message, and one that changed between its pieces would be no report: the host keeps the text until its
// reader has the last piece, or has not asked for ten seconds, or four others have come since. Lives on one
// queue.
class TextPages {
 public:
  // A page and its message's other fields fit the message, with every character escaped.
  static constexpr std::size_t pageSize = 24 * 1024;

  explicit TextPages(Queue& queue) : queue_(queue) {}

  // The first page of a new report.
  TextPage begin(std::string text);
  // Absent when the report is not kept, or not any more.
  std::optional<TextPage> page(const std::string& id, std::int64_t offset);

 private:
  struct Kept {
    std::string id;
    std::string text;
    CancelToken patience;
  };

  void forget(std::string id);

  Queue& queue_;
  std::deque<Kept> kept_;  // oldest first
  std::uint64_t last_ = 0;
};

}  // namespace vigilo
