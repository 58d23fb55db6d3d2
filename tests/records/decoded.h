// What the decoder finds, as lines that a test can write down:
//   "100 input input='siren' on=1"        tick, kind, fields; - for no tick
//   "100 log text='x' (wrong CRC) (repeats)"
//   "gap 100..200 lost clusters", "step 100 by 3600000000", "run 1 from 5"
#ifndef VMR_TESTS_RECORDS_DECODED_H_
#define VMR_TESTS_RECORDS_DECODED_H_

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "records/decoder.h"
#include "tests/support/bytes.h"
#include "tests/support/reference_crc.h"

namespace vmr::test {

inline std::string TickText(unsigned int tick) {
  return tick == kNoTick ? "-" : std::to_string(tick);
}

inline std::string FieldText(const records::Value& value) {
  std::string text = std::string(" ") + value.field->name + "=";
  if (!value.present) return text + "?";
  if (value.word != nullptr) return text + "'" + value.word + "'";
  if (value.field->type == records::FieldType::kText)
    return text + "'" + std::string(value.text) + "'";
  if (value.field->type != records::FieldType::kMac) return text + std::to_string(value.number);
  for (const char byte : value.text) {
    constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

class Lines : public records::Sink {
 public:
  void OnRecord(const records::Record& record) override {
    std::string line = TickText(record.tick) + " " + record.kind->name;
    for (std::size_t i = 0; i < record.kind->field_count; ++i)
      line += FieldText(records::ValueOf(record, i));
    if (record.position.quality == records::PositionQuality::kUnverified) line += " (unverified)";
    if (!record.crc_right) line += " (wrong CRC)";
    if (record.repeats) line += " (repeats)";
    lines.push_back(line);
    times.emplace_back(record.time);
    places.push_back(record.place);
  }
  void OnGap(const records::Gap& gap) override {
    lines.push_back("gap " + TickText(gap.from_tick) + ".." + TickText(gap.to_tick) + " " +
                    TextOf(gap.reason));
    gaps.push_back(gap);
  }
  void OnClockStep(const records::ClockStep& step) override {
    lines.push_back("step " + TickText(step.tick) + " by " + std::to_string(step.Microseconds()));
  }
  void OnNewRun(int run, unsigned int tick) override {
    lines.push_back("run " + std::to_string(run) + " from " + TickText(tick));
  }

  std::vector<std::string> lines;
  std::vector<records::Time> times;    // of the records
  std::vector<records::Place> places;  // of the records
  std::vector<records::Gap> gaps;
};

// Bytes in pieces, each of which may have a gap in front of it.
class Pieces final : public records::Source {
 public:
  struct Piece {
    Bytes bytes;
    unsigned int first_tick = kNoTick;
    bool lost_before = false;
  };
  explicit Pieces(std::vector<Piece> pieces, bool flat = false)
      : pieces_(std::move(pieces)), flat_(flat) {}

  bool Next(std::size_t /*unused*/, records::Stretch& stretch) override {
    stretch = {};
    if (next_ == pieces_.size()) return false;
    const Piece& piece = pieces_[next_];
    stretch.bytes = piece.bytes.data();
    stretch.size = piece.bytes.size();
    stretch.place.cluster = static_cast<int>(next_);
    stretch.first_tick = piece.first_tick;
    if (piece.lost_before) {
      stretch.gap = records::Gap(records::GapReason::kLostClusters);
      stretch.gap->clusters = 1;
    }
    ++next_;
    return true;
  }
  std::unique_ptr<records::Source> Fork() const override {
    auto fork = std::make_unique<Pieces>(pieces_, flat_);
    fork->next_ = std::max<std::size_t>(next_, 1) - 1;
    return fork;
  }
  bool IsFlat() const override { return flat_; }
  double Progress() const override { return 0; }

 private:
  std::vector<Piece> pieces_;
  std::size_t next_ = 0;
  bool flat_;
};

inline Bytes TickBytes(unsigned int tick) {
  return {static_cast<unsigned char>(tick), static_cast<unsigned char>(tick >> 8),
          static_cast<unsigned char>(tick >> 16), static_cast<unsigned char>(tick >> 24)};
}
inline Bytes WithLength(const Bytes& items) {
  return Bytes{static_cast<unsigned char>(items.size())} + items;
}
// A HEADER_1, HEADER_2 and continuation packet with these items, as hexadecimal digits.
inline Bytes Hdr1(unsigned int tick, const std::string& items) {
  return WithCrc(B("80") + TickBytes(tick) + WithLength(B(items)));
}
inline Bytes Hdr2(unsigned char low, const std::string& items) {
  return WithCrc(Bytes{0x81, low} + WithLength(B(items)));
}
inline Bytes Cont(const std::string& items) {
  Bytes packet = B("82") + WithLength(B(items));
  Bytes covered = packet;
  covered.resize(packet.size() - 2);
  packet.push_back(ReferenceCrc8(covered));
  return packet;
}

inline Lines Decode(std::vector<Pieces::Piece> pieces, bool flat = false) {
  Pieces source(std::move(pieces), flat);
  Lines lines;
  records::Decoder(source, lines).Run();
  return lines;
}
inline std::vector<std::string> DecodedLines(const Bytes& stream) {
  return Decode({{stream}}).lines;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_RECORDS_DECODED_H_
