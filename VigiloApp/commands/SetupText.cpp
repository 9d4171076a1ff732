#include "VigiloApp/commands/SetupText.h"

#include "support/RecordCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(SetupReport);

namespace {

std::string endedLine(const std::string& text) {
  return text.ends_with('\n') ? text : text + "\n";
}

std::string variantText(const SetupVariant& variant) {
  return "=== " + variant.title + " ===\n\nFor " + variant.configPath + ":\n\n" + endedLine(variant.snippet) +
         "\n" + endedLine(variant.instructions);
}

}  // namespace

SetupReport setupReport(const AgentAdapter& adapter, const std::string& relay) {
  SetupReport report{
      .agent = adapter.agentType(), .displayName = displayName(adapter.agentType()), .relayPath = relay};
  const std::string instructions = adapter.manualSetupInstructions().value_or("");
  const auto path = adapter.targetConfigPath();
  if (!path) {
    report.instructions = instructions;
    return report;
  }
  const auto current = adapter.currentReleaseSetup(relay);
  if (current) {
    report.reason = current->reason;
    report.variants.push_back({.title = "Variant 1, for current releases: TAKE THIS ONE",
                               .isRecommended = true,
                               .configPath = current->configPath,
                               .snippet = current->snippet,
                               .instructions = current->instructions});
  }
  report.variants.push_back({.title = current ? "Variant 2, the plain form" : "The configuration",
                             .isRecommended = !current,
                             .configPath = *path,
                             .snippet = adapter.manualSetupSnippet(relay),
                             .instructions = instructions});
  return report;
}

std::string setupText(const SetupReport& report) {
  if (report.variants.empty()) return endedLine(report.instructions);
  std::string text =
      "How " + report.displayName + " tells Vigilo what it is doing. Vigilo itself changes no file.\n";
  if (report.reason) text += "Take variant 1: " + *report.reason + "\n";
  for (const auto& variant : report.variants) text += "\n" + variantText(variant);
  return text + "\nThen `vigilo setup " + std::string(rawValue(report.agent)) +
         " --check` waits for the first event.\n";
}

}  // namespace vigilo
