#pragma once

#include <string>

#include "VrxBackendRecords.h"

namespace vrx::validation {

// Checks an op config against its op type's definition. Answers 0 for a valid config;
// otherwise a status, with the reason in `message`.
class OpValidator {
 public:
  virtual ~OpValidator() = default;
  virtual Vrx_Status_t validate(const Vrx_OpConfig_t& opConfig, std::string& message) const;
};

}  // namespace vrx::validation
