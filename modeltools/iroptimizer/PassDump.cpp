#include "PassDump.hpp"

#include <rapidjson/document.h>

#include <cstdio>
#include <memory>
#include <string_view>

#include "modeltools/ir/IrGraph.hpp"
#include "modeltools/ir/JsonFile.hpp"

namespace modeltools::iroptimizer {
namespace {

using Allocator = rapidjson::Document::AllocatorType;

constexpr uint64_t kFnvOffsetBasis = 0xCBF29CE484222325ULL;
constexpr uint64_t kFnvPrime = 0x100000001B3ULL;

uint64_t fnv1a(uint64_t hash, std::string_view bytes) {
  for (const unsigned char byte : bytes) {
    hash ^= byte;
    hash *= kFnvPrime;
  }
  return hash;
}

uint64_t combine(uint64_t hash, uint64_t value) { return hash ^ ((hash >> 2) + (hash << 6) + value + 0x9E3779B9ULL); }

void createEmptyFile(const char* path) {
  if (std::FILE* file = std::fopen(path, "wb")) std::fclose(file);
}

rapidjson::Value text(const std::string& value, Allocator& allocator) {
  return rapidjson::Value(value.c_str(), static_cast<rapidjson::SizeType>(value.size()), allocator);
}

rapidjson::Value nameList(const std::vector<TensorPtr>& tensors, Allocator& allocator) {
  rapidjson::Value list(rapidjson::kArrayType);
  for (const auto& tensor : tensors) list.PushBack(text(tensor->name(), allocator), allocator);
  return list;
}

// Quantization is not carried by this dump: every tensor gets the same undefined record.
rapidjson::Value undefinedQuantParams(Allocator& allocator) {
  rapidjson::Value scaleOffset(rapidjson::kObjectType);
  scaleOffset.AddMember("bitwidth", 0u, allocator);
  scaleOffset.AddMember("minimum", 0.0, allocator);
  scaleOffset.AddMember("maximum", 0.0, allocator);
  scaleOffset.AddMember("scale", 0.0, allocator);
  scaleOffset.AddMember("offset", 0, allocator);
  scaleOffset.AddMember("is_symmetric", false, allocator);
  scaleOffset.AddMember("is_fixed_point", true, allocator);
  rapidjson::Value quant(rapidjson::kObjectType);
  quant.AddMember("definition", kUndefined, allocator);
  quant.AddMember("encoding", kUndefined, allocator);
  quant.AddMember("is_overridden", false, allocator);
  quant.AddMember("scale_offset", scaleOffset, allocator);
  return quant;
}

rapidjson::Value tensorEntry(const IrTensor& tensor, Allocator& allocator) {
  rapidjson::Value dims(rapidjson::kArrayType);
  for (const uint32_t dim : tensor.dims()) dims.PushBack(dim, allocator);
  rapidjson::Value entry(rapidjson::kObjectType);
  entry.AddMember("type", tensor.kind(), allocator);
  entry.AddMember("data_type", tensor.dataType(), allocator);
  entry.AddMember("quant_params", undefinedQuantParams(allocator), allocator);
  entry.AddMember("dims", dims, allocator);
  return entry;
}

rapidjson::Value nodeEntry(const ops::IrOp& op, Allocator& allocator) {
  rapidjson::Value entry(rapidjson::kObjectType);
  entry.AddMember("type", text(op.type(), allocator), allocator);
  entry.AddMember("tensor_params", rapidjson::Value(rapidjson::kObjectType), allocator);
  entry.AddMember("input_names", nameList(op.getInputs(), allocator), allocator);
  entry.AddMember("output_names", nameList(op.getOutputs(), allocator), allocator);
  return entry;
}

rapidjson::Document modelDescription(const IrGraph& graph) {
  rapidjson::Document document(rapidjson::kObjectType);
  auto& allocator = document.GetAllocator();
  rapidjson::Value tensors(rapidjson::kObjectType);
  for (const auto& [name, tensor] : graph.tensors()) {
    if (tensor) tensors.AddMember(text(name, allocator), tensorEntry(*tensor, allocator), allocator);
  }
  rapidjson::Value nodes(rapidjson::kObjectType);
  for (const auto& op : graph.getOps())
    nodes.AddMember(text(op->name(), allocator), nodeEntry(*op, allocator), allocator);
  rapidjson::Value body(rapidjson::kObjectType);
  body.AddMember("tensors", tensors, allocator);
  body.AddMember("nodes", nodes, allocator);
  document.AddMember("model.cpp", "temp.cpp", allocator);
  document.AddMember("model.bin", "temp.bin", allocator);
  document.AddMember("graph", body, allocator);
  return document;
}

}  // namespace

void writePassDump(const IrGraph& graph, const std::string& path) {
  createEmptyFile("temp.cpp");
  createEmptyFile("temp.bin");
  const rapidjson::Document document = modelDescription(graph);
  writePrettyJson(document, path);  // a dump that can't be opened is not reported
}

uint64_t opFingerprint(const ops::IrOp& op) {
  uint64_t hash = fnv1a(kFnvOffsetBasis, op.type());
  const auto inputs = op.getInputs();
  for (const auto& input : inputs) hash = fnv1a(hash, input->name());
  for (const auto& output : op.getOutputs()) hash = fnv1a(hash, output->name());
  for (const auto& input : inputs) {
    if (!input->isStaticTensor()) continue;
    const auto& data = static_cast<const IrStaticTensor&>(*input);
    const auto* bytes = static_cast<const char*>(data.getData());
    hash = combine(hash, fnv1a(kFnvOffsetBasis, std::string_view(bytes, bytes ? data.dataSize() : 0)));
  }
  return hash;
}

}  // namespace modeltools::iroptimizer
