// The row of a recording in a lake's table of them.
#ifndef VMR_TOOLS_LAKE_SUMMARY_H_
#define VMR_TOOLS_LAKE_SUMMARY_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "records/record.h"
#include "tools/lake/packets_digest.h"
#include "tools/read/overview.h"

namespace vmr::tool {

// Follows a whole recording and adds it up, in a bounded memory. Records of packets with a
// wrong CRC are counted and tell neither identity nor ticks.
class Summary final : public records::Sink {
 public:
  void OnPacket(const records::PacketFound& packet) override;
  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override;
  void OnNewRun(int run, unsigned int tick) override;

  PacketsDigester packets;
  std::string serial_number;                   // as told first; empty: never
  std::string mac;                             // the same, six bytes
  std::set<std::string> serial_numbers, macs;  // different ones, at most kMostIdentities
  static constexpr std::size_t kMostIdentities = 100;
  unsigned int first_tick = kNoTick, last_tick = kNoTick;
  records::Time first_time, last_time;
  std::uint64_t records = 0, wrong_crc = 0, gaps = 0, clock_steps = 0, runs = 0;
  bool overwritten = false;
  std::map<records::GapReason, std::uint64_t> gap_reasons;  // but what was overwritten

 private:
  void NoteMac(std::string_view told);

  unsigned int tick_of_run_ = kNoTick;  // the last one
};

// All that the table says of a recording.
struct RecordingRow {
  std::string source;  // its name, escaped nowhere
  std::string status;
  std::string findings;  // empty: none
  bool has_clusters = false;
  std::int64_t clusters = 0;
  std::vector<std::string> health;   // of its files, of a store
  std::vector<std::string> sha256s;  // of its files, if asked for
};

// "3 gaps: 2 lost clusters, 1 unknown item".
std::string WordsOfGaps(const Summary& summary);
// A line as the writer of Parquet files takes it.
std::string TextOfRow(const RecordingRow& row, const Summary& summary,
                      const PacketsDigest& packets);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_SUMMARY_H_
