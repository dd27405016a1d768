#pragma once

// The numeric layer of rewrites that change constants: static tensor data to 32-bit float
// and back with saturation, element-wise arithmetic with broadcasting, and typed
// permutation of data. Arithmetic always runs in 32-bit float; fixed-point data can be
// permuted but not computed with, since it needs a scale and an offset.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "modeltools/ir/IrTensor.hpp"

namespace modeltools {

// A buffer that either owns fresh memory or is a view on a tensor's own data (empty
// deleter); a view must not outlive its tensor.
using FloatBuffer = std::shared_ptr<float[]>;
using ByteBuffer = std::shared_ptr<uint8_t[]>;

// Bytes per element; sub-byte and packed types count as one.
uint32_t elementSize(uint32_t dataType);

// One float per element; a float 32 tensor gives a view on its data.
FloatBuffer convertTensorToFloat32(const std::shared_ptr<IrStaticTensor>& tensor);

// Writes `count` values of the target type into `destination` (then a view on it) or into a
// fresh buffer. Float 32 without destination gives a view on the source.
ByteBuffer convertFromFloat32ToTargetDtype(const float* source, uint32_t count, uint32_t targetDataType,
                                           uint8_t* destination);

// Rounds to nearest (ties to even) and clamps to the integer type's range; NaN fails.
template <class Int>
Int saturateToInt(float value);

// out = A op B with broadcasting, all row-major. Codes: 0 add, 2 divide, 13 multiply,
// 16 power, 18 subtract.
void applyElementwiseBinary(uint32_t operation, const Dims& shapeA, const Dims& shapeB, const Dims& outputShape,
                            const float* a, const float* b, float* out);

// A op B over static data. In place, A's data is overwritten (B must broadcast into A) and A
// is returned; otherwise a new tensor (not yet in any graph) named `outputName`, or A's name
// with "_tensorOut_0".
std::shared_ptr<IrStaticTensor> foldStaticBinary(uint32_t operation, const std::shared_ptr<IrStaticTensor>& a,
                                                 const std::shared_ptr<IrStaticTensor>& b,
                                                 const std::string& outputName, bool inPlace);
std::shared_ptr<IrStaticTensor> foldStaticAdd(const std::shared_ptr<IrStaticTensor>& a,
                                              const std::shared_ptr<IrStaticTensor>& b, const std::string& outputName,
                                              bool inPlace);
std::shared_ptr<IrStaticTensor> foldStaticMultiply(const std::shared_ptr<IrStaticTensor>& a,
                                                   const std::shared_ptr<IrStaticTensor>& b,
                                                   const std::string& outputName, bool inPlace);

// How per-channel scales lie over data: 2 or 3 outer dimensions, rows of `rowLength` entries
// in `groups` groups, `inner` consecutive values that take scale 0 .. inner-1.
struct GroupedScaleLayout {
  std::vector<uint32_t> outerDims;
  uint32_t rowLength = 0;
  uint32_t groups = 0;
  uint32_t inner = 0;
};
// Multiplies each element by its scale into `out`; other outer ranks or 0 groups leave `out` untouched.
void applyGroupedScale(const float* data, const float* scales, const GroupedScaleLayout& layout, float* out);
std::shared_ptr<IrStaticTensor> foldGroupedScale(const std::shared_ptr<IrStaticTensor>& data,
                                                 const std::shared_ptr<IrStaticTensor>& scales,
                                                 const GroupedScaleLayout& layout, const std::string& outputName,
                                                 bool inPlace);

// A permuted copy of the data: output element at index i takes the input element whose
// index, through the permutation, gives i.
ByteBuffer dispatchTransposeTensorRefImpl(const std::shared_ptr<IrStaticTensor>& tensor, const Dims& outputShape,
                                          const std::vector<uint32_t>& permutation);

// Transposes static data and records the transform. In place, the tensor keeps its name.
std::shared_ptr<IrStaticTensor> transposeStaticTensor(const std::shared_ptr<IrStaticTensor>& tensor,
                                                      const std::vector<uint32_t>& permutation,
                                                      const std::string& outputName, bool inPlace);
std::shared_ptr<IrStaticTensor> reshapeStaticTensor(const std::shared_ptr<IrStaticTensor>& tensor, const Dims& newShape,
                                                    const std::string& outputName, bool inPlace);

}  // namespace modeltools
