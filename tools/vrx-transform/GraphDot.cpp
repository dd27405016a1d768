#include "GraphDot.hpp"

#include <set>
#include <sstream>

#include "tools/graphfile/Enums.hpp"

namespace vrx::tools {
namespace {

// Text for inside a DOT string: backslashes and quotes escaped.
std::string escapedName(const char* name) {
  std::string out;
  for (const char* c = name != nullptr ? name : ""; *c != '\0'; ++c) {
    if (*c == '\\' || *c == '"') out += '\\';
    out += *c;
  }
  return out;
}

// A DOT string of escaped text, in which "\n" is a line break.
std::string quoted(const std::string& escaped) { return "\"" + escaped + "\""; }

std::string tensorId(const char* name) { return quoted("t:" + escapedName(name)); }

std::string tensorLabel(const Vrx_Tensor_t& t) {
  std::ostringstream label;
  label << escapedName(t.name) << "\\n[";
  for (uint32_t i = 0; t.dimensions != nullptr && i < t.rank; ++i) label << (i ? "," : "") << t.dimensions[i];
  label << "] " << nameOrNumber(dataTypeNames(), t.dataType);
  return label.str();
}

std::string tensorStyle(const Vrx_Tensor_t& t) {
  if (isGraphIoTensorType(t.type)) return "shape=ellipse, style=filled, fillcolor=\"#cfe2ff\"";
  if (t.type == VRX_TENSORTYPE_STATIC || t.type == VRX_TENSORTYPE_UPDATEABLE_STATIC) {
    return "shape=note, style=filled, fillcolor=\"#eeeeee\"";
  }
  return "shape=ellipse";
}

void writeEdges(std::ostream& out, const Vrx_Tensor_t* tensors, uint32_t count, const std::string& op, bool intoOp) {
  for (uint32_t i = 0; tensors != nullptr && i < count; ++i) {
    if (tensors[i].name == nullptr) continue;  // an absent optional tensor
    const std::string tensor = tensorId(tensors[i].name);
    out << "  " << (intoOp ? tensor : op) << " -> " << (intoOp ? op : tensor) << ";\n";
  }
}

}  // namespace

std::string renderDot(const GraphRecords& graph) {
  std::ostringstream out;
  out << "digraph " << quoted(escapedName(graph.name.c_str())) << " {\n";
  out << "  node [fontname=\"Helvetica\", fontsize=10];\n";
  for (const auto& t : graph.tensors) {
    out << "  " << tensorId(t.name) << " [label=" << quoted(tensorLabel(t)) << ", " << tensorStyle(t) << "];\n";
  }
  for (const auto& op : graph.nodes) {
    if (op.version != 1 || op.name == nullptr) continue;
    const std::string id = quoted("op:" + escapedName(op.name));
    out << "  " << id << " [shape=box, style=\"rounded,filled\", fillcolor=\"#fff2cc\", label="
        << quoted(escapedName(op.name) + "\\n" + escapedName(op.typeName)) << "];\n";
    writeEdges(out, op.inputTensors, op.numOfInputs, id, true);
    writeEdges(out, op.outputTensors, op.numOfOutputs, id, false);
  }
  out << "}\n";
  return out.str();
}

}  // namespace vrx::tools
