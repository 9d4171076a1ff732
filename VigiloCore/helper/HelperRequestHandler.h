#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "helper/DeepHoldLeaseStore.h"
#include "helper/HelperProtocol.h"
#include "support/Log.h"

namespace vigilo {

struct HelperReply {
  std::string bytes;            // the response's JSON text
  bool uninstallAsked = false;  // remove the socket and stop, once the answer is on its way
};

// Answers one helper request: decodes and checks it, runs it on the lease store, and encodes the store's
// status with the result. No sockets.
//
// Bytes that are no request, and a time to live beyond what a lease may last, are refused as an "Invalid
// helper command" before anything changes. While a hold is in force it belongs to the user whose connection
// acquired it (after a restart of the daemon: the first to acquire or renew): of anybody else, root aside,
// only `status` is answered with `ok` true.
//
// Lives on the daemon's queue: not thread-safe. The store must outlive it.
class HelperRequestHandler {
 public:
  explicit HelperRequestHandler(DeepHoldLeaseStore& store) : store_(store) {}

  // `peer` is the user at the other end; absent where the system does not say.
  HelperReply handle(std::string_view bytes, std::optional<uid_t> peer);

 private:
  struct Command;
  static const Command& find(HelperCommand command);

  bool run(const Command& command, const HelperRequest& request, std::optional<uid_t> peer);
  bool isRefusedTo(std::optional<uid_t> peer);

  bool status(const HelperRequest&) { return true; }
  bool acquire(const HelperRequest& request);
  bool renew(const HelperRequest& request);
  bool release(const HelperRequest& request);
  bool uninstall(const HelperRequest& request);

  DeepHoldLeaseStore& store_;
  std::optional<uid_t> holder_;  // of the hold in force; absent after a restart
  FailureEpisode refusals_;
};

}  // namespace vigilo
