#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vigilo {

// Encoded JSON values, one after another with commas between, as they stand in an array. It only grows, in
// blocks that never move: what it returns stays valid for its life, also after a move of the list. Not
// thread-safe.
class EncodedList {
 public:
  std::string_view append(std::string_view value);

  // The whole list as pieces to be written.
  void appendPieces(std::vector<std::string_view>& pieces) const;

 private:
  std::vector<std::string> blocks_;  // each filled up to the capacity it was made with
};

}  // namespace vigilo
