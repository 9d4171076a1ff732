#pragma once

#include <string>
#include <vector>

namespace vigilo {

// How a unit of the user's service manager is enabled: by links to it in folders such as
// default.target.wants. Read from the files, so that no running manager is needed.
struct UserUnitLinks {
  std::vector<std::string> own;       // that lead to a unit, among the user's own files
  std::vector<std::string> global;    // the same, of the administrator, for every user
  std::vector<std::string> dangling;  // the user's own that lead nowhere: its package is gone
  bool isMasked = false;              // the manager does not start it, whatever links there are

  bool isEnabled() const { return !isMasked && !(own.empty() && global.empty()); }

  // `ownFolder` and `globalFolder` hold the units and the folders of links.
  static UserUnitLinks find(const std::string& unit, const std::string& ownFolder,
                            const std::string& globalFolder);
};

}  // namespace vigilo
