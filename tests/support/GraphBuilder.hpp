#pragma once

// Small IR graphs written compactly for tests. Ops are generic IrOps unless a test adds a
// typed one; every op writes one tensor of its own name (tensors and ops have separate
// names), shaped like its first input:
//
//   GraphBuilder b(graph);
//   b.input("in");
//   b.chain("in", "a:Relu b:Identity c:Relu");   // in -> a -> b -> c
//   b.output("c");
//   EXPECT_EQ(opOrder(graph), "a b c");

#include <string>
#include <vector>

#include "modeltools/ir/IrGraph.hpp"

namespace vrx::test {

class GraphBuilder {
 public:
  explicit GraphBuilder(modeltools::IrGraph& graph, modeltools::Dims dims = {1, 4});

  // A graph input tensor.
  modeltools::TensorPtr input(const std::string& name);
  // A static float tensor of zeros; the builder's dims unless given.
  modeltools::StaticTensorPtr constant(const std::string& name, modeltools::Dims dims = {});
  // A native tensor with no producer.
  modeltools::TensorPtr tensor(const std::string& name);
  // An op reading the named tensors, appended to the order. Its outputs are named after it
  // ("{name}" for one, "{name}_{i}" for more) and shaped like its first input.
  modeltools::OpPtr op(const std::string& name, const std::string& type, const std::vector<std::string>& inputs,
                       size_t numOutputs = 1);
  // A chain of single-input ops given as "name:Type name:Type ..."; returns the last output.
  std::string chain(const std::string& from, const std::string& steps);
  // Makes the tensor a graph output.
  void output(const std::string& tensorName);

  modeltools::IrGraph& graph;

 private:
  modeltools::Dims dims_;
};

// The ops in execution order, by name, separated by blanks.
std::string opOrder(const modeltools::IrGraph& graph);

// The first broken invariant of the wiring (both sides of every edge, ops and tensors in
// the graph, producers before readers), or "" when there is none.
std::string wiringProblem(const modeltools::IrGraph& graph);

}  // namespace vrx::test
