#include "platform/linux/TomlUserDefaults.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "platform/linux/FileWatch.h"
#include "platform/linux/TomlDocument.h"
#include "support/Log.h"
#include "support/Mutex.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

// Editors move a file away before they write the new one: so long may it be missing.
constexpr auto gap = 100ms;

// The file that a write must replace, so that a link to it stays.
std::string withoutLinks(std::string path) {
  for (int hops = 0; hops < 40; ++hops) {
    std::error_code error;
    const auto target = std::filesystem::read_symlink(path, error);
    if (error) break;
    path = std::filesystem::path(path).parent_path() / target;
  }
  return path;
}

// What tells one state of a file from another without reading it.
struct Identity {
  dev_t device{};
  ino_t inode{};
  off_t size{};
  std::int64_t seconds{}, nanoseconds{};
  bool operator==(const Identity&) const = default;
};

Identity identityOf(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

bool isNan(const DefaultsValue& value) {
  const auto* number = std::get_if<double>(&value);
  const auto* date = std::get_if<Date>(&value);
  return (number != nullptr && std::isnan(*number)) ||
         (date != nullptr && std::isnan(date->secondsSinceReference));
}

bool areSame(const DefaultsValues& one, const DefaultsValues& other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](const auto& a, const auto& b) {
    return a.first == b.first && (a.second == b.second || (isNan(a.second) && isNan(b.second)));
  });
}

}  // namespace

// What the queue's tasks and the caller share. Members below "queue" belong to the queue, those with a lock
// to the lock.
class TomlUserDefaults::File : public std::enable_shared_from_this<File> {
 public:
  File(std::string path, WriteGate mayWrite, Queue& queue)
      : path_(std::move(path)), mayWrite_(std::move(mayWrite)), queue_(queue) {}

  std::optional<DefaultsValue> object(const std::string& key) const {
    const LockGuard guard(mutex_);
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }

  std::vector<std::string> keys() const {
    const LockGuard guard(mutex_);
    std::vector<std::string> keys = otherKeys_;
    for (const auto& [key, value] : values_) keys.push_back(key);
    return keys;
  }

  void set(const std::string& key, std::optional<DefaultsValue> value) {
    if (value && isNan(*value) && std::holds_alternative<Date>(*value)) value.reset();
    const LockGuard guard(mutex_);
    apply(values_, key, value);
    unsaved_[key] = {std::move(value), ++changes_};
    if (!std::exchange(isSaveDue_, true)) onQueue([](File& file) { file.reconcile(false); });
  }

  void observe(std::shared_ptr<Task> announce) {
    {
      const LockGuard guard(mutex_);
      announce_ = std::move(announce);
    }
    onQueue([](File& file) {
      if (file.watch_ == nullptr) {
        file.watch_ = std::make_unique<FileWatch>(file.queue_, [raw = &file] { raw->reconcile(false); });
      }
      file.reconcile(false);
    });
  }

  void checkForChanges() {
    onQueue([](File& file) {
      if (file.mustLook_ || file.identityNow() != file.identity_) file.reconcile(false);
    });
  }

  // Brings file and memory together: takes what changed on disk, then saves what changed in memory. Ends
  // early, to come back after the gap, when the file has just gone and it is not `certain` that it stays so.
  std::optional<FileError> reconcile(bool certain);

  void end() {
    watch_.reset();
    afterGap_.reset();
  }

  Queue& queue() const { return queue_; }

 private:
  struct Change {
    std::optional<DefaultsValue> value;
    std::uint64_t number = 0;
  };

  static void apply(DefaultsValues& values, const std::string& key,
                    const std::optional<DefaultsValue>& value) {
    if (value)
      values.insert_or_assign(key, *value);
    else
      values.erase(key);
  }

  template <class Work>
  void onQueue(Work work) {
    queue_.async([weak = weak_from_this(), work] {
      if (const auto file = weak.lock()) work(*file);
    });
  }

  std::optional<Identity> identityNow() const;
  void addToWatch();
  std::optional<FileError> read();
  std::optional<FileError> save();
  std::optional<FileError> write(const std::string& text);
  void publish();
  void report(const std::optional<FileError>& error);

  const std::string path_;
  const WriteGate mayWrite_;
  Queue& queue_;
  const Log log_{"com.vigilo.app", "settings"};

  // queue
  TomlDocument document_;             // what was last good
  std::optional<Identity> identity_;  // of the file when it was last read; absent without a file
  bool wasThere_ = false;
  bool mustLook_ = false;  // the next look reads the file whatever its identity
  std::unique_ptr<FileWatch> watch_;
  CancelToken afterGap_;
  FailureEpisode failure_;

  mutable Mutex mutex_;
  DefaultsValues values_ VIGILO_GUARDED_BY(mutex_);               // the document's, under the unsaved changes
  std::vector<std::string> otherKeys_ VIGILO_GUARDED_BY(mutex_);  // the document's
  std::map<std::string, Change> unsaved_ VIGILO_GUARDED_BY(mutex_);
  std::uint64_t changes_ VIGILO_GUARDED_BY(mutex_) = 0;
  bool isSaveDue_ VIGILO_GUARDED_BY(mutex_) = false;
  std::shared_ptr<Task> announce_ VIGILO_GUARDED_BY(mutex_);
};

std::optional<Identity> TomlUserDefaults::File::identityNow() const {
  struct stat status {};
  if (::stat(path_.c_str(), &status) != 0) return std::nullopt;
  return identityOf(status);
}

void TomlUserDefaults::File::addToWatch() {
  if (watch_ == nullptr) return;
  watch_->add(path_);
  watch_->add(withoutLinks(path_));
}

