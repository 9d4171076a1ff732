#include "usage/EncodedList.h"

#include <algorithm>

namespace vigilo {

std::string_view EncodedList::append(std::string_view value) {
  constexpr std::size_t blockSize = 1 << 20;
  const bool isFirst = blocks_.empty();
  if (isFirst || blocks_.back().capacity() - blocks_.back().size() < value.size() + 1) {
    blocks_.emplace_back().reserve(std::max(blockSize, value.size() + 1));
  }
  std::string& block = blocks_.back();
  if (!isFirst) block += ',';
  block += value;
  return std::string_view(block).substr(block.size() - value.size());
}

void EncodedList::appendPieces(std::vector<std::string_view>& pieces) const {
  pieces.insert(pieces.end(), blocks_.begin(), blocks_.end());
}

}  // namespace vigilo
