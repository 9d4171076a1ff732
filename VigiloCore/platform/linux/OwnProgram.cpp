#include "platform/OwnProgram.h"

#include <filesystem>

namespace vigilo {

std::string ownProgram() {
  constexpr std::string_view replaced = " (deleted)";
  std::error_code unknown;
  std::string path = std::filesystem::read_symlink("/proc/self/exe", unknown).string();
  if (path.ends_with(replaced)) path.resize(path.size() - replaced.size());
  return path;
}

}  // namespace vigilo
