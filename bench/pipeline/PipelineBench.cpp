// The whole road through the exports, every pass allowed, on synthetic networks: chains of
// convolutions and activations with identity ops sprinkled in (a reshape to the same shape,
// a transpose with the identity permutation, a multiplication by ones).

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "VrxGraphTransformer.h"
#include "modeltools/iroptimizer/PassIds.hpp"
#include "support/BenchSupport.hpp"

namespace {

// A backend that only counts what it receives.
struct CountingBackend {
  static inline uint64_t nodes = 0;
  static inline uint32_t nextId = 1;
  static Vrx_Status_t validate(Vrx_BackendHandle_t, Vrx_OpConfig_t) { return 0; }
  static Vrx_Status_t addNode(Vrx_GraphHandle_t, Vrx_OpConfig_t) {
    ++nodes;
    return 0;
  }
  static Vrx_Status_t finalize(Vrx_GraphHandle_t, void*, void*) { return 0; }
  static Vrx_Status_t createTensor(Vrx_GraphHandle_t, Vrx_Tensor_t* tensor) {
    tensor->id = nextId++;
    return 0;
  }
  static VrxBackendFunctionTable table() {
    VrxBackendFunctionTable t{};
    t.validateOpConfig = validate;
    t.addNode = addNode;
    t.graphFinalize = finalize;
    t.createGraphTensor = createTensor;
    return t;
  }
};

// Records of one synthetic network, kept alive until the graph is finalized.
class SyntheticNetwork {
 public:
  explicit SyntheticNetwork(int64_t ops) { build(ops); }

  // The first status that isn't 0, or 0.
  Vrx_Status_t sendTo(Vrx_GraphHandle_t graph) {
    Vrx_Status_t status = 0;
    for (auto& tensor : tensors_) status = status ? status : VrxGraphTransformer_addGraphTensor(graph, &tensor);
    for (auto& node : nodes_) status = status ? status : VrxGraphTransformer_addNode(graph, node.config);
    return status;
  }

 private:
  struct Node {
    std::vector<Vrx_Param_t> params;
    std::vector<Vrx_Tensor_t> inputs;
    std::vector<Vrx_Tensor_t> outputs;
    Vrx_OpConfig_t config{};
  };

  const char* text(const std::string& s) { return strings_.emplace_back(s).c_str(); }
  uint32_t* words(std::vector<uint32_t> values) { return words_.emplace_back(std::move(values)).data(); }

  Vrx_Tensor_t tensor(const std::string& name, uint32_t type, std::vector<uint32_t> dims) {
    Vrx_Tensor_t t{};
    t.version = 2;
    t.name = text(name);
    t.type = type;
    t.dataType = VRX_DATATYPE_FLOAT_32;
    t.quantizeParams.encodingDefinition = VRX_DEFINITION_UNDEFINED;
    t.quantizeParams.quantizationEncoding = VRX_QUANTIZATION_ENCODING_UNDEFINED;
    t.rank = static_cast<uint32_t>(dims.size());
    t.dimensions = words(std::move(dims));
    t.sparseParams.layout = VRX_SPARSE_LAYOUT_UNDEFINED;
    return t;
  }

  Vrx_Tensor_t constant(const std::string& name, std::vector<uint32_t> dims, float value) {
    Vrx_Tensor_t t = tensor(name, VRX_TENSORTYPE_STATIC, dims);
    size_t count = 1;
    for (uint32_t d : dims) count *= d;
    auto& data = floats_.emplace_back(count, value);
    t.clientBuf.data = data.data();
    t.clientBuf.dataSize = static_cast<uint32_t>(count * sizeof(float));
    return t;
  }

  Vrx_Param_t listParam(const std::string& name, std::vector<uint32_t> values, std::vector<uint32_t> dims) {
    Vrx_Param_t p{};
    p.paramType = VRX_PARAMTYPE_TENSOR;
    p.name = text(name);
    p.tensor = tensor(name, VRX_TENSORTYPE_STATIC, std::move(dims));
    p.tensor.dataType = VRX_DATATYPE_UINT_32;
    p.tensor.clientBuf.dataSize = static_cast<uint32_t>(values.size() * sizeof(uint32_t));
    p.tensor.clientBuf.data = words(std::move(values));
    return p;
  }

