#pragma once

#include <memory>
#include <string>

namespace vigilo {

// The system's sounds. Each call returns within two seconds; what plays goes on by itself. Thread-safe.
class SystemSounds {
 public:
  virtual ~SystemSounds() = default;
  // Begins to play the sound of that name ("Hero"); false when there is none such, or nothing to play it.
  virtual bool play(const std::string& name) = 0;
  // The plainest sound that there is; where there is none either, nothing.
  virtual void beep() = 0;
};

// Sounds are played by a process of their own, which is this program, started again with this argument and
// the name of a sound event: `main` hands those to `runSoundPlayer`. So a sound server that hangs, or a
// library that crashes, is nobody's problem, and what the library takes goes back after each sound.
inline constexpr const char* soundPlayerArgument = "play-sound";

std::unique_ptr<SystemSounds> makeSystemSounds();
// Returns once the sound has begun: the process's exit code, 0 when it is heard. Ends the process after two
// seconds.
int runSoundPlayer(const std::string& event);

}  // namespace vigilo
