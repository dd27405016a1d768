#pragma once

// What the IR, the optimizer and the rules have to say about one graph: statistics, warnings,
// debug lines. They never change a result. Each graph has its own `Diagnostics`, which writes
// to standard output (errors to standard error) unless it is given a sink of its own, as
// tests and embedding programs do.

#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace modeltools {

class DiagnosticSink {
 public:
  virtual ~DiagnosticSink() = default;
  // `text` is written as it stands: callers end their lines themselves.
  virtual void write(std::string_view text) = 0;
  virtual void writeError(std::string_view text) = 0;
};

// Standard output and standard error, flushed after every text.
std::shared_ptr<DiagnosticSink> standardStreams();

// A graph's diagnostics. The address stays for the graph's life, so that objects made with the
// graph (its translator) may keep it; where the text goes can change at any time.
class Diagnostics {
 public:
  Diagnostics() : sink_(standardStreams()) {}
  Diagnostics(const Diagnostics&) = delete;
  Diagnostics& operator=(const Diagnostics&) = delete;

  void sendTo(std::shared_ptr<DiagnosticSink> sink) { sink_ = sink ? std::move(sink) : standardStreams(); }

  // The parts as a stream writes them, in one text.
  template <class... Parts>
  void write(const Parts&... parts) {
    sink_->write(joined(parts...));
  }
  template <class... Parts>
  void writeError(const Parts&... parts) {
    sink_->writeError(joined(parts...));
  }

 private:
  template <class... Parts>
  static std::string joined(const Parts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
  }

  std::shared_ptr<DiagnosticSink> sink_;
};

}  // namespace modeltools
