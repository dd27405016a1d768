// Building and dropping large IR graphs: a chain of element-wise ops, each with a static
// operand, so that the graph holds about 2n tensors and n ops.

#include <benchmark/benchmark.h>

#include "modeltools/ir/IrGraph.hpp"
#include "support/BenchSupport.hpp"

namespace {

using namespace modeltools;

void buildChain(IrGraph& graph, int64_t length) {
  graph.addTensor(TensorFields{.name = "input", .shape = IrTensorShape({1, 16}), .kind = tensorkind::kGraphInput});
  float weights[16] = {};
  std::string previous = "input";
  for (int64_t i = 0; i < length; ++i) {
    const std::string index = std::to_string(i);
    graph.addStaticTensor(TensorFields{.name = "w_" + index, .shape = IrTensorShape({1, 16}), .kind = tensorkind::kStatic},
                          weights, sizeof weights);
    auto op = std::make_shared<ops::IrOp>("add_" + index, "Eltwise_Binary", std::make_shared<IrAttributes>());
    op->attrs()->add("operation", uint32_t{0}, attrcategory::kBackendParam);
    graph.addOp(op, {previous, "w_" + index}, {"t_" + index}, {IrTensorShape({1, 16})}, {}, -1, false);
    previous = "t_" + index;
  }
}

void BM_BuildAndDropGraph(benchmark::State& state) {
  for (auto _ : state) {
    auto graph = std::make_unique<IrGraph>("chain");
    buildChain(*graph, state.range(0));
    benchmark::DoNotOptimize(graph->getOps().size());
    graph.reset();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  vrx::bench::reportPeakMemory(state);
}
BENCHMARK(BM_BuildAndDropGraph)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Positional edits in the middle of the execution order, as rewrites make them.
void BM_InsertAndEraseInTheMiddle(benchmark::State& state) {
  IrGraph graph("chain");
  buildChain(graph, state.range(0));
  auto& order = const_cast<OpSequence&>(graph.getOps());
  auto extra = std::make_shared<ops::IrOp>("extra", "Relu", nullptr);
  for (auto _ : state) {
    order.insert(order.size() / 2, extra);
    benchmark::DoNotOptimize(order.indexOf(extra.get()));
    order.erase(extra.get());
  }
}
BENCHMARK(BM_InsertAndEraseInTheMiddle)->Arg(1000)->Arg(100000);

}  // namespace
