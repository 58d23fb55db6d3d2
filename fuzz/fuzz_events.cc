// Any bytes as lines of events and reports of gpsd, applied to a store.
#include <sys/mman.h>
#include <unistd.h>

#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "reader/metadata_reader.h"
#include "tests/tools/parsed_lines.h"
#include "tools/events/event_parser.h"
#include "tools/events/gpsd_line.h"
#include "tools/record/gps_tracker.h"
#include "tools/record/input_format.h"
#include "tools/record/line_reader.h"

namespace {

using vmr::fuzz::Require;
using namespace vmr::tool;  // what is tested

// Parses what was recorded, and counts its bytes.
class ParsedBack final : public vmr::DataStoreNull {
 public:
  int WriteData(const unsigned char* packet, int length, unsigned int /*sysTick*/) override {
    Require(length > 0 && length <= static_cast<int>(vmr::kMaxPacketBytes),
            "a packet is of a possible length");
    Require(reader_.ParsePacket(mirror_, packet, length) == 1, "what is recorded can be read");
    mirror_.WriteBuffers();
    item_bytes_ += static_cast<unsigned int>(length) - HeadAndCrcBytes(packet[0]);
    return 1;
  }
  unsigned int TakeItemBytes() { return std::exchange(item_bytes_, 0U); }

 private:
  static unsigned int HeadAndCrcBytes(unsigned char header) {
    if (header == vmr::HEADER_1) return vmr::kHeader1Bytes + vmr::kPacketCrcBytes;
    if (header == vmr::HEADER_2) return vmr::kHeader2Bytes + vmr::kPacketCrcBytes;
    return vmr::kHeaderContBytes + vmr::kPacketCrcBytes;
  }

  vmr::MetadataReader reader_;
  vmr::DataStoreNull mirror_;
  unsigned int item_bytes_ = 0;
};

// A recorder of events, each in packets of its own.
class Session {
 public:
  void Take(const ParsedLine& line) {
    if (const auto* unusable = std::get_if<UnusableLine>(&line))
      Require(!unusable->reason.empty(), "a line is refused for a reason");
    if (const auto* report = std::get_if<Report>(&line)) Take(*report);
  }

 private:
  void Take(const Report& report) {
    if (report.stamp.tick) Require(*report.stamp.tick <= kLastInputTick, "a tick can be recorded");
    if (report.stamp.tick) tick_ = *report.stamp.tick;
    store_.InitCurrentSystemTick(tick_);
    constexpr unsigned int kMostGpsReportBytes = 2 + (2 + 10) + (2 + 3);
    unsigned int most_bytes = kMostGpsReportBytes;
    if (const auto* gps = std::get_if<GpsReport>(&report.content)) {
      gps_.Follow(store_, *gps, report.stamp, tick_);
    } else {
      const Event& event = std::get<Event>(report.content);
      event.action(store_, tick_);
      most_bytes = event.kind->most_bytes;
    }
    store_.WriteBuffers();
    // The program makes room for so many before each report.
    Require(store_.TakeItemBytes() <= most_bytes, "a report makes no more bytes than it may");
    store_.TimerTick(++tick_);
    store_.WriteBuffers();
    static_cast<void>(store_.TakeItemBytes());
  }

  ParsedBack store_;
  GpsTracker gps_;
  unsigned int tick_ = 1;
};

// Puts the bytes on standard input, the one descriptor that a reader leaves open.
void PutOnStandardInput(const std::uint8_t* data, std::size_t size) {
  static const bool kReplaced = [] {
    const int file = memfd_create("input", MFD_CLOEXEC);
    return file >= 0 && dup2(file, STDIN_FILENO) == STDIN_FILENO;
  }();
  const auto length = static_cast<off_t>(size);
  Require(kReplaced && pwrite(STDIN_FILENO, data, size, 0) == length &&
              ftruncate(STDIN_FILENO, length) == 0 && lseek(STDIN_FILENO, 0, SEEK_SET) == 0,
          "the input is written");
}

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
  }
  return lines;
}

void CheckReader(const std::vector<std::string_view>& lines) {
  LineReader reader(STDIN_FILENO);
  std::string_view line;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    LineReader::Result result = reader.Next(line);
    for (; result == LineReader::Result::kNone && !reader.AtEnd(); result = reader.Next(line))
      Require(reader.Read(), "the input is read");
    Require(result == LineReader::Result::kLine && line == lines[i], "a line is read as it is");
    Require(reader.LineNumber() == i + 1, "lines are counted");
  }
  Require(reader.Next(line) == LineReader::Result::kNone, "there are no more lines");
}

}  // namespace

// The reader of lines takes more time, for its large buffer, than all else.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  const std::vector<std::string_view> lines =
      SplitLines({reinterpret_cast<const char*>(data), size});
  if (vmr::fuzz::IsOneIn(16)) {
    PutOnStandardInput(data, size);
    CheckReader(lines);
  }
  static_cast<void>(FormatOf({reinterpret_cast<const char*>(data), size}, size % 2 == 0));
  Session session;
  GpsdLineParser gpsd;
  for (const std::string_view line : lines) {
    const ParsedLine parsed = ParseLine(line);
    if (const auto taken = gpsd.Parse(line))
      Require(vmr::test::SameLine(*taken, parsed), "both parsers have the same of a line");
    session.Take(parsed);
  }
  return 0;
}
