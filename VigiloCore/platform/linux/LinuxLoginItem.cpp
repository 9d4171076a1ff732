#include "platform/linux/LinuxLoginItem.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/ExecutablePath.h"
#include "support/AtomicFile.h"

namespace vigilo {
namespace {

constexpr std::size_t largestEntry = 64 * 1024;

std::optional<LoginItemError> failedAt(const std::string& path) {
  return LoginItemError{path + ": " + std::strerror(errno)};
}

std::optional<LoginItemError> removeFile(const std::string& path) {
  if (::unlink(path.c_str()) == 0 || errno == ENOENT) return std::nullopt;
  return failedAt(path);
}

// Where the entry is a link into the user's own collection of such files, the file there is replaced.
std::optional<LoginItemError> writeEntry(const std::string& path, const std::string& text) {
  std::error_code unresolved;
  const std::string target = std::filesystem::canonical(path, unresolved).string();
  const auto error =
      replaceFile(unresolved ? path : target, text, [](const std::string&) { return true; }, {.mode = 0644});
  if (error) return LoginItemError{error->description};
  return std::nullopt;
}

std::vector<std::string> splitPaths(const char* text, const char* fallback) {
  std::vector<std::string> paths;
  std::string_view rest = text != nullptr && *text != 0 ? text : fallback;
  for (;;) {
    const auto end = rest.find(':');
    if (rest.starts_with('/')) paths.emplace_back(rest.substr(0, end));
    if (end == std::string_view::npos) return paths;
    rest.remove_prefix(end + 1);
  }
}

bool isProgram(const std::string& path) {
  struct stat found {};
  return ::stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::string foreignText(const std::string& path) {
  return path + " was not written by Vigilo and starts something else, so it is left alone.";
}

}  // namespace

LinuxLoginItem::Places LinuxLoginItem::Places::ofCurrentUser(const Directories& directories) {
  const char* configHome = std::getenv("XDG_CONFIG_HOME");
  Places places;
  if (configHome != nullptr && *configHome == '/')
    places.configHome = configHome;
  else if (!directories.home.empty())
    places.configHome = directories.home + "/.config";
  places.configDirs = splitPaths(std::getenv("XDG_CONFIG_DIRS"), "/etc/xdg");
  places.globalUnits = "/etc/systemd/user";
  places.programFolders = splitPaths(std::getenv("PATH"), "/usr/local/bin:/usr/bin:/bin");
  places.program = executablePath().value_or("");
  return places;
}

bool LinuxLoginItem::isThere(const std::string& program) const {
  if (program.find('/') != std::string::npos) return isProgram(program);
  for (const auto& folder : places_.programFolders) {
    if (isProgram(folder + "/" + program)) return true;
  }
  return false;
}

LinuxLoginItem::Entry LinuxLoginItem::read(std::string path) const {
  const auto text = readFile(path, largestEntry);
  if (!text && (text.error().code == ENOENT || text.error().code == ENOTDIR))
    return {std::move(path), Kind::absent, {}};
  const AutostartEntry entry = text ? AutostartEntry::parse(*text) : AutostartEntry{};
  const std::string program = entry.command.empty() ? "" : entry.command.front();
  const bool onlyHides = entry.command.empty() && entry.isSwitchedOff;
  const bool hasProgram = isThere(program) && (!entry.tryExec || isThere(*entry.tryExec));
  const Kind kind = !entry.startsHost() && !onlyHides ? Kind::foreign
                    : entry.isSwitchedOff             ? Kind::off
                    : !hasProgram                     ? Kind::broken
                                                      : Kind::on;
  return {std::move(path), kind, program};
}

LinuxLoginItem::Entry LinuxLoginItem::globalEntry() const {
  for (const auto& folder : places_.configDirs) {
    if (Entry entry = read(folder + "/autostart/vigilo.desktop"); entry.kind != Kind::absent) return entry;
  }
  return {};
}

UserUnitLinks LinuxLoginItem::unit() const {
  return UserUnitLinks::find(unitName, places_.configHome + "/systemd/user", places_.globalUnits);
}

// The state that follows from the entries alone: the user's own goes before one for all users.
void LinuxLoginItem::describeEntry(const Entry& own, LoginItemState& state) const {
  const Entry global = globalEntry();
  const bool usesGlobal = own.kind == Kind::absent;
  const Entry& entry = usesGlobal ? global : own;
  if (entry.kind == Kind::absent) return;
  state.sources.push_back(entry.path);
  if (entry.kind == Kind::foreign) {
    state.remark = foreignText(entry.path);
    return;
  }
  if (!entry.program.empty()) state.program = entry.program;
  if (entry.kind == Kind::on) {
    state.status = LoginItemStatus::enabled;
  } else if (entry.kind == Kind::broken) {
    state.status = LoginItemStatus::notFound;
    state.remark = "The program that is to be started is not there. `vigilo login on` registers " +
                   places_.program + " instead.";
  } else if (!usesGlobal && global.kind == Kind::absent) {
    state.status = LoginItemStatus::requiresApproval;
    state.remark =
        "It is registered, but switched off, in the desktop's settings say. `vigilo login on` "
        "switches it on again.";
  }
}

LoginItemState LinuxLoginItem::state() const {
  LoginItemState state;
  describeEntry(ownEntry(), state);
  const UserUnitLinks links = unit();
  state.hasRemains = !links.dangling.empty();
  if (!links.isEnabled()) return state;
  state.isDoubled = state.status == LoginItemStatus::enabled;
  if (state.isDoubled) {
    state.remark =
        "It is switched on twice, by an autostart entry and by the user unit. `vigilo login on` "
        "keeps the unit only.";
  } else {
    // What the entry says is of no interest beside a unit that is on.
    state = {};
    state.status = LoginItemStatus::enabled;
  }
  for (const auto* list : {&links.own, &links.global})
    state.sources.insert(state.sources.end(), list->begin(), list->end());
  return state;
}

std::optional<LoginItemError> LinuxLoginItem::registerItem() {
  if (places_.configHome.empty()) return LoginItemError{"There is no home folder: set HOME to one."};
  const Entry own = ownEntry();
  const UserUnitLinks links = unit();
  if (links.isEnabled()) {
    if (own.kind == Kind::on) return removeFile(own.path);
    // An entry for all users cannot be removed, but hidden.
    const bool globalIsOn = own.kind == Kind::absent && globalEntry().kind == Kind::on;
    return globalIsOn ? writeEntry(own.path, AutostartEntry::hiding()) : std::nullopt;
  }
  if (own.kind == Kind::foreign) {
    return LoginItemError{foreignText(own.path) + " Move it away and try again."};
  }
  if (places_.program.empty()) return LoginItemError{"The system does not tell where this program lies."};
  if (auto error = writeEntry(own.path, AutostartEntry::starting(places_.program))) return error;
  // Should the unit's package come back, it must not be on beside the entry.
  for (const auto& link : links.dangling) (void)removeFile(link);
  return std::nullopt;
}

std::optional<LoginItemError> LinuxLoginItem::unregisterItem() {
  const Entry own = ownEntry();
  std::optional<LoginItemError> error;
  const auto attempt = [&](std::optional<LoginItemError> result) {
    if (result && !error) error = std::move(result);
  };
  const Entry global = globalEntry();
  const bool isHidden = own.kind == Kind::off && global.kind != Kind::absent;
  if (own.kind != Kind::foreign && !isHidden) {
    // One for all users cannot be removed; a broken one starts once its program is back.
    if (global.kind == Kind::on || global.kind == Kind::broken)
      attempt(writeEntry(own.path, AutostartEntry::hiding()));
    else if (own.kind != Kind::absent)
      attempt(removeFile(own.path));
  }
  const UserUnitLinks links = unit();
  for (const auto* list : {&links.own, &links.dangling}) {
    for (const auto& link : *list) attempt(removeFile(link));
  }
  if (!links.isMasked && !links.global.empty()) {
    attempt(LoginItemError{"The administrator has switched it on for every user, by " + links.global.front() +
                           ". For you alone `systemctl --user mask " + std::string(unitName) +
                           "` switches it off."});
  }
  return error;
}

std::unique_ptr<LoginItem> makeLoginItem(const Directories& directories) {
  return std::make_unique<LinuxLoginItem>(LinuxLoginItem::Places::ofCurrentUser(directories));
}

}  // namespace vigilo
