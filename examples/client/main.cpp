// A client of the graph transformer: it describes a small image classifier through the
// five exports, hands in a backend that prints every call it receives, finalizes, and checks
// that every node reached the backend.
//
//   image -> Conv2d(conv1) -> Relu -> PoolMax2d -> Conv2d(conv2) -> Relu
//         -> Reshape -> FullyConnected(fc) -> Softmax -> probabilities

#include <VrxGraphTransformer.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

// ---- A backend that prints what it receives -------------------------------------------------

uint32_t g_nextTensorId = 1;
uint32_t g_nodesAdded = 0;

std::string describeTensor(const Vrx_Tensor_t& t) {
  std::ostringstream out;
  out << (t.name ? t.name : "<null>") << " id=" << t.id << " type=" << t.type << " "
      << VrxGraphTransformer_dataTypeName(t.dataType) << " [";
  for (uint32_t i = 0; i < t.rank; ++i) out << (i ? "," : "") << t.dimensions[i];
  out << "]";
  if (t.clientBuf.data != nullptr) out << " data=" << t.clientBuf.dataSize << "B";
  return out.str();
}

Vrx_Status_t printValidate(Vrx_BackendHandle_t, Vrx_OpConfig_t op) {
  std::cout << "backend validateOpConfig " << op.name << " (" << op.typeName << ")\n";
  return 0;
}

Vrx_Status_t printAddNode(Vrx_GraphHandle_t, Vrx_OpConfig_t op) {
  ++g_nodesAdded;
  std::cout << "backend addNode " << op.name << " (" << op.packageName << "::" << op.typeName << ")\n";
  for (uint32_t i = 0; i < op.numOfParams; ++i) {
    const Vrx_Param_t& p = op.params[i];
    std::cout << "    param " << p.name;
    if (p.paramType == VRX_PARAMTYPE_TENSOR) {
      std::cout << " = tensor " << describeTensor(p.tensor) << "\n";
    } else {
      std::cout << " = scalar of " << VrxGraphTransformer_dataTypeName(p.scalar.dataType) << "\n";
    }
  }
  for (uint32_t i = 0; i < op.numOfInputs; ++i) std::cout << "    in  " << describeTensor(op.inputTensors[i]) << "\n";
  for (uint32_t i = 0; i < op.numOfOutputs; ++i) std::cout << "    out " << describeTensor(op.outputTensors[i]) << "\n";
  return 0;
}

Vrx_Status_t printFinalize(Vrx_GraphHandle_t, void*, void*) {
  std::cout << "backend graphFinalize\n";
  return 0;
}

Vrx_Status_t printCreateTensor(Vrx_GraphHandle_t, Vrx_Tensor_t* tensor) {
  tensor->id = g_nextTensorId++;
  std::cout << "backend createGraphTensor " << describeTensor(*tensor) << "\n";
  return 0;
}

// ---- Building records ----------------------------------------------------------------------

// Keeps the storage that the records point into alive until the call that uses them.
struct Storage {
  std::deque<std::string> names;
  std::deque<std::vector<uint32_t>> dims;
  std::deque<std::vector<float>> floats;
  std::deque<std::vector<uint32_t>> words;
};

Vrx_Tensor_t tensor(Storage& s, const char* name, uint32_t type, std::vector<uint32_t> dims) {
  Vrx_Tensor_t t{};
  t.version = 2;
  t.name = name;
  t.type = type;
  t.dataType = VRX_DATATYPE_FLOAT_32;
  t.quantizeParams.encodingDefinition = VRX_DEFINITION_UNDEFINED;
  t.quantizeParams.quantizationEncoding = VRX_QUANTIZATION_ENCODING_UNDEFINED;
  t.rank = static_cast<uint32_t>(dims.size());
  t.dimensions = s.dims.emplace_back(std::move(dims)).data();
  t.sparseParams.layout = VRX_SPARSE_LAYOUT_UNDEFINED;
  return t;
}

