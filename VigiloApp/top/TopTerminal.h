#pragma once

#include <memory>
#include <optional>
#include <string>

#include "VigiloApp/top/Glyphs.h"
#include "VigiloApp/top/Screen.h"
#include "support/UniqueFd.h"

namespace vigilo {

// The terminal behind standard input and output while the live view has it: its own screen, no echo, keys at
// once. The only place that knows the terminal library. One at a time, on the main thread.
//
// The terminal is given back by the destructor, and also where the process ends by an uncaught exception or
// by `fatal`.
class TopTerminal {
 public:
  // Takes the terminal over. Where that cannot be done the result is null and `problem` says why.
  static std::unique_ptr<TopTerminal> open(std::string& problem);
  ~TopTerminal();
  TopTerminal(const TopTerminal&) = delete;
  TopTerminal& operator=(const TopTerminal&) = delete;

  // Readable when keys wait. A description of its own, so that watching it leaves the shell's as it is.
  int inputFd() const { return input_.get(); }
  // The next key that waits: a character, or a TopKey; absent when none does.
  std::optional<int> nextKey();
  // Whether nobody is at the other end any more.
  bool hasHungUp() const;

  int width() const;
  int height() const;
  // Takes the terminal's present size over and draws everything anew with the next `show`.
  void takeSize();

  // Writes what differs from what was shown before.
  void show(const Screen& screen);

  // Gives the terminal back, stops the process as Ctrl-Z does, and takes the terminal again when it goes on.
  void suspend();

  const Glyphs& glyphs() const { return glyphs_; }

 private:
  TopTerminal(UniqueFd input, const Glyphs& glyphs);

  const UniqueFd input_;
  const Glyphs& glyphs_;
};

}  // namespace vigilo
