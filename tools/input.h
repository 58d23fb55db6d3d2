// One input of a recording: lines in, reports out.
#ifndef VMR_TOOLS_INPUT_H_
#define VMR_TOOLS_INPUT_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/event_parser.h"
#include "tools/line_reader.h"

namespace vmr::tool {

// What all inputs together brought.
struct LineCounts {
  unsigned long lines = 0;
  unsigned long skipped = 0;
  bool read_error = false;
};

// A report and the line it came from.
struct NumberedReport {
  Report report;
  unsigned long line = 0;
};

// Lines that cannot be used are reported, counted and passed over.
//
// Owns     the descriptor. `counts` must outlive it.
class Input {
 public:
  Input(int fd, std::string name, LineCounts& counts)
      : reader_(fd), name_(std::move(name)), counts_(counts) {}

  // The next report among what was read; nothing when more must be read first,
  // or never comes.
  std::optional<NumberedReport> Next();
  // Reads what is there; may wait.
  void Read();
  // Says that a line cannot be used.
  void Skip(unsigned long line, const std::string& reason);

  int Fd() const { return reader_.Fd(); }
  bool AtEnd() const { return reader_.AtEnd(); }
  const std::string& Name() const { return name_; }
  std::uint64_t BytesRead() const { return reader_.BytesRead(); }

 private:
  void Remark(unsigned long line, const std::string& text) const;

  LineReader reader_;
  std::string name_;
  LineCounts& counts_;
};

using Inputs = std::vector<std::unique_ptr<Input>>;

// Opens the file at `path`, "-" being standard input, and adds it. False, after
// saying why, when that is not possible.
bool OpenInput(const std::string& path, LineCounts& counts, Inputs& inputs);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_INPUT_H_
