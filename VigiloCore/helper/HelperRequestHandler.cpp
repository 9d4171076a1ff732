#include "helper/HelperRequestHandler.h"

#include "support/RecordCoder.h"
#include "support/Uuid.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.helper", "daemon"};

double ttlOf(const HelperRequest& request) {
  return request.ttlSeconds.value_or(defaultLeaseSeconds);
}

bool isLeasable(double seconds) {
  return fitsWholeSeconds(seconds) && seconds <= longestLeaseSeconds;
}

std::string userName(std::optional<uid_t> user) {
  return user ? std::to_string(*user) : "unknown";
}

HelperResponse invalidCommand(const std::string& description) {
  HelperResponse response;
  response.error = "Invalid helper command: " + description;
  return response;
}

}  // namespace

struct HelperRequestHandler::Command {
  HelperCommand command;
  bool (HelperRequestHandler::*run)(const HelperRequest&);
  bool changes;  // subject to the holder rule
  bool leases;   // takes or extends a lease: its time to live counts, and its peer may become the holder
};

const HelperRequestHandler::Command& HelperRequestHandler::find(HelperCommand command) {
  using Handler = HelperRequestHandler;
  static constexpr Command table[] = {
      {HelperCommand::status, &Handler::status, false, false},
      {HelperCommand::acquire, &Handler::acquire, true, true},
      {HelperCommand::renew, &Handler::renew, true, true},
      {HelperCommand::release, &Handler::release, true, false},
      {HelperCommand::uninstall, &Handler::uninstall, true, false},
  };
  for (const auto& entry : table) {
    if (entry.command == command) return entry;
  }
  fatal("a helper command without an entry");
}

HelperReply HelperRequestHandler::handle(std::string_view bytes, std::optional<uid_t> peer) {
  const auto request = decodeRecord<HelperRequest>(bytes);
  if (!request) return {encodeRecord(invalidCommand(request.error().description))};
  const Command& command = find(request->command);
  if (command.leases && !isLeasable(ttlOf(*request))) {
    return {encodeRecord(invalidCommand("ttlSeconds: expected at most 86400"))};
  }
  if (command.leases && request->leaseId.value_or("").size() > longestLeaseId) {
    return {encodeRecord(invalidCommand("leaseId: expected at most 256 bytes"))};
  }
  HelperResponse response;
  const bool refused = command.changes && isRefusedTo(peer);
  response.ok = !refused && run(command, *request, peer);
  response.status = store_.status();
  if (store_.isHolding() && holder_) response.status->holderUserId = *holder_;
  return {encodeRecord(response), !refused && request->command == HelperCommand::uninstall};
}

bool HelperRequestHandler::run(const Command& command, const HelperRequest& request,
                               std::optional<uid_t> peer) {
  const bool wasHolding = store_.isHolding();
  const bool ok = (this->*command.run)(request);
  // A renewal does not take a known holder's place: root may renew for a user.
  const bool becomesHolder = request.command == HelperCommand::acquire || !holder_;
  if (ok && command.leases && becomesHolder) holder_ = peer;
  if (!wasHolding && store_.isHolding()) refusals_.ends();
  return ok;
}

bool HelperRequestHandler::isRefusedTo(std::optional<uid_t> peer) {
  if (!store_.isHolding() || !holder_ || peer == holder_ || peer == uid_t{0}) return false;
  if (refusals_.begins(userName(peer))) {
    logger.info("Requests of user %s are refused: the deep hold is user %s's", userName(peer),
                userName(holder_));
  }
  return true;
}

bool HelperRequestHandler::acquire(const HelperRequest& request) {
  return store_.acquire(request.leaseId ? *request.leaseId : makeUuid(), ttlOf(request));
}

bool HelperRequestHandler::renew(const HelperRequest& request) {
  return store_.renew(request.leaseId.value_or(""), ttlOf(request));
}

bool HelperRequestHandler::release(const HelperRequest& request) {
  return store_.release(request.leaseId);
}

bool HelperRequestHandler::uninstall(const HelperRequest&) {
  return store_.release(std::nullopt);
}

}  // namespace vigilo
