#pragma once

// All typed op classes. Each class has `kType`, its type string, and two constructors:
// (name, attributes) and (name, attributes, inputs, outputs).

#include "modeltools/ops/ConvolutionOps.hpp"
#include "modeltools/ops/DataMovementOps.hpp"
#include "modeltools/ops/ElementwiseOps.hpp"
#include "modeltools/ops/RecurrentDetectionMatrixOps.hpp"
