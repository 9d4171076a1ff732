#include "platform/linux/SysfsFile.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "support/AtomicFile.h"

namespace vigilo::sysfs {

std::optional<std::string> readText(const std::string& path) {
  constexpr const char* blanks = " \t\n\r";
  const auto text = readFile(path, 4096);
  if (!text) return std::nullopt;
  const auto begin = text->find_first_not_of(blanks);
  if (begin == std::string::npos) return std::string();
  return text->substr(begin, text->find_last_not_of(blanks) - begin + 1);
}

std::optional<std::int64_t> readInteger(const std::string& path, std::int64_t most) {
  const auto text = readText(path);
  if (!text) return std::nullopt;
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size()) return std::nullopt;
  if (value > most || value < -most) return std::nullopt;
  return value;
}

std::vector<std::string> folders(const std::string& path, const std::string& prefix) {
  std::vector<std::string> found;
  std::error_code error;
  // A folder that changes meanwhile ends the list early; the next reading has the rest.
  for (std::filesystem::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
    if (at->path().filename().string().starts_with(prefix)) found.push_back(at->path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace vigilo::sysfs
