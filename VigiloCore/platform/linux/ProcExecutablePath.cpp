#include <filesystem>
#include <string_view>

#include "platform/ExecutablePath.h"

namespace vigilo {

std::optional<std::string> executablePath() {
  // The kernel appends this to the name of a file that is gone.
  constexpr std::string_view gone = " (deleted)";
  std::error_code error;
  std::string path = std::filesystem::read_symlink("/proc/self/exe", error).string();
  if (path.ends_with(gone)) path.resize(path.size() - gone.size());
  if (error || !std::filesystem::exists(path, error)) return std::nullopt;
  return path;
}

}  // namespace vigilo
