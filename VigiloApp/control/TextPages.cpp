#include "VigiloApp/control/TextPages.h"

#include <algorithm>
#include <chrono>

namespace vigilo {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 10s;
constexpr std::size_t mostKept = 4;

bool continuesCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

// From `offset` on as much as fits a page and does not end inside a character.
TextPage cut(const std::string& id, const std::string& text, std::size_t offset) {
  std::size_t end = std::min(offset + TextPages::pageSize, text.size());
  while (end < text.size() && end > offset && continuesCharacter(text[end])) --end;
  return {id, text.substr(offset, end - offset), static_cast<std::int64_t>(text.size() - end)};
}

}  // namespace

TextPage TextPages::begin(std::string text) {
  const std::string id = std::to_string(++last_);
  if (kept_.size() == mostKept) kept_.pop_front();
  kept_.push_back({id, std::move(text), nullptr});
  return *page(id, 0);
}

std::optional<TextPage> TextPages::page(const std::string& id, std::int64_t offset) {
  const auto found =
      std::find_if(kept_.begin(), kept_.end(), [&](const Kept& each) { return each.id == id; });
  if (found == kept_.end()) return std::nullopt;
  if (offset < 0 || static_cast<std::uint64_t>(offset) > found->text.size()) return std::nullopt;
  TextPage page = cut(id, found->text, static_cast<std::size_t>(offset));
  if (page.remaining == 0)
    kept_.erase(found);
  else
    found->patience = queue_.timer(patience, Duration::zero(), [this, id] { forget(id); });
  return page;
}

// A copy: the timer that asks for this goes with its report.
void TextPages::forget(std::string id) {
  std::erase_if(kept_, [&](const Kept& each) { return each.id == id; });
}

}  // namespace vigilo
