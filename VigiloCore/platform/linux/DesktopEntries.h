#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vigilo {

// One application that is installed: a desktop entry. A plain value.
struct DesktopEntry {
  std::string id;    // the file's name without ".desktop"
  std::string name;  // "Name="
  std::string exec;  // "Exec=", as written

  // Absent for what is no application, has no name, or starts nothing. Total on whatever a file may hold.
  static std::optional<DesktopEntry> parse(std::string id, std::string_view text);
  // The program that it starts, as written: without a leading "env" and its assignments. Empty where none.
  std::string program() const;
};

// The applications that are installed in some folders; where two have an id in common, the first folder
// counts. The files are read again when one of the folders was modified. Not thread-safe.
class DesktopEntries {
 public:
  // `path` is where programs are searched that are named without a folder: $PATH.
  DesktopEntries(std::vector<std::string> folders, std::string path);
  // Of this user and this machine.
  static DesktopEntries ofThisMachine();
  DesktopEntries(DesktopEntries&&) = default;

  // Looks whether a folder was modified, and whether anything had to be read again.
  bool refresh();
  // Valid until the next `refresh`. By the program's path with all links resolved; programs that run others,
  // such as interpreters, stand for no application.
  const DesktopEntry* withProgram(const std::string& path) const;
  const DesktopEntry* withId(const std::string& id) const;

 private:
  void read(const std::string& folder);
  std::string resolve(const std::string& program) const;

  const std::vector<std::string> folders_;
  const std::string path_;
  std::vector<std::int64_t> modified_;  // of each folder, nanoseconds since 1970; 0 for none
  std::unordered_map<std::string, DesktopEntry> byId_;
  std::unordered_map<std::string, const DesktopEntry*> byProgram_;
};

}  // namespace vigilo
