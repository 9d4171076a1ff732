#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

#include "usage/EncodedList.h"

namespace vigilo {

// The de-duplication keys of all events, each held once, as its JSON text. Not thread-safe.
class SeenKeys {
 public:
  bool contains(const std::string& key) const;
  // False when the key was there already.
  bool insert(const std::string& key);

  const EncodedList& encoded() const { return texts_; }

 private:
  EncodedList texts_;
  std::unordered_set<std::string_view> keys_;  // into texts_
};

}  // namespace vigilo
