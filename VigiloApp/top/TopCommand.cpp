#include "VigiloApp/top/TopCommand.h"

#include <csignal>
#include <exception>

#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/top/LiveView.h"
#include "VigiloApp/top/TopTerminal.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

void run(const Directories& directories, TopTerminal& terminal) {
  const auto queue = AsioQueue::mainQueue();
  LiveView view({.queue = *queue,
                 .clock = Date::now,
                 .controlSocket = directories.controlSocket(),
                 .home = directories.home,
                 .glyphs = terminal.glyphs(),
                 .draw = [&](const Screen& screen) { terminal.show(screen); },
                 .quit = [&] { queue->stop(); }});
  const auto takeSize = [&] {
    terminal.takeSize();
    view.resize(terminal.width(), terminal.height());
  };
  queue->onSignal({SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP}, [&](int signal) {
    if (signal == SIGTSTP) terminal.suspend();
    if (signal == SIGTSTP || signal == SIGWINCH) return takeSize();
    queue->stop();
  });
  const CancelToken keys = queue->readSource(terminal.inputFd(), [&] {
    while (const auto key = terminal.nextKey()) view.press(*key);
    if (terminal.hasHungUp()) queue->stop();
  });
  takeSize();
  view.start();
  queue->run();
}

}  // namespace

int topCommand(const Directories& directories) {
  std::string problem;
  try {
    const auto terminal = TopTerminal::open(problem);
    if (terminal != nullptr) return run(directories, *terminal), exitOk;
  } catch (const std::exception& error) {
    return fail(exitFailure, error.what());
  }
  return fail(exitUnavailable, problem + ". `vigilo status --follow` tells the same in lines.");
}

}  // namespace vigilo
