#include <filesystem>

#include "platform/ExecutablePath.h"

namespace vigilo {

std::optional<std::string> executablePath() {
  std::error_code error;
  const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  // The kernel appends " (deleted)" to the name of a file that is gone.
  if (error || !std::filesystem::exists(path, error)) return std::nullopt;
  return path.string();
}

}  // namespace vigilo
