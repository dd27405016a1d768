// Reading a graph file into backend records that a LoadedGraph owns.

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <unordered_map>

#include "ElementCodec.hpp"
#include "Enums.hpp"
#include "GraphFile.hpp"
#include "JsonInput.hpp"
#include "QuantizationFields.hpp"

namespace vrx::tools {
namespace {

using core::graphtransformer::RecordArena;

// Encodings of kind 13 may nest; deeper than this is refused rather than followed.
constexpr int kMaxQuantNesting = 8;
constexpr unsigned kParseFlags = rapidjson::kParseFullPrecisionFlag | rapidjson::kParseCommentsFlag |
                                 rapidjson::kParseTrailingCommasFlag | rapidjson::kParseNanAndInfFlag;

class ReadContext {
 public:
  ReadContext(std::string fileName, std::filesystem::path baseDir, RecordArena& arena)
      : fileName(std::move(fileName)), baseDir(std::move(baseDir)), arena(arena) {}

  // The bytes of a side file, read once however many tensors refer to it.
  const std::string& sideFile(const std::string& name, const Location& where) {
    auto it = sideFiles_.find(name);
    if (it != sideFiles_.end()) return it->second;
    const auto path = baseDir / name;
    std::ifstream in(path, std::ios::binary);
    if (!in) where.fail("cannot read the side file '" + path.string() + "'");
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return sideFiles_.emplace(name, bytes.str()).first->second;
  }

  const std::string fileName;
  const std::filesystem::path baseDir;
  RecordArena& arena;

 private:
  std::map<std::string, std::string> sideFiles_;
};

// Enumerations are given by name or by number.
uint32_t readEnum(const EnumNames& names, const rapidjson::Value& value, const Location& where) {
  if (value.IsUint()) return value.GetUint();
  if (!value.IsString()) where.fail("expected a name or a number, found " + jsonKindName(value));
  const std::string text = readString(value, where);
  const auto parsed = names.parse(text);
  if (!parsed) where.fail("unknown name \"" + text + "\" (known: " + names.listNames() + ")");
  return *parsed;
}

uint32_t readEnum(const EnumNames& names, const ObjectReader& obj, const char* key, uint32_t fallback) {
  const auto* value = obj.find(key);
  return value != nullptr ? readEnum(names, *value, obj.at(key)) : fallback;
}

template <class T>
std::vector<T> readNumbers(const rapidjson::Value& value, const Location& where) {
  std::vector<T> numbers;
  const auto items = readArray(value, where);
  for (rapidjson::SizeType i = 0; i < items.Size(); ++i) numbers.push_back(readNumber<T>(items[i], where.item(i)));
  return numbers;
}

// A copy in the arena; never null, also when empty.
template <class T>
T* arenaCopy(RecordArena& arena, const T* values, size_t count) {
  T* copy = arena.allocate<T>(count);
  if (count > 0) std::memcpy(static_cast<void*>(copy), values, count * sizeof(T));
  return copy;
}

// "[1,3,224,224]"
std::string dimsText(std::span<const uint32_t> dims) {
  std::ostringstream text;
  text << "[";
  for (size_t i = 0; i < dims.size(); ++i) text << (i ? "," : "") << dims[i];
  text << "]";
  return text.str();
}

// The number of values that dims hold, or nothing if that overflows 64 bits.
std::optional<uint64_t> elementCount(std::span<const uint32_t> dims) {
  uint64_t count = 1;
  for (const uint32_t d : dims) {
    if (__builtin_mul_overflow(count, uint64_t{d}, &count)) return std::nullopt;
  }
  return count;
}

Vrx_Tensor_t readTensor(const ObjectReader& obj, ReadContext& ctx, const std::string* defaultName, int depth);
Vrx_QuantizeParams_t readQuantization(const ObjectReader& obj, std::span<const uint32_t> dims, ReadContext& ctx,
                                      int depth);

// The reading side of the quantization fields (QuantizationFields.hpp).
class QuantFieldReader {
 public:
  QuantFieldReader(const ObjectReader& obj, ReadContext& ctx, int depth) : obj_(obj), ctx_(ctx), depth_(depth) {}

  const Location& where() const { return obj_.where(); }

  template <class T>
  void value(const char* key, T& member) {
    member = obj_.number<T>(key);
  }

