#pragma once

#include <memory>
#include <string>

#include "platform/UserDefaults.h"

namespace vigilo {

// The user's preferences in one typed text file that a person can edit, too.
//
// A write merges into the file as it is on disk at that moment, so that two programs that take turns lose
// nothing of each other, and replaces it atomically; a link stays a link. A file that cannot be read or does
// not parse is never rewritten: what was last good stays in force, under this process's own changes, which
// are saved once the file is in order again. A changed file is noticed by events on its folder once somebody
// observes, and by `checkForChanges`.
//
// Any thread may call; a lock guards the values in memory, and `queue` owns the file. At its end it saves
// what is still waiting. The queue must outlive it and still run then.
class TomlUserDefaults final : public UserDefaults {
 public:
  static constexpr std::size_t largestFile = 1 << 20;

  // Reads the file, on the queue, before it returns.
  TomlUserDefaults(std::string path, WriteGate mayWrite, Queue& queue);
  ~TomlUserDefaults() override;

  std::optional<DefaultsValue> object(const std::string& key) const override;
  std::vector<std::string> keys() const override;
  void set(const std::string& key, std::optional<DefaultsValue> value) override;
  std::optional<FileError> synchronize() override;
  CancelToken observe(Queue& queue, Task changed) override;
  void checkForChanges() override;

 private:
  class File;
  const std::shared_ptr<File> file_;
};

}  // namespace vigilo
