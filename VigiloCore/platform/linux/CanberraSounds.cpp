#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "platform/SystemSounds.h"
#include "support/Subprocess.h"
#include "support/UniqueFd.h"

namespace vigilo {
namespace {

constexpr unsigned beginSeconds = 2;  // to find the sound and reach the sound server
constexpr unsigned playSeconds = 10;  // the longest sound

// The system's sounds, and the events of the sound themes that come closest.
constexpr std::pair<const char*, const char*> events[] = {{"Hero", "complete"}};

class CanberraSounds final : public SystemSounds {
 public:
  bool play(const std::string& name) override {
    const auto* found = std::find_if(std::begin(events), std::end(events),
                                     [&](const auto& event) { return name == event.first; });
    if (found == std::end(events)) return false;
    const auto player = runProgram("/proc/self/exe", {soundPlayerArgument, found->second});
    return player && player->exitStatus == 0;
  }

  // The bell of the terminal that the program was started from, never a file or a pipe in its place.
  void beep() override {
    const UniqueFd terminal(::open("/dev/tty", O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!terminal) return;
    // Some terminals stop a job in the background that writes to them, unless it has this signal blocked.
    sigset_t stop, before;
    ::sigemptyset(&stop);
    ::sigaddset(&stop, SIGTTOU);
    ::pthread_sigmask(SIG_BLOCK, &stop, &before);
    (void)!::write(terminal.get(), "\a", 1);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
};

// The sound library's interface as far as it is used here. It is looked up when a sound is to be played:
// where the library is not installed, nothing else is missing.
struct Context;
struct PropertyList;
using Finished = void (*)(Context*, std::uint32_t id, int error, void* argument);

struct Canberra {
  int (*createContext)(Context**) = nullptr;
  int (*createProperties)(PropertyList**) = nullptr;
  int (*setProperty)(PropertyList*, const char* key, const char* value) = nullptr;
  int (*play)(Context*, std::uint32_t id, PropertyList*, Finished, void* argument) = nullptr;

  bool load() {
    void* library = ::dlopen("libcanberra.so.0", RTLD_NOW);
    if (library == nullptr) return false;
    const auto find = [&](auto& function, const char* name) {
      function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(library, name));
      return function != nullptr;
    };
    return find(createContext, "ca_context_create") && find(createProperties, "ca_proplist_create") &&
           find(setProperty, "ca_proplist_sets") && find(play, "ca_context_play_full");
  }
};

// Called by the library's thread at the end of the sound.
void endProcess(Context*, std::uint32_t, int, void*) {
  ::_exit(0);
}

bool beginPlaying(const std::string& event) {
  Canberra canberra;
  Context* context = nullptr;
  PropertyList* properties = nullptr;
  if (!canberra.load() || canberra.createContext(&context) != 0 ||
      canberra.createProperties(&properties) != 0)
    return false;
  for (const auto& [key, value] : {std::pair{"event.id", event.c_str()},
                                   {"canberra.xdg-theme.name", "freedesktop"},
                                   {"application.name", "Vigilo"}}) {
    if (canberra.setProperty(properties, key, value) != 0) return false;
  }
  return canberra.play(context, 0, properties, endProcess, nullptr) == 0;
}

// The library's words are nobody's to read, and whoever waits for the end of the output does not wait for the
// sound.
void closeOutput() {
  const UniqueFd null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(null.get(), fd);
}

}  // namespace

std::unique_ptr<SystemSounds> makeSystemSounds() {
  return std::make_unique<CanberraSounds>();
}

int runSoundPlayer(const std::string& event) {
  ::alarm(beginSeconds);
  closeOutput();
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return 1;
  const UniqueFd begun(ends[0]);
  UniqueFd begin(ends[1]);
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(beginSeconds);
    if (!beginPlaying(event)) ::_exit(1);
    ::alarm(playSeconds);
    (void)!::write(begin.get(), "!", 1);
    for (;;) ::pause();
  }
  begin.reset();
  char byte = 0;
  return ::read(begun.get(), &byte, 1) == 1 ? 0 : 1;
}

}  // namespace vigilo
