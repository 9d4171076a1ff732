#include "helper/VigiloSocketClient.h"

#include "support/UnixSocket.h"

namespace vigilo {

bool VigiloSocketClient::send(const HookEvent& event, int timeoutMs) const {
  const auto json = encodeHookEvent(event);
  return json && sendRaw(*json, timeoutMs);
}

bool VigiloSocketClient::sendRaw(std::string_view data, int timeoutMs) const {
  return sendToUnixSocket(socketPath, data, timeoutMs);
}

}  // namespace vigilo
