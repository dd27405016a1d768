// The graph's JSON dump against expected files, and the MAC/parameter totals with their lines.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "modeltools/ir/IrGraph.hpp"
#include "support/CapturedDiagnostics.hpp"
#include "support/ExpectThrow.hpp"

namespace modeltools {
namespace {

namespace fs = std::filesystem;

// Cost figures from its attributes; MACs large enough to need 64 bits.
class CostlyTestOp : public ops::IrOp {
 public:
  CostlyTestOp(const std::string& name, std::shared_ptr<IrAttributes> attrs, const ops::TensorList& inputs,
               const ops::TensorList& outputs)
      : IrOp(name, "VrxTestCostlyOp", std::move(attrs)) {
    setTensors(inputs, outputs);
  }
  uint64_t macs(const ops::AxisOrderPtr&) override {
    return uint64_t{attrs()->getAttr<uint32_t>("mega_macs")} * 1000000;
  }
  uint32_t paramsCount(const ops::AxisOrderPtr&) override { return attrs()->getAttr<uint32_t>("params"); }
};

// Refuses every attribute table, as a typed op does with attributes it can't take.
class RefusingTestOp : public ops::IrOp {
 public:
  RefusingTestOp(const std::string& name, std::shared_ptr<IrAttributes> attrs, const ops::TensorList&,
                 const ops::TensorList&)
      : IrOp(name, "VrxTestRefusingOp", std::move(attrs)) {
    throw std::invalid_argument("VrxTestRefusingOp: bad attributes");
  }
};

// The op catalogue of these tests: the two classes above.
GraphServices testOpClasses() {
  GraphServices services;
  services.typedView = [](const ops::IrOp& op) -> OpPtr {
    if (op.type() == "VrxTestCostlyOp") {
      return std::make_shared<CostlyTestOp>(op.name(), op.attrs(), op.getInputs(), op.getOutputs());
    }
    if (op.type() == "VrxTestRefusingOp") {
      return std::make_shared<RefusingTestOp>(op.name(), op.attrs(), op.getInputs(), op.getOutputs());
    }
    return nullptr;
  };
  return services;
}

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

fs::path expectedFile(const std::string& name) { return fs::path(__FILE__).parent_path() / "data" / name; }

class IrGraphDumpTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() /
          ("vrx_dump_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }

  TensorPtr tensor(const std::string& name, IrTensorShape shape, uint32_t kind = tensorkind::kNative,
                   uint32_t dataType = VRX_DATATYPE_FLOAT_32, AxisFormat format = AxisFormat::NOT_YET_DEFINED) {
    return graph.addTensor(
        TensorFields{.name = name, .shape = std::move(shape), .dataType = dataType, .axisFormat = format, .kind = kind});
  }
  StaticTensorPtr constant(const std::string& name, std::vector<uint32_t> values, Dims dims) {
    return std::make_shared<IrStaticTensor>(TensorFields{.name = name,
                                                       .shape = IrTensorShape(std::move(dims)),
                                                       .dataType = VRX_DATATYPE_UINT_32,
                                                       .kind = tensorkind::kStatic},
                                            values.data(), static_cast<uint32_t>(values.size() * sizeof(uint32_t)));
  }
  OpPtr addOp(const std::string& name, const std::string& type, const std::vector<TensorPtr>& inputs,
              const std::vector<TensorPtr>& outputs, std::shared_ptr<IrAttributes> attrs = nullptr) {
    auto op = std::make_shared<ops::IrOp>(name, type, std::move(attrs));
    graph.connect(op, inputs, outputs);
    graph.addOp(op, -1, false);
    return op;
  }
  std::shared_ptr<IrAttributes> costAttrs(uint32_t megaMacs, uint32_t params) {
    auto attrs = std::make_shared<IrAttributes>();
    attrs->add("mega_macs", megaMacs, attrcategory::kBackendParam);
    attrs->add("params", params, attrcategory::kBackendParam);
    return attrs;
  }
  std::string dumped(const std::string& fileName) { return readFile(dir / fileName); }

  IrGraph graph{"g", std::make_shared<IrAxisOrder>(), {}, testOpClasses()};
  fs::path dir;
};

TEST_F(IrGraphDumpTest, GraphWithOneInputAndNoOpsIsOneInputNode) {
  tensor("image", IrTensorShape({1, 3, 224, 224}), tensorkind::kGraphInput, VRX_DATATYPE_FLOAT_32, AxisFormat::NCHW);
  graph.dumpJson((dir / "single").string());
  EXPECT_EQ(dumped("single.json"), readFile(expectedFile("dump_single_input.json")));
}

TEST_F(IrGraphDumpTest, InputsConstantsOnceTransposeOrderAndDtypes) {
  auto in = tensor("in", IrTensorShape({1, 2, 3, 4}, {0}), tensorkind::kGraphInput, VRX_DATATYPE_UFIXED_POINT_8,
                   AxisFormat::NCHW);
  auto weights = graph.addStaticTensor(
      TensorFields{
          .name = "w", .shape = IrTensorShape({4}), .dataType = VRX_DATATYPE_INT_32, .kind = tensorkind::kStatic},
      std::vector<int32_t>{1, 2, 3, 4}.data(), 16);
  auto transposed =
      tensor("t_out", IrTensorShape({1, 3, 4, 2}), tensorkind::kNative, VRX_DATATYPE_FLOAT_16, AxisFormat::NHWC);
  auto sum = tensor("sum", IrTensorShape({1, 3, 4, 2}));
  auto out = tensor("out", IrTensorShape({1, 3, 4, 2}), tensorkind::kGraphOutput, 1234);
  auto permAttrs = std::make_shared<IrAttributes>();
  permAttrs->add("perm", constant("perm", {0, 2, 3, 1}, {4}), attrcategory::kBackendParam);
  addOp("t", "Transpose", {in}, {transposed}, permAttrs);
  addOp("add", "Eltwise_Binary", {transposed, weights}, {sum}, permAttrs);  // "perm" counts for Transpose only
  addOp("mul", "Eltwise_Binary", {sum, weights}, {out});

  graph.dumpJson((dir / "net.json").string());
  EXPECT_EQ(dumped("net.json"), readFile(expectedFile("dump_transpose_net.json")));
  EXPECT_FALSE(fs::exists(dir / "net.json.json"));
}

TEST_F(IrGraphDumpTest, PermShorterThanItsFirstDimensionIsOutOfRange) {
  auto in = tensor("in", IrTensorShape({2, 2}), tensorkind::kGraphInput);
  auto out = tensor("out", IrTensorShape({2, 2}));
  auto attrs = std::make_shared<IrAttributes>();
  attrs->add("perm", constant("perm", {}, {2, 0}), attrcategory::kBackendParam);
  addOp("t", "Transpose", {in}, {out}, attrs);
  EXPECT_THROW_MSG(graph.dumpJson((dir / "x").string()), std::out_of_range, "Index out of bounds for IrStaticTensor");
}

TEST_F(IrGraphDumpTest, UnwritablePathIsRuntimeError) {
  const std::string path = (dir / "missing" / "g.json").string();
  EXPECT_THROW_MSG(graph.dumpJson(path), std::runtime_error,
                   "modeltools::IrGraph::dumpJson: IrGraph::dumpJson: Failed to open file for writing: " + path);
}

TEST_F(IrGraphDumpTest, TotalsSumTypedOpsIn64BitsAndGenericOpsAddNothing) {
  auto a = tensor("a", IrTensorShape({1}));
  auto b = tensor("b", IrTensorShape({1}));
  auto c = tensor("c", IrTensorShape({1}));
  auto d = tensor("d", IrTensorShape({1}));
  addOp("big", "VrxTestCostlyOp", {a}, {b}, costAttrs(5000, 7));
  addOp("neuron", "Neuron", {b}, {c}, costAttrs(1, 1));
  addOp("small", "VrxTestCostlyOp", {c}, {d}, costAttrs(1, 3));

  const auto said = vrx::test::captureDiagnostics(graph);
  const auto totals = graph.reEvalMacsParams();
  const std::string& out = said->text;
  EXPECT_EQ(totals, (std::pair<uint64_t, uint64_t>{5001000000ull, 10}));
  EXPECT_EQ(out,
            "modeltools::IrGraph::reEvalMacsParams: Re-evaluated graph statistics after IrOptimizer optimization "
            "passes:\n"
            "modeltools::IrGraph::reEvalMacsParams: Total MACs: 5001000000\n"
            "modeltools::IrGraph::reEvalMacsParams: Total Params Count: 10\n");
}

TEST_F(IrGraphDumpTest, RefusedOpWarnsAddsNothingAndLoopGoesOn) {
  auto a = tensor("a", IrTensorShape({1}));
  auto b = tensor("b", IrTensorShape({1}));
  auto c = tensor("c", IrTensorShape({1}));
  addOp("bad", "VrxTestRefusingOp", {a}, {b});
  auto good = addOp("good", "VrxTestCostlyOp", {b}, {c}, costAttrs(2, 4));
  const size_t attrsBefore = good->attrs()->count();

  const auto said = vrx::test::captureDiagnostics(graph);
  const auto totals = graph.reEvalMacsParams();
  const std::string& out = said->text;
  EXPECT_EQ(totals, (std::pair<uint64_t, uint64_t>{2000000, 4}));
  EXPECT_EQ(out.substr(0, out.find('\n') + 1),
            "modeltools::IrGraph::reEvalMacsParams: WARNING: Failed to calculate MACs/params for op bad: "
            "VrxTestRefusingOp: bad attributes\n");
  // The graph keeps its generic ops as they were.
  EXPECT_EQ(graph.getOp("good")->type(), "VrxTestCostlyOp");
  EXPECT_EQ(typeid(*graph.getOp("good")), typeid(ops::IrOp));
  EXPECT_EQ(good->attrs()->count(), attrsBefore);
}

}  // namespace
}  // namespace modeltools
