#pragma once

#include <memory>

#include "GraphTransformer.hpp"

namespace vrx::core::graphtransformer {

// The process-wide map from graph handle to transformer. Each operation holds the map's
// mutex for the map operation alone.
std::shared_ptr<VrxGraphTransformer> findTransformer(Vrx_GraphHandle_t graphHandle);
void enterTransformer(Vrx_GraphHandle_t graphHandle, std::shared_ptr<VrxGraphTransformer> transformer);
void clearTransformers();

}  // namespace vrx::core::graphtransformer