Vrx_Tensor_t weights(Storage& s, const char* name, std::vector<uint32_t> dims) {
  Vrx_Tensor_t t = tensor(s, name, VRX_TENSORTYPE_STATIC, dims);
  size_t count = 1;
  for (uint32_t d : dims) count *= d;
  auto& values = s.floats.emplace_back(count);
  for (size_t i = 0; i < count; ++i) values[i] = 0.01f * static_cast<float>(i % 17);
  t.clientBuf.data = values.data();
  t.clientBuf.dataSize = static_cast<uint32_t>(count * sizeof(float));
  return t;
}

// A list param is a static tensor. Tensors are known by name in the backend, so each op's
// param tensor is named after the op: two ops' "stride" must not become one tensor.
Vrx_Param_t uintListParam(Storage& s, const char* op, const char* name, std::vector<uint32_t> values,
                          std::vector<uint32_t> dims) {
  Vrx_Param_t p{};
  p.paramType = VRX_PARAMTYPE_TENSOR;
  p.name = name;
  const char* tensorName = s.names.emplace_back(std::string(op) + "." + name).c_str();
  p.tensor = tensor(s, tensorName, VRX_TENSORTYPE_STATIC, std::move(dims));
  p.tensor.dataType = VRX_DATATYPE_UINT_32;
  auto& data = s.words.emplace_back(std::move(values));
  p.tensor.clientBuf.data = data.data();
  p.tensor.clientBuf.dataSize = static_cast<uint32_t>(data.size() * sizeof(uint32_t));
  return p;
}

Vrx_Param_t uintScalarParam(const char* name, uint32_t value) {
  Vrx_Param_t p{};
  p.paramType = VRX_PARAMTYPE_SCALAR;
  p.name = name;
  p.scalar.dataType = VRX_DATATYPE_UINT_32;
  p.scalar.value.uint32Value = value;
  return p;
}

Vrx_OpConfig_t node(const char* name, const char* type, std::vector<Vrx_Param_t>& params,
                    std::vector<Vrx_Tensor_t>& inputs, std::vector<Vrx_Tensor_t>& outputs) {
  Vrx_OpConfig_t op{};
  op.version = 1;
  op.name = name;
  op.packageName = "vrx.core";
  op.typeName = type;
  op.numOfParams = static_cast<uint32_t>(params.size());
  op.params = params.data();
  op.numOfInputs = static_cast<uint32_t>(inputs.size());
  op.inputTensors = inputs.data();
  op.numOfOutputs = static_cast<uint32_t>(outputs.size());
  op.outputTensors = outputs.data();
  return op;
}

bool check(const char* what, Vrx_Status_t status) {
  if (status != VRX_GT_SUCCESS) std::cerr << what << " failed with status " << status << "\n";
  return status == VRX_GT_SUCCESS;
}

void printLogLine(const char* format, uint32_t level, uint64_t, va_list args) {
  char line[512];
  std::vsnprintf(line, sizeof line, format, args);
  std::cout << "log[" << level << "] " << line << "\n";
}

}  // namespace

