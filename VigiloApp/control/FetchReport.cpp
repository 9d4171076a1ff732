#include "VigiloApp/control/FetchReport.h"

#include <utility>

namespace vigilo {
namespace {

FetchedReport failure(const std::optional<ControlResponse>& response) {
  if (!response) return {std::nullopt, exitNoHost, "no host runs"};
  return {std::nullopt, response->exitCode == exitOk ? exitUnavailable : response->exitCode,
          response->message.value_or("the running host sent no report")};
}

}  // namespace

FetchedReport fetchReport(const ControlClient& client, ControlCommand command,
                          std::optional<TextPage> ControlResponse::*field) {
  std::string text;
  ControlRequest request{.command = command};
  for (;;) {
    const auto response = client.request(request);
    if (!response || !((*response).*field)) return failure(response);
    const TextPage& page = *((*response).*field);
    text += page.text;
    if (page.remaining <= 0) return {std::move(text), exitOk, {}};
    if (page.text.empty()) return {std::nullopt, exitUnavailable, "the running host's report has a gap"};
    request.key = page.id;
    request.offset = static_cast<std::int64_t>(text.size());
  }
}

}  // namespace vigilo
