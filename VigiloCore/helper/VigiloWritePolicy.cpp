#include "helper/VigiloWritePolicy.h"

#include <filesystem>
#include <initializer_list>
#include <string_view>

#include "agents/AgentPlaces.h"
#include "support/Log.h"
#include "support/NormalPath.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "security"};

// Below the home folder, beside the agents' own places: shell start-up files, version control, keys.
constexpr std::string_view prohibitedAtHome[] = {"/.zshrc",   "/.bashrc",    "/.bash_profile",
                                                 "/.profile", "/.gitconfig", "/.ssh"};
constexpr std::string_view prohibitedAnywhere[] = {"/etc", "/usr", "/bin", "/sbin"};

// Empty for a relative path where the working folder is gone: nobody can say where that lies.
std::string standardized(const std::string& path) {
  // The system's calls stop at a zero byte: what lies behind one must not make the path look harmless.
  std::filesystem::path whole(path.c_str());
  std::error_code noWorkingFolder;
  if (whole.is_relative()) whole = std::filesystem::current_path(noWorkingFolder) / whole;
  return whole.is_relative() ? "" : normalPath(whole.string());
}

bool isAtOrBelow(std::string_view path, std::string_view place) {
  return path.starts_with(place) && (path.size() == place.size() || path[place.size()] == '/');
}

bool isProhibited(std::string_view path, const Directories& directories) {
  if (path.empty()) return true;
  for (const auto& place : AgentPlaces::of(directories).prohibited) {
    if (isAtOrBelow(path, place)) return true;
  }
  for (const auto place : prohibitedAtHome) {
    if (isAtOrBelow(path, directories.atHome(place))) return true;
  }
  for (const auto place : prohibitedAnywhere) {
    if (isAtOrBelow(path, place)) return true;
  }
  return false;
}

bool isOwned(std::string_view path, const Directories& directories) {
  for (const auto& place :
       {directories.vigilo(), directories.library + "/Logs/Vigilo", std::string("/tmp/vigilo"),
        std::string("/var/run/vigilo"), directories.temporary}) {
    if (path.starts_with(place)) return true;
  }
  return path.starts_with(directories.preferences) && path.find("com.vigilo") != std::string_view::npos;
}

bool isClearOfProhibited(const std::string& standardPath, const Directories& directories) {
  if (!isProhibited(standardPath, directories)) return true;
  logger.error("Blocked write attempt to prohibited path: %s", standardPath);
  return false;
}

}  // namespace

VigiloWriteSecurityError VigiloWriteSecurityError::notOwned(std::string path) {
  return writeDisallowed(
      std::move(path),
      "Path is outside Vigilo-owned directories. Third-party configuration modification is prohibited.");
}

std::string VigiloWriteSecurityError::localizedDescription() const {
  return "Vigilo write security violation: Cannot write to '" + path + "'. Reason: " + reason;
}

bool VigiloWritePolicy::mayWrite(const std::string& path, const Directories& directories) {
  const std::string standardPath = standardized(path);
  if (!isClearOfProhibited(standardPath, directories)) return false;
  if (isOwned(standardPath, directories)) return true;
  logger.error("Disallowed write to non-whitelisted path: %s", standardPath);
  return false;
}

std::optional<VigiloWriteSecurityError> VigiloWritePolicy::assertCanWrite(const std::string& path,
                                                                          const Directories& directories) {
  if (mayWrite(path, directories)) return std::nullopt;
  return VigiloWriteSecurityError::notOwned(path);
}

bool VigiloWritePolicy::mayExport(const std::string& path, const Directories& directories) {
  return isClearOfProhibited(standardized(path), directories);
}

WriteGate VigiloWritePolicy::gate(Directories directories) {
  return
      [directories = std::move(directories)](const std::string& path) { return mayWrite(path, directories); };
}

WriteGate VigiloWritePolicy::exportGate(Directories directories) {
  return [directories = std::move(directories)](const std::string& path) {
    return mayExport(path, directories);
  };
}

}  // namespace vigilo