  void addNode(const std::string& name, const std::string& type, std::vector<Vrx_Tensor_t> inputs,
               std::vector<Vrx_Tensor_t> outputs, std::vector<Vrx_Param_t> params = {}) {
    Node& node = nodes_.emplace_back();
    node.params = std::move(params);
    node.inputs = std::move(inputs);
    node.outputs = std::move(outputs);
    node.config.version = 1;
    node.config.name = text(name);
    node.config.packageName = "vrx.core";
    node.config.typeName = text(type);
    node.config.numOfParams = static_cast<uint32_t>(node.params.size());
    node.config.params = node.params.data();
    node.config.numOfInputs = static_cast<uint32_t>(node.inputs.size());
    node.config.inputTensors = node.inputs.data();
    node.config.numOfOutputs = static_cast<uint32_t>(node.outputs.size());
    node.config.outputTensors = node.outputs.data();
  }

  // Blocks of conv + relu, with an identity op after every other block.
  void build(int64_t ops) {
    const std::vector<uint32_t> shape = {1, 8, 8, 4};
    Vrx_Tensor_t current = tensor("input", VRX_TENSORTYPE_APP_WRITE, shape);
    tensors_.push_back(current);
    for (int64_t i = 0; static_cast<int64_t>(nodes_.size()) < ops; ++i) {
      const std::string id = std::to_string(i);
      Vrx_Tensor_t weights = constant("w" + id, {3, 3, 4, 4}, 0.01f);
      Vrx_Tensor_t bias = constant("b" + id, {4}, 0.0f);
      Vrx_Tensor_t conv = tensor("conv" + id, VRX_TENSORTYPE_NATIVE, shape);
      Vrx_Tensor_t relu = tensor("relu" + id, VRX_TENSORTYPE_NATIVE, shape);
      tensors_.insert(tensors_.end(), {weights, bias, conv, relu});
      addNode("conv_op" + id, "Conv2d", {current, weights, bias}, {conv},
              {listParam("stride", {1, 1}, {2}), listParam("pad_amount", {1, 1, 1, 1}, {2, 2}),
               listParam("dilation", {1, 1}, {2})});
      addNode("relu_op" + id, "Relu", {conv}, {relu});
      current = relu;
      if (i % 2 == 1) current = addIdentity(i, current, shape);
    }
    tensors_.back().type = VRX_TENSORTYPE_APP_READ;  // the last tensor is the graph's output
    finalizeOutputRecords();
  }

  Vrx_Tensor_t addIdentity(int64_t i, const Vrx_Tensor_t& input, const std::vector<uint32_t>& shape) {
    const std::string id = std::to_string(i);
    Vrx_Tensor_t out = tensor("identity" + id, VRX_TENSORTYPE_NATIVE, shape);
    switch ((i / 2) % 3) {
      case 0:
        tensors_.push_back(out);
        addNode("reshape_op" + id, "Reshape", {input}, {out});
        break;
      case 1:
        tensors_.push_back(out);
        addNode("transpose_op" + id, "Transpose", {input}, {out}, {listParam("perm", {0, 1, 2, 3}, {4})});
        break;
      default: {
        Vrx_Tensor_t ones = constant("ones" + id, shape, 1.0f);
        tensors_.insert(tensors_.end(), {ones, out});
        addNode("mul_op" + id, "ElementWiseMultiply", {input, ones}, {out});
      }
    }
    return out;
  }

  // The node that writes the graph output must carry the output's record type too.
  void finalizeOutputRecords() {
    const std::string output = tensors_.back().name;
    for (auto& node : nodes_) {
      for (auto& t : node.outputs) {
        if (output == t.name) t.type = VRX_TENSORTYPE_APP_READ;
      }
      for (auto& t : node.inputs) {
        if (output == t.name) t.type = VRX_TENSORTYPE_APP_READ;
      }
    }
  }

