#pragma once

// A graph as Graphviz DOT: ops are boxes, tensors are ellipses (graph inputs and outputs
// filled, static data as notes), edges run from tensor to op to tensor.

#include <string>

#include "tools/graphfile/GraphFile.hpp"

namespace vrx::tools {

std::string renderDot(const GraphRecords& graph);

}  // namespace vrx::tools
