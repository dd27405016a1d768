// One rule sweep over long chains: Relu, Identity, Relu, Identity, ... of n ops. Each op is
// matched once, so the cost of a sweep must grow with n and no faster.
//
// - SquashIdentities: a rule that squashes every Identity with squashIdentity (n/2 rewrites).
// - DeclineEverywhere: a rule whose pattern matches every op and whose rewrite declines.
// - SquashIdentitiesWithTrace: as the first, with a trace record for every op and tensor, so
//   that every squash also moves trace records (found through the graph's trace index).

#include <benchmark/benchmark.h>

#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/iroptimizer/RuleEngine.hpp"
#include "support/BenchSupport.hpp"

namespace {

using namespace modeltools;
using namespace modeltools::iroptimizer;

std::unique_ptr<IrGraph> buildChain(int64_t length, bool withTrace) {
  auto graph = std::make_unique<IrGraph>("chain");
  graph->addTensor(TensorFields{.name = "input", .shape = IrTensorShape({1, 16}), .kind = tensorkind::kGraphInput});
  std::string previous = "input";
  for (int64_t i = 0; i < length; ++i) {
    const std::string name = "op_" + std::to_string(i);
    auto op = std::make_shared<ops::IrOp>(name, i % 2 == 0 ? "Relu" : "Identity", nullptr);
    graph->addOp(op, {previous}, {name}, {IrTensorShape({1, 16})}, {}, -1, false);
    if (withTrace) {
      graph->setTraceSources(tracekind::kOp, name, {{tracekind::kOp, "src_" + name}});
      graph->setTraceSources(tracekind::kTensor, name, {{tracekind::kTensor, "src_" + name}});
    }
    previous = name;
  }
  graph->updateTensorType(previous, tensorkind::kGraphOutput);
  return graph;
}

class SquashIdentityRule : public MatchAndRewriteRule {
 public:
  SquashIdentityRule() { pattern = isOpType("Identity"); }
  bool rewriteCallback(IrGraph& graph, const CaptureMap& captures) override {
    graph.squashIdentity(captures.at(pattern), true);
    return true;
  }
};

class DecliningRule : public MatchAndRewriteRule {
 public:
  DecliningRule() { pattern = op(isWildcard(), {isWildcard()}); }
  bool rewriteCallback(IrGraph&, const CaptureMap&) override { return false; }
};

void sweepFreshGraphs(benchmark::State& state, bool withTrace) {
  SquashIdentityRule rule;
  for (auto _ : state) {
    state.PauseTiming();
    auto graph = buildChain(state.range(0), withTrace);
    state.ResumeTiming();
    benchmark::DoNotOptimize(rule.apply(*graph, 0));
    state.PauseTiming();
    if (graph->getOps().size() != static_cast<size_t>(state.range(0) / 2)) state.SkipWithError("identities left");
    graph.reset();
    state.ResumeTiming();
  }
  state.SetComplexityN(state.range(0));
  vrx::bench::reportPeakMemory(state);
}

void BM_SquashIdentities(benchmark::State& state) { sweepFreshGraphs(state, false); }
BENCHMARK(BM_SquashIdentities)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

void BM_DeclineEverywhere(benchmark::State& state) {
  auto graph = buildChain(state.range(0), false);
  DecliningRule rule;
  for (auto _ : state) benchmark::DoNotOptimize(rule.apply(*graph, 0));
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_DeclineEverywhere)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

void BM_SquashIdentitiesWithTrace(benchmark::State& state) { sweepFreshGraphs(state, true); }
BENCHMARK(BM_SquashIdentitiesWithTrace)->Arg(1000)->Arg(4000)->Arg(16000)->Unit(benchmark::kMillisecond);

}  // namespace
