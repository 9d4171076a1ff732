#include "VigiloApp/host/UsageProviders.h"

#include "usage/ClaudeUsageProvider.h"
#include "usage/CodexUsageProvider.h"
#include "usage/OpenCodeUsageProvider.h"

namespace vigilo {

UsageProviders::UsageProviders(const Directories& directories) {
  add<CodexUsageProvider>(directories);
  add<OpenCodeUsageProvider>(directories);
  add<ClaudeUsageProvider>(directories);
}

template <class Provider>
void UsageProviders::add(const Directories& directories) {
  queues_.push_back(AsioQueue::withThread(Provider::queueLabel));
  providers_.push_back(std::make_shared<Provider>(directories, *queues_.back(), Date::now));
}

void UsageProviders::stopAndWait() {
  for (const auto& queue : queues_) queue->stopAndWait();
}

}  // namespace vigilo
