#include "platform/linux/UserUnitLinks.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace vigilo {
namespace {

namespace fs = std::filesystem;

// The links of that name in the folder's folders of links, by path.
std::vector<std::string> linksIn(const std::string& folder, const std::string& unit) {
  std::vector<std::string> links;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const std::string kind = at->path().extension();
    const fs::path link = at->path() / unit;
    std::error_code absent;
    if ((kind == ".wants" || kind == ".requires") && fs::is_symlink(link, absent)) links.push_back(link);
  }
  std::sort(links.begin(), links.end());
  return links;
}

// Whether the folder has a file for the unit that masks it; absent where it has none.
std::optional<bool> masks(const std::string& folder, const std::string& unit) {
  std::error_code error;
  const fs::path file = fs::path(folder) / unit;
  if (!fs::exists(fs::symlink_status(file, error))) return std::nullopt;
  return fs::read_symlink(file, error) == "/dev/null";
}

}  // namespace

UserUnitLinks UserUnitLinks::find(const std::string& unit, const std::string& ownFolder,
                                  const std::string& globalFolder) {
  UserUnitLinks found;
  std::error_code error;
  for (const auto& link : linksIn(ownFolder, unit))
    (fs::exists(link, error) ? found.own : found.dangling).push_back(link);
  for (const auto& link : linksIn(globalFolder, unit)) {
    if (fs::exists(link, error)) found.global.push_back(link);
  }
  // The user's file for a unit goes before the administrator's.
  found.isMasked = masks(ownFolder, unit).value_or(masks(globalFolder, unit).value_or(false));
  return found;
}

}  // namespace vigilo
