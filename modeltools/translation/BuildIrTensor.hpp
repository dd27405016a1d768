#pragma once

// A client's tensor record as an IR tensor: the way in for graph tensors and for the tensor
// params of nodes. Names, dimensions, quantization and data are copied.

#include <memory>

#include "VrxBackendRecords.h"
#include "modeltools/ir/IrTensor.hpp"

namespace modeltools {

// The record's static data: only memType 0 says that clientBuf is a buffer.
const void* recordData(const Vrx_Tensor_t& tensor);

// A new tensor from a record; its kind follows the record's type.
std::shared_ptr<IrTensor> buildIrTensor(const Vrx_Tensor_t& tensor);
// A new static tensor (kind 4, whatever the record says) with a copy of the record's data.
std::shared_ptr<IrStaticTensor> buildIrStaticTensor(const Vrx_Tensor_t& tensor);
QuantInfo buildQuantInfo(const Vrx_Tensor_t& tensor);

}  // namespace modeltools
