#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace modeltools {

class AxisOrder;

using Dims = std::vector<uint32_t>;

// What each axis of a tensor means. Values 0 to 7 are data formats of rank 5, 4 and 3,
// 8 and 9 rank 2, ANY rank 1; NONTRIVIAL means no format describes the tensor; 12 to 23
// are weight formats.
enum class AxisFormat : int32_t {
  NCDHW = 0,
  NDHWC = 1,
  NCHW = 2,
  NHWC = 3,
  NCF = 4,
  NFC = 5,
  TNF = 6,
  NTF = 7,
  NF = 8,
  NC = 9,
  ANY = 10,
  NONTRIVIAL = 11,
  DHWIO = 12,
  DHWOI = 13,
  IODHW = 14,
  OIDHW = 15,
  HWIO = 16,
  HWOI = 17,
  IOHW = 18,
  OIHW = 19,
  FIO = 20,
  FOI = 21,
  IOF = 22,
  OIF = 23,
  NOT_YET_DEFINED = -1,
};

// "NCHW" and so on; "NOT_YET_DEFINED" for any value outside the table.
std::string axisFormatToString(AxisFormat format);
// Writes the name; a value outside the table writes nothing.
std::ostream& operator<<(std::ostream& out, AxisFormat format);

// Dimensions plus the set of dynamic axes. A dynamic axis keeps its bound in `dims`.
class IrTensorShape {
 public:
  IrTensorShape() = default;
  explicit IrTensorShape(Dims dims);
  IrTensorShape(Dims dims, std::set<uint32_t> dynamicAxes);

  const Dims& dims() const { return dims_; }
  const std::set<uint32_t>& dynamicAxes() const { return dynamicAxes_; }
  // One bit per axis when there are dynamic axes; empty otherwise.
  const std::vector<bool>& dynamicMask() const { return dynamicMask_; }
  // Empty without dynamic axes, else one byte per axis; what a backend record points at.
  const std::vector<uint8_t>& dynamicFlags() const { return dynamicFlags_; }
  uint32_t rank() const { return static_cast<uint32_t>(dims_.size()); }
  bool hasDynamicAxes() const { return !dynamicAxes_.empty(); }

  bool isDynamicDim(uint32_t index) const;
  IrTensorShape permute(const std::vector<uint32_t>& order) const;
  void validate() const;

  bool operator==(const IrTensorShape& other) const;

 private:
  void deriveMasks();

  Dims dims_;
  std::set<uint32_t> dynamicAxes_;
  std::vector<bool> dynamicMask_;
  std::vector<uint8_t> dynamicFlags_;
};

std::ostream& operator<<(std::ostream& out, const IrTensorShape& shape);

// "[1,2,3]": the list form used in shapes and messages.
std::string listToString(const std::vector<uint32_t>& values);
std::string listToString(const std::set<uint32_t>& values);

// Broadcasts two dimension lists for binary element-wise ops; with `useAxisOrder` both go
// through the order's IR permutation first and the result comes back through it.
Dims getBroadcastedShape(const Dims& dimsOne, const Dims& dimsTwo, const std::shared_ptr<AxisOrder>& axisOrder,
                         bool useAxisOrder);

// Broadcasts two shapes; a dynamic 1 matches only a dynamic 1.
IrTensorShape getBroadcastedTensorShape(const IrTensorShape& shapeOne, const IrTensorShape& shapeTwo);

}  // namespace modeltools
