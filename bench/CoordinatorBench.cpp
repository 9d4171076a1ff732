// One whole evaluation of the host: gathering every input, the decision, the published session list and what it hands
// to the holds queue. Limits: 50 us with 100 sessions, 10 ms with 10,000, growing in proportion.

#include <benchmark/benchmark.h>

#include "tests/simulation/World.h"

namespace vigilo {
namespace {

void evaluate(benchmark::State& state) {
  test::World world;
  world.startHelper();
  world.startHost();
  for (int i = 0; i < state.range(0); ++i) {
    world.event(static_cast<AgentType>(i % 9), i % 3 == 0 ? AgentState::working : AgentState::idle,
                "c353b3b5-2d00-4904-8d43-cf583e4e" + std::to_string(i));
  }
  world.run(0);
  for (auto _ : state) {
    world.host().evaluate();
    state.PauseTiming();
    world.run(0);
    state.ResumeTiming();
  }
}

BENCHMARK(evaluate)->Arg(0)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vigilo
