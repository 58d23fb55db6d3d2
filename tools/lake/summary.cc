#include "tools/lake/summary.h"

#include <fmt/format.h>

#include "tools/lake/row_files.h"
#include "tools/read/columns.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::TimeQuality;

void Note(std::string_view told, std::string& first, std::set<std::string>& all) {
  if (told.empty()) return;
  if (first.empty()) first = told;
  if (all.size() < Summary::kMostIdentities) all.emplace(told);
}

std::string NthOr(const std::vector<std::string>& texts, std::size_t n) {
  return n < texts.size() ? texts[n] : "";
}

}  // namespace

void Summary::OnPacket(const records::PacketFound& packet) {
  packets.Add({reinterpret_cast<const char*>(packet.bytes), packet.size});
  if (!packet.crc_right) ++wrong_crc;
}

void Summary::OnRecord(const records::Record& record) {
  ++records;
  if (!record.crc_right) return;
  if (runs == 0) runs = 1;
  const KindId id = record.kind->id;
  if (id == KindId::kSerialNumber) Note(ValueOf(record, 0).text, serial_number, serial_numbers);
  if (id == KindId::kMac) NoteMac(ValueOf(record, 0).text);
  if (record.tick == kNoTick) return;
  if (first_tick == kNoTick) first_tick = record.tick;
  // One that was reported late is not the last.
  constexpr unsigned int kHalf = 0x80000000;
  if (tick_of_run_ != kNoTick && record.tick - tick_of_run_ >= kHalf) return;
  last_tick = tick_of_run_ = record.tick;
  if (record.time.quality == TimeQuality::kUnknown) return;
  if (first_time.quality == TimeQuality::kUnknown) first_time = record.time;
  last_time = record.time;
}

// One of zeros is what a unit that has none writes.
void Summary::NoteMac(std::string_view told) {
  if (told.find_first_not_of('\0') != told.npos) Note(told, mac, macs);
}

void Summary::OnGap(const records::Gap& gap) {
  ++gaps;
  if (gap.reason == records::GapReason::kOverwritten)
    overwritten = true;
  else
    ++gap_reasons[gap.reason];
}

void Summary::OnClockStep(const records::ClockStep& /*step*/) { ++clock_steps; }

void Summary::OnNewRun(int /*run*/, unsigned int /*tick*/) {
  runs = (runs == 0 ? 1 : runs) + 1;
  tick_of_run_ = kNoTick;
}

std::string WordsOfGaps(const Summary& summary) {
  std::uint64_t all = 0;
  std::string reasons;
  for (const auto& [reason, count] : summary.gap_reasons) {
    all += count;
    reasons += fmt::format("{}{} {}", reasons.empty() ? "" : ", ", count, TextOf(reason));
  }
  return all == 0 ? "" : fmt::format("{} gap{}: {}", all, all == 1 ? "" : "s", reasons);
}

std::string TextOfRow(const RecordingRow& said, const Summary& summary,
                      const PacketsDigest& packets) {
  LineBuffer line, mac;
  TypedRow row(line);
  row.Text(VisibleText(said.source));
  row.TextOrNull(VisibleText(summary.serial_number));
  AppendHex(summary.mac, ':', mac);
  row.TextOrNull({mac.data(), mac.size()});
  row.Text(said.status);
  row.TextOrNull(VisibleText(said.findings));
  row.Tick(summary.first_tick);
  row.Tick(summary.last_tick);
  row.Time(summary.first_time);
  row.Time(summary.last_time);
  row.Text(TextOf(summary.first_time.quality));
  row.Number(summary.records);
  row.Number(packets.bytes);
  for (const std::uint64_t count :
       {summary.wrong_crc, summary.gaps, summary.clock_steps, summary.runs})
    row.Number(count);
  row.Flag(summary.overwritten);
  said.has_clusters ? row.Number(said.clusters) : row.Null();
  for (std::size_t n = 0; n < 2; ++n) row.TextOrNull(NthOr(said.health, n));
  row.TextOrNull(packets.bytes > 0 ? packets.all : "");
  for (std::size_t n = 0; n < 2; ++n) row.TextOrNull(NthOr(said.sha256s, n));
  row.Text(VMR_VERSION);
  row.Number(kSchemaVersion);
  row.End();
  return fmt::to_string(line);
}

}  // namespace vmr::tool
