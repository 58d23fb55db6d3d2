#include "fuzz/ring_input.h"

#include <sys/stat.h>

#include <array>
#include <cstring>
#include <iterator>
#include <optional>

#include "backends/cluster_format.h"
#include "fuzz/fuzz_setup.h"
#include "store/stream_format.h"

namespace vmr::fuzz {
namespace {

using crash::kFile1;
using crash::kFile2;
using Image = std::array<unsigned char, kClusterBytes>;

enum Flag : unsigned int {
  kClusterCrcsRight = 1,
  kPacketCrcsRight = 2,
  kReadOnly = 4,
  kAroundTheEnd = 8,
  kDiskFull = 16
};
enum Control : unsigned int {
  kFilesMask = 3,
  kShorterInSecond = 3,
  kTickMask = 12,
  kTickGiven = 4,
  kTickNone = 8,
  kTickBehind = 12,
  kGap = 16,
  kDamaged = 32,
  kSizeGiven = 64,
  kFirstDamagedOnly = 128
};

constexpr int kClustersBeforeEnd = 4;
constexpr int kSameAgain = 255;  // as a gap

// A cluster that says it is a little shorter or longer than it is, or one of these.
constexpr int kRightSize = 100;
constexpr int kExtremeSizes[] = {0, 6, 7, 8, 2000, 4095, 4096, 4097, 0x8000, 0xFFFF};
constexpr int kFirstExtreme = 256 - static_cast<int>(std::size(kExtremeSizes));
int SizeTold(int size, int wrong_size) {
  if (wrong_size >= kFirstExtreme) return kExtremeSizes[wrong_size - kFirstExtreme];
  return size + wrong_size - kRightSize;
}

// Enough for what a recorder rewrites, far from enough to create a file.
constexpr long kLittleRoom = long{64} * kClusterBytes;
constexpr long kRingFileBytes = long{kClusterCount} * kClusterBytes;

Image NeverWritten() {
  Image image{};
  SetClusterSt(image.data(), kNeverWrittenSt);
  SetClusterSize(image.data(), kClusterHeaderBytes);
  image[0] = ClusterCrc(image.data());
  return image;
}

// ---- Files -----------------------------------------------------------------------

void MakeOdd(CowFiles& files, int name, unsigned int how) {
  switch (how) {
    case 1:
      files.TakeName(name);
      break;
    case 2:
      files.SetSize(name, kRingFileBytes - kClusterBytes);
      break;
    case 3:
      files.SetSize(name, kRingFileBytes + 1);
      break;
    case 4:
      files.MakeFile(name, 0, S_IFDIR | 0770);
      break;
    case 5:
      files.SetMode(name, S_IFREG | 0400);
      break;
    case 6:
      files.SetSize(name, long{kClusterBytes} * 3 + 100);
      break;
    default:
      break;
  }
}
bool IsUsual(unsigned int how) { return how == 0 || how == 5 || how > 6; }

// ---- Clusters --------------------------------------------------------------------

// The length of a packet's covered part and of the whole; 0 for a byte that begins
// none, or one that does not end within `available`.
struct PacketLength {
  std::size_t covered = 0;
  std::size_t whole = 0;
};
PacketLength Measure(const unsigned char* packet, std::size_t available) {
  std::size_t head = 0;
  if (packet[0] == HEADER_1) head = kHeader1Bytes;
  if (packet[0] == HEADER_2) head = kHeader2Bytes;
  if (packet[0] == HEADER_CONT) head = kHeaderContBytes;
  if (head == 0 || head > available) return {};
  const std::size_t count = packet[head - 1];
  if (head + count + kPacketCrcBytes > available) return {};
  return {packet[0] == HEADER_CONT ? count : head + count, head + count + kPacketCrcBytes};
}

void MakePacketCrcsRight(unsigned char* packets, std::size_t size) {
  for (std::size_t at = 0; at < size;) {
    const PacketLength length = Measure(packets + at, size - at);
    if (length.whole > 0)
      packets[at + length.whole - 1] =
          Crc8(packets + at, static_cast<unsigned int>(length.covered), kCrcInitial);
    at += length.whole > 0 ? length.whole : 1;
  }
}

// The tick of the first packet that tells all of it.
bool FindTick(const unsigned char* packets, std::size_t size, std::uint32_t* tick) {
  for (std::size_t at = 0; at + kHeader1Bytes <= size; ++at) {
    if (packets[at] != HEADER_1) continue;
    *tick = GetLe32(packets + at + 1);
    return true;
  }
  return false;
}

class RingMaker {
 public:
  RingMaker(InputBytes& input, CowFiles& files, RingInput& ring)
      : input_(input), files_(files), ring_(ring) {
    cluster_ = (ring.flags & kAroundTheEnd) != 0 ? kClusterCount - kClustersBeforeEnd : 0;
  }

