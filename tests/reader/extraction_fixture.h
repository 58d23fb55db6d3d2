// Rings written out packet by packet, on simulated files, and what extracting a
// range of them leaves in a file.
#ifndef VMR_TESTS_READER_EXTRACTION_FIXTURE_H_
#define VMR_TESTS_READER_EXTRACTION_FIXTURE_H_

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "reader/metadata_reader.h"
#include "tests/backends/ring_fixture.h"
#include "tests/reader/reader_fixture.h"
#include "tests/support/golden.h"

namespace vmr::test {

// Packets with their CRCs.
inline Bytes H1(unsigned int tick, const Bytes& items) {
  return WithCrc(B("80") + Le32(tick) + Bytes{static_cast<unsigned char>(items.size())} + items);
}
inline Bytes H2(unsigned int tick, const Bytes& items) {
  return WithCrc(
      Bytes{0x81, static_cast<unsigned char>(tick), static_cast<unsigned char>(items.size())} +
      items);
}
inline Bytes Cont(const Bytes& items) {
  return WithContCrc(Bytes{0x82, static_cast<unsigned char>(items.size())} + items);
}
inline Bytes Times(int count, const Bytes& bytes) {
  Bytes repeated;
  for (int n = 0; n < count; ++n) repeated.insert(repeated.end(), bytes.begin(), bytes.end());
  return repeated;
}

// Bookmarks change no state.
inline Bytes Mark(unsigned int tick) { return H1(tick, B("56")); }

// The items of a full state in which nothing was reported but what `inputs`,
// eleven bytes, say: those of full_state_fresh.txt.
inline Bytes FreshState(unsigned int time, const std::string& inputs) {
  const auto is_input = [](const GoldenItem& item) {
    return item.bytes[0] >= TAG_EMERGENCY_LIGHTS_ON && item.bytes[0] <= TAG_DOCKED_OFF;
  };
  const std::vector<GoldenItem> items = ReadGolden("full_state_fresh.txt").items;
  const auto first = std::find_if(items.begin(), items.end(), is_input);
  const auto behind = std::find_if_not(first, items.end(), is_input);
  Bytes state = B("03") + Le32(time);
  for (auto item = items.begin() + 1; item != first; ++item) state = state + item->bytes;
  state = state + B(inputs);
  for (auto item = behind; item != items.end(); ++item) state = state + item->bytes;
  return state;
}
inline constexpr char kInputsOff[] = "35 37 39 3D 3F 41 43 45 47 3B 4B";

inline Bytes Label(unsigned int start, unsigned int end) {
  const std::string text = "Range " + std::to_string(start) + " to " + std::to_string(end);
  return Bytes{0x20, static_cast<unsigned char>(text.size())} + Chars(text);
}

// What a file of such a range begins with when nothing was reported before it.
inline Bytes FreshStart(unsigned int start, unsigned int end) {
  return H1(start, Label(start, end) + FreshState(start / 2, kInputsOff));
}

// One cluster's content.
struct ClusterOf {
  unsigned int st;
  Bytes packets;
};

// Notes at each petting what `look` sees.
class NotingWatchdog : public Watchdog {
 public:
  explicit NotingWatchdog(std::function<int()> look) : look_(std::move(look)) {}
  void PetWatchdog() override { seen.push_back(look_()); }
  std::vector<int> seen;

 private:
  std::function<int()> look_;
};

class ExtractionTest : public RingTest {
 protected:
  // A ring that has not come round yet, from cluster 0 on.
  void Record(const std::vector<ClusterOf>& clusters) {
    PutEmptyPair();
    for (std::size_t n = 0; n < clusters.size(); ++n)
      PutInBoth(n, ClusterImage(clusters[n].st, clusters[n].packets));
  }
  // One that has: cluster c holds what `content` makes of it.
  void RecordAll(const std::function<ClusterOf(std::size_t)>& content) {
    files_.PutFile(kFile1, {});
    files_.PutBlocks(kFile1, 0, kRingClusters, [&](std::size_t c) {
      const ClusterOf cluster = content(c);
      return ClusterImage(cluster.st, cluster.packets);
    });
    files_.CopyContent(kFile1, kFile2);
  }
  // No copy of it can be read any more.
  void LoseCluster(long cluster) {
    files_.FlipByte(kFile1, cluster * 4096);
    files_.FlipByte(kFile2, cluster * 4096);
  }

  bool Extract(unsigned int start, unsigned int end, Watchdog* watchdog = nullptr) {
    log_.Clear();
    return reader.ReadToNewFile(kBase, kOut, start, end, watchdog);
  }
  // What is in the file behind its magic and dictionary.
  Bytes Out() const {
    constexpr std::ptrdiff_t kHeadBytes = 4 + 143;
    const Bytes file = files_.Content(kOut);
    if (file.size() < static_cast<std::size_t>(kHeadBytes)) return B("0BAD");
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 6), B("66 5D 53 31 83 46"));
    return Bytes(file.begin() + kHeadBytes, file.end());
  }
  // What a file of the range begins with when this much was reported before.
  static Bytes StartOf(unsigned int start, unsigned int end,
                       const std::function<void(DataStore&)>& report) {
    RecordingStore peer;
    EXPECT_EQ(peer.Open(), 1);
    report(peer);
    const std::string label = "Range " + std::to_string(start) + " to " + std::to_string(end);
    peer.ReportStringData(TAG_LOG, label.c_str());
    peer.InitCurrentSystemTick(start);
    peer.WriteFullState(false);
    peer.WriteBuffers();
    return AllOf(peer);
  }
  static Bytes AllOf(const RecordingStore& store) {
    Bytes all;
    for (const WrittenPacket& packet : store.packets) all = all + packet.bytes;
    return all;
  }

  bool ReaderLogged(unsigned int level, const std::string& text) const {
    return log_.Has(level, "MetadataReader.cc", text);
  }
  // The reader's own messages up to a level, in order, each behind its level.
  std::vector<std::string> ReaderLog(unsigned int levels) const {
    std::vector<std::string> texts;
    for (const LogEntry& entry : log_.Entries())
      if (entry.file == "MetadataReader.cc" && (entry.level & levels) != 0)
        texts.push_back(std::to_string(entry.level) + " " + entry.text);
    return texts;
  }

  static constexpr char kOut[] = "/m/out.mtd";

  MetadataReader reader;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_EXTRACTION_FIXTURE_H_
