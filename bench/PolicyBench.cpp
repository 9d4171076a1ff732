#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "policy/WakePolicyEngine.h"

namespace vigilo {
namespace {

// One evaluation with so many sessions, all of which work: the longest path through the engine.
void evaluate(benchmark::State& state) {
  PolicyEvaluationContext context;
  context.now = Date{800000000};
  auto sessions = std::make_shared<SessionTable>();
  for (int i = 0; i < state.range(0); ++i) {
    AgentSession session;
    session.id = "session-" + std::to_string(i);
    session.agentType = static_cast<AgentType>(i % 9);
    session.state = AgentState::working;
    session.lastEventAt = context.now - 1;
    sessions->emplace(session.id, session);
  }
  context.sessions = sessions;
  const WakePolicyEngine engine;
  for (auto _ : state) benchmark::DoNotOptimize(engine.evaluate(context));
}
BENCHMARK(evaluate)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vigilo
