#pragma once

// The graph file: a JSON description of everything a client hands to the graph
// transformer's exports (tensors, nodes, the backend and the allowed passes), read into
// backend records and written back from them. README.md ("Graph file format") describes it.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "RecordCopy.hpp"
#include "VrxGraphTransformer.h"

namespace vrx::tools {

// A graph file that can't be read or written. The message names the file, the tensor or
// node, and what is wrong.
class GraphFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// True for the tensor types of the graph's inputs and outputs, plain or updateable.
bool isGraphIoTensorType(uint32_t type);

// The passes a run may use: all of them, or those named.
struct PassSelection {
  bool all = false;
  std::vector<std::string> names;

  bool operator==(const PassSelection&) const = default;
};

// A graph as backend records. The records point into memory owned elsewhere: by a
// LoadedGraph, or by the backend that received them.
struct GraphRecords {
  std::string name;
  std::optional<uint32_t> backendKind;
  std::optional<PassSelection> allowedPasses;
  // Passes to run alone, in this order, instead of the pipeline; then allowedPasses is moot.
  std::vector<std::string> runPasses;
  std::vector<Vrx_Tensor_t> tensors;  // in the order the client adds them
  std::vector<Vrx_OpConfig_t> nodes;  // in the order the client adds them
};

// A graph read from a file. It owns every byte that its records point to; the records
// may be handed to the exports, which may write into them (tensor IDs).
class LoadedGraph {
 public:
  LoadedGraph() : arena_(std::make_unique<core::graphtransformer::RecordArena>()) {}

  GraphRecords& records() { return records_; }
  const GraphRecords& records() const { return records_; }
  core::graphtransformer::RecordArena& arena() { return *arena_; }

 private:
  GraphRecords records_;
  std::unique_ptr<core::graphtransformer::RecordArena> arena_;
};

LoadedGraph loadGraphFile(const std::filesystem::path& path);
// Reads graph text. `sourceName` names it in messages and gives the default graph name;
// side files are looked up in `baseDir`.
LoadedGraph parseGraphText(std::string_view text, const std::string& sourceName, const std::filesystem::path& baseDir);

struct WriteOptions {
  // Static data of more bytes than this goes to the side file instead of the JSON.
  size_t inlineDataLimit = 1024;
};

struct RenderedGraph {
  std::string json;
  std::vector<uint8_t> sideFile;  // empty when all data is inline
};

// The file text of a graph; `sideFileName` is how the text refers to the side file.
RenderedGraph renderGraph(const GraphRecords& graph, const std::string& sideFileName, const WriteOptions& options = {});

// The side file that belongs to a graph file: the same path with the extension ".bin".
std::filesystem::path sideFilePathFor(const std::filesystem::path& graphPath);

// Writes the graph file and, if some data is too large to stand inline, its side file.
// Returns the paths written.
std::vector<std::filesystem::path> writeGraphFile(const GraphRecords& graph, const std::filesystem::path& path,
                                                  const WriteOptions& options = {});

// Reads a whole file; a file that can't be read is a GraphFileError.
std::string readFileText(const std::filesystem::path& path);
void writeFileBytes(const std::filesystem::path& path, std::string_view bytes);

}  // namespace vrx::tools
