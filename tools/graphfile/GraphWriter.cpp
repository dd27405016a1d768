// Writing backend records as a graph file. Fields at their default are left out, so that a
// file says what is particular about each tensor and node.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "ElementCodec.hpp"
#include "Enums.hpp"
#include "GraphFile.hpp"
#include "JsonOutput.hpp"
#include "QuantizationFields.hpp"

namespace vrx::tools {
namespace {

// A name where the enumeration has one, else the number.
template <class Writer>
void writeEnum(Writer& out, const char* key, const EnumNames& names, uint32_t value) {
  if (const auto name = names.nameOf(value)) {
    writeString(out, key, *name);
  } else {
    writeKey(out, key);
    out.Uint(value);
  }
}

template <class T>
void writeArrayField(PrettyJson& out, const char* key, const T* values, size_t count) {
  writeKey(out, key);
  if (values == nullptr) {
    out.Null();
  } else {
    writeNumberArray(out, values, count);
  }
}

void writeNames(PrettyJson& out, const char* key, const Vrx_Tensor_t* tensors, uint32_t count) {
  writeKey(out, key);
  writeInlineArray(out, [&](CompactJson& line) {
    for (uint32_t i = 0; tensors != nullptr && i < count; ++i) {
      if (tensors[i].name == nullptr) {
        line.Null();
      } else {
        line.String(tensors[i].name);
      }
    }
  });
}

bool allZero(const uint8_t* bytes, size_t size) {
  return std::all_of(bytes, bytes + size, [](uint8_t b) { return b == 0; });
}

// A scalar param's data type and value: a number, a boolean, a string, or hex "bytes" for
// types without a number form.
template <class Writer>
void writeScalar(Writer& out, const Vrx_Scalar_t& scalar) {
  writeEnum(out, "dataType", dataTypeNames(), scalar.dataType);
  if (scalar.dataType == VRX_DATATYPE_STRING) {
    writeKey(out, "value");
    if (scalar.value.stringValue == nullptr) {
      out.Null();
    } else {
      out.String(scalar.value.stringValue);
    }
    return;
  }
  const ElementCodec codec = elementCodec(scalar.dataType);
  const auto* bytes = reinterpret_cast<const uint8_t*>(&scalar.value);
  if (!codec.numeric()) {
    writeString(out, "bytes", hexText(bytes, sizeof scalar.value));
    return;
  }
  writeKey(out, "value");
  writeElement(out, codec, bytes);
}

class GraphWriter {
 public:
  GraphWriter(PrettyJson& out, std::string sideFileName, const WriteOptions& options, std::vector<uint8_t>& side)
      : out_(out), sideFileName_(std::move(sideFileName)), options_(options), side_(side) {}

  void graph(const GraphRecords& graph);
  void tensor(const Vrx_Tensor_t& t, const Location& where, const char* paramName);
  void quantization(const Vrx_QuantizeParams_t& source, std::span<const uint32_t> dims, const Location& where);

 private:
  void node(const Vrx_OpConfig_t& op, const Location& where);
  void param(const Vrx_Param_t& p, const Location& where);
  void tensorData(const Vrx_Tensor_t& t);

  PrettyJson& out_;
  const std::string sideFileName_;
  const WriteOptions& options_;
  std::vector<uint8_t>& side_;
};

// The writing side of the quantization fields (QuantizationFields.hpp).
class QuantFieldWriter {
 public:
  QuantFieldWriter(GraphWriter& owner, PrettyJson& out, Location where)
      : owner_(owner), out_(out), where_(std::move(where)) {}

  const Location& where() const { return where_; }

  template <class T>
  void value(const char* key, T& member) {
    writeField(out_, key, member);
  }

  void count(uint32_t&, std::initializer_list<const char*>) {}

  template <class T>
  void array(const char* key, T*& pointer, size_t n) {
    writeArrayField(out_, key, pointer, n);
  }

