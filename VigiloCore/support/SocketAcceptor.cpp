#include "support/SocketAcceptor.h"

#include <cerrno>
#include <chrono>

namespace vigilo {
namespace {

using namespace std::chrono_literals;

// Connections taken in one turn, so that a flood cannot keep the queue's other work waiting for ever.
constexpr int mostPerTurn = 64;
constexpr auto pauseAfterFailure = 100ms;

}  // namespace

SocketAcceptor::SocketAcceptor(Queue& queue, UniqueFd listening, SocketWaitingRoom::Limits limits,
                               SocketWaitingRoom::Handler handler)
    : queue_(queue), listening_(std::move(listening)), waitingRoom_(queue, limits, std::move(handler)) {
  watch();
}

SocketAcceptor::~SocketAcceptor() {
  source_.reset();
}

void SocketAcceptor::watch() {
  pause_.reset();
  source_ = queue_.readSource(listening_.get(), [this] { acceptWaiting(); });
}

void SocketAcceptor::acceptWaiting() {
  std::list<UniqueFd> batch;
  for (int taken = 0; taken < mostPerTurn; ++taken) {
    UniqueFd connection = acceptConnection(listening_.get());
    if (connection) {
      batch.push_back(std::move(connection));
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
      source_.reset();
      pause_ = queue_.timer(pauseAfterFailure, Duration::zero(), [this] { watch(); });
    }
    break;
  }
  waitingRoom_.admit(std::move(batch));
}

}  // namespace vigilo
