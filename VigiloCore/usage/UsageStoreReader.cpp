#include "usage/UsageStoreReader.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "support/RecordCoding.h"

namespace vigilo {
namespace {

using coding::Failure;
using Event = Json::parse_event_t;

// No record nests deeper; what does is no store.
constexpr int deepestLevel = 16;

// Follows the parser through the file. The answer to each step says whether the parser keeps the value: it
// keeps the parts of one event or session until that is complete, and nothing else.
class Visitor {
 public:
  bool visit(int depth, Event event, Json& value) {
    if (depth > deepestLevel) throw Failure("nested too deeply");
    if (depth == 0) return visitDocument(event);
    if (depth == 1) return visitSection(event, value);
    if (section_ == Section::unknown) return false;
    return depth > 2 || visitElement(event, value);
  }

  UsageStoreContent finish() && {
    for (const Section required : {Section::events, Section::sessions, Section::seenKeys}) {
      if (!found_[index(required)])
        throw Failure(std::string(name(required)) + ": expected a value, found none");
    }
    return std::move(content_);
  }

 private:
  enum class Section { schemaVersion, events, sessions, seenKeys, unknown };

  static std::size_t index(Section section) { return static_cast<std::size_t>(section); }
  static std::string_view name(Section section) { return names[index(section)]; }

  bool visitDocument(Event event) {
    if (event != Event::object_start && event != Event::object_end) throw Failure("expected an object");
    return true;
  }

  bool visitSection(Event event, const Json& value) {
    if (event == Event::key) return enter(value.get_ref<const std::string&>());
    if (section_ == Section::unknown) return false;
    if (section_ == Section::schemaVersion) return visitVersion(event, value);
    const bool isObject = event == Event::object_start || event == Event::object_end;
    const bool isArray = event == Event::array_start || event == Event::array_end;
    if (!(section_ == Section::sessions ? isObject : isArray)) {
      throw Failure(std::string(name(section_)) + ": expected " +
                    (section_ == Section::sessions ? "an object" : "an array"));
    }
    return true;
  }

  bool enter(const std::string& key) {
    section_ = static_cast<Section>(std::ranges::find(names, key) - names.begin());
    if (section_ == Section::unknown) return false;
    if (found_[index(section_)]) throw Failure(key + ": given twice");
    return found_[index(section_)] = true;
  }

  // A version that is no integer makes the file one without a version.
  bool visitVersion(Event event, const Json& value) {
    if (event != Event::value) {
      section_ = Section::unknown;
      return false;
    }
    try {
      content_.schemaVersion = coding::decode<std::int64_t>(value, {});
    } catch (const Failure&) {
      content_.schemaVersion.reset();
    }
    return false;
  }

  bool visitElement(Event event, const Json& value) {
    try {
      return section_ == Section::seenKeys ? visitKey(event, value) : visitRecord(event, value);
    } catch (Failure& failure) {
      failure.under(std::string(name(section_)));
      throw;
    }
  }

  bool visitKey(Event event, const Json& value) {
    if (event != Event::value) throw Failure("expected a string");
    content_.ledger.restore(coding::decode<std::string>(value, {}));
    return false;
  }

  bool visitRecord(Event event, const Json& value) {
    if (event == Event::object_start) return true;
    if (event == Event::key) {
      sessionId_ = value.get<std::string>();
      return true;
    }
    if (event != Event::object_end) throw Failure("expected an object");
    const bool isTaken =
        section_ == Section::events
            ? content_.ledger.restore(coding::decode<UsageEvent>(value, {}))
            : content_.ledger.restore(sessionId_, coding::decode<SessionUsageRecord>(value, {}));
    if (!isTaken) throw Failure("a figure is out of range");
    return false;
  }

  static constexpr std::array<std::string_view, 4> names{"schemaVersion", "events", "sessions", "seenKeys"};

  UsageStoreContent content_;
  Section section_ = Section::unknown;
  std::array<bool, 4> found_{};
  std::string sessionId_;
};

}  // namespace

Result<UsageStoreContent, DecodeError> readUsageStore(std::istream& file) {
  Visitor visitor;
  const auto error = coding::parseLarge(
      file, [&](int depth, Event event, Json& value) { return visitor.visit(depth, event, value); });
  if (error) return *error;
  try {
    return std::move(visitor).finish();
  } catch (const Failure& failure) {
    return DecodeError{failure.description()};
  }
}

}  // namespace vigilo
