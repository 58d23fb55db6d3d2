#include "bench/interleaved.h"

#include <chrono>
#include <fstream>
#include <map>

namespace vmr::bench {
namespace {

constexpr long long kSectorBytes = 512;  // of the kernel's counters, whatever the device's

void PrintRound(const std::map<std::string, Turn>& turns, bool is_first, std::FILE* out) {
  std::fputs(is_first ? "\n  {" : ",\n  {", out);
  const char* separator = "";
  for (const auto& [name, turn] : turns) {
    std::fprintf(out, "%s\"%s\": {\"seconds\": %.9f, \"median_us\": %.3f, \"bytes\": %lld}",
                 separator, name.c_str(), turn.seconds, turn.median_us, turn.bytes);
    separator = ", ";
  }
  std::fputs("}", out);
}

}  // namespace

double Now_s() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

void RunInterleaved(const std::vector<Variant>& variants, int rounds, std::FILE* out) {
  for (const Variant& variant : variants) variant.run();
  std::fputs("\"rounds\": [", out);
  for (int round = 0; round < rounds; ++round) {
    std::map<std::string, Turn> turns;
    for (std::size_t n = 0; n < variants.size(); ++n) {
      const Variant& variant = variants[round % 2 == 0 ? n : variants.size() - 1 - n];
      turns[variant.name] = variant.run();
    }
    PrintRound(turns, round == 0, out);
  }
  std::fputs("]", out);
}

long long WrittenBytes::Now() const {
  if (OfDevice()) {
    // Read: requests, merged, sectors, ms; written: requests, merged, sectors.
    std::ifstream stat(device_stat_);
    long long field = -1;
    for (int n = 0; n < 7; ++n) stat >> field;
    return field * kSectorBytes;
  }
  std::ifstream io("/proc/self/io");
  std::string name;
  long long value = 0;
  while (io >> name >> value)
    if (name == "write_bytes:") return value;
  return 0;
}

}  // namespace vmr::bench
