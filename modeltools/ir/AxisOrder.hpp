#pragma once

#include <memory>

#include "IrTensorShape.hpp"

namespace modeltools {

// Where a source framework keeps batch, spatial, channel, time and weight axes, and the
// conversion of dimension lists between that order and the IR's own (spatial first,
// channels last; weights: spatial, input channels, output channels).
class AxisOrder {
 public:
  virtual ~AxisOrder() = default;
  virtual Dims extractSpatialDims(const Dims& dims) const = 0;
  virtual Dims extractTimeSeriesDims(const Dims& dims) const = 0;
  virtual Dims extractConvWeightsDims(const Dims& dims) const = 0;
  virtual Dims extractFcWeightsDims(const Dims& dims) const = 0;
  virtual Dims extractTransposeConvWeightsDims(const Dims& dims) const = 0;
  virtual Dims formatDims1d(uint32_t batch, uint32_t length, uint32_t channels) const = 0;
  virtual Dims formatDims2d(uint32_t batch, uint32_t height, uint32_t width, uint32_t channels) const = 0;
  virtual Dims formatDims3d(uint32_t batch, uint32_t depth, uint32_t height, uint32_t width,
                            uint32_t channels) const = 0;
  virtual Dims formatTimeSeriesDims(uint32_t batch, uint32_t time, uint32_t features) const = 0;
  virtual AxisFormat getAxisFormat(uint32_t rank, bool isTimeSeries) const = 0;
  virtual AxisFormat getConvWeightsFormat(uint32_t rank) const = 0;
  virtual AxisFormat getTransposeConvWeightsFormat(uint32_t rank) const = 0;
  virtual Dims permuteDimsFromIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                                 bool isTransposeConvWeights) const = 0;
  virtual Dims permuteDimsToIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                               bool isTransposeConvWeights) const = 0;
  virtual IrTensorShape permuteShapeFromIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                           bool isTransposeConvWeights) const = 0;
  virtual IrTensorShape permuteShapeToIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                         bool isTransposeConvWeights) const = 0;
};

// Dimensions are in IR order already.
class SpatialFirstAxisOrder : public AxisOrder {
 public:
  Dims extractSpatialDims(const Dims& dims) const override;
  Dims extractTimeSeriesDims(const Dims& dims) const override;
  Dims extractConvWeightsDims(const Dims& dims) const override;
  Dims extractFcWeightsDims(const Dims& dims) const override;
  Dims extractTransposeConvWeightsDims(const Dims& dims) const override;
  Dims formatDims1d(uint32_t batch, uint32_t length, uint32_t channels) const override;
  Dims formatDims2d(uint32_t batch, uint32_t height, uint32_t width, uint32_t channels) const override;
  Dims formatDims3d(uint32_t batch, uint32_t depth, uint32_t height, uint32_t width,
                    uint32_t channels) const override;
  Dims formatTimeSeriesDims(uint32_t batch, uint32_t time, uint32_t features) const override;
  AxisFormat getAxisFormat(uint32_t rank, bool isTimeSeries) const override;
  AxisFormat getConvWeightsFormat(uint32_t rank) const override;
  AxisFormat getTransposeConvWeightsFormat(uint32_t rank) const override;
  Dims permuteDimsFromIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                         bool isTransposeConvWeights) const override;
  Dims permuteDimsToIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                       bool isTransposeConvWeights) const override;
  IrTensorShape permuteShapeFromIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                   bool isTransposeConvWeights) const override;
  IrTensorShape permuteShapeToIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                 bool isTransposeConvWeights) const override;
};

// Channels stand before the spatial axes.
class SpatialLastAxisOrder : public AxisOrder {
 public:
  Dims extractSpatialDims(const Dims& dims) const override;
  Dims extractTimeSeriesDims(const Dims& dims) const override;
  Dims extractConvWeightsDims(const Dims& dims) const override;
  Dims extractFcWeightsDims(const Dims& dims) const override;
  Dims extractTransposeConvWeightsDims(const Dims& dims) const override;
  Dims formatDims1d(uint32_t batch, uint32_t length, uint32_t channels) const override;
  Dims formatDims2d(uint32_t batch, uint32_t height, uint32_t width, uint32_t channels) const override;
  Dims formatDims3d(uint32_t batch, uint32_t depth, uint32_t height, uint32_t width,
                    uint32_t channels) const override;
  Dims formatTimeSeriesDims(uint32_t batch, uint32_t time, uint32_t features) const override;
  AxisFormat getAxisFormat(uint32_t rank, bool isTimeSeries) const override;
  AxisFormat getConvWeightsFormat(uint32_t rank) const override;
  AxisFormat getTransposeConvWeightsFormat(uint32_t rank) const override;
  Dims permuteDimsFromIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                         bool isTransposeConvWeights) const override;
  Dims permuteDimsToIr(const Dims& dims, AxisFormat format, bool isConvWeights,
                       bool isTransposeConvWeights) const override;
  IrTensorShape permuteShapeFromIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                   bool isTransposeConvWeights) const override;
  IrTensorShape permuteShapeToIr(const IrTensorShape& shape, AxisFormat format, bool isConvWeights,
                                 bool isTransposeConvWeights) const override;
};

class IrAxisOrder : public SpatialFirstAxisOrder {};
class TfAxisOrder : public SpatialFirstAxisOrder {};
class CaffeAxisOrder : public SpatialLastAxisOrder {};
class OnnxAxisOrder : public SpatialLastAxisOrder {};

}  // namespace modeltools
