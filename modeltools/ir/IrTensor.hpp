#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "IrTensorShape.hpp"
#include "VrxBackendRecords.h"

namespace modeltools {

namespace ops {
class IrOp;
}
class IrGraph;
class IrTensor;
class TransformManager;

constexpr uint32_t kUndefined = 0x7fffffff;

// Tensor kinds: the backend's tensor types folded (updateable is a separate flag).
namespace tensorkind {
constexpr uint32_t kGraphInput = 0;
constexpr uint32_t kGraphOutput = 1;
constexpr uint32_t kGraphInputOutput = 2;
constexpr uint32_t kNative = 3;
constexpr uint32_t kStatic = 4;
constexpr uint32_t kNull = 5;
constexpr uint32_t kOptional = 11;
constexpr uint32_t kContext = 0x70000000;
}  // namespace tensorkind

struct ScaleOffsetInfo {
  uint32_t bitwidth = 0;
  float minimum = 0.0f;
  float maximum = 0.0f;
  float scale = 0.0f;
  double offset = 0.0;
  bool isSymmetric = false;
  bool isFixedPoint = true;
  uint32_t mappedValue = 0;
};

// The IR's record of a tensor's quantization, for every encoding.
struct QuantInfo {
  uint32_t encoding = kUndefined;
  bool overridden = false;
  uint32_t definition = kUndefined;
  // encodings 0 and 2
  ScaleOffsetInfo scaleOffset;
  // encodings 1, 3 and 8
  int32_t axis = 0;
  std::vector<ScaleOffsetInfo> axisEncodings;
  // encodings 4, 7 and 11
  int32_t blockAxis = 0;
  uint32_t blockSize = 0;
  std::vector<ScaleOffsetInfo> blockEncodings;
  // encoding 5
  int32_t expansionAxis = 0;
  std::vector<ScaleOffsetInfo> expansionEncodings;
  uint32_t numBlocksPerAxis = 0;
  uint8_t blockScaleBitwidth = 0;
  std::vector<uint8_t> blockScales8;
  std::vector<uint16_t> blockScales16;
  // encoding 6
  int32_t groupAxis = 0;
  std::vector<ScaleOffsetInfo> groupEncodings;
  uint32_t groupParam0 = 0;
  uint32_t groupParam1 = 0;
  uint8_t groupFlag0 = 0;
  uint8_t groupFlag1 = 0;
  uint8_t groupFlag2 = 0;
  // encoding 12, carried as the backend defines it
  uint32_t mappingKind = 0;
  uint32_t numMappedValues = 0;
  std::vector<uint32_t> mappedValues;
  uint32_t tableEntryBits = 0;
  uint32_t numTableEntries = 0;
  std::vector<uint8_t> table8;
  std::vector<uint32_t> table32;
  // encoding 13: one info per array element, and the tensor they belong to
  uint32_t arrayType = 0;
  std::vector<QuantInfo> subInfos;
  std::shared_ptr<IrTensor> subInfoTensor;

  bool isDefined() const { return encoding != kUndefined; }
};

// Reads a backend quantization record; `dataType` gives the default bitwidth and the symmetry
// rule, `dims` size the block encodings.
QuantInfo readQuantInfo(const Vrx_QuantizeParams_t& record, uint32_t dataType, std::span<const uint32_t> dims);

// Everything a tensor is built from. Defaults make a native float 32 tensor.
struct TensorFields {
  std::string name{};
  IrTensorShape shape{};
  uint32_t dataType = VRX_DATATYPE_FLOAT_32;
  uint32_t floatDataType = VRX_DATATYPE_FLOAT_32;
  bool quantizable = false;
  QuantInfo quantInfo{};
  AxisFormat axisFormat = AxisFormat::NOT_YET_DEFINED;
  AxisFormat srcAxisFormat = AxisFormat::NOT_YET_DEFINED;
  uint32_t kind = tensorkind::kNative;
  std::vector<uint32_t> permToSource{};
  uint32_t sparseLayout = kUndefined;
  uint32_t numSpecifiedElements = 1;
  uint32_t numSparseDimensions = 1;
  bool updateable = false;
};

// A node of the IR graph that holds data flow.
class IrTensor {
 public:
  using OpPtr = std::shared_ptr<ops::IrOp>;

  // Ends with setQInfo when the fields's quantization is defined, with that operation's failures.
  explicit IrTensor(TensorFields fields);
  // One data type for both `dataType` and `floatDataType`; quantizable exactly for float 16 and 32.
  IrTensor(std::string name, IrTensorShape shape, uint32_t dataType, AxisFormat axisFormat, AxisFormat srcAxisFormat,
           uint32_t kind);
  virtual ~IrTensor() = default;
  IrTensor(const IrTensor&) = delete;
  IrTensor& operator=(const IrTensor&) = delete;

  virtual bool isStaticTensor() const { return false; }

  uint32_t id() const { return id_; }
  const std::string& name() const { return name_; }
  // Stores the name and takes a fresh ID. For a tensor that is in a graph, the graph renames
  // (updateTensorName), which keeps its map in step.
  void setName(const std::string& name);

  const OpPtr& producer() const { return producer_; }
  const std::set<OpPtr>& consumers() const { return consumers_; }

  const IrTensorShape& shape() const { return shape_; }
  const Dims& dims() const { return shape_.dims(); }
  uint32_t rank() const { return shape_.rank(); }
  void setShape(const IrTensorShape& shape) { shape_ = shape; }
  // Replaces the shape by one without dynamic axes.
  void setShape(const Dims& dims) { shape_ = IrTensorShape(dims); }
  // The product of the dimensions in 32 bits; 0 for rank 0; throws for dynamic shapes.
  uint32_t elements() const;

