#include "support/SocketWaitingRoom.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>

namespace vigilo {
namespace {

// Bytes, an end of file or an error: anything that a read would not wait for.
bool isReadable(int fd) {
  pollfd entry{fd, POLLIN, 0};
  return ::poll(&entry, 1, 0) > 0;
}

}  // namespace

SocketWaitingRoom::SocketWaitingRoom(Queue& queue, Limits limits, Handler handler)
    : queue_(queue), limits_(limits), handler_(std::move(handler)) {}

SocketWaitingRoom::~SocketWaitingRoom() {
  // Each source lets go of its descriptor before the descriptor closes.
  for (auto& entry : entries_) entry.source.reset();
}

void SocketWaitingRoom::admit(UniqueFd fd) {
  if (!serveIfReady(fd)) enter(std::move(fd));
}

void SocketWaitingRoom::admit(std::list<UniqueFd> batch) {
  batch.remove_if([this](UniqueFd& fd) { return serveIfReady(fd); });
  for (auto& fd : batch) admit(std::move(fd));
}

bool SocketWaitingRoom::serveIfReady(UniqueFd& fd) {
  if (!isReadable(fd.get())) return false;
  const auto user = peerUserId(fd.get());
  handler_({std::move(fd), user});
  return true;
}

void SocketWaitingRoom::enter(UniqueFd fd) {
  ::fcntl(fd.get(), F_SETFL, O_NONBLOCK);
  const auto user = peerUserId(fd.get());
  const auto sameUser = [&](const Entry& entry) { return entry.user == user; };
  if (static_cast<std::size_t>(std::count_if(entries_.begin(), entries_.end(), sameUser)) >=
      limits_.perUser) {
    evict(std::find_if(entries_.begin(), entries_.end(), sameUser));
  }
  if (entries_.size() >= limits_.inAll) evict(entries_.begin());
  entries_.push_back({std::move(fd), user, std::chrono::steady_clock::now(), nullptr});
  const auto entry = std::prev(entries_.end());
  entry->source = queue_.readSource(entry->fd.get(), [this, entry] { serve(entry); });
  if (silenceTimer_ == nullptr) armSilenceTimer();
}

void SocketWaitingRoom::serve(Entries::iterator entry) {
  entry->source.reset();
  ReadyConnection ready{std::move(entry->fd), entry->user};
  entries_.erase(entry);
  handler_(std::move(ready));
}

// Makes room. A client that has written by now is served all the same: only silence costs it its place.
void SocketWaitingRoom::evict(Entries::iterator entry) {
  if (isReadable(entry->fd.get())) return serve(entry);
  entry->source.reset();
  entries_.erase(entry);
}

// One timer for the oldest entry, and none while nobody waits.
void SocketWaitingRoom::armSilenceTimer() {
  silenceTimer_.reset();
  if (!limits_.silence || entries_.empty()) return;
  const auto due = entries_.front().since + *limits_.silence;
  const Duration delay = std::max<Duration>(due - std::chrono::steady_clock::now(), Duration::zero());
  silenceTimer_ = queue_.timer(delay, Duration::zero(), [this] {
    const auto now = std::chrono::steady_clock::now();
    while (!entries_.empty() && entries_.front().since + *limits_.silence <= now) evict(entries_.begin());
    armSilenceTimer();
  });
}

}  // namespace vigilo