int main() {
  VrxBackendFunctionTable table{};
  table.validateOpConfig = printValidate;
  table.addNode = printAddNode;
  table.graphFinalize = printFinalize;
  table.createGraphTensor = printCreateTensor;

  int backend = 0, context = 0, graph = 0;  // the backend's handles; only their addresses matter here
  const Vrx_LogHandle_t logger = 1;
  VrxGraphTransformer_registerLogger(logger, printLogLine, VRX_GT_LOG_INFO);

  GraphTransformerConfig config;
  config.allowedPasses = {"RemoveNoOps1", "RemoveNoOps2", "TransformLayout"};
  if (!check("createGraph", VrxGraphTransformer_createGraph(&backend, &context, &graph, logger, "classifier", &table,
                                                            VRX_GT_BACKEND_NXA, &config))) {
    return 1;
  }

  Storage s;
  std::vector<Vrx_Tensor_t> tensors = {
      tensor(s, "image", VRX_TENSORTYPE_APP_WRITE, {1, 32, 32, 3}),
      weights(s, "conv1.weight", {3, 3, 3, 8}),
      weights(s, "conv1.bias", {8}),
      tensor(s, "conv1", VRX_TENSORTYPE_NATIVE, {1, 32, 32, 8}),
      tensor(s, "relu1", VRX_TENSORTYPE_NATIVE, {1, 32, 32, 8}),
      tensor(s, "pool1", VRX_TENSORTYPE_NATIVE, {1, 16, 16, 8}),
      weights(s, "conv2.weight", {3, 3, 8, 16}),
      weights(s, "conv2.bias", {16}),
      tensor(s, "conv2", VRX_TENSORTYPE_NATIVE, {1, 16, 16, 16}),
      tensor(s, "relu2", VRX_TENSORTYPE_NATIVE, {1, 16, 16, 16}),
      tensor(s, "flat", VRX_TENSORTYPE_NATIVE, {1, 4096}),
      weights(s, "fc.weight", {10, 4096}),
      weights(s, "fc.bias", {10}),
      tensor(s, "logits", VRX_TENSORTYPE_NATIVE, {1, 10}),
      tensor(s, "probabilities", VRX_TENSORTYPE_APP_READ, {1, 10}),
  };
  for (auto& t : tensors) {
    if (!check("addGraphTensor", VrxGraphTransformer_addGraphTensor(&graph, &t))) return 1;
  }
  auto byName = [&](const char* name) {
    for (const auto& t : tensors) {
      if (std::strcmp(t.name, name) == 0) return t;
    }
    return Vrx_Tensor_t{};
  };

  struct NodeDescription {
    const char* name;
    const char* type;
    std::vector<Vrx_Param_t> params;
    std::vector<const char*> inputs;
    std::vector<const char*> outputs;
  };
  std::vector<NodeDescription> nodes = {
      {"conv1_op", "Conv2d",
       {uintListParam(s, "conv1_op", "stride", {1, 1}, {2}),
        uintListParam(s, "conv1_op", "pad_amount", {1, 1, 1, 1}, {2, 2}),
        uintListParam(s, "conv1_op", "dilation", {1, 1}, {2}), uintScalarParam("group", 1)},
       {"image", "conv1.weight", "conv1.bias"}, {"conv1"}},
      {"relu1_op", "Relu", {}, {"conv1"}, {"relu1"}},
      {"pool1_op", "PoolMax2d",
       {uintListParam(s, "pool1_op", "filter_size", {2, 2}, {2}),
        uintListParam(s, "pool1_op", "stride", {2, 2}, {2}),
        uintListParam(s, "pool1_op", "pad_amount", {0, 0, 0, 0}, {2, 2})},
       {"relu1"}, {"pool1"}},
      {"conv2_op", "Conv2d",
       {uintListParam(s, "conv2_op", "stride", {1, 1}, {2}),
        uintListParam(s, "conv2_op", "pad_amount", {1, 1, 1, 1}, {2, 2}),
        uintListParam(s, "conv2_op", "dilation", {1, 1}, {2}), uintScalarParam("group", 1)},
       {"pool1", "conv2.weight", "conv2.bias"}, {"conv2"}},
      {"relu2_op", "Relu", {}, {"conv2"}, {"relu2"}},
      {"flatten", "Reshape", {}, {"relu2"}, {"flat"}},
      {"fc_op", "FullyConnected", {}, {"flat", "fc.weight", "fc.bias"}, {"logits"}},
      {"softmax", "Softmax", {}, {"logits"}, {"probabilities"}},
  };
  for (auto& description : nodes) {
    std::vector<Vrx_Tensor_t> inputs, outputs;
    for (const char* name : description.inputs) inputs.push_back(byName(name));
    for (const char* name : description.outputs) outputs.push_back(byName(name));
    if (!check("addNode", VrxGraphTransformer_addNode(&graph, node(description.name, description.type, description.params, inputs, outputs)))) {
      return 1;
    }
  }

  const bool finalized = check("finalizeGraph", VrxGraphTransformer_finalizeGraph(&graph, nullptr, nullptr, &table));
  VrxGraphTransformer_free();
  VrxGraphTransformer_unregisterLogger(logger);
  if (!finalized) return 1;
  std::cout << "backend received " << g_nodesAdded << " of " << nodes.size() << " nodes\n";
  // The optimizer may take nodes out (here the flatten in front of the fully connected layer).
  return g_nodesAdded > 0 && g_nodesAdded <= nodes.size() ? 0 : 1;
}
