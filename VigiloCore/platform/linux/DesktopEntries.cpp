#include "platform/linux/DesktopEntries.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

#include "support/AtomicFile.h"
#include "support/HomeFolder.h"

namespace vigilo {
namespace {

constexpr std::size_t largestEntry = 256 * 1024;
constexpr std::string_view suffix = ".desktop";

std::int64_t modifiedNanoseconds(const std::string& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) != 0) return 0;
  return std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
}

std::vector<std::string> split(std::string_view list) {
  std::vector<std::string> parts;
  while (!list.empty()) {
    const auto end = list.find(':');
    if (end != 0) parts.emplace_back(list.substr(0, end));
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
  }
  return parts;
}

std::string environment(const char* name, const std::string& otherwise) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] != '\0' ? value : otherwise;
}

// The words of an "Exec=" value: blanks separate, double quotes keep together, a backslash takes the next
// character as it stands.
std::vector<std::string> words(std::string_view exec) {
  std::vector<std::string> result;
  bool inWord = false;
  bool inQuotes = false;
  for (std::size_t at = 0; at < exec.size(); ++at) {
    const char letter = exec[at];
    if (letter == ' ' && !inQuotes) {
      inWord = false;
      continue;
    }
    if (!inWord) result.emplace_back();
    inWord = true;
    if (letter == '"')
      inQuotes = !inQuotes;
    else
      result.back().push_back(letter == '\\' && at + 1 < exec.size() ? exec[++at] : letter);
  }
  return result;
}

std::string_view baseName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

// What runs many applications, and things that are none, tells nothing about which one it is.
bool runsOthers(std::string_view path) {
  static constexpr std::array<std::string_view, 16> starts{
      "bash", "dash",   "electron", "env",  "flatpak", "gjs",  "java", "node",
      "perl", "pkexec", "python",   "ruby", "sh",      "snap", "sudo", "xdg-"};
  const auto name = baseName(path);
  return std::any_of(starts.begin(), starts.end(), [name](std::string_view start) {
    if (start == "python" || start == "xdg-" || start == "electron") return name.starts_with(start);
    return name == start;
  });
}

}  // namespace

std::optional<DesktopEntry> DesktopEntry::parse(std::string id, std::string_view text) {
  DesktopEntry entry{std::move(id), {}, {}};
  bool isApplication = false;
  bool inEntry = false;
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.starts_with('[')) inEntry = line == "[Desktop Entry]";
    const auto equals = line.find('=');
    if (!inEntry || equals == std::string_view::npos) continue;
    std::string_view key = line.substr(0, equals);
    std::string_view value = line.substr(equals + 1);
    while (key.ends_with(' ')) key.remove_suffix(1);
    while (value.starts_with(' ')) value.remove_prefix(1);
    if (key == "Type") isApplication = value == "Application";
    if (key == "Name") entry.name = value;
    if (key == "Exec") entry.exec = value;
  }
  if (!isApplication || entry.name.empty() || entry.exec.empty()) return std::nullopt;
  return entry;
}

std::string DesktopEntry::program() const {
  const auto all = words(exec);
  auto word = all.begin();
  if (word != all.end() && baseName(*word) == "env") {
    do ++word;
    while (word != all.end() && word->find('=') != std::string::npos);
  }
  return word == all.end() ? std::string() : *word;
}

DesktopEntries::DesktopEntries(std::vector<std::string> folders, std::string path)
    : folders_(std::move(folders)), path_(std::move(path)) {}

DesktopEntries DesktopEntries::ofThisMachine() {
  std::vector<std::string> data{environment("XDG_DATA_HOME", homeFolder() + "/.local/share")};
  for (auto& folder : split(environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share"))) {
    data.push_back(std::move(folder));
  }
  // A host that was not started from the desktop has no list with these in it.
  for (const auto& folder :
       {homeFolder() + "/.local/share/flatpak/exports/share", std::string("/var/lib/flatpak/exports/share"),
        std::string("/var/lib/snapd/desktop")}) {
    if (std::find(data.begin(), data.end(), folder) == data.end()) data.push_back(folder);
  }
  for (auto& folder : data) folder += "/applications";
  return {std::move(data), environment("PATH", "/usr/local/bin:/usr/bin:/bin")};
}

bool DesktopEntries::refresh() {
  std::vector<std::int64_t> modified;
  for (const auto& folder : folders_) modified.push_back(modifiedNanoseconds(folder));
  if (modified == modified_) return false;
  modified_ = std::move(modified);
  byId_.clear();
  byProgram_.clear();
  for (const auto& folder : folders_) read(folder);
  for (const auto& [id, entry] : byId_) {
    const std::string program = resolve(entry.program());
    if (!program.empty() && !runsOthers(program)) byProgram_.emplace(program, &entry);
  }
  return true;
}

void DesktopEntries::read(const std::string& folder) {
  std::error_code error;
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    std::string id = at->path().filename().string();
    if (!id.ends_with(suffix)) continue;
    id.resize(id.size() - suffix.size());
    if (byId_.contains(id)) continue;
    const auto text = readFile(at->path().string(), largestEntry);
    auto entry = text ? DesktopEntry::parse(id, *text) : std::nullopt;
    if (entry) byId_.emplace(std::move(id), std::move(*entry));
  }
}

std::string DesktopEntries::resolve(const std::string& program) const {
  std::error_code error;
  if (program.find('/') != std::string::npos) return std::filesystem::canonical(program, error).string();
  for (const auto& folder : program.empty() ? std::vector<std::string>() : split(path_)) {
    const std::string candidate = folder + "/" + program;
    if (::access(candidate.c_str(), X_OK) == 0) return std::filesystem::canonical(candidate, error).string();
  }
  return {};
}

const DesktopEntry* DesktopEntries::withProgram(const std::string& path) const {
  const auto found = byProgram_.find(path);
  return found == byProgram_.end() ? nullptr : found->second;
}

const DesktopEntry* DesktopEntries::withId(const std::string& id) const {
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : &found->second;
}

}  // namespace vigilo
