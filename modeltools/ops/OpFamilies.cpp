#include "OpFamilies.hpp"

#include <algorithm>

namespace modeltools::ops {

const std::vector<FamilyMember>& binaryElementwiseCodes() {
  static const std::vector<FamilyMember> codes = {
      {0, "ElementWiseAdd"},       {1, "ElementWiseAnd"},          {2, "ElementWiseDivide"},
      {3, "ElementWiseEqual"},     {4, "ElementWiseFloorDiv"},     {5, "ElementWiseFmod"},
      {6, "ElementWiseGreater"},   {7, "ElementWiseGreaterEqual"}, {8, "ElementWiseLess"},
      {9, "ElementWiseLessEqual"}, {10, "ElementWiseMaximum"},     {11, "ElementWiseMinimum"},
      {12, "ElementWiseMod"},      {13, "ElementWiseMultiply"},    {14, "ElementWiseNotEqual"},
      {15, "ElementWiseOr"},       {16, "ElementWisePower"},       {17, "ElementWiseSquaredDifference"},
      {18, "ElementWiseSubtract"}, {19, "ElementWiseXor"}};
  return codes;
}

const std::vector<FamilyMember>& unaryElementwiseCodes() {
  static const std::vector<FamilyMember> codes = {
      {0, "ElementWiseAbs"},    {1, "ElementWiseAsin"},   {2, "ElementWiseAtan"},  {3, "ElementWiseCeil"},
      {4, "ElementWiseCos"},    {5, "ElementWiseExp"},    {6, "ElementWiseFloor"}, {7, "ElementWiseLog"},
      {8, "ElementWiseNeg"},    {9, "ElementWiseNot"},    {11, "ElementWiseRound"}, {12, "ElementWiseRsqrt"},
      {13, "ElementWiseSign"},  {14, "ElementWiseSin"},   {15, "ElementWiseSquareRoot"}};
  return codes;
}

const std::vector<FamilyMember>& neuronCodes() {
  static const std::vector<FamilyMember> codes = {{0, "Elu"},  {1, "Gelu"},       {2, "HARD_SIGMOID"},
                                                  {3, "HardSwish"}, {4, "Relu"}, {5, "ReluMinMax"},
                                                  {6, "Sigmoid"}, {7, "ElementWiseSoftplus"}, {8, "Tanh"}};
  return codes;
}

std::optional<uint32_t> codeOf(const std::vector<FamilyMember>& family, const std::string& backendName) {
  auto it = std::find_if(family.begin(), family.end(), [&](const FamilyMember& m) { return backendName == m.backendName; });
  if (it == family.end()) return std::nullopt;
  return it->code;
}

std::optional<std::string> nameOf(const std::vector<FamilyMember>& family, uint32_t code) {
  auto it = std::find_if(family.begin(), family.end(), [&](const FamilyMember& m) { return m.code == code; });
  if (it == family.end()) return std::nullopt;
  return std::string(it->backendName);
}

const std::set<std::string>& ternaryElementwiseNames() {
  static const std::set<std::string> names = {"ElementWiseSelect"};
  return names;
}

const std::set<std::string>& argNames() {
  static const std::set<std::string> names = {"Argmax", "Argmin"};
  return names;
}

const std::set<std::string>& reduceNames() {
  static const std::set<std::string> names = {"ReduceMax", "ReduceMean", "ReduceMin", "ReduceProd", "ReduceSum"};
  return names;
}

const std::set<std::string>& poolNames() {
  static const std::set<std::string> names = {"PoolMax2d", "PoolAvg2d", "L2Pool2d"};
  return names;
}

const std::set<std::string>& pool3dNames() {
  static const std::set<std::string> names = {"PoolAvg3d", "PoolMax3d"};
  return names;
}

}  // namespace modeltools::ops
