// One input of a recording: lines in, reports out.
#ifndef VMR_TOOLS_RECORD_INPUT_H_
#define VMR_TOOLS_RECORD_INPUT_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/events/event_parser.h"
#include "tools/events/gpsd_line.h"
#include "tools/record/input_format.h"
#include "tools/record/line_reader.h"
#include "tools/record/line_remarks.h"

namespace vmr::tool {

// What all inputs together brought.
struct LineCounts {
  unsigned long lines = 0;
  unsigned long skipped = 0;
  bool read_error = false;
  bool useless_input = false;  // there is one with lines, and none could be used
};

// A report and the line it came from.
struct NumberedReport {
  Report report;
  unsigned long line = 0;
};

// Lines that cannot be used are reported, as LineRemarks does, counted and passed
// over.
//
// Owns     the descriptor. `counts` must outlive it.
class Input {
 public:
  Input(int fd, std::string name, LineCounts& counts, LineSource source = LineSource::kInput)
      : reader_(fd), name_(name), counts_(counts), remarks_(std::move(name)), source_(source) {}

  // The next report among what was read; nothing when more must be read first,
  // or never comes.
  std::optional<NumberedReport> Next();
  // Reads what is there; may wait.
  void Read();
  // Says that a line cannot be used.
  void Skip(unsigned long line, const std::string& reason);
  // Says something else about a line.
  void Remark(LineRemarks::Kind kind, unsigned long line, const std::string& text);
  // Some lines were not reported yet, and Update is to be called once in a while.
  bool HasMoreToSay() const { return remarks_.Withholds(); }
  void Update();
  // Says what there still is to say, the input as a whole included: nothing more is
  // taken from it.
  void Conclude();

  int Fd() const { return reader_.Fd(); }
  bool AtEnd() const { return reader_.AtEnd(); }
  // Enough was read for Format() to tell what it looks like.
  bool HasBegun() const {
    return reader_.HasLine() || AtEnd() || reader_.Unread().size() >= kMostBytesOfBeginning;
  }
  InputFormat Format() const { return format_; }
  const std::string& Name() const { return name_; }
  std::uint64_t BytesRead() const { return reader_.BytesRead(); }

 private:
  LineReader reader_;
  std::string name_;
  LineCounts& counts_;
  LineRemarks remarks_;
  LineSource source_;
  LineParser parser_;
  InputFormat format_ = InputFormat::kUnknown;
  unsigned long lines_ = 0;    // but for blank ones
  unsigned long skipped_ = 0;  // of these
  bool read_error_ = false;
};

using Inputs = std::vector<std::unique_ptr<Input>>;

// Of an input that is recognised as something else than lines of JSON: says what it
// is and what to do. False then.
bool MayHoldLines(const Input& input);

// Opens the file at `path`, "-" being standard input, and adds it. False, after
// saying why, when that is not possible.
bool OpenInput(const std::string& path, LineCounts& counts, Inputs& inputs);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_INPUT_H_