  template <class Pair>
  void pairs(Pair*& pointer, size_t n) {
    writeKey(out_, "scales");
    writePairMembers(pointer, n, [](const Pair& pair) { return pair.scale; });
    writeKey(out_, "offsets");
    writePairMembers(pointer, n, [](const Pair& pair) { return pair.offset; });
  }

  template <class Record, class Fields>
  void record(Record*& pointer, Fields&& fields) {
    if (pointer != nullptr) fields(*pointer);
  }

  void arrayOf(Vrx_ArrayOf_t*& pointer, std::span<const uint32_t> dims) {
    if (pointer == nullptr) return;
    const Vrx_ArrayOf_t& array = *pointer;
    writeField(out_, "arrayType", array.arrayType);
    if (array.associatedTensor != nullptr) {
      writeKey(out_, "associatedTensor");
      owner_.tensor(*array.associatedTensor, where_.field("associatedTensor"), nullptr);
      dims = std::span<const uint32_t>(array.associatedTensor->dimensions, array.associatedTensor->rank);
    }
    writeKey(out_, "elements");
    out_.StartArray();
    for (uint32_t i = 0; i < array.numElements; ++i) {
      if (array.elements == nullptr || array.elements[i] == nullptr) {
        out_.Null();
      } else {
        owner_.quantization(*array.elements[i], dims, where_.field("elements").item(i));
      }
    }
    out_.EndArray();
  }

  void raw(uint8_t (&bytes)[32]) { writeString(out_, "bytes", hexText(bytes, sizeof bytes)); }

 private:
  template <class Pair, class Member>
  void writePairMembers(const Pair* pointer, size_t n, Member&& member) {
    if (pointer == nullptr) {
      out_.Null();
      return;
    }
    writeInlineArray(out_, [&](CompactJson& line) {
      for (size_t i = 0; i < n; ++i) writeNumber(line, member(pointer[i]));
    });
  }

