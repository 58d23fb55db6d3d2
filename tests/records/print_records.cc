// Prints what the decoder finds in a store or a flat file, a line each:
//   record TICK TAG BODY           as the packet has it, in hexadecimal
//   position TICK LATITUDE LONGITUDE QUALITY  in ten-thousandths of a minute
//   gap FROM TO REASON
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "records/decoder.h"
#include "records/flat_source.h"
#include "records/ring_source.h"

namespace {

using namespace vmr::records;

class Printer final : public Sink {
 public:
  void OnRecord(const Record& record) override {
    std::printf("record %u %02x ", record.packet_tick, record.item[0]);
    for (std::size_t i = 1; i < record.item_bytes; ++i) std::printf("%02x", record.item[i]);
    std::printf(" %s%s%s\n", record.crc_right ? "" : "!", record.repeats ? "r" : "",
                TextOf(record.time.quality));
    if (record.kind->id != KindId::kPosition) return;
    std::printf("position %u %d %d %d\n", record.tick, record.position.latitude_tts,
                record.position.longitude_tts, static_cast<int>(record.position.quality));
  }
  void OnGap(const Gap& gap) override {
    std::printf("gap %u %u %s\n", gap.from_tick, gap.to_tick, TextOf(gap.reason));
  }
  void OnClockStep(const ClockStep& step) override {
    std::printf("step %u %lld\n", step.tick, static_cast<long long>(step.Microseconds()));
  }
  void OnNewRun(int run, unsigned int tick) override { std::printf("run %d %u\n", run, tick); }
};

class Counter final : public Sink {
 public:
  void OnRecord(const Record& /*record*/) override { ++records; }
  unsigned long records = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string path = argv[1];
  FlatProblem flat{};
  RingProblem ring{};
  std::unique_ptr<Source> source = FlatSource::Open(path, flat);
  if (source == nullptr) source = RingSource::Open(path + "_1.mtd", path + "_2.mtd", ring);
  if (source == nullptr) {
    std::printf("problem %d\n", static_cast<int>(ring));
    return 1;
  }
  if (argc > 2 && std::strcmp(argv[2], "--count") == 0) {
    Counter counter;
    Decoder(*source, counter).Run();
    std::printf("%lu\n", counter.records);
    return 0;
  }
  Printer printer;
  Decoder(*source, printer).Run();
  return 0;
}
