#include "Diagnostics.hpp"

#include <iostream>

namespace modeltools {
namespace {

class StandardStreams final : public DiagnosticSink {
 public:
  void write(std::string_view text) override { std::cout << text << std::flush; }
  void writeError(std::string_view text) override { std::cerr << text << std::flush; }
};

}  // namespace

std::shared_ptr<DiagnosticSink> standardStreams() {
  static const auto streams = std::make_shared<StandardStreams>();
  return streams;
}

}  // namespace modeltools