  void AddCluster() {
    const unsigned int control = input_.Byte();
    if ((control & kGap) != 0) cluster_ = After(input_.Byte());
    const unsigned int less =
        (control & kFilesMask) == kShorterInSecond ? input_.Byte() : std::uint8_t{0};
    const std::uint32_t given = TickGiven(control);
    const unsigned int damage = (control & kDamaged) != 0 ? input_.Byte() : 1;
    const int wrong_size = (control & kSizeGiven) != 0 ? input_.Byte() : kRightSize;
    const InputBytes::Span packets =
        input_.Take(std::min<std::size_t>(input_.Le16(), kMaxClusterPayload));

    Image image{};
    if (packets.size > 0)
      std::memcpy(image.data() + kClusterHeaderBytes, packets.data, packets.size);
    if ((ring_.flags & kPacketCrcsRight) != 0)
      MakePacketCrcsRight(image.data() + kClusterHeaderBytes, packets.size);
    std::uint32_t tick = given;
    if ((control & kTickMask) == 0 &&
        !FindTick(image.data() + kClusterHeaderBytes, packets.size, &tick))
      tick = tick_ + 1;
    tick_ = tick;
    SetClusterSt(image.data(), tick);
    SetClusterSize(image.data(),
                   SizeTold(kClusterHeaderBytes + static_cast<int>(packets.size), wrong_size));
    Put(control, image, damage, static_cast<int>(less));
    ring_.clusters.push_back(cluster_);
    ring_.payload_bytes += kClusterBytes;
    cluster_ = (cluster_ + 1) % kClusterCount;
  }

 private:
  int After(int gap) const {
    return gap == kSameAgain ? vmr::PreviousCluster(cluster_) : (cluster_ + gap) % kClusterCount;
  }

  std::uint32_t TickGiven(unsigned int control) {
    switch (control & kTickMask) {
      case kTickGiven:
        return input_.Le32();
      case kTickNone:
        return kPartialWrapSt;
      case kTickBehind:
        return tick_ + input_.Byte();
      default:
        return 0;
    }
  }

  void Put(unsigned int control, const Image& image, unsigned int damage, int less) {
    const bool damaged = (control & kDamaged) != 0;
    const unsigned int where = control & kFilesMask;
    if (where != 2) PutCopy(kFile1, image, damaged ? damage : 1, 0);
    const bool second_damaged = damaged && (control & kFirstDamagedOnly) == 0;
    if (where != 1) PutCopy(kFile2, image, second_damaged ? damage : 1, less);
  }

  // `damage` 1: none. Where no CRC is computed it is 0, wrong but for chance.
  void PutCopy(int name, Image image, unsigned int damage, int less) {
    if (damage == 0) return files_.SetPage(name, cluster_, {nullptr, 0, 0xFF});
    const int size = ClusterSize(image.data());
    if (less > 0 && size - less >= kClusterHeaderBytes) SetClusterSize(image.data(), size - less);
    const int used = ClusterSize(image.data());
    const bool possible = used >= kClusterHeaderBytes && used <= kClusterBytes;
    if (possible && (ring_.flags & kClusterCrcsRight) != 0)
      image[0] = static_cast<unsigned char>(ClusterCrc(image.data()) ^ (damage - 1));
    files_.SetPage(name, cluster_, files_.MakePage(image.data(), kClusterBytes));
  }

  InputBytes& input_;
  CowFiles& files_;
  RingInput& ring_;
  int cluster_;
  std::uint32_t tick_ = 0;
};

// Made once, as that takes longer than most inputs.
void MakeEmptyRings(CowFiles& files) {
  static std::optional<CowFiles::Mark> made;
  if (made) return files.Undo(*made);
  for (const int name : {kFile1, kFile2}) MakeEmptyRing(files, name);
  made = files.Set();
}

}  // namespace

void MakeEmptyRing(CowFiles& files, int name) {
  static const Image kEmpty = NeverWritten();
  files.MakeFile(name, kRingFileBytes, S_IFREG | 0660);
  files.SetBackground(name, {kEmpty.data(), kClusterBytes, 0});
}

RingInput MakeRing(InputBytes& input, CowFiles& files) {
  RingInput ring;
  ring.flags = input.Byte();
  ring.read_only = (ring.flags & kReadOnly) != 0;
  const unsigned int odd = input.Byte();
  ring.tick_a = input.Le32();
  ring.tick_b = input.Le32();
  MakeEmptyRings(files);
  RingMaker maker(input, files, ring);
  while (!input.AtEnd() && ring.clusters.size() < kMostClusters) maker.AddCluster();
  MakeOdd(files, kFile1, odd & 15);
  MakeOdd(files, kFile2, odd >> 4);
  ring.usual_files = IsUsual(odd & 15) && IsUsual(odd >> 4);
  // Creating a file takes a hundred times as long as all else together.
  const bool much_room = (ring.flags & kDiskFull) == 0 && IsOneIn(64);
  files.SetRoom((ring.flags & kDiskFull) != 0 ? 0 : much_room ? kRingFileBytes * 4 : kLittleRoom);
  files.ForgetCalls();
  return ring;
}

}  // namespace vmr::fuzz
