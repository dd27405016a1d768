#pragma once

// The vocabulary shared by the way in (backend types folded into IR types) and the way back:
// the codes of the element-wise and neuron families and the name sets of the others.

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace modeltools::ops {

struct FamilyMember {
  uint32_t code;
  const char* backendName;
};

// "Eltwise_Binary" codes, 0 to 19.
const std::vector<FamilyMember>& binaryElementwiseCodes();
// "Eltwise_Unary" codes (10 has no name).
const std::vector<FamilyMember>& unaryElementwiseCodes();
// "ElementWiseNeuron" codes; 2 and 7 are named here but have no backend type of their own.
const std::vector<FamilyMember>& neuronCodes();

// Code of a backend name within a family, if it is a member.
std::optional<uint32_t> codeOf(const std::vector<FamilyMember>& family, const std::string& backendName);
// Backend name of a code within a family, if it has one.
std::optional<std::string> nameOf(const std::vector<FamilyMember>& family, uint32_t code);

const std::set<std::string>& ternaryElementwiseNames();  // {"ElementWiseSelect"}
const std::set<std::string>& argNames();                 // {"Argmax", "Argmin"}
const std::set<std::string>& reduceNames();              // ReduceMax, ReduceMean, ReduceMin, ReduceProd, ReduceSum
const std::set<std::string>& poolNames();                // PoolMax2d, PoolAvg2d, L2Pool2d
const std::set<std::string>& pool3dNames();              // PoolAvg3d, PoolMax3d

}  // namespace modeltools::ops
