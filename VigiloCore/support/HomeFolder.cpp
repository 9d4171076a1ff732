#include "support/HomeFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "support/NormalPath.h"
#include "support/UniqueFd.h"

namespace vigilo {
namespace {

// Text in a buffer that somebody else owns.
struct Output {
  std::span<char> buffer;
  std::size_t size = 0;
  bool fits = true;

  void append(char byte) {
    fits = fits && size < buffer.size();
    if (fits) buffer[size++] = byte;
  }
  void append(std::string_view text) {
    for (const char byte : text) append(byte);
  }
  std::string_view view() const { return {buffer.data(), fits ? size : 0}; }
};

// One line of passwd, which comes in byte by byte: the third field is the user's number, the sixth the home
// folder.
struct PasswdLine {
  Output home;
  int field = 0;
  unsigned long long number = 0;
  bool isNumber = false;

  void take(char byte) {
    if (byte == ':') {
      ++field;
    } else if (field == 2) {
      isNumber = byte >= '0' && byte <= '9' && number < 1ull << 32;
      number = number * 10 + static_cast<unsigned char>(byte - '0');
    } else if (field == 5) {
      home.append(byte);
    }
  }
  bool isOf(uid_t user) const { return isNumber && number == user && field >= 5; }
};

Output homeFromPasswd(std::span<char> buffer) {
  const UniqueFd file(::open("/etc/passwd", O_RDONLY | O_CLOEXEC));
  const uid_t user = ::getuid();
  PasswdLine line{{buffer}};
  char block[4096];
  for (ssize_t count; file && (count = ::read(file.get(), block, sizeof block)) > 0;) {
    for (const char byte : std::string_view(block, static_cast<std::size_t>(count))) {
      if (byte != '\n') {
        line.take(byte);
      } else if (line.isOf(user)) {
        return line.home;
      } else {
        line = {{buffer}};
      }
    }
  }
  return line.isOf(user) ? line.home : Output{buffer};
}

Output findHome(std::span<char> buffer) {
  const char* variable = std::getenv("HOME");
  Output home{buffer};
  if (variable != nullptr && variable[0] == '/') {
    home.append(std::string_view(variable));
  } else {
    home = homeFromPasswd(buffer);
  }
  home.size = makeNormalPath(buffer.first(home.size));
  return home;
}

}  // namespace

std::string_view homeFolder(std::span<char> buffer) {
  return findHome(buffer).view();
}

std::string_view hookSocketPath(std::span<char> buffer) {
  Output path = findHome(buffer);
  if (path.size == 0) return {};
  path.append(hookSocketBelowHome);
  return path.view();
}

}  // namespace vigilo