std::optional<FileError> TomlUserDefaults::File::reconcile(bool certain) {
  {
    const LockGuard guard(mutex_);
    isSaveDue_ = false;
  }
  addToWatch();
  struct stat status {};
  const bool isThere = ::stat(path_.c_str(), &status) == 0 || errno != ENOENT;
  if (wasThere_ && !isThere && !certain) {
    afterGap_ = queue_.timer(gap, Duration::zero(), [this] { reconcile(true); });
    return std::nullopt;
  }
  afterGap_.reset();
  mustLook_ = false;
  std::optional<FileError> error = read();
  if (!error) error = save();
  publish();
  report(error);
  return error;
}

std::optional<FileError> TomlUserDefaults::File::read() {
  struct stat status {};
  identity_.reset();
  wasThere_ = false;
  if (::stat(path_.c_str(), &status) != 0) {
    if (errno != ENOENT) return FileError{errno, path_ + ": " + std::strerror(errno)};
    document_ = {};
    return std::nullopt;
  }
  identity_ = identityOf(status);
  wasThere_ = true;
  // Opening anything else could wait for ever.
  if (!S_ISREG(status.st_mode)) return FileError{EINVAL, path_ + ": not a file"};
  auto text = readFile(path_, largestFile);
  if (!text) return text.error();
  if (*text == document_.text()) return std::nullopt;
  auto document = TomlDocument::parse(*std::move(text));
  if (!document) return FileError{EINVAL, path_ + ": " + document.error().description};
  document_ = *std::move(document);
  return std::nullopt;
}

std::optional<FileError> TomlUserDefaults::File::save() {
  std::map<std::string, Change> changes;
  {
    const LockGuard guard(mutex_);
    changes = unsaved_;
  }
  TomlDocument next = document_;
  std::optional<FileError> refused;
  for (auto at = changes.begin(); at != changes.end();) {
    auto changed = next.with(at->first, at->second.value);
    if (changed) {
      next = *std::move(changed);
      ++at;
    } else {
      refused = FileError{EINVAL, path_ + ": " + changed.error().description};
      at = changes.erase(at);
    }
  }
  if (next.text() != document_.text()) {
    if (auto error = write(next.text())) return error;
  }
  document_ = std::move(next);
  const LockGuard guard(mutex_);
  std::erase_if(unsaved_, [&](const auto& entry) {
    const auto saved = changes.find(entry.first);
    return saved != changes.end() && saved->second.number == entry.second.number;
  });
  return refused;
}

std::optional<FileError> TomlUserDefaults::File::write(const std::string& text) {
  // After a success because whoever writes next may do so at any moment, after a failure to try again.
  mustLook_ = true;
  // Permission is for the path as it was given, not for where a link leads.
  if (!mayWrite_(path_)) return FileError{EPERM, path_ + ": Vigilo does not write here"};
  if (auto error = replaceFile(withoutLinks(path_), text, [](const auto&) { return true; })) return error;
  wasThere_ = true;
  addToWatch();
  return std::nullopt;
}

// Whoever sets a value changes memory at once, so whatever differs here came from outside.
void TomlUserDefaults::File::publish() {
  std::shared_ptr<Task> announce;
  {
    const LockGuard guard(mutex_);
    DefaultsValues values = document_.values();
    for (const auto& [key, change] : unsaved_) apply(values, key, change.value);
    if (areSame(values, values_) && otherKeys_ == document_.otherKeys()) return;
    values_ = std::move(values);
    otherKeys_ = document_.otherKeys();
    announce = announce_;
  }
  if (announce) (*announce)();
}

void TomlUserDefaults::File::report(const std::optional<FileError>& error) {
  if (!error) {
    if (failure_.ends()) log_.info("Settings file is in order again: %s", path_);
  } else if (failure_.begins(error->description)) {
    log_.error("Settings file is not usable, going on with the settings in memory: %s", error->description);
  }
}

TomlUserDefaults::TomlUserDefaults(std::string path, WriteGate mayWrite, Queue& queue)
    : file_(std::make_shared<File>(std::move(path), std::move(mayWrite), queue)) {
  queue.sync([this] { file_->reconcile(true); });
}

TomlUserDefaults::~TomlUserDefaults() {
  file_->queue().sync([this] {
    file_->reconcile(true);
    file_->end();
  });
}

std::optional<DefaultsValue> TomlUserDefaults::object(const std::string& key) const {
  return file_->object(key);
}

std::vector<std::string> TomlUserDefaults::keys() const {
  return file_->keys();
}

void TomlUserDefaults::set(const std::string& key, std::optional<DefaultsValue> value) {
  file_->set(key, std::move(value));
}

std::optional<FileError> TomlUserDefaults::synchronize() {
  std::optional<FileError> error;
  file_->queue().sync([&] { error = file_->reconcile(true); });
  return error;
}

CancelToken TomlUserDefaults::observe(Queue& queue, Task changed) {
  struct Token final : Cancellable {
    std::shared_ptr<std::atomic<bool>> isLive = std::make_shared<std::atomic<bool>>(true);
    ~Token() override { *isLive = false; }
  };
  auto token = std::make_unique<Token>();
  file_->observe(std::make_shared<Task>([&queue, changed = std::move(changed), isLive = token->isLive] {
    if (!*isLive) return;
    queue.async([changed, isLive] {
      if (*isLive) changed();
    });
  }));
  return token;
}

void TomlUserDefaults::checkForChanges() {
  file_->checkForChanges();
}

std::unique_ptr<UserDefaults> makeUserDefaults(const Directories& directories, WriteGate mayWrite,
                                               Queue& queue) {
  return std::make_unique<TomlUserDefaults>(directories.preferences + "/com.vigilo.app.toml",
                                            std::move(mayWrite), queue);
}

}  // namespace vigilo
