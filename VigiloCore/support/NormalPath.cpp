#include "support/NormalPath.h"

#include <string_view>

namespace vigilo {

std::size_t makeNormalPath(std::span<char> path) {
  if (path.empty() || path.front() != '/') return path.size();
  std::size_t size = 0;  // of what is kept, never beyond what was read
  for (std::size_t begin = 0, end = 0; begin < path.size(); begin = end + 1) {
    for (end = begin; end < path.size() && path[end] != '/';) ++end;
    const std::string_view part(path.data() + begin, end - begin);
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      while (size > 0 && path[--size] != '/') continue;
      continue;
    }
    path[size++] = '/';
    for (const char byte : part) path[size++] = byte;
  }
  return size == 0 ? 1 : size;
}

}  // namespace vigilo
