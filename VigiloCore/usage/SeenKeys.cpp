#include "usage/SeenKeys.h"

#include "support/RecordCoding.h"

namespace vigilo {

bool SeenKeys::contains(const std::string& key) const {
  return keys_.contains(coding::print(key, {}));
}

bool SeenKeys::insert(const std::string& key) {
  const std::string text = coding::print(key, {});
  if (keys_.contains(text)) return false;
  keys_.insert(texts_.append(text));
  return true;
}

}  // namespace vigilo
