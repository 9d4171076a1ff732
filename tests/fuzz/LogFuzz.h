#pragma once

#include <memory>
#include <string>

#include "tests/fuzz/Fuzz.h"
#include "tests/support/TempFolder.h"
#include "usage/UsageSource.h"

namespace vigilo::fuzz {

// Reads a log that grows from the first half of the text to all of it.
template <class MakeSource>
void followLog(std::string_view text, const std::string& file, MakeSource makeSource) {
  static const test::TempFolder folder;
  const auto source = makeSource(folder.path());
  for (const std::size_t size : {text.size() / 2, text.size()}) {
    folder.write(file, std::string(text.substr(0, size)));
    source->readNew(Date{}, [](const UsageEvent& event) { require(event.totalTokens.value_or(0) >= 0); });
  }
  (void)source->latestReport();
}

}  // namespace vigilo::fuzz
