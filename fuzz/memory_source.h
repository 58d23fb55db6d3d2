// A recording in memory for the program's decoder: a flat file, or a store's clusters.
#ifndef VMR_FUZZ_MEMORY_SOURCE_H_
#define VMR_FUZZ_MEMORY_SOURCE_H_

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "fuzz/input_bytes.h"
#include "host/crc8.h"
#include "records/source.h"
#include "store/packet_format.h"

namespace vmr::fuzz {

// A stretch of packets that stands by itself, such as a cluster's.
struct Part {
  std::vector<unsigned char> bytes;
  unsigned int first_tick = kNoTick;
  bool is_lost = false;
};

class ClusterSource final : public records::Source {
 public:
  explicit ClusterSource(const std::vector<Part>& parts) : parts_(parts) {}

  bool Next(std::size_t /*unused*/, records::Stretch& stretch) override {
    stretch = {};
    for (; next_ < parts_.size() && parts_[next_].is_lost; ++next_) {
      if (!stretch.gap) stretch.gap = records::Gap(records::GapReason::kLostClusters);
      ++stretch.gap->clusters;
    }
    if (next_ == parts_.size()) return false;
    const Part& part = parts_[next_];
    stretch.bytes = part.bytes.data();
    stretch.size = part.bytes.size();
    stretch.place.cluster = static_cast<int>(next_);
    stretch.first_tick = part.first_tick;
    ++next_;
    return true;
  }
  std::unique_ptr<records::Source> Fork() const override {
    auto fork = std::make_unique<ClusterSource>(parts_);
    fork->next_ = std::max<std::size_t>(next_, 1) - 1;
    return fork;
  }
  bool IsFlat() const override { return false; }
  double Progress() const override { return 0; }

 private:
  const std::vector<Part>& parts_;
  std::size_t next_ = 0;
};

// Hands out `window` bytes at a time, and more where a packet is longer.
class WindowSource final : public records::Source {
 public:
  WindowSource(const unsigned char* bytes, std::size_t size, std::size_t window)
      : bytes_(bytes), size_(size), window_(std::max<std::size_t>(window, 1)) {}

  bool Next(std::size_t unused, records::Stretch& stretch) override {
    stretch = {};
    if (has_begun_ && end_ == size_) return false;
    has_begun_ = true;
    begin_ = end_ - unused;
    end_ = std::min(size_, end_ + window_);
    stretch.bytes = bytes_ + begin_;
    stretch.size = end_ - begin_;
    stretch.place.offset = static_cast<std::int64_t>(begin_);
    stretch.is_whole = end_ == size_;
    return true;
  }
  std::unique_ptr<records::Source> Fork() const override {
    auto fork = std::make_unique<WindowSource>(bytes_, size_, window_);
    fork->end_ = begin_;
    return fork;
  }
  bool IsFlat() const override { return true; }
  double Progress() const override { return 0; }

 private:
  const unsigned char* bytes_;
  std::size_t size_;
  std::size_t window_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool has_begun_ = false;
};

// Makes the CRCs of packets that stand one behind the other right.
inline void RepairCrcs(std::vector<unsigned char>& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t size = WholePacketBytes(&bytes[at], bytes.size() - at);
    if (size == 0) return;
    const auto span = static_cast<unsigned int>(PacketCrcSpan(&bytes[at], size));
    bytes[at + size - 1] = bytes[at] == HEADER_DICTIONARY ? 0 : Crc8(&bytes[at], span, kCrcInitial);
    at += size;
  }
}

// Of parts: right as far as they go, as they stand, or as each part's length has it.
enum class Crcs { kRepaired, kAsTheyAre, kAsFlagged };

// Up to 16 parts: of each two bytes of length and flags, four of its first tick, its bytes.
inline std::vector<Part> PartsOf(InputBytes& input, Crcs crcs) {
  constexpr std::size_t kMostParts = 16;
  constexpr unsigned int kLost = 0x8000, kCrcsAsTheyAre = 0x4000, kLength = 0xFFF;
  std::vector<Part> parts;
  while (!input.AtEnd() && parts.size() < kMostParts) {
    const std::uint16_t head = input.Le16();
    Part part;
    part.is_lost = (head & kLost) != 0;
    part.first_tick = input.Le32();
    const InputBytes::Span bytes = input.Take(head & kLength);
    part.bytes.assign(bytes.data, bytes.data + bytes.size);
    const bool flagged = crcs == Crcs::kAsFlagged && (head & kCrcsAsTheyAre) == 0;
    if (crcs == Crcs::kRepaired || flagged) RepairCrcs(part.bytes);
    parts.push_back(std::move(part));
  }
  return parts;
}

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_MEMORY_SOURCE_H_
