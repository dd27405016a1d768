#include "GraphBuilder.hpp"

#include <algorithm>
#include <sstream>

namespace vrx::test {

using namespace modeltools;

GraphBuilder::GraphBuilder(IrGraph& graph, Dims dims) : graph(graph), dims_(std::move(dims)) {}

TensorPtr GraphBuilder::input(const std::string& name) {
  return graph.addTensor(TensorFields{.name = name, .shape = IrTensorShape(dims_), .kind = tensorkind::kGraphInput});
}

StaticTensorPtr GraphBuilder::constant(const std::string& name, Dims dims) {
  if (dims.empty()) dims = dims_;
  uint32_t count = 1;
  for (uint32_t dim : dims) count *= dim;
  const std::vector<float> zeros(count, 0.0f);
  return graph.addStaticTensor(TensorFields{.name = name, .shape = IrTensorShape(dims), .kind = tensorkind::kStatic},
                               zeros.data(), static_cast<uint32_t>(zeros.size() * sizeof(float)));
}

TensorPtr GraphBuilder::tensor(const std::string& name) {
  return graph.addTensor(TensorFields{.name = name, .shape = IrTensorShape(dims_)});
}

OpPtr GraphBuilder::op(const std::string& name, const std::string& type, const std::vector<std::string>& inputs,
                       size_t numOutputs) {
  auto created = std::make_shared<ops::IrOp>(name, type, std::make_shared<IrAttributes>());
  const IrTensorShape shape = inputs.empty() ? IrTensorShape(dims_) : graph.getTensor(inputs.front())->shape();
  std::vector<std::string> outputs;
  for (size_t i = 0; i < numOutputs; ++i) outputs.push_back(numOutputs == 1 ? name : name + "_" + std::to_string(i));
  graph.addOp(created, inputs, outputs, std::vector<IrTensorShape>(numOutputs, shape), {}, -1, false);
  return created;
}

std::string GraphBuilder::chain(const std::string& from, const std::string& steps) {
  std::istringstream items(steps);
  std::string previous = from;
  for (std::string item; items >> item;) {
    const auto colon = item.find(':');
    const std::string name = item.substr(0, colon);
    op(name, item.substr(colon + 1), {previous});
    previous = name;
  }
  return previous;
}

void GraphBuilder::output(const std::string& tensorName) {
  graph.updateTensorType(tensorName, tensorkind::kGraphOutput);
}

std::string opOrder(const IrGraph& graph) {
  std::string order;
  for (const auto& op : graph.getOps()) order += (order.empty() ? "" : " ") + op->name();
  return order;
}

namespace {

bool contains(const std::vector<TensorPtr>& tensors, const TensorPtr& tensor) {
  return std::find(tensors.begin(), tensors.end(), tensor) != tensors.end();
}

std::string opProblem(const IrGraph& graph, const OpPtr& op, size_t position) {
  if (graph.getOp(op->name()) != op) return "op " + op->name() + " is in the order but not in the op map";
  for (const auto& input : op->getInputs()) {
    if (graph.getTensor(input->name()) != input)
      return "input " + input->name() + " of " + op->name() + " left the graph";
    if (!input->consumers().contains(op)) return op->name() + " reads " + input->name() + " but isn't its consumer";
    const auto& producer = input->producer();
    if (producer && graph.getOps().indexOf(producer.get()) >= position) {
      return "producer of " + input->name() + " doesn't stand before " + op->name();
    }
  }
  for (const auto& output : op->getOutputs()) {
    if (graph.getTensor(output->name()) != output)
      return "output " + output->name() + " of " + op->name() + " left the graph";
    if (output->producer() != op) return op->name() + " writes " + output->name() + " but isn't its producer";
  }
  return "";
}

std::string tensorProblem(const IrGraph& graph, const TensorPtr& tensor) {
  if (const auto& producer = tensor->producer()) {
    if (graph.getOp(producer->name()) != producer) return "producer of " + tensor->name() + " isn't in the graph";
    if (!contains(producer->getOutputs(), tensor)) return "producer of " + tensor->name() + " doesn't list it";
  }
  for (const auto& consumer : tensor->consumers()) {
    if (graph.getOp(consumer->name()) != consumer)
      return "reader " + consumer->name() + " of " + tensor->name() + " isn't in the graph";
    if (!contains(consumer->getInputs(), tensor))
      return "reader " + consumer->name() + " doesn't list " + tensor->name();
  }
  return "";
}

}  // namespace

std::string wiringProblem(const IrGraph& graph) {
  size_t position = 0;
  for (const auto& op : graph.getOps()) {
    if (auto problem = opProblem(graph, op, position++); !problem.empty()) return problem;
  }
  for (const auto& [name, tensor] : graph.tensors()) {
    if (auto problem = tensorProblem(graph, tensor); !problem.empty()) return problem;
  }
  return "";
}

}  // namespace vrx::test
