#include "platform/linux/AutostartEntry.h"

#include <sstream>

namespace vigilo {
namespace {

constexpr std::string_view head =
    "[Desktop Entry]\n"
    "Type=Application\n"
    "Name=Vigilo\n"
    "Comment=Keeps this machine awake while coding agents work\n";

// Of any string in an entry.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text += value[i];
      continue;
    }
    switch (value[++i]) {
      case 's':
        text += ' ';
        break;
      case 'n':
        text += '\n';
        break;
      case 't':
        text += '\t';
        break;
      case 'r':
        text += '\r';
        break;
      case '\\':
        text += '\\';
        break;
      default:
        text.append({'\\', value[i]});
    }
  }
  return text;
}

std::string escaped(std::string_view text) {
  std::string value;
  for (const char c : text) {
    if (c == '\\')
      value += "\\\\";
    else if (c == '\n')
      value += "\\n";
    else if (c == '\t')
      value += "\\t";
    else if (c == '\r')
      value += "\\r";
    else
      value += c;
  }
  return value;
}

// One argument of a command line: in quotes, and no "%" begins a field code.
std::string quoted(std::string_view argument) {
  std::string text = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') text += '\\';
    text += c;
    if (c == '%') text += '%';
  }
  return text + "\"";
}

// "%U" and the like stand for what a file manager hands over: nothing at login.
std::string withoutFieldCodes(std::string_view text) {
  std::string word;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%')
      word += text[i];
    else if (++i < text.size() && text[i] == '%')
      word += '%';
  }
  return word;
}

std::vector<std::string> split(std::string_view line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  bool inQuotes = false;
  const auto finish = [&] {
    if (std::string plain = withoutFieldCodes(word); inWord && (!plain.empty() || word.empty()))
      words.push_back(std::move(plain));
    word.clear();
    inWord = false;
  };
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"') {
      inQuotes = !inQuotes;
      inWord = true;
    } else if (c == '\\' && i + 1 < line.size()) {
      word += line[++i];
      inWord = true;
    } else if (!inQuotes && (c == ' ' || c == '\t' || c == '\n')) {
      finish();
    } else {
      word += c;
      inWord = true;
    }
  }
  finish();
  return words;
}

std::string_view trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

}  // namespace

bool AutostartEntry::startsHost() const {
  if (command.size() < 2 || command[1] != "run") return false;
  return command[0].substr(command[0].rfind('/') + 1) == "vigilo";
}

AutostartEntry AutostartEntry::parse(std::string_view text) {
  AutostartEntry entry;
  std::istringstream lines{std::string(text)};
  bool inGroup = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) inGroup = trimmed(line) == "[Desktop Entry]";
    const auto equals = line.find('=');
    if (!inGroup || equals == std::string::npos || line.starts_with('#')) continue;
    const std::string_view key = trimmed(std::string_view(line).substr(0, equals));
    const std::string_view value = trimmed(std::string_view(line).substr(equals + 1));
    if (key == "Exec") entry.command = split(unescaped(value));
    if (key == "TryExec" && !value.empty()) entry.tryExec = unescaped(value);
    if (key == "Hidden" && value == "true") entry.isSwitchedOff = true;
    if (key == "X-GNOME-Autostart-enabled" && value == "false") entry.isSwitchedOff = true;
  }
  return entry;
}

std::string AutostartEntry::starting(const std::string& program) {
  return std::string(head) + "TryExec=" + escaped(program) + "\nExec=" + escaped(quoted(program)) +
         " run\nTerminal=false\nHidden=false\nX-GNOME-Autostart-enabled=true\n";
}

std::string AutostartEntry::hiding() {
  return std::string(head) + "Hidden=true\n";
}

}  // namespace vigilo