  void count(uint32_t& n, std::initializer_list<const char*> keys) {
    std::optional<size_t> length;
    const char* first = nullptr;
    for (const char* key : keys) {
      if (obj_.isNullOrAbsent(key)) continue;
      const size_t size = readArray(*obj_.find(key), obj_.at(key)).Size();
      if (length && *length != size) {
        where().fail(std::string("\"").append(first) + "\" and \"" + key + "\" differ in length (" +
                     std::to_string(*length) + " and " + std::to_string(size) + ")");
      }
      length = size;
      first = key;
    }
    n = static_cast<uint32_t>(length.value_or(0));
  }

  template <class T>
  void array(const char* key, T*& pointer, size_t n) {
    const auto& value = obj_.require(key);
    if (value.IsNull()) {
      pointer = nullptr;
      return;
    }
    const auto numbers = readNumbers<T>(value, obj_.at(key));
    requireLength(key, numbers.size(), n);
    pointer = arenaCopy(ctx_.arena, numbers.data(), numbers.size());
  }

  template <class Pair>
  void pairs(Pair*& pointer, size_t n) {
    const bool noScales = obj_.require("scales").IsNull();
    if (noScales != obj_.require("offsets").IsNull()) where().fail("\"scales\" and \"offsets\" are both null or neither");
    if (noScales) {
      pointer = nullptr;
      return;
    }
    const auto scales = readNumbers<float>(obj_.require("scales"), obj_.at("scales"));
    const auto offsets = readNumbers<decltype(Pair::offset)>(obj_.require("offsets"), obj_.at("offsets"));
    requireLength("scales", scales.size(), n);
    requireLength("offsets", offsets.size(), n);
    pointer = ctx_.arena.allocate<Pair>(n);
    for (size_t i = 0; i < n; ++i) pointer[i] = Pair{scales[i], offsets[i]};
  }

  template <class Record, class Fields>
  void record(Record*& pointer, Fields&& fields) {
    pointer = ctx_.arena.allocate<Record>(1);
    fields(*pointer);
  }

  void arrayOf(Vrx_ArrayOf_t*& pointer, std::span<const uint32_t> dims) {
    if (depth_ >= kMaxQuantNesting) where().fail("array encodings nested too deeply");
    auto& array = *(pointer = ctx_.arena.allocate<Vrx_ArrayOf_t>(1));
    array.arrayType = obj_.number<uint32_t>("arrayType");
    if (!obj_.isNullOrAbsent("associatedTensor")) {
      array.associatedTensor = ctx_.arena.allocate<Vrx_Tensor_t>(1);
      *array.associatedTensor = readTensor(obj_.object("associatedTensor"), ctx_, nullptr, depth_ + 1);
      dims = std::span<const uint32_t>(array.associatedTensor->dimensions, array.associatedTensor->rank);
    }
    const auto items = readArray(obj_.require("elements"), obj_.at("elements"));
    array.numElements = items.Size();
    array.elements = ctx_.arena.allocate<Vrx_QuantizeParams_t*>(items.Size());
    for (rapidjson::SizeType i = 0; i < items.Size(); ++i) {
      if (items[i].IsNull()) continue;
      array.elements[i] = ctx_.arena.allocate<Vrx_QuantizeParams_t>(1);
      *array.elements[i] = readQuantization(ObjectReader(items[i], obj_.at("elements").item(i)), dims, ctx_, depth_ + 1);
    }
  }

  void raw(uint8_t (&bytes)[32]) {
    const auto hex = readHex(obj_.require("bytes"), obj_.at("bytes"));
    if (hex.size() != sizeof bytes) obj_.at("bytes").fail("needs 32 bytes, has " + std::to_string(hex.size()));
    std::memcpy(bytes, hex.data(), sizeof bytes);
  }

 private:
  void requireLength(const char* key, size_t actual, size_t needed) const {
    if (actual != needed) {
      obj_.at(key).fail("has " + std::to_string(actual) + " values, the encoding needs " + std::to_string(needed));
    }
  }

