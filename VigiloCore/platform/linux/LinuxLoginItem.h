#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/LoginItem.h"
#include "platform/linux/AutostartEntry.h"
#include "platform/linux/UserUnitLinks.h"

namespace vigilo {

// Launch at login by an XDG autostart entry, which every desktop reads and shows in its settings. The user
// unit that a package may bring counts as well when it is enabled; only one of the two is ever on. An entry
// of that name that starts something else is left alone.
//
// The entry is its own backend's and passes no write policy: it lies where the desktop reads it.
class LinuxLoginItem final : public LoginItem {
 public:
  static constexpr const char* unitName = "vigilo.service";

  struct Places {
    std::string configHome;                   // $XDG_CONFIG_HOME, else ~/.config; empty without a home
    std::vector<std::string> configDirs;      // $XDG_CONFIG_DIRS: entries for all users
    std::string globalUnits;                  // /etc/systemd/user
    std::vector<std::string> programFolders;  // $PATH, for entries without an absolute path
    std::string program;                      // what a new entry starts

    static Places ofCurrentUser(const Directories& directories);
  };

  explicit LinuxLoginItem(Places places) : places_(std::move(places)) {}

  LoginItemState state() const override;
  std::optional<LoginItemError> registerItem() override;
  std::optional<LoginItemError> unregisterItem() override;

 private:
  enum class Kind { absent, foreign, off, broken, on };
  struct Entry {
    std::string path;
    Kind kind = Kind::absent;
    std::string program;  // that it starts, or would; of a foreign one the command's first word
  };

  Entry read(std::string path) const;
  Entry ownEntry() const { return read(places_.configHome + "/autostart/vigilo.desktop"); }
  Entry globalEntry() const;  // the first that there is
  UserUnitLinks unit() const;
  bool isThere(const std::string& program) const;
  void describeEntry(const Entry& own, LoginItemState& state) const;

  const Places places_;
};

}  // namespace vigilo
