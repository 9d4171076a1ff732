#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/UserDefaults.h"
#include "support/Result.h"
#include "support/TomlError.h"

namespace vigilo {

using DefaultsValues = std::map<std::string, DefaultsValue>;

// The text of a settings file and what it says. A change edits the text in place, so that the user's
// comments, order, formatting and unknown keys stay as they are. A plain value, thread-safe.
class TomlDocument {
 public:
  TomlDocument() = default;  // empty
  static Result<TomlDocument, TomlError> parse(std::string text);

  const std::string& text() const { return text_; }
  // The values at the top level that have a type of the settings; dates count where they have an offset.
  const DefaultsValues& values() const { return values_; }
  // The other keys at the top level: of tables, lists, and dates that nobody can place.
  const std::vector<std::string>& otherKeys() const { return otherKeys_; }

  // This document with the key set to a value, or without the key. A new key stands below the others at the
  // top level; with a removed key its line goes. The result has been read back: nothing else differs in it.
  Result<TomlDocument, TomlError> with(const std::string& key,
                                       const std::optional<DefaultsValue>& value) const;

 private:
  std::string text_;
  DefaultsValues values_;
  std::vector<std::string> otherKeys_;
};

}  // namespace vigilo
