#include "OpValidator.hpp"

namespace vrx::validation {

// Op type definitions are not checked yet: every config passes.
Vrx_Status_t OpValidator::validate(const Vrx_OpConfig_t&, std::string&) const { return 0; }

}  // namespace vrx::validation
