#include "Enums.hpp"

#include <cctype>

#include "GraphFile.hpp"
#include "VrxGraphTransformer.h"

namespace vrx::tools {
namespace {

// Upper case without separators: the form in which names are compared.
std::string folded(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c))) out += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return out;
}

}  // namespace

bool isGraphIoTensorType(uint32_t type) {
  return type == VRX_TENSORTYPE_APP_WRITE || type == VRX_TENSORTYPE_APP_READ ||
         type == VRX_TENSORTYPE_UPDATEABLE_APP_WRITE || type == VRX_TENSORTYPE_UPDATEABLE_APP_READ;
}

EnumNames::EnumNames(const char* prefix, std::vector<EnumEntry> entries)
    : prefix_(folded(prefix)), entries_(std::move(entries)) {}

std::optional<std::string> EnumNames::nameOf(uint32_t value) const {
  for (const auto& entry : entries_) {
    if (entry.value == value) return entry.name;
  }
  return std::nullopt;
}

std::optional<uint32_t> EnumNames::parse(std::string_view text) const {
  std::string key = folded(text);
  if (key.starts_with(prefix_) && key.size() > prefix_.size()) key.erase(0, prefix_.size());
  for (const auto& entry : entries_) {
    if (folded(entry.name) == key) return entry.value;
  }
  return std::nullopt;
}

std::string EnumNames::listNames() const {
  std::string list;
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (nameOf(entries_[i].value) != entries_[i].name) continue;  // aliases are not advertised
    if (!list.empty()) list += ", ";
    list += entries_[i].name;
  }
  return list;
}

std::string nameOrNumber(const EnumNames& names, uint32_t value) {
  return names.nameOf(value).value_or(std::to_string(value));
}

const EnumNames& dataTypeNames() {
  static const EnumNames names("VRX_DATATYPE_",
                               {{VRX_DATATYPE_INT_2, "INT_2"},
                                {VRX_DATATYPE_INT_4, "INT_4"},
                                {VRX_DATATYPE_INT_8, "INT_8"},
                                {VRX_DATATYPE_INT_16, "INT_16"},
                                {VRX_DATATYPE_INT_32, "INT_32"},
                                {VRX_DATATYPE_INT_64, "INT_64"},
                                {VRX_DATATYPE_UINT_2, "UINT_2"},
                                {VRX_DATATYPE_UINT_4, "UINT_4"},
                                {VRX_DATATYPE_UINT_8, "UINT_8"},
                                {VRX_DATATYPE_UINT_16, "UINT_16"},
                                {VRX_DATATYPE_UINT_32, "UINT_32"},
                                {VRX_DATATYPE_UINT_64, "UINT_64"},
                                {VRX_DATATYPE_FLOAT_4, "FLOAT_4"},
                                {VRX_DATATYPE_FLOAT_8, "FLOAT_8"},
                                {VRX_DATATYPE_FLOAT_16, "FLOAT_16"},
                                {VRX_DATATYPE_BFLOAT_16, "BFLOAT_16"},
                                {VRX_DATATYPE_FLOAT_32, "FLOAT_32"},
                                {VRX_DATATYPE_FLOAT_64, "FLOAT_64"},
                                {VRX_DATATYPE_SFIXED_POINT_2, "SFIXED_POINT_2"},
                                {VRX_DATATYPE_SFIXED_POINT_4, "SFIXED_POINT_4"},
                                {VRX_DATATYPE_SFIXED_POINT_8, "SFIXED_POINT_8"},
                                {VRX_DATATYPE_SFIXED_POINT_16, "SFIXED_POINT_16"},
                                {VRX_DATATYPE_SFIXED_POINT_32, "SFIXED_POINT_32"},
                                {VRX_DATATYPE_UFIXED_POINT_2, "UFIXED_POINT_2"},
                                {VRX_DATATYPE_UFIXED_POINT_4, "UFIXED_POINT_4"},
                                {VRX_DATATYPE_UFIXED_POINT_8, "UFIXED_POINT_8"},
                                {VRX_DATATYPE_UFIXED_POINT_16, "UFIXED_POINT_16"},
                                {VRX_DATATYPE_UFIXED_POINT_32, "UFIXED_POINT_32"},
                                {VRX_DATATYPE_BOOL_8, "BOOL_8"},
                                {VRX_DATATYPE_STRING, "STRING"},
                                {VRX_DATATYPE_UNDEFINED, "UNDEFINED"},
                                {VRX_DATATYPE_BOOL_8, "BOOL"},
                                {VRX_DATATYPE_FLOAT_32, "FLOAT"},
                                {VRX_DATATYPE_FLOAT_64, "DOUBLE"},
                                {VRX_DATATYPE_FLOAT_16, "HALF"}});
  return names;
}

