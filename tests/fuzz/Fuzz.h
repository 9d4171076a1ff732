#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

// Each file here is a program of its own: libFuzzer calls it with bytes of its making, and what it calls must
// take them without a fault that a sanitizer sees. Some check a promise as well.
#define VIGILO_FUZZ(text)                                                              \
  static void fuzzOne(std::string_view text);                                          \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) { \
    fuzzOne({reinterpret_cast<const char*>(bytes), size});                             \
    return 0;                                                                          \
  }                                                                                    \
  static void fuzzOne(std::string_view text)

namespace vigilo::fuzz {

inline void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace vigilo::fuzz