  GraphWriter& owner_;
  PrettyJson& out_;
  Location where_;
};

void GraphWriter::quantization(const Vrx_QuantizeParams_t& source, std::span<const uint32_t> dims,
                               const Location& where) {
  out_.StartObject();
  if (source.encodingDefinition != VRX_DEFINITION_DEFINED) {
    writeEnum(out_, "definition", definitionNames(), source.encodingDefinition);
  }
  writeEnum(out_, "encoding", encodingNames(), source.quantizationEncoding);
  // An undefined record's union is not looked at: its pointers may lead anywhere.
  if (source.encodingDefinition != VRX_DEFINITION_UNDEFINED && !allZero(source.raw, sizeof source.raw)) {
    Vrx_QuantizeParams_t fields = source;  // the visitor takes members by reference; the writer only reads them
    QuantFieldWriter io(*this, out_, where);
    visitEncodingFields(io, fields, dims);
  }
  out_.EndObject();
}

void GraphWriter::tensorData(const Vrx_Tensor_t& t) {
  const auto* bytes = static_cast<const uint8_t*>(t.clientBuf.data);
  const size_t size = t.clientBuf.dataSize;
  if (size > options_.inlineDataLimit) {
    writeKey(out_, "dataFile");
    writeInline(out_, rapidjson::kObjectType, [&](CompactJson& line) {
      line.StartObject();
      writeString(line, "path", sideFileName_);
      writeField(line, "offset", uint64_t{side_.size()});
      writeField(line, "size", uint64_t{size});
      line.EndObject();
    });
    side_.insert(side_.end(), bytes, bytes + size);
    return;
  }
  const ElementCodec codec = elementCodec(t.dataType);
  if (!codec.numeric() || size % codec.width != 0) {
    writeString(out_, "bytes", hexText(bytes, size));
    return;
  }
  writeKey(out_, "data");
  writeInlineArray(out_, [&](CompactJson& line) {
    for (size_t offset = 0; offset < size; offset += codec.width) writeElement(line, codec, bytes + offset);
  });
}

void GraphWriter::tensor(const Vrx_Tensor_t& t, const Location& where, const char* paramName) {
  if (t.rank > 0 && t.dimensions == nullptr) where.fail("rank " + std::to_string(t.rank) + " but no dimensions");
  out_.StartObject();
  if (paramName == nullptr) {
    if (t.name == nullptr) where.fail("a tensor without a name");
    writeString(out_, "name", t.name);
  } else if (t.name == nullptr) {
    writeKey(out_, "name");
    out_.Null();
  } else if (std::strcmp(t.name, paramName) != 0) {
    writeString(out_, "name", t.name);
  }
  writeEnum(out_, "type", tensorTypeNames(), t.type);
  writeEnum(out_, "dataType", dataTypeNames(), t.dataType);
  if (t.version != 2) writeField(out_, "version", t.version);
  if (t.dataFormat != VRX_TENSOR_DATA_FORMAT_DENSE) writeEnum(out_, "dataFormat", dataFormatNames(), t.dataFormat);
  const std::span<const uint32_t> dims(t.dimensions, t.rank);
  writeKey(out_, "dims");
  writeNumberArray(out_, dims.data(), dims.size());
  const bool version2 = t.version == 2;
  // No flags and all flags clear say the same: no dimension is dynamic.
  if (version2 && t.isDynamicDimensions != nullptr && !allZero(t.isDynamicDimensions, t.rank)) {
    writeKey(out_, "dynamicDims");
    writeInlineArray(out_, [&](CompactJson& line) {
      for (uint32_t i = 0; i < t.rank; ++i) writeElement(line, ElementCodec{ElementKind::Bool, 1}, &t.isDynamicDimensions[i]);
    });
  }
  const auto& q = t.quantizeParams;
  if (q.encodingDefinition != VRX_DEFINITION_UNDEFINED || q.quantizationEncoding != VRX_QUANTIZATION_ENCODING_UNDEFINED) {
    writeKey(out_, "quantization");
    quantization(q, dims, where / "quantization");
  }
  if (version2 && t.sparseParams.layout != VRX_SPARSE_LAYOUT_UNDEFINED) {
    writeKey(out_, "sparse");
    out_.StartObject();
    writeEnum(out_, "layout", sparseLayoutNames(), t.sparseParams.layout);
    writeField(out_, "numSpecifiedElements", t.sparseParams.numSpecifiedElements);
    writeField(out_, "numSparseDimensions", t.sparseParams.numSparseDimensions);
    out_.EndObject();
  }
  if (t.memType != 0) writeField(out_, "memType", t.memType);
  // Only memType 0 says that the buffer is one.
  if (t.memType == 0 && t.clientBuf.data != nullptr) {
    tensorData(t);
  } else if (t.clientBuf.dataSize != 0) {
    writeField(out_, "dataSize", t.clientBuf.dataSize);
  }
  out_.EndObject();
}

void GraphWriter::param(const Vrx_Param_t& p, const Location& where) {
  if (p.name == nullptr) where.fail("a param without a name");
  if (p.paramType != VRX_PARAMTYPE_TENSOR) {
    // A scalar stands on one line.
    writeInline(out_, rapidjson::kObjectType, [&](CompactJson& line) {
      line.StartObject();
      writeString(line, "name", p.name);
      writeScalar(line, p.scalar);
      line.EndObject();
    });
    return;
  }
  out_.StartObject();
  writeString(out_, "name", p.name);
  writeKey(out_, "tensor");
  tensor(p.tensor, where, p.name);
  out_.EndObject();
}

void GraphWriter::node(const Vrx_OpConfig_t& op, const Location& where) {
  if (op.version != 1) where.fail("an op config of version " + std::to_string(op.version) + " has no fields to write");
  if (op.name == nullptr || op.typeName == nullptr) where.fail("an op config without a name or a type");
  out_.StartObject();
  writeString(out_, "name", op.name);
  writeString(out_, "type", op.typeName);
  if (op.packageName != nullptr && std::strcmp(op.packageName, "vrx.core") != 0) {
    writeString(out_, "package", op.packageName);
  }
  writeNames(out_, "inputs", op.inputTensors, op.numOfInputs);
  writeNames(out_, "outputs", op.outputTensors, op.numOfOutputs);
  if (op.numOfParams > 0 && op.params != nullptr) {
    writeKey(out_, "params");
    out_.StartArray();
    for (uint32_t i = 0; i < op.numOfParams; ++i) {
      const char* name = op.params[i].name;
      param(op.params[i], name != nullptr ? where / ("param '" + std::string(name) + "'") : where.item(i));
    }
    out_.EndArray();
  }
  out_.EndObject();
}

void GraphWriter::graph(const GraphRecords& graph) {
  const Location where("graph '" + graph.name + "'", "");
  out_.StartObject();
  writeString(out_, "format", "vrx-graph");
  writeField(out_, "version", 1u);
  writeString(out_, "name", graph.name);
  if (graph.backendKind) writeEnum(out_, "backend", backendNames(), *graph.backendKind);
  if (!graph.runPasses.empty()) {
    writeKey(out_, "runPasses");
    writeInlineArray(out_, [&](CompactJson& line) {
      for (const auto& name : graph.runPasses) line.String(name.c_str());
    });
  } else if (graph.allowedPasses && graph.allowedPasses->all) {
    writeString(out_, "allowedPasses", "all");
  } else if (graph.allowedPasses) {
    writeKey(out_, "allowedPasses");
    writeInlineArray(out_, [&](CompactJson& line) {
      for (const auto& name : graph.allowedPasses->names) line.String(name.c_str());
    });
  }
  writeKey(out_, "tensors");
  out_.StartArray();
  for (size_t i = 0; i < graph.tensors.size(); ++i) {
    const char* name = graph.tensors[i].name;
    tensor(graph.tensors[i], name != nullptr ? where / ("tensor '" + std::string(name) + "'") : where.item(i), nullptr);
  }
  out_.EndArray();
  writeKey(out_, "nodes");
  out_.StartArray();
  for (size_t i = 0; i < graph.nodes.size(); ++i) {
    const char* name = graph.nodes[i].version == 1 ? graph.nodes[i].name : nullptr;
    node(graph.nodes[i], name != nullptr ? where / ("node '" + std::string(name) + "'") : where.item(i));
  }
  out_.EndArray();
  out_.EndObject();
}

}  // namespace

RenderedGraph renderGraph(const GraphRecords& graph, const std::string& sideFileName, const WriteOptions& options) {
  RenderedGraph rendered;
  JsonBuffer buffer;
  PrettyJson out(buffer);
  out.SetIndent(' ', 2);
  GraphWriter(out, sideFileName, options, rendered.sideFile).graph(graph);
  rendered.json.assign(buffer.GetString(), buffer.GetSize());
  rendered.json += '\n';
  return rendered;
}

std::filesystem::path sideFilePathFor(const std::filesystem::path& graphPath) {
  auto path = graphPath;
  return path.replace_extension(".bin");
}

void writeFileBytes(const std::filesystem::path& path, std::string_view bytes) {
  errno = 0;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) {
    throw GraphFileError(path.string() + ": cannot write the file" + (errno != 0 ? std::string(" (") + std::strerror(errno) + ")" : ""));
  }
}

std::vector<std::filesystem::path> writeGraphFile(const GraphRecords& graph, const std::filesystem::path& path,
                                                  const WriteOptions& options) {
  const auto sidePath = sideFilePathFor(path);
  const RenderedGraph rendered = renderGraph(graph, sidePath.filename().string(), options);
  writeFileBytes(path, rendered.json);
  std::vector<std::filesystem::path> written{path};
  if (!rendered.sideFile.empty()) {
    writeFileBytes(sidePath, std::string_view(reinterpret_cast<const char*>(rendered.sideFile.data()),
                                              rendered.sideFile.size()));
    written.push_back(sidePath);
  }
  return written;
}

}  // namespace vrx::tools
