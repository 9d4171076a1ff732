#pragma once

#include <memory>
#include <vector>

#include "platform/Directories.h"
#include "support/AsioQueue.h"
#include "support/Date.h"
#include "usage/UsageProvider.h"

namespace vigilo {

// The providers of this user's agents, in the order in which they are started and asked, each with a queue of
// its own.
class UsageProviders {
 public:
  explicit UsageProviders(const Directories& directories);

  const std::vector<std::shared_ptr<UsageProvider>>& all() const { return providers_; }
  // Ends the queues; nothing is read afterwards.
  void stopAndWait();

 private:
  template <class Provider>
  void add(const Directories& directories);

  std::vector<std::unique_ptr<AsioQueue>> queues_;
  std::vector<std::shared_ptr<UsageProvider>> providers_;
};

}  // namespace vigilo
