#include "VigiloApp/top/Screen.h"

#include <algorithm>

#include "VigiloApp/top/DisplayText.h"

namespace vigilo {

Line& Line::add(std::string_view text, Style style) {
  if (text.empty()) return *this;
  if (spans_.empty() || spans_.back().style != style) spans_.push_back({"", style});
  spans_.back().text += text;
  width_ += displayWidth(text);
  return *this;
}

Line& Line::add(const Line& other) {
  for (const Span& span : other.spans_) add(span.text, span.style);
  return *this;
}

Line& Line::to(int column) {
  if (column > width_) add(std::string(static_cast<std::size_t>(column - width_), ' '));
  return *this;
}

Line& Line::cut(int width, std::string_view ellipsis) {
  if (width_ <= width) return *this;
  int room = width - displayWidth(ellipsis);
  if (room < 0) {
    room = std::max(width, 0);
    ellipsis = {};
  }
  Line result;
  for (const Span& span : spans_) {
    const std::string_view part = beginning(span.text, room - result.width_);
    result.add(part, span.style);
    if (part.size() == span.text.size()) continue;
    result.add(ellipsis, span.style);
    break;
  }
  return *this = std::move(result);
}

Line& Line::restyle(Style style) {
  return *this = Line(text(), style);
}

std::string Line::text() const {
  std::string text;
  for (const Span& span : spans_) text += span.text;
  return text;
}

std::string Screen::text() const {
  std::string all;
  for (const Line& line : lines) {
    std::string text = line.text();
    text.erase(text.find_last_not_of(' ') + 1);
    all += text + "\n";
  }
  return all;
}

}  // namespace vigilo
