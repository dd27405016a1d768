#pragma once

#include <cstdint>
#include <string>

namespace modeltools {
class IrGraph;
namespace ops {
class IrOp;
}
}  // namespace modeltools

namespace modeltools::iroptimizer {

// Writes the graph as a model description ("model.cpp", "model.bin", "graph" with "tensors"
// and "nodes") to `path`, after creating empty "temp.cpp" and "temp.bin" in the working
// directory. A file that can't be opened is passed over silently.
void writePassDump(const IrGraph& graph, const std::string& path);

// A value that changes when the op's type, tensor names or static input data change.
uint64_t opFingerprint(const ops::IrOp& op);

}  // namespace modeltools::iroptimizer
