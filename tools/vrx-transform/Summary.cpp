#include "Summary.hpp"

#include <algorithm>
#include <iomanip>
#include <set>
#include <sstream>

#include "tools/graphfile/Enums.hpp"

namespace vrx::tools {
namespace {

const char* statusMeaning(Vrx_Status_t status) {
  switch (status) {
    case VRX_GT_SUCCESS: return "VRX_GT_SUCCESS: success";
    case VRX_GT_ERROR_INVALID_HANDLE:
      return "VRX_GT_ERROR_INVALID_HANDLE: unknown or null handle, null tensor, no IR graph, or dumps asked for";
    case VRX_GT_ERROR_OP_CONFIG_INVALID: return "VRX_GT_ERROR_OP_CONFIG_INVALID: an op config fails validation";
    case VRX_GT_ERROR_OP_UNSUPPORTED: return "VRX_GT_ERROR_OP_UNSUPPORTED: an op type without a validator";
    case VRX_GT_ERROR_TENSOR_EXISTS: return "VRX_GT_ERROR_TENSOR_EXISTS: a tensor of that name is already in the graph";
    case VRX_GT_ERROR_BAD_NODE_OR_OUTPUT:
      return "VRX_GT_ERROR_BAD_NODE_OR_OUTPUT: node already in the graph, or an output tensor missing or of a kind "
             "that can't be written";
    case VRX_GT_ERROR_BAD_INPUT:
      return "VRX_GT_ERROR_BAD_INPUT: input tensor missing, or a native input without producer";
    case VRX_GT_ERROR_UNSUPPORTED_TENSOR:
      return "VRX_GT_ERROR_UNSUPPORTED_TENSOR: a tensor of an unsupported kind, data type or data presence";
    case VRX_GT_ERROR_UNSUPPORTED_DATA_FORMAT: return "VRX_GT_ERROR_UNSUPPORTED_DATA_FORMAT: a tensor of an unsupported data format";
    case VRX_GT_ERROR_UNKNOWN_PASS: return "VRX_GT_ERROR_UNKNOWN_PASS: a pass name that no pass has";
    default: return nullptr;
  }
}

std::string milliseconds(std::chrono::nanoseconds time) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << std::chrono::duration<double, std::milli>(time).count() << " ms";
  return text.str();
}

std::string joinedNames(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

// Which passes the run let loose: the backend's pipeline with some or all passes allowed, or
// the passes named one by one.
std::string passesText(const TransformResult& result) {
  if (!result.passesRun.empty()) return "passes run alone: " + joinedNames(result.passesRun);
  const PassSelection& allowed = result.allowedPasses;
  if (allowed.all) return "passes allowed: all";
  if (allowed.names.empty()) return "passes allowed: none";
  return "passes allowed: " + joinedNames(allowed.names);
}

// One block of the before/after table: the total, then each type with its two counts.
void printCounts(std::ostream& out, const char* title, size_t width, size_t before, size_t after,
                 const std::map<std::string, size_t>& beforeByType, const std::map<std::string, size_t>& afterByType) {
  auto row = [&](const std::string& label, size_t a, size_t b) {
    out << std::left << std::setw(static_cast<int>(width)) << label << std::right << std::setw(8) << a << std::setw(8)
        << b << "\n";
  };
  row(title, before, after);
  std::set<std::string> types;
  for (const auto& [type, count] : beforeByType) types.insert(type);
  for (const auto& [type, count] : afterByType) types.insert(type);
  auto countOf = [](const std::map<std::string, size_t>& counts, const std::string& type) {
    const auto it = counts.find(type);
    return it == counts.end() ? size_t{0} : it->second;
  };
  for (const auto& type : types) row("  " + type, countOf(beforeByType, type), countOf(afterByType, type));
}

size_t labelWidth(const TransformResult& result) {
  size_t width = 12;
  for (const auto* counts : {&result.before, &result.after}) {
    for (const auto& [type, count] : counts->opsByType) width = std::max(width, type.size() + 4);
    for (const auto& [type, count] : counts->tensorsByType) width = std::max(width, type.size() + 4);
  }
  return width;
}

void printOptimization(std::ostream& out, const OptimizationSummary& report) {
  if (!report.ran) {
    out << "passes that changed the graph: not available\n";
    out << "MACs: not available\n";
    out << "parameters: not available\n";
    return;
  }
  out << "passes that changed the graph:";
  if (report.executedPasses.empty()) out << " none";
  for (size_t i = 0; i < report.executedPasses.size(); ++i) out << (i ? ", " : " ") << report.executedPasses[i];
  out << "\nMACs: " << report.macs << "\nparameters: " << report.params << "\n";
}

}  // namespace

std::string describeStatus(Vrx_Status_t status) {
  const char* meaning = statusMeaning(status);
  return std::to_string(status) + " (" + (meaning != nullptr ? meaning : "a status of the backend") + ")";
}

void printSummary(std::ostream& out, const TransformOptions& options, const TransformResult& result) {
  out << "vrx-transform: " << options.input.string();
  if (!options.output.empty()) out << " -> " << options.output.string();
  out << "\nbackend " << nameOrNumber(backendNames(), result.backendKind) << ", " << passesText(result) << "\n";
  if (result.status != 0) {
    out << "error: " << result.failedCall << " returned " << describeStatus(result.status) << "\n";
    for (const auto& line : result.libraryErrors) out << "  library: " << line << "\n";
    return;
  }
  const size_t width = labelWidth(result);
  out << "\n" << std::string(width, ' ') << std::setw(8) << "before" << std::setw(8) << "after" << "\n";
  printCounts(out, "ops", width, result.before.ops, result.after.ops, result.before.opsByType, result.after.opsByType);
  printCounts(out, "tensors", width, result.before.tensors, result.after.tensors, result.before.tensorsByType,
              result.after.tensorsByType);
  out << "\n";
  printOptimization(out, result.optimization);
  out << "time: " << milliseconds(result.libraryTime) << " in the library, " << milliseconds(result.totalTime)
      << " in all\n";
  for (const auto& warning : result.warnings) out << "warning: " << warning << "\n";
  if (!result.written.empty()) {
    out << "written:";
    for (const auto& path : result.written) out << " " << path.string();
    out << "\n";
  }
}

}  // namespace vrx::tools
