#include "platform/linux/BusAddress.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string>

namespace vigilo::bus {
namespace {

std::string_view takeUntil(char separator, std::string_view& text) {
  const std::string_view part = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(part.size() + 1, text.size()));
  return part;
}

// "%2f" stands for a slash. Absent when the text is not escaped as it should be.
std::optional<std::string> unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
      continue;
    }
    unsigned char byte = 0;
    const std::string_view digits = text.substr(i + 1, 2);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (error != std::errc() || end != text.data() + i + 3) return std::nullopt;
    plain += static_cast<char>(byte);
    i += 2;
  }
  return plain;
}

// An abstract name begins with a zero byte, and its length counts; a path ends with one.
std::optional<SocketAddress> makeAddress(const std::string& name, bool isAbstract) {
  SocketAddress made;
  made.address.sun_family = AF_UNIX;
  if (name.empty() || name.size() + 1 > sizeof made.address.sun_path) return std::nullopt;
  std::copy(name.begin(), name.end(), made.address.sun_path + int{isAbstract});
  made.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + 1);
  return made;
}

std::optional<SocketAddress> unixSocketOf(std::string_view address) {
  constexpr std::string_view kind = "unix:";
  if (!address.starts_with(kind)) return std::nullopt;
  address.remove_prefix(kind.size());
  while (!address.empty()) {
    std::string_view value = takeUntil(',', address);
    const std::string_view key = takeUntil('=', value);
    const bool isAbstract = key == "abstract";
    if (!isAbstract && key != "path") continue;
    const auto name = unescaped(value);
    return name ? makeAddress(*name, isAbstract) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::vector<SocketAddress> unixSocketsOf(std::string_view busAddress) {
  std::vector<SocketAddress> sockets;
  while (!busAddress.empty()) {
    if (const auto socket = unixSocketOf(takeUntil(';', busAddress))) sockets.push_back(*socket);
  }
  return sockets;
}

}  // namespace vigilo::bus
