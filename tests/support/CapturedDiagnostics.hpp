#pragma once

// What a graph's diagnostics say, kept for a test to read instead of going to standard output.
//
//   auto said = vrx::test::captureDiagnostics(graph);
//   graph.reEvalMacsParams();
//   EXPECT_EQ(said->text, "...");

#include <memory>
#include <string>

#include "modeltools/ir/IrGraph.hpp"

namespace vrx::test {

struct CapturedDiagnostics final : modeltools::DiagnosticSink {
  void write(std::string_view text) override { this->text += text; }
  void writeError(std::string_view text) override { errors += text; }

  std::string text;
  std::string errors;
};

inline std::shared_ptr<CapturedDiagnostics> captureDiagnostics(const modeltools::IrGraph& graph) {
  auto captured = std::make_shared<CapturedDiagnostics>();
  graph.diagnostics().sendTo(captured);
  return captured;
}

}  // namespace vrx::test
