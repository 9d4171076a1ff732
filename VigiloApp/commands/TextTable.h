#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vigilo {

// A table for a terminal: columns aligned, at most `width` columns wide. Where it does not fit, the columns
// that may shrink are cut with an ellipsis, the widest first. Widths count characters of UTF-8, not bytes.
class TextTable {
 public:
  struct Column {
    std::string title;
    bool right = false;  // numbers
    bool shrinks = false;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  std::string text(std::size_t width) const;

 private:
  std::vector<std::size_t> widths(std::size_t limit) const;
  std::string line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// The width of the terminal behind standard output; a number without limit where that is none.
std::size_t terminalWidth();

// "1,234,567"; "$12.34", with four decimals below ten cents.
std::string grouped(long long number);
std::string dollars(double amount);

// What came from outside, fit to be shown: control characters do not reach the terminal.
std::string printable(std::string text);

}  // namespace vigilo