  const ObjectReader& obj_;
  ReadContext& ctx_;
  int depth_;
};

Vrx_QuantizeParams_t undefinedQuantization() {
  Vrx_QuantizeParams_t q{};
  q.encodingDefinition = VRX_DEFINITION_UNDEFINED;
  q.quantizationEncoding = VRX_QUANTIZATION_ENCODING_UNDEFINED;
  return q;
}

Vrx_QuantizeParams_t readQuantization(const ObjectReader& obj, std::span<const uint32_t> dims, ReadContext& ctx,
                                      int depth) {
  Vrx_QuantizeParams_t q{};
  q.encodingDefinition = readEnum(definitionNames(), obj, "definition", VRX_DEFINITION_DEFINED);
  q.quantizationEncoding = readEnum(encodingNames(), obj.require("encoding"), obj.at("encoding"));
  // An undefined record has no fields; an encoding given without fields has an all-zero union.
  if (q.encodingDefinition != VRX_DEFINITION_UNDEFINED && obj.hasUnreadFields()) {
    QuantFieldReader io(obj, ctx, depth);
    visitEncodingFields(io, q, dims);
  }
  obj.finish();
  return q;
}

Vrx_SparseParams_t readSparse(const ObjectReader& obj) {
  Vrx_SparseParams_t sparse{};
  sparse.layout = readEnum(sparseLayoutNames(), obj, "layout", VRX_SPARSE_LAYOUT_HYBRID_COO);
  sparse.numSpecifiedElements = obj.number<uint32_t>("numSpecifiedElements", 0);
  sparse.numSparseDimensions = obj.number<uint32_t>("numSparseDimensions", 0);
  obj.finish();
  return sparse;
}

uint8_t* readDynamicDims(const ObjectReader& obj, ReadContext& ctx, size_t rank) {
  const auto items = readArray(obj.require("dynamicDims"), obj.at("dynamicDims"));
  if (items.Size() != rank) {
    obj.at("dynamicDims").fail("has " + std::to_string(items.Size()) + " flags for " + std::to_string(rank) +
                               " dimensions");
  }
  auto* flags = ctx.arena.allocate<uint8_t>(rank);
  const ElementCodec flag{ElementKind::Bool, 1};
  for (rapidjson::SizeType i = 0; i < items.Size(); ++i) readElement(flag, items[i], obj.at("dynamicDims").item(i), &flags[i]);
  return flags;
}

// Static data from "data" (numbers), "bytes" (hex) or "dataFile" (a range of the side file).
std::optional<std::string> readTensorBytes(const ObjectReader& obj, ReadContext& ctx, const Vrx_Tensor_t& t,
                                           std::span<const uint32_t> dims) {
  const int given = obj.has("data") + obj.has("bytes") + obj.has("dataFile");
  if (given > 1) obj.where().fail("give only one of \"data\", \"bytes\" and \"dataFile\"");
  if (obj.has("bytes")) {
    const auto bytes = readHex(obj.require("bytes"), obj.at("bytes"));
    return std::string(bytes.begin(), bytes.end());
  }
  if (obj.has("data")) {
    const ElementCodec codec = elementCodec(t.dataType);
    const std::string typeName = nameOrNumber(dataTypeNames(), t.dataType);
    if (!codec.numeric()) obj.at("data").fail(typeName + " values can't be numbers; give them as hex \"bytes\"");
    const auto items = readArray(obj.require("data"), obj.at("data"));
    const auto count = elementCount(dims);
    if (t.dataFormat == VRX_TENSOR_DATA_FORMAT_DENSE && count != items.Size()) {
      obj.at("data").fail("has " + std::to_string(items.Size()) + " values, but dims " + dimsText(dims) + " hold " +
                          (count ? std::to_string(*count) : std::string("too many")));
    }
    std::string bytes(size_t{items.Size()} * codec.width, '\0');
    for (rapidjson::SizeType i = 0; i < items.Size(); ++i) {
      readElement(codec, items[i], obj.at("data").item(i), reinterpret_cast<uint8_t*>(&bytes[size_t{i} * codec.width]));
    }
    return bytes;
  }
  if (obj.has("dataFile")) {
    const ObjectReader ref = obj.object("dataFile");
    const std::string& file = ctx.sideFile(ref.string("path"), ref.at("path"));
    const uint64_t offset = ref.number<uint64_t>("offset", 0);
    const uint64_t size = ref.number<uint64_t>("size");
    ref.finish();
    if (offset > file.size() || size > file.size() - offset) {
      ref.where().fail("bytes " + std::to_string(offset) + " to " + std::to_string(offset + size) +
                       " lie beyond the end of the side file (" + std::to_string(file.size()) + " bytes)");
    }
    return file.substr(offset, size);
  }
  return std::nullopt;
}

void checkDataSize(const ObjectReader& obj, const Vrx_Tensor_t& t, std::span<const uint32_t> dims, size_t size) {
  if (size > UINT32_MAX) obj.where().fail("data of " + std::to_string(size) + " bytes is too large for a tensor");
  const uint32_t width = elementCodec(t.dataType).width;
  // Sparse data and sub-byte types have no size that follows from the dims alone.
  if (t.dataFormat != VRX_TENSOR_DATA_FORMAT_DENSE || width == 0) return;
  const auto count = elementCount(dims);
  if (!count || *count > UINT64_MAX / width || *count * width != size) {
    obj.where().fail("dims " + dimsText(dims) + " of " + nameOrNumber(dataTypeNames(), t.dataType) + " need " +
                     (count ? std::to_string(*count * width) : std::string("too many")) + " bytes of data, but " +
                     std::to_string(size) + " are given");
  }
}

Vrx_Tensor_t readTensor(const ObjectReader& obj, ReadContext& ctx, const std::string* defaultName, int depth) {
  Vrx_Tensor_t t{};
  if (defaultName == nullptr) {
    t.name = ctx.arena.copyString(obj.string("name").c_str());
  } else if (!obj.has("name")) {
    t.name = ctx.arena.copyString(defaultName->c_str());
  } else if (!obj.isNullOrAbsent("name")) {
    t.name = ctx.arena.copyString(obj.string("name").c_str());
  }
  t.version = obj.number<uint32_t>("version", 2);
  if (t.version != 1 && t.version != 2) obj.at("version").fail("tensor records have version 1 or 2");
  const auto dims = obj.has("dims") ? readNumbers<uint32_t>(obj.require("dims"), obj.at("dims")) : std::vector<uint32_t>{};
  t.rank = static_cast<uint32_t>(dims.size());
  t.dimensions = dims.empty() ? nullptr : arenaCopy(ctx.arena, dims.data(), dims.size());
  t.dataType = readEnum(dataTypeNames(), obj, "dataType", VRX_DATATYPE_FLOAT_32);
  t.dataFormat = readEnum(dataFormatNames(), obj, "dataFormat", VRX_TENSOR_DATA_FORMAT_DENSE);
  t.sparseParams = {VRX_SPARSE_LAYOUT_UNDEFINED, 0, 0};
  if (t.version == 2) {
    if (obj.has("dynamicDims")) t.isDynamicDimensions = readDynamicDims(obj, ctx, dims.size());
    if (obj.has("sparse")) t.sparseParams = readSparse(obj.object("sparse"));
  } else if (obj.has("dynamicDims") || obj.has("sparse")) {
    obj.where().fail("only version 2 tensors have \"dynamicDims\" and \"sparse\"");
  }
  if (depth >= kMaxQuantNesting) obj.where().fail("array encodings nested too deeply");
  t.quantizeParams = obj.has("quantization") ? readQuantization(obj.object("quantization"), dims, ctx, depth)
                                             : undefinedQuantization();
  t.memType = obj.number<uint32_t>("memType", 0);
  const auto bytes = readTensorBytes(obj, ctx, t, dims);
  if (bytes) {
    if (obj.has("dataSize")) obj.at("dataSize").fail("is given by the data itself");
    checkDataSize(obj, t, dims, bytes->size());
    t.clientBuf.data = arenaCopy(ctx.arena, bytes->data(), bytes->size());
    t.clientBuf.dataSize = static_cast<uint32_t>(bytes->size());
  } else {
    t.clientBuf.dataSize = obj.number<uint32_t>("dataSize", 0);
  }
  t.type = readEnum(tensorTypeNames(), obj, "type", bytes ? VRX_TENSORTYPE_STATIC : VRX_TENSORTYPE_NATIVE);
  obj.finish();
  return t;
}

// A scalar's value: by its data type a number, a boolean, a string, or hex "bytes".
Vrx_Scalar_t readScalar(const ObjectReader& obj, ReadContext& ctx) {
  Vrx_Scalar_t scalar{};
  const auto* value = obj.find("value");
  const auto* bytes = obj.find("bytes");
  if ((value == nullptr) == (bytes == nullptr)) obj.where().fail("give either \"tensor\", \"value\" or \"bytes\"");
  if (obj.has("dataType")) {
    scalar.dataType = readEnum(dataTypeNames(), obj.require("dataType"), obj.at("dataType"));
  } else if (value != nullptr && value->IsBool()) {
    scalar.dataType = VRX_DATATYPE_BOOL_8;
  } else if (value != nullptr && (value->IsString() || value->IsNull())) {
    scalar.dataType = VRX_DATATYPE_STRING;
  } else {
    obj.where().fail("a number needs a \"dataType\"");
  }
  if (bytes != nullptr) {
    const auto hex = readHex(*bytes, obj.at("bytes"));
    if (hex.size() > sizeof scalar.value) obj.at("bytes").fail("a scalar holds at most 8 bytes");
    std::memcpy(&scalar.value, hex.data(), hex.size());
  } else if (scalar.dataType == VRX_DATATYPE_STRING) {
    scalar.value.stringValue = value->IsNull() ? nullptr : ctx.arena.copyString(readString(*value, obj.at("value")).c_str());
  } else {
    const ElementCodec codec = elementCodec(scalar.dataType);
    if (!codec.numeric()) {
      obj.at("value").fail(nameOrNumber(dataTypeNames(), scalar.dataType) + " values can't be numbers; give hex \"bytes\"");
    }
    readElement(codec, *value, obj.at("value"), reinterpret_cast<uint8_t*>(&scalar.value));
  }
  return scalar;
}

// Where an item of a list stands: "param 'stride'" under `owner` once it has a name, else
// its index in the list.
Location namedLocation(const rapidjson::Value& value, const char* kind, const Location& owner, const Location& list,
                       size_t index) {
  if (value.IsObject() && value.HasMember("name") && value["name"].IsString()) {
    return owner / (std::string(kind) + " '" + value["name"].GetString() + "'");
  }
  return list.item(index);
}

Vrx_Param_t readParam(const ObjectReader& obj, ReadContext& ctx) {
  Vrx_Param_t p{};
  const std::string name = obj.string("name");
  p.name = ctx.arena.copyString(name.c_str());
  if (obj.has("tensor")) {
    p.paramType = VRX_PARAMTYPE_TENSOR;
    p.tensor = readTensor(obj.object("tensor"), ctx, &name, 0);
  } else {
    p.paramType = VRX_PARAMTYPE_SCALAR;
    p.scalar = readScalar(obj, ctx);
  }
  obj.finish();
  return p;
}

// An absent optional input or output.
Vrx_Tensor_t nullTensorRecord() {
  Vrx_Tensor_t t{};
  t.version = 2;
  t.type = VRX_TENSORTYPE_NULL;
  t.dataType = VRX_DATATYPE_UNDEFINED;
  t.quantizeParams = undefinedQuantization();
  t.sparseParams = {VRX_SPARSE_LAYOUT_UNDEFINED, 0, 0};
  return t;
}

using TensorIndex = std::unordered_map<std::string, Vrx_Tensor_t>;

// Node inputs and outputs name graph tensors; the op config embeds a copy of each record.
Vrx_Tensor_t* readTensorRefs(const ObjectReader& obj, const char* key, ReadContext& ctx, const TensorIndex& tensors,
                             uint32_t& count) {
  count = 0;
  if (!obj.has(key)) return nullptr;
  const auto items = readArray(obj.require(key), obj.at(key));
  count = items.Size();
  if (count == 0) return nullptr;
  auto* records = ctx.arena.allocate<Vrx_Tensor_t>(count);
  for (rapidjson::SizeType i = 0; i < items.Size(); ++i) {
    if (items[i].IsNull()) {
      records[i] = nullTensorRecord();
      continue;
    }
    const std::string name = readString(items[i], obj.at(key).item(i));
    const auto it = tensors.find(name);
    if (it == tensors.end()) obj.at(key).item(i).fail("'" + name + "' is not a tensor of the graph");
    records[i] = it->second;
  }
  return records;
}

Vrx_OpConfig_t readNode(const ObjectReader& obj, ReadContext& ctx, const TensorIndex& tensors) {
  Vrx_OpConfig_t op{};
  op.version = 1;
  op.name = ctx.arena.copyString(obj.string("name").c_str());
  op.packageName = ctx.arena.copyString(obj.has("package") ? obj.string("package").c_str() : "vrx.core");
  op.typeName = ctx.arena.copyString(obj.string("type").c_str());
  op.inputTensors = readTensorRefs(obj, "inputs", ctx, tensors, op.numOfInputs);
  op.outputTensors = readTensorRefs(obj, "outputs", ctx, tensors, op.numOfOutputs);
  if (obj.has("params")) {
    const auto items = readArray(obj.require("params"), obj.at("params"));
    op.numOfParams = items.Size();
    op.params = items.Empty() ? nullptr : ctx.arena.allocate<Vrx_Param_t>(items.Size());
    for (rapidjson::SizeType i = 0; i < items.Size(); ++i) {
      const Location where = namedLocation(items[i], "param", obj.where(), obj.at("params"), i);
      op.params[i] = readParam(ObjectReader(items[i], where), ctx);
    }
  }
  obj.finish();
  return op;
}

PassSelection readPassSelection(const rapidjson::Value& value, const Location& where) {
  if (value.IsString()) {
    if (readString(value, where) != "all") where.fail("expected a list of pass names or \"all\"");
    return PassSelection{true, {}};
  }
  PassSelection selection;
  const auto items = readArray(value, where);
  for (rapidjson::SizeType i = 0; i < items.Size(); ++i) selection.names.push_back(readString(items[i], where.item(i)));
  return selection;
}

void readHeader(const ObjectReader& root, GraphRecords& graph, const std::string& defaultName) {
  if (root.has("format") && root.string("format") != "vrx-graph") root.at("format").fail("expected \"vrx-graph\"");
  if (root.number<uint32_t>("version", 1) != 1) root.at("version").fail("only version 1 is known");
  graph.name = root.has("name") ? root.string("name") : defaultName;
  if (root.has("backend")) graph.backendKind = readEnum(backendNames(), root.require("backend"), root.at("backend"));
  if (root.has("allowedPasses")) graph.allowedPasses = readPassSelection(root.require("allowedPasses"), root.at("allowedPasses"));
  if (root.has("runPasses")) {
    const auto names = readArray(root.require("runPasses"), root.at("runPasses"));
    for (rapidjson::SizeType i = 0; i < names.Size(); ++i) {
      graph.runPasses.push_back(readString(names[i], root.at("runPasses").item(i)));
    }
  }
}

template <class ReadItem>
void readNamedList(const ObjectReader& root, const char* key, const char* kind, ReadItem&& readItem) {
  if (!root.has(key)) return;
  const auto items = readArray(root.require(key), root.at(key));
  std::set<std::string> names;
  for (rapidjson::SizeType i = 0; i < items.Size(); ++i) {
    const Location where = namedLocation(items[i], kind, root.where(), root.at(key), i);
    const ObjectReader obj(items[i], where);
    const std::string name = obj.string("name");
    if (!names.insert(name).second) where.fail(std::string(kind) + " '" + name + "' is given twice");
    readItem(obj);
  }
}

std::string lineAndColumn(std::string_view text, size_t offset) {
  size_t line = 1, column = 1;
  for (size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return std::to_string(line) + ":" + std::to_string(column);
}

}  // namespace

std::string readFileText(const std::filesystem::path& path) {
  errno = 0;
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw GraphFileError(path.string() + ": cannot open the file" + (errno != 0 ? std::string(" (") + std::strerror(errno) + ")" : ""));
  }
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

LoadedGraph parseGraphText(std::string_view text, const std::string& sourceName, const std::filesystem::path& baseDir) {
  rapidjson::Document document;
  document.Parse<kParseFlags>(text.data(), text.size());
  if (document.HasParseError()) {
    throw GraphFileError(sourceName + ":" + lineAndColumn(text, document.GetErrorOffset()) +
                         ": JSON syntax error: " + rapidjson::GetParseError_En(document.GetParseError()));
  }
  LoadedGraph loaded;
  GraphRecords& graph = loaded.records();
  ReadContext ctx(sourceName, baseDir, loaded.arena());
  const ObjectReader root(document, Location(sourceName, ""));
  readHeader(root, graph, std::filesystem::path(sourceName).stem().string());
  root.require("tensors");
  TensorIndex tensors;
  readNamedList(root, "tensors", "tensor", [&](const ObjectReader& obj) {
    graph.tensors.push_back(readTensor(obj, ctx, nullptr, 0));
    tensors.emplace(graph.tensors.back().name, graph.tensors.back());
  });
  readNamedList(root, "nodes", "node",
                [&](const ObjectReader& obj) { graph.nodes.push_back(readNode(obj, ctx, tensors)); });
  root.finish();
  return loaded;
}

LoadedGraph loadGraphFile(const std::filesystem::path& path) {
  return parseGraphText(readFileText(path), path.string(), path.parent_path());
}

}  // namespace vrx::tools
