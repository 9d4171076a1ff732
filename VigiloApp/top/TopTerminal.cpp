#include "VigiloApp/top/TopTerminal.h"

#include <curses.h>
#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "VigiloApp/top/DisplayText.h"
#include "VigiloApp/top/TopKey.h"

namespace vigilo {
namespace {

constexpr int escapeDelayMs = 25;

attr_t attributes[static_cast<std::size_t>(Style::count)];

void setStyle(Style style, attr_t attribute) {
  attributes[static_cast<std::size_t>(style)] = attribute;
}

attr_t colour(short pair, int foreground) {
  init_pair(pair, static_cast<short>(foreground), -1);
  return static_cast<attr_t>(COLOR_PAIR(pair));
}

// Nothing in reverse: bars are made of full blocks, which that would empty.
void chooseStylesWithoutColours() {
  for (attr_t& attribute : attributes) attribute = A_BOLD;
  for (const Style style : {Style::plain, Style::good}) setStyle(style, A_NORMAL);
  for (const Style style : {Style::dim, Style::faint}) setStyle(style, A_DIM);
}

// The terminal's own palette, which its user has chosen; greys only where it has more than that.
void chooseColours() {
  const attr_t good = colour(1, COLOR_GREEN);
  const attr_t warn = colour(2, COLOR_YELLOW);
  const attr_t bad = colour(3, COLOR_RED);
  setStyle(Style::good, good);
  setStyle(Style::warn, warn);
  setStyle(Style::bad, bad);
  setStyle(Style::goodStrong, good | A_BOLD);
  setStyle(Style::warnStrong, warn | A_BOLD);
  setStyle(Style::badStrong, bad | A_BOLD);
  setStyle(Style::accent, colour(4, COLOR_CYAN));
  if (COLORS < 256) return;
  setStyle(Style::dim, colour(5, 245));
  setStyle(Style::faint, colour(6, 240));
}

void chooseStyles() {
  chooseStylesWithoutColours();
  const char* const unwanted = std::getenv("NO_COLOR");
  if (unwanted != nullptr && *unwanted != 0) return;
  if (!has_colors() || start_color() == ERR) return;
  use_default_colors();
  chooseColours();
}

const Glyphs& chooseGlyphs() {
  if (std::strcmp(::nl_langinfo(CODESET), "UTF-8") != 0) return Glyphs::ascii();
  const char* const term = std::getenv("TERM");
  return term != nullptr && std::strcmp(term, "linux") == 0 ? Glyphs::console() : Glyphs::unicode();
}

UniqueFd openInput() {
  constexpr int flags = O_RDONLY | O_NOCTTY | O_CLOEXEC | O_NONBLOCK;
  char name[256];
  if (::ttyname_r(STDIN_FILENO, name, sizeof name) == 0) {
    if (UniqueFd fd{::open(name, flags)}) return fd;
  }
  return UniqueFd(::open("/dev/tty", flags));
}

void giveBack() {
  if (!isendwin()) endwin();
}

bool can(const char* capability) {
  const char* const sequence = tigetstr(capability);
  return sequence != nullptr && sequence != reinterpret_cast<const char*>(-1);
}

// Where the terminal has no screen to go back to, it is left empty.
void clearAndGiveBack() {
  if (!can("rmcup")) {
    erase();
    refresh();
  }
  giveBack();
}

// The process is about to die and nothing else will put the terminal in order.
void giveBackAndAbort(int) {
  giveBack();
  std::signal(SIGABRT, SIG_DFL);
  std::raise(SIGABRT);
}

}  // namespace

std::unique_ptr<TopTerminal> TopTerminal::open(std::string& problem) {
  if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDOUT_FILENO) != 1) {
    problem = "this needs a terminal";
    return nullptr;
  }
  std::setlocale(LC_ALL, "");
  UniqueFd input = openInput();
  if (!input) {
    problem = std::string("the terminal cannot be opened: ") + std::strerror(errno);
    return nullptr;
  }
  set_escdelay(escapeDelayMs);
  const bool isKnown = newterm(nullptr, stdout, stdin) != nullptr;
  if (!isKnown || !can("cup")) {
    if (isKnown) endwin();
    const char* const term = std::getenv("TERM");
    problem = std::string("this terminal ") + (isKnown ? "cannot be drawn on" : "is not known") +
              " (TERM is " + (term != nullptr ? term : "not set") + ")";
    return nullptr;
  }
  return std::unique_ptr<TopTerminal>(new TopTerminal(std::move(input), chooseGlyphs()));
}

TopTerminal::TopTerminal(UniqueFd input, const Glyphs& glyphs) : input_(std::move(input)), glyphs_(glyphs) {
  std::signal(SIGABRT, giveBackAndAbort);
  cbreak();
  noecho();
  nonl();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  intrflush(stdscr, FALSE);
  curs_set(0);
  chooseStyles();
}

TopTerminal::~TopTerminal() {
  clearAndGiveBack();
  std::signal(SIGABRT, SIG_DFL);
}

std::optional<int> TopTerminal::nextKey() {
  switch (const int key = getch()) {
    case ERR:
      return std::nullopt;
    case KEY_UP:
      return keyUp;
    case KEY_DOWN:
      return keyDown;
    case KEY_PPAGE:
      return keyPageUp;
    case KEY_NPAGE:
      return keyPageDown;
    case KEY_HOME:
      return keyHome;
    case KEY_END:
      return keyEnd;
    default:
      return key < 0x100 ? key : 0;
  }
}

bool TopTerminal::hasHungUp() const {
  pollfd poll{input_.get(), POLLIN, 0};
  return ::poll(&poll, 1, 0) > 0 && (poll.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

int TopTerminal::width() const {
  return getmaxx(stdscr);
}

int TopTerminal::height() const {
  return getmaxy(stdscr);
}

void TopTerminal::takeSize() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0)
    resizeterm(size.ws_row, size.ws_col);
  clearok(curscr, TRUE);
}

void TopTerminal::show(const Screen& screen) {
  erase();
  for (int row = 0; row < static_cast<int>(screen.lines.size()); ++row) {
    // Each span begins at its own column: a sign whose width the terminal sees otherwise shifts nothing else.
    int column = 0;
    for (const Span& span : screen.lines[static_cast<std::size_t>(row)].spans()) {
      attrset(static_cast<int>(attributes[static_cast<std::size_t>(span.style)]));
      mvaddstr(row, column, span.text.c_str());
      column += displayWidth(span.text);
    }
  }
  attrset(A_NORMAL);
  refresh();
}

void TopTerminal::suspend() {
  // A script around this has stopped already and its shell has the terminal back: setting the modes from the
  // background would stop this process half-way.
  const auto before = std::signal(SIGTTOU, SIG_IGN);
  clearAndGiveBack();
  std::signal(SIGTTOU, before);
  // The signal's own action stops the process, unless there is no shell to take it up again.
  struct sigaction ours {};
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  ::sigaction(SIGTSTP, &standard, &ours);
  ::raise(SIGTSTP);
  ::sigaction(SIGTSTP, &ours, nullptr);
  refresh();
  takeSize();
}

}  // namespace vigilo
