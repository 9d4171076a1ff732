#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace vigilo {

// A figure with its confidence (0 to 1) and the tag of its source, or the reason why it is not available. A
// plain value, compared structurally; thread-safe as far as T is. JSON (RecordCoder): one object whose "type"
// is "known", with "value", "confidence" and "source", or "unavailable", with "reason".
template <class T>
class BudgetMetric {
 public:
  static BudgetMetric known(T value, double confidence, std::string source) {
    return BudgetMetric(Known{std::move(value), confidence, std::move(source)});
  }
  static BudgetMetric unavailable(std::string reason) { return BudgetMetric(Unavailable{std::move(reason)}); }

  BudgetMetric() = default;  // unavailable, without a reason

  bool isAvailable() const { return figure() != nullptr; }
  std::optional<T> value() const { return figure() ? std::optional(figure()->value) : std::nullopt; }
  double confidence() const { return figure() ? figure()->confidence : 0; }
  std::optional<std::string> source() const {
    return figure() ? std::optional(figure()->source) : std::nullopt;
  }
  std::optional<std::string> unavailableReason() const {
    if (figure()) return std::nullopt;
    return std::get<Unavailable>(content_).reason;
  }

  bool operator==(const BudgetMetric&) const = default;

 private:
  struct Known {
    T value;
    double confidence;
    std::string source;
    bool operator==(const Known&) const = default;
  };
  struct Unavailable {
    std::string reason;
    bool operator==(const Unavailable&) const = default;
  };

  explicit BudgetMetric(Known content) : content_(std::move(content)) {}
  explicit BudgetMetric(Unavailable content) : content_(std::move(content)) {}
  const Known* figure() const { return std::get_if<Known>(&content_); }

  std::variant<Unavailable, Known> content_;
};

}  // namespace vigilo
