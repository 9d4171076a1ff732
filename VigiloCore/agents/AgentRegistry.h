#pragma once

#include <future>
#include <map>
#include <memory>
#include <vector>

#include "agents/AgentAdapter.h"
#include "agents/AgentSurroundings.h"
#include "support/Mutex.h"

namespace vigilo {

// Holds one adapter for each agent type. Thread-safe: one lock guards the table; the adapters are used with
// no lock held.
class AgentRegistry {
 public:
  using Adapter = std::shared_ptr<const AgentAdapter>;

  explicit AgentRegistry(AgentSurroundings surroundings) : surroundings_(std::move(surroundings)) {}

  // What the program installed, null before. The registry must outlive its use.
  static AgentRegistry* shared();
  static void installShared(AgentRegistry* registry);

  // Fills the table with the eight agents that the system knows.
  void registerDefaultAdapters();

  // Null for a type that has none.
  Adapter adapter(AgentType agent) const;
  // In the order of AgentType.
  std::vector<Adapter> allAdapters() const;
  // Looks at all agents at once.
  std::future<std::map<AgentType, IntegrationStatus>> detectAll() const;

 private:
  const AgentSurroundings surroundings_;
  mutable Mutex mutex_;
  std::map<AgentType, Adapter> adapters_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
