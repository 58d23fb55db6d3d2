#include "tests/crash/run.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace vmr::crash {

Run::Run(const Options& options) : options_(options), start_(std::chrono::steady_clock::now()) {}

bool Run::WantsSome(const std::string& prefix) const {
  return !Replaying() || options_.replay.compare(0, prefix.size(), prefix) == 0;
}

bool Run::Wants(const std::string& id) {
  if (Replaying() && id != options_.replay) return false;
  if (!Replaying() && offered_++ % options_.every != 0) return false;
  ++visited_;
  return true;
}

unsigned int Run::ReplayedRound() const {
  const std::size_t at = options_.replay.find("/r");
  if (at == std::string::npos) return 0;
  return static_cast<unsigned int>(std::strtoul(options_.replay.c_str() + at + 2, nullptr, 10));
}

void Run::Fail(const std::string& id, const std::string& wrong) {
  ++counts["undocumented_losses"];
  if (++failures_ > kMaxFailures) return;
  std::printf("FAIL %s: %s\n  alone: %s --replay %s\n", id.c_str(), wrong.c_str(),
              options_.program.c_str(), id.c_str());
  std::fflush(stdout);
}

bool Run::Enough(bool within) const {
  if (failures_ >= kMaxFailures) return true;
  if (options_.seconds > 0)
    return std::chrono::steady_clock::now() - start_ > std::chrono::seconds(options_.seconds);
  return !within && visited_ >= options_.states;
}

// Eight bits of CRC let one torn or damaged image in 256 pass at worst; far more would mean
// that the checker calls losses coincidences.
void Run::JudgeCoincidences() {
  long torn = 0;
  for (const char* const name : {"torn_images", "flipped_bits", "damaged_sectors"})
    if (const auto found = counts.find(name); found != counts.end()) torn += found->second;
  if (torn < 1000 || counts["crc_coincidences"] * 64 < torn) return;
  ++failures_;
  std::printf("FAIL too many torn images have a right CRC\n");
}

// Whoever asks for a number of states has it, or is told.
void Run::JudgeAmount() {
  const bool by_number = !Replaying() && options_.seconds == 0 && failures_ == 0;
  if (visited_ > 0 && (!by_number || visited_ >= options_.states)) return;
  ++failures_;
  std::printf("FAIL %ld states visited, %ld wanted\n", visited_, options_.states);
}

int Run::Finish() {
  JudgeCoincidences();
  JudgeAmount();
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start_;
  std::string line = "{\"kind\":\"" + options_.kind + "\"";
  counts["undocumented_losses"] += 0;
  for (const auto& [name, count] : counts) line += ",\"" + name + "\":" + std::to_string(count);
  char seconds[64];
  std::snprintf(seconds, sizeof(seconds), ",\"seconds\":%.1f}", took.count());
  line += seconds;
  std::printf("%s\n", line.c_str());
  if (!options_.counts.empty()) std::ofstream(options_.counts, std::ios::app) << line << "\n";
  return failures_ == 0 ? 0 : 1;
}

}  // namespace vmr::crash