  std::deque<std::string> strings_;
  std::deque<std::vector<uint32_t>> words_;
  std::deque<std::vector<float>> floats_;
  std::vector<Vrx_Tensor_t> tensors_;
  std::deque<Node> nodes_;
};

// Times of one run through the exports, by phase, in milliseconds.
struct PhaseTimes {
  double send = 0, finalize = 0, free = 0;
  Vrx_Status_t status = 0;
};

// glibc hands freed memory back to the system above thresholds that it raises as large blocks
// come and go, but only up to 64 MiB, and serves the largest blocks from fresh mappings. A graph
// of 10,000 ops stays below that and reuses its heap from run to run; one of 100,000 ops lies far
// above it, so each of its runs would fault all of its memory in again. Fixed thresholds keep the
// heap at every size alike.
void keepHeapBetweenRuns() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

PhaseTimes runPipeline(SyntheticNetwork& network, const VrxBackendFunctionTable& table,
                       const GraphTransformerConfig& config) {
  using Clock = std::chrono::steady_clock;
  auto msSince = [](Clock::time_point start) { return std::chrono::duration<double, std::milli>(Clock::now() - start).count(); };
  int backend = 0, context = 0, graph = 0;
  PhaseTimes times;
  CountingBackend::nodes = 0;
  auto start = Clock::now();
  VrxGraphTransformer_createGraph(&backend, &context, &graph, 0, "synthetic", &table, VRX_GT_BACKEND_NXA, &config);
  times.status = network.sendTo(&graph);
  times.send = msSince(start);
  start = Clock::now();
  if (times.status == 0) times.status = VrxGraphTransformer_finalizeGraph(&graph, nullptr, nullptr, &table);
  times.finalize = msSince(start);
  start = Clock::now();
  VrxGraphTransformer_free();
  times.free = msSince(start);
  return times;
}

void BM_FullPipelineThroughExports(benchmark::State& state) {
  SyntheticNetwork network(state.range(0));
  const VrxBackendFunctionTable table = CountingBackend::table();
  GraphTransformerConfig config;
  const auto& names = modeltools::iroptimizer::passNamesInIdOrder();
  config.allowedPasses.assign(names.begin(), names.end());
  keepHeapBetweenRuns();
  // One untimed run first, so that every size is timed in the same state of the process: with
  // the heap already grown. Otherwise a size whose single timed run is its first pays the
  // kernel for every fresh page while smaller sizes, timed over many runs, mostly don't.
  runPipeline(network, table, config);
  PhaseTimes total;
  for (auto _ : state) {
    const PhaseTimes times = runPipeline(network, table, config);
    total.send += times.send;
    total.finalize += times.finalize;
    total.free += times.free;
    if (times.status != 0) state.SkipWithError(("the library returned status " + std::to_string(times.status)).c_str());
  }
  // Where the time goes: building the IR, optimizing and composing, dropping the graph.
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["send_ms"] = total.send / iterations;
  state.counters["finalize_ms"] = total.finalize / iterations;
  state.counters["free_ms"] = total.free / iterations;
  state.counters["ops_in"] = static_cast<double>(state.range(0));
  state.counters["ops_out"] = static_cast<double>(CountingBackend::nodes);
  vrx::bench::reportPeakMemory(state);
}
BENCHMARK(BM_FullPipelineThroughExports)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The growth from 10,000 to 100,000 ops, measured on runs that alternate, so that the load of a
// shared machine, which drifts over seconds, weighs on both sizes alike. Each iteration times
// ten runs of the small network and one of the large one; `growth` is the ratio of one large
// run to one small run.
void BM_PipelineGrowthTenfold(benchmark::State& state) {
  SyntheticNetwork small(10000);
  SyntheticNetwork large(100000);
  const VrxBackendFunctionTable table = CountingBackend::table();
  GraphTransformerConfig config;
  const auto& names = modeltools::iroptimizer::passNamesInIdOrder();
  config.allowedPasses.assign(names.begin(), names.end());
  auto totalMs = [](const PhaseTimes& t) { return t.send + t.finalize + t.free; };
  keepHeapBetweenRuns();
  runPipeline(large, table, config);  // grows the heap once, as in the benchmark above
  double smallMs = 0, largeMs = 0;
  for (auto _ : state) {
    for (int i = 0; i < 10; ++i) smallMs += totalMs(runPipeline(small, table, config)) / 10;
    largeMs += totalMs(runPipeline(large, table, config));
  }
  state.counters["growth"] = largeMs / smallMs;
}
BENCHMARK(BM_PipelineGrowthTenfold)->Unit(benchmark::kMillisecond)->Iterations(3);

// A yardstick for the ratio between sizes, without the library: what any graph held in the heap
// must at least do. One named record per tensor and per op of the synthetic network (about three
// per op), each with a small dimension list and a reference to the one before, indexed by name,
// found once by name, then dropped. Its growth from 10,000 to 100,000 ops shows how much of the
// pipeline's growth this machine's caches and allocator add to linear work.
void BM_ReferenceNamedRecords(benchmark::State& state) {
  struct Record {
    std::string name;
    std::vector<uint32_t> dims;
    std::weak_ptr<Record> previous;
  };
  const int64_t records = state.range(0) * 3;
  for (auto _ : state) {
    std::unordered_map<std::string, std::shared_ptr<Record>> byName;
    std::shared_ptr<Record> previous;
    for (int64_t i = 0; i < records; ++i) {
      auto record = std::make_shared<Record>(Record{"record" + std::to_string(i), {1, 8, 8, 4}, previous});
      byName.emplace(record->name, record);
      previous = std::move(record);
    }
    size_t found = 0;
    for (int64_t i = 0; i < records; ++i) found += byName.count("record" + std::to_string(i));
    benchmark::DoNotOptimize(found);
  }
}
BENCHMARK(BM_ReferenceNamedRecords)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
