#pragma once

#include <cstddef>
#include <string_view>

namespace vigilo::relay {

// Text of bounded length without allocation. What does not fit is cut and remembered as cut.
template <std::size_t capacity>
class FixedText {
 public:
  void clear() {
    size_ = 0;
    isCut_ = false;
  }
  void append(char byte) {
    if (size_ < capacity) {
      bytes_[size_++] = byte;
    } else {
      isCut_ = true;
    }
  }
  void append(std::string_view text) {
    for (const char byte : text) append(byte);
  }
  std::string_view view() const { return {bytes_, size_}; }
  bool isCut() const { return isCut_; }

 private:
  std::size_t size_ = 0;
  bool isCut_ = false;
  char bytes_[capacity];  // left as it is until written: no page of it is touched before
};

}  // namespace vigilo::relay
