#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vigilo {

// What a piece of text means; the terminal decides how that looks, with colours or without.
enum class Style : std::uint8_t {
  plain,
  dim,     // labels, what can be overlooked
  faint,   // rules and empty bars
  strong,  // names, keys
  accent,  // titles
  good,
  warn,
  bad,
  goodStrong,
  warnStrong,
  badStrong,
  count
};

struct Span {
  std::string text;
  Style style = Style::plain;
  bool operator==(const Span&) const = default;
};

// One line of a screen: text in several styles, from the left. A plain value. Text that goes in must be fit
// to be shown (see DisplayText.h).
class Line {
 public:
  Line() = default;
  explicit Line(std::string_view text, Style style = Style::plain) { add(text, style); }

  Line& add(std::string_view text, Style style = Style::plain);
  Line& add(const Line& other);
  // Blanks up to the column; nothing where the line is there already.
  Line& to(int column);
  // Cut to the width, with the ellipsis where something is lost.
  Line& cut(int width, std::string_view ellipsis);
  // The same text in one style.
  Line& restyle(Style style);

  int width() const { return width_; }
  const std::vector<Span>& spans() const { return spans_; }
  std::string text() const;
  bool operator==(const Line&) const = default;

 private:
  std::vector<Span> spans_;
  int width_ = 0;
};

// What a terminal of this size shows: exactly `height` lines, none wider than `width`.
struct Screen {
  int width = 0;
  int height = 0;
  std::vector<Line> lines;

  // Without styles and without blanks at the ends of lines.
  std::string text() const;
};

}  // namespace vigilo
