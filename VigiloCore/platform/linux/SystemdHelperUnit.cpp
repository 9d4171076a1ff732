#include "platform/linux/SystemdHelperUnit.h"

#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "platform/Directories.h"
#include "platform/ExecutablePath.h"
#include "support/AtomicFile.h"

namespace vigilo {
namespace {

namespace fs = std::filesystem;

constexpr const char* unitName = "vigilo-helper.service";

// The first word of the line that starts the service, without the marks that may stand before it.
std::optional<std::string> startedProgram(const std::string& unitFile) {
  constexpr std::string_view key = "ExecStart=";
  const auto text = readFile(unitFile, 64 * 1024);
  if (!text) return std::nullopt;
  std::istringstream lines(*text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(key)) continue;
    const std::string command =
        line.substr(std::min(line.find_first_not_of("-@:+!", key.size()), line.size()));
    if (command.starts_with('/')) return command.substr(0, command.find_first_of(" \t"));
  }
  return std::nullopt;
}

bool isEnabled(const std::string& root) {
  std::error_code error;
  for (fs::directory_iterator at(root + "/etc/systemd/system", error), end; !error && at != end;
       at.increment(error)) {
    std::error_code absent;
    if (at->path().extension() == ".wants" && fs::exists(at->path() / unitName, absent)) return true;
  }
  return false;
}

std::optional<std::string> programBeside(const std::string& ownProgram) {
  if (ownProgram.empty()) return std::nullopt;
  const fs::path folder = fs::path(ownProgram).parent_path();
  for (const auto& path : {folder.parent_path() / "libexec/vigilo/VigiloHelper", folder / "VigiloHelper"}) {
    if (::access(path.c_str(), X_OK) == 0) return path.string();
  }
  return std::nullopt;
}

}  // namespace

HelperInstallation findHelperUnit(const std::string& root, const std::string& ownProgram) {
  HelperInstallation found;
  std::error_code error;
  // In the order in which systemd takes them.
  for (const char* folder : {"/etc/systemd/system", "/run/systemd/system", "/usr/local/lib/systemd/system",
                             "/usr/lib/systemd/system", "/lib/systemd/system"}) {
    const std::string path = root + folder + "/" + unitName;
    if (!fs::exists(path, error)) continue;
    found.unitFile = path;
    found.isUnitEnabled = isEnabled(root);
    found.program = startedProgram(path);
    break;
  }
  if (!found.program) found.program = programBeside(ownProgram);
  return found;
}

HelperInstallation findHelperInstallation() {
  return findHelperUnit("", executablePath().value_or(""));
}

std::string rootHelperSocketOf(pid_t process) {
  const fs::path socket = rootHelperSocket;
  // An absolute link in the path, as /var/run is one, would lead back into this process's own file system.
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(socket.parent_path(), error);
  const fs::path folderThere = "/proc/" + std::to_string(process) + "/root" + folder.string();
  return folderThere / socket.filename();
}

}  // namespace vigilo
