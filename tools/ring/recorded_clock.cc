#include "tools/ring/recorded_clock.h"

#include <algorithm>

#include "backends/data_store_null.h"
#include "reader/metadata_reader.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"
#include "tools/common/ticks.h"

namespace vmr::tool {
namespace {

// Is given packets, and keeps the times in them.
class TimeItems final : public DataStoreNull {
 public:
  TimeItems(const MetadataReader& reader, RecordedClock& clock) : reader_(reader), clock_(clock) {}

  int WriteData(const unsigned char* packet, int length, unsigned int /*sysTick*/) override {
    const PacketShape* const shape = FindPacketShape(packet[0]);
    const bool may_tell = shape != nullptr && shape->has_items && reader_.ReadSysTick() != kNoTick;
    if (may_tell) AddTimes(packet, shape->head_bytes, static_cast<std::size_t>(length));
    return 1;
  }

 private:
  // Up to the first item that no reader decodes.
  void AddTimes(const unsigned char* packet, std::size_t head_bytes, std::size_t packet_bytes) {
    for (std::size_t at = head_bytes, end = packet_bytes - kPacketCrcBytes; at < end;) {
      const TagRow* const row = FindTag(packet[at]);
      const std::size_t item_bytes = ItemLength(row, packet + at, end - at);
      if (item_bytes == 0 || row->decoder == nullptr) return;
      if (packet[at] == TAG_TIME)
        clock_.Add(reader_.ReadSysTick(), static_cast<std::int32_t>(GetLe32(packet + at + 1)));
      at += item_bytes;
    }
  }

  const MetadataReader& reader_;
  RecordedClock& clock_;
};

unsigned int AsTick(std::int64_t tick) {
  return static_cast<unsigned int>(std::clamp<std::int64_t>(tick, 0, kLastTick));
}

}  // namespace

bool RecordedClock::Read(DataStoreNormal& ring, Progress& progress) {
  MetadataReader reader(RingAccess::kReadOnly);
  TimeItems items(reader, *this);
  if (items.Open() == 0) return false;
  reader.StartAt(ring.InitialReadLocation());
  int packets;
  while ((packets = reader.ReadNextSystemTick(ring, items)) > 0) {
    static_cast<void>(reader.WriteReadSystemTick(items));  // which refuses nothing
    progress.Step();
  }
  return packets == 0;
}

void RecordedClock::Add(unsigned int tick, std::int64_t time_s) {
  readings_.push_back({tick, time_s * kMicrosecondsPerSecond});
}

std::int64_t RecordedClock::LastTickOf(std::size_t reading) const {
  const bool last = reading + 1 == readings_.size();
  return last ? std::int64_t{kLastTick} : std::int64_t{readings_[reading + 1].tick} - 1;
}

unsigned int RecordedClock::FirstTickFrom(std::int64_t time_us) const {
  for (std::size_t i = 0; i < readings_.size(); ++i) {
    const Reading& reading = readings_[i];
    const std::int64_t ticks = -FloorDivide(reading.time_us - time_us, kMicrosecondsPerTick);
    // Only before the first reading does time reach back.
    const std::int64_t tick = reading.tick + (i == 0 ? ticks : std::max<std::int64_t>(ticks, 0));
    if (tick <= LastTickOf(i)) return AsTick(tick);
  }
  return kLastTick;
}

unsigned int RecordedClock::LastTickUpTo(std::int64_t time_us) const {
  for (std::size_t i = readings_.size(); i-- > 0;) {
    const Reading& reading = readings_[i];
    const std::int64_t ticks = FloorDivide(time_us - reading.time_us, kMicrosecondsPerTick);
    if (ticks >= 0 || i == 0) return AsTick(std::min(reading.tick + ticks, LastTickOf(i)));
  }
  return 0;
}

std::optional<std::int64_t> RecordedClock::TimeAt(unsigned int tick) const {
  const Reading* known = nullptr;
  for (const Reading& reading : readings_)
    if (known == nullptr || reading.tick <= tick) known = &reading;
  if (known == nullptr) return std::nullopt;
  return known->time_us + (std::int64_t{tick} - known->tick) * kMicrosecondsPerTick;
}

}  // namespace vmr::tool