  uint32_t dataType() const { return dataType_; }
  void setDataType(uint32_t dataType) { dataType_ = dataType; }
  uint32_t floatDataType() const { return floatDataType_; }
  void setFloatDataType(uint32_t dataType) { floatDataType_ = dataType; }

  AxisFormat axisFormat() const { return axisFormat_; }
  void setAxisFormat(AxisFormat format) { axisFormat_ = format; }
  AxisFormat srcAxisFormat() const { return srcAxisFormat_; }
  void setSrcAxisFormat(AxisFormat format) { srcAxisFormat_ = format; }

  uint32_t kind() const { return kind_; }
  bool isGraphInput() const { return kind_ == tensorkind::kGraphInput; }
  bool isGraphOutput() const { return kind_ == tensorkind::kGraphOutput; }
  bool isGraphInputOutput() const { return kind_ == tensorkind::kGraphInputOutput; }
  bool isOptional() const { return kind_ == tensorkind::kOptional; }
  bool isKind12() const { return kind_ == 12; }
  bool isKind13() const { return kind_ == 13; }
  // The backend's tensor type for this kind and updateable flag.
  uint32_t getTensorType() const;

  bool quantizable() const { return quantizable_; }
  void setQuantizable(bool flag);
  const QuantInfo& quantInfo() const;
  // For rewrites that adjust fields in place; no checks.
  QuantInfo& mutableQuantInfo();
  // Takes the record as it stands, without the checks of setQInfo.
  void setQuantInfo(const QuantInfo& quantInfo) { mutableQuantInfo() = quantInfo; }
  bool isQuantized() const;
  void setQInfo(uint32_t dataType, const QuantInfo& quantInfo);
  void setFloatQInfo(uint32_t dataType, const QuantInfo& quantInfo);

  uint32_t sparseLayout() const { return sparseLayout_; }
  uint32_t numSpecifiedElements() const { return numSpecifiedElements_; }
  uint32_t numSparseDimensions() const { return numSparseDimensions_; }
  bool isSparse() const { return sparseLayout_ == VRX_SPARSE_LAYOUT_HYBRID_COO; }
  void setSparseParams(uint32_t layout, uint32_t numSpecifiedElements, uint32_t numSparseDimensions);

  bool updateable() const { return updateable_; }
  void setUpdateable(bool flag) { updateable_ = flag; }

  const std::vector<uint32_t>& permToSource() const { return permToSource_; }
  void setPermToSource(std::vector<uint32_t> perm) { permToSource_ = std::move(perm); }
  // The permutation that takes this tensor's axes to the source order; empty if unknown.
  std::vector<uint32_t> permutationToSource() const;

  // Sets the counter so that the next tensor takes maxId + 1.
  static void resetIdCounter(uint32_t maxId);

 private:
  // Each of these changes one end of an edge, or the kind that the graph's input and output
  // lists follow. Only the graph calls them, and it changes the other end in the same operation.
  friend class IrGraph;
  void setProducer(OpPtr op) { producer_ = std::move(op); }
  void clearProducer() { producer_.reset(); }
  void addConsumer(const OpPtr& op) { consumers_.insert(op); }
  void removeConsumer(const OpPtr& op);
  void clearConsumers() { consumers_.clear(); }
  void setKind(uint32_t kind) { kind_ = kind; }

  static uint32_t nextId();

  uint32_t id_;
  std::string name_;
  OpPtr producer_;
  std::set<OpPtr> consumers_;
  IrTensorShape shape_;
  uint32_t dataType_;
  uint32_t floatDataType_;
  AxisFormat axisFormat_;
  AxisFormat srcAxisFormat_;
  uint32_t kind_;
  bool quantizable_;
  // Most tensors carry no quantization: the record is made only when one is set.
  std::unique_ptr<QuantInfo> quantInfo_;
  uint32_t sparseLayout_;
  uint32_t numSpecifiedElements_;
  uint32_t numSparseDimensions_;
  bool updateable_;
  std::vector<uint32_t> permToSource_;
};

// A tensor with constant data, owned unless borrowed.
class IrStaticTensor : public IrTensor {
 public:
  // Checks that the data fits the dimensions.
  IrStaticTensor(TensorFields fields, const void* data, uint32_t dataSize, bool borrowedData = false);
  IrStaticTensor(TensorFields fields, const void* data, uint32_t dataSize, bool borrowedData,
                 std::shared_ptr<TransformManager> transformManager);
  ~IrStaticTensor() override;

  bool isStaticTensor() const override { return true; }

  bool borrowedData() const { return borrowedData_; }
  uint32_t dataSize() const { return dataSize_; }
  const void* getData() const { return data_; }
  void* getData() { return data_; }
  // A typed view of the data; the caller knows the data type.
  template <class T>
  std::span<const T> values() const {
    return {static_cast<const T*>(static_cast<const void*>(data_)), data_ ? dataSize_ / sizeof(T) : 0};
  }

  // Same size only; takes the buffer over (one allocated with new uint8_t[]), or copies into an owned one.
  void updateData(void* data, uint32_t size, bool takeOwnership);
  // Any size; always copies into a new owned buffer.
  void setData(const void* data, uint32_t size);

  const std::shared_ptr<TransformManager>& transformManager() const { return transformManager_; }
  // The manager, made empty on first use.
  const std::shared_ptr<TransformManager>& getTransformManager();
  void setTransformManager(std::shared_ptr<TransformManager> manager) { transformManager_ = std::move(manager); }

 private:
  void adopt(const void* data, uint32_t dataSize, bool borrowed);
  void release();

  bool borrowedData_ = false;
  uint32_t dataSize_ = 0;
  uint8_t* data_ = nullptr;
  std::shared_ptr<TransformManager> transformManager_;
};

}  // namespace modeltools
