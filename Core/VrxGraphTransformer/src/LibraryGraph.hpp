#pragma once

// Graphs as the library makes them: with the op catalogue's typed classes, typed op creation,
// backend records and op validation, which the IR reaches only through GraphServices.

#include <memory>
#include <string>

#include "modeltools/ir/IrGraph.hpp"

namespace vrx::core::graphtransformer {

modeltools::GraphServices libraryGraphServices();

// An empty graph of that name in the IR's own axis order.
std::shared_ptr<modeltools::IrGraph> makeLibraryGraph(const std::string& name);

}  // namespace vrx::core::graphtransformer