const EnumNames& tensorTypeNames() {
  static const EnumNames names("VRX_TENSORTYPE_",
                               {{VRX_TENSORTYPE_APP_WRITE, "APP_WRITE"},
                                {VRX_TENSORTYPE_APP_READ, "APP_READ"},
                                {VRX_TENSORTYPE_APP_READWRITE, "APP_READWRITE"},
                                {VRX_TENSORTYPE_NATIVE, "NATIVE"},
                                {VRX_TENSORTYPE_STATIC, "STATIC"},
                                {VRX_TENSORTYPE_NULL, "NULL_TENSOR"},
                                {VRX_TENSORTYPE_UPDATEABLE_STATIC, "UPDATEABLE_STATIC"},
                                {VRX_TENSORTYPE_UPDATEABLE_NATIVE, "UPDATEABLE_NATIVE"},
                                {VRX_TENSORTYPE_UPDATEABLE_APP_WRITE, "UPDATEABLE_APP_WRITE"},
                                {VRX_TENSORTYPE_UPDATEABLE_APP_READ, "UPDATEABLE_APP_READ"},
                                {VRX_TENSORTYPE_UPDATEABLE_APP_READWRITE, "UPDATEABLE_APP_READWRITE"},
                                {VRX_TENSORTYPE_UNDEFINED, "UNDEFINED"},
                                {VRX_TENSORTYPE_NULL, "NULL"},
                                {VRX_TENSORTYPE_APP_WRITE, "INPUT"},
                                {VRX_TENSORTYPE_APP_READ, "OUTPUT"},
                                {VRX_TENSORTYPE_STATIC, "CONSTANT"}});
  return names;
}

const EnumNames& dataFormatNames() {
  static const EnumNames names("VRX_TENSOR_DATA_FORMAT_", {{VRX_TENSOR_DATA_FORMAT_DENSE, "DENSE"},
                                                           {VRX_TENSOR_DATA_FORMAT_SPARSE, "SPARSE"},
                                                           {VRX_TENSOR_DATA_FORMAT_OTHER, "OTHER"}});
  return names;
}

const EnumNames& encodingNames() {
  static const EnumNames names(
      "VRX_QUANTIZATION_ENCODING_",
      {{VRX_QUANTIZATION_ENCODING_SCALE_OFFSET, "SCALE_OFFSET"},
       {VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET, "AXIS_SCALE_OFFSET"},
       {VRX_QUANTIZATION_ENCODING_BW_SCALE_OFFSET, "BW_SCALE_OFFSET"},
       {VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET, "BW_AXIS_SCALE_OFFSET"},
       {VRX_QUANTIZATION_ENCODING_BLOCK, "BLOCK"},
       {VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION, "BLOCKWISE_EXPANSION"},
       {VRX_QUANTIZATION_ENCODING_GROUPED_BW, "GROUPED_BW"},
       {VRX_QUANTIZATION_ENCODING_FLOAT_BLOCK, "FLOAT_BLOCK"},
       {VRX_QUANTIZATION_ENCODING_BW_AXIS_SCALE_OFFSET_MAPPED, "BW_AXIS_SCALE_OFFSET_MAPPED"},
       {VRX_QUANTIZATION_ENCODING_BW_BLOCK, "BW_BLOCK"},
       {VRX_QUANTIZATION_ENCODING_MAPPED_VECTOR, "MAPPED_VECTOR"},
       {VRX_QUANTIZATION_ENCODING_ARRAY, "ARRAY"},
       {VRX_QUANTIZATION_ENCODING_UNDEFINED, "UNDEFINED"},
       {VRX_QUANTIZATION_ENCODING_BLOCK, "BQ"},
       {VRX_QUANTIZATION_ENCODING_BLOCKWISE_EXPANSION, "LPBQ"},
       {VRX_QUANTIZATION_ENCODING_SCALE_OFFSET, "PER_TENSOR"},
       {VRX_QUANTIZATION_ENCODING_AXIS_SCALE_OFFSET, "PER_AXIS"}});
  return names;
}

const EnumNames& definitionNames() {
  static const EnumNames names("VRX_DEFINITION_",
                               {{VRX_DEFINITION_DEFINED, "DEFINED"}, {VRX_DEFINITION_UNDEFINED, "UNDEFINED"}});
  return names;
}

const EnumNames& sparseLayoutNames() {
  static const EnumNames names("VRX_SPARSE_LAYOUT_", {{VRX_SPARSE_LAYOUT_HYBRID_COO, "HYBRID_COO"},
                                                      {VRX_SPARSE_LAYOUT_UNDEFINED, "UNDEFINED"}});
  return names;
}

const EnumNames& backendNames() {
  static const EnumNames names("VRX_GT_BACKEND_", {{VRX_GT_BACKEND_CPU, "CPU"},
                                                   {VRX_GT_BACKEND_GPU, "GPU"},
                                                   {VRX_GT_BACKEND_DSP, "DSP"},
                                                   {VRX_GT_BACKEND_NXA, "NXA"},
                                                   {VRX_GT_BACKEND_NXB, "NXB"},
                                                   {VRX_GT_BACKEND_NXC, "NXC"},
                                                   {VRX_GT_BACKEND_NXE, "NXE"}});
  return names;
}

}  // namespace vrx::tools
