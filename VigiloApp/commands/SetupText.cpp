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
  report.variants.push_back({.title = current ? "Variant 1: the plain form" : "The configuration",
                             .isRecommended = !current,
                             .configPath = *path,
                             .snippet = adapter.manualSetupSnippet(relay),
                             .instructions = instructions});
  if (current) {
    report.reason = current->reason;
    report.variants.push_back({.title = "Variant 2: for current releases. USE THIS ONE",
                               .isRecommended = true,
                               .configPath = current->configPath,
                               .snippet = current->snippet,
                               .instructions = current->instructions});
  }
  return report;
}

std::string setupText(const SetupReport& report) {
  if (report.variants.empty()) return endedLine(report.instructions);
  std::string text =
      "How " + report.displayName + " tells Vigilo what it is doing. Vigilo itself changes no file.\n";
  if (report.reason) text += "Use variant 2, at the end: " + *report.reason + "\n";
  for (const auto& variant : report.variants) text += "\n" + variantText(variant);
  return text + "\nThen `vigilo setup " + std::string(rawValue(report.agent)) +
         " --check` waits for the first event.\n";
}

}  // namespace vigilo
