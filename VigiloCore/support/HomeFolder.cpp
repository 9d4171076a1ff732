#include "support/HomeFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "support/UniqueFd.h"

namespace vigilo {
namespace {

// The sixth field of the line whose third field is this user's number.
std::string homeFromPasswd(std::string_view passwd, const std::string& uid) {
  while (!passwd.empty()) {
    const auto end = passwd.find('\n');
    std::string_view rest = passwd.substr(0, end);
    passwd.remove_prefix(end == std::string_view::npos ? passwd.size() : end + 1);
    std::string_view fields[7];
    for (auto& entry : fields) {
      const auto colon = rest.find(':');
      entry = rest.substr(0, colon);
      rest.remove_prefix(colon == std::string_view::npos ? rest.size() : colon + 1);
    }
    if (fields[2] == uid) return std::string(fields[5]);
  }
  return {};
}

std::string readPasswd() {
  const UniqueFd file(::open("/etc/passwd", O_RDONLY | O_CLOEXEC));
  std::string text;
  if (!file) return text;
  char block[4096];
  for (ssize_t count; (count = ::read(file.get(), block, sizeof block)) > 0;) {
    text.append(block, static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

std::string homeFolder() {
  std::string home;
  const char* variable = std::getenv("HOME");
  if (variable != nullptr && variable[0] == '/') {
    home = variable;
  } else {
    home = homeFromPasswd(readPasswd(), std::to_string(::getuid()));
  }
  while (home.size() > 1 && home.back() == '/') home.pop_back();
  return home;
}

std::string hookSocketPath(const std::string& home) {
  return home + "/Library/Application Support/Vigilo/run/vigilo.sock";
}

}  // namespace vigilo
