// Reading ring stores: where the reading begins, goes on and ends.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "backends/cluster_format.h"
#include "backends/data_store_normal.h"
#include "tests/reader/viewing_fixture.h"

namespace vmr::test {
namespace {

using testing::EndsWith;
using testing::SizeIs;

// A whole cluster of this first tick and these packets, written out as the ring
// store has it on disk.
Bytes Cluster(unsigned int st, const Bytes& packets) {
  Bytes cluster(7);
  for (std::size_t i = 0; i < 4; ++i) cluster[1 + i] = static_cast<unsigned char>(st >> 8 * i);
  cluster[5] = static_cast<unsigned char>(7 + packets.size());
  cluster[6] = static_cast<unsigned char>((7 + packets.size()) >> 8);
  cluster = cluster + packets;
  cluster[0] = ReferenceCrc8(Bytes(cluster.begin() + 1, cluster.end()));
  cluster.resize(4096);
  return cluster;
}

// A folder of its own, gone with the object; in memory where there is such a
// folder, because ring files are large.
class RingFolder {
 public:
  RingFolder() {
    const char* const wanted = getenv("TMPDIR");
    std::string pattern = wanted != nullptr                           ? wanted
                          : std::filesystem::is_directory("/dev/shm") ? "/dev/shm"
                                                                      : "/tmp";
    pattern += "/vmr-reader-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed: " + pattern);
    path_ = pattern;
  }
  ~RingFolder() { std::filesystem::remove_all(path_); }
  RingFolder(const RingFolder&) = delete;
  RingFolder& operator=(const RingFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Two files of 128 MiB, made once for all tests of the program that need them.
class RingReading : public ViewingTest {
 protected:
  static void SetUpTestSuite() { folder_ = std::make_unique<RingFolder>(); }
  static void TearDownTestSuite() {
    folder_.reset();
    ring_made_ = false;
  }

  RingReading() {
    if (!ring_made_) {
      DataStoreNormal ring(Base());
      ring_made_ = ring.Open() == 1;
      EXPECT_TRUE(ring_made_);
    }
    log.Clear();
  }
  // The next test finds the ring as it was made.
  void TearDown() override {
    const Bytes never_written = Cluster(0xFFFFFFFF, {});
    for (int cluster = 0; cluster < 64; ++cluster) Put(cluster, never_written);
  }

  static std::string Base() { return folder_->Path("ring"); }
  static std::string File(int number) { return Base() + "_" + std::to_string(number) + ".mtd"; }

  // Writes clusters to both files, from `cluster` on.
  static void Put(int cluster, const Bytes& clusters) {
    for (const int number : {1, 2}) {
      const int fd = open(File(number).c_str(), O_WRONLY);
      EXPECT_EQ(pwrite(fd, clusters.data(), clusters.size(), off_t{cluster} * 4096),
                static_cast<ssize_t>(clusters.size()));
      close(fd);
    }
  }

  static Bytes Get(int number, int cluster) {
    Bytes bytes(4096);
    std::ifstream file(File(number), std::ios::binary);
    file.seekg(std::streamoff{cluster} * 4096);
    file.read(reinterpret_cast<char*>(bytes.data()), 4096);
    return bytes;
  }

  static void Write(DataStoreNormal& ring, const Bytes& packet, unsigned int tick) {
    EXPECT_EQ(ring.WriteData(packet.data(), static_cast<int>(packet.size()), tick), 1);
  }

  Viewed ViewRing(unsigned int start = 0, unsigned int end = 0xFFFFFFFF) {
    ViewOptions ring;
    ring.ring = true;
    ring.start = start;
    ring.end = end;
    return ViewFile(Base(), ring);
  }

  static std::unique_ptr<RingFolder> folder_;
  static bool ring_made_;
};

std::unique_ptr<RingFolder> RingReading::folder_;
bool RingReading::ring_made_ = false;

TEST_F(RingReading, ANewRingHasNothingToPrint) {
  const Viewed viewed = ViewRing();
  EXPECT_TRUE(viewed.opened);
  EXPECT_EQ(viewed.out, "Expanded view = 0\n");
  EXPECT_EQ(viewed.err, "");
}

TEST_F(RingReading, ARecordingIsPrintedFromItsFirstCluster) {
  DataStoreNormal ring(Base());
  ASSERT_EQ(ring.Open(), 1);
  ring.InitCurrentSystemTick(100);
  ring.ReportStateData(TAG_SIREN_ON, true, 0);
  ring.WriteBuffers();
  ring.InitCurrentSystemTick(102);
  ring.ReportBookmark(102);
  ring.Close();
  EXPECT_EQ(ViewRing().out,
            "Expanded view = 0\n"
            "(hdr1) 4294967295 (01/01/1970 00:00:50) (01) [Tag=siren, TagNo=0x36, State=on]\n"
            "(hdr2)   100 (01/01/1970 00:00:51) (01) [Tag=Bookmark, TagNo=0x56]\n");
}

TEST_F(RingReading, ViewingLeavesTheRecordingAsItIs) {
  Put(0, Cluster(100, WithCrc(B("80 64 00 00 00 01 3A"))));  // recorded again when read
  ViewRing();
  EXPECT_EQ(Get(1, 0), Cluster(100, WithCrc(B("80 64 00 00 00 01 3A"))));
  EXPECT_EQ(Get(2, 0), Cluster(100, WithCrc(B("80 64 00 00 00 01 3A"))));
}

TEST_F(RingReading, TheListingGoesOnOverClosedClusters) {
  Put(0, Cluster(100, WithCrc(B("80 64 00 00 00 01 36"))) +
             Cluster(110, WithCrc(B("81 6E 01 37")) + WithContCrc(B("82 01 56"))) +
             Cluster(120, {}) + Cluster(130, WithCrc(B("81 82 01 36"))));
  EXPECT_EQ(ViewRing().out,
            "Expanded view = 0\n"
            "(hdr1) 4294967295 (01/01/1970 00:00:50) (01) [Tag=siren, TagNo=0x36, State=on]\n"
            "(hdr2)   100 (01/01/1970 00:00:55) (01) [Tag=siren, TagNo=0x37, State=off]\n"
            "(hdrCONT)   110 (01/01/1970 00:00:55) (01) [Tag=Bookmark, TagNo=0x56]\n"
            "(hdr2)   110 (01/01/1970 00:01:05) (01) [Tag=siren, TagNo=0x36, State=on]\n");
}

TEST_F(RingReading, ATickMayGoOnInTheNextCluster) {
  Put(0,
      Cluster(100, WithCrc(B("80 64 00 00 00 01 36"))) + Cluster(100, WithContCrc(B("82 01 56"))));
  DataStoreNormal ring(Base());
  ASSERT_EQ(ring.Open(), 1);
  reader.StartAt(ring.InitialReadLocation());
  EXPECT_THAT(NextTick(ring), SizeIs(2));
  EXPECT_EQ(ReadNext(ring), 0);
}

// Packets at tick 0x1020 that fill a cluster to its last byte: 15 * 262 + 159.
Bytes FillingPackets() {
  Bytes packets;
  for (int i = 0; i < 15; ++i)
    packets = packets + WithCrc(B("80 20 10 00 00 FF") + Filled(255, 0x36));
  return packets + WithCrc(B("80 20 10 00 00 98") + Filled(152, 0x37));
}

TEST_F(RingReading, ACurrentClusterFullToItsLastByteEndsTheReading) {
  const Bytes packets = FillingPackets();
  DataStoreNormal ring(Base());
  ASSERT_EQ(ring.Open(), 1);
  for (auto at = packets.begin(); at != packets.end();) {
    const auto end = at + std::min<std::ptrdiff_t>(262, packets.end() - at);
    Write(ring, Bytes(at, end), 0x1020);
    at = end;
  }
  ASSERT_EQ(ring.CurrentCluster(), 0);

  reader.StartAt(ring.InitialReadLocation());
  EXPECT_THAT(AllTicks(ring), SizeIs(16));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(ReadNext(ring), 0);
  ring.Close();
  EXPECT_EQ(Get(1, 0)[5] + 256 * Get(1, 0)[6], 4096);
  EXPECT_EQ(CountOf(ViewRing().out, "(hdr1)"), 16);
}

TEST_F(RingReading, ANeverWrittenClusterIsTheEndOfTheData) {
  Put(0,
      Cluster(100, WithCrc(B("80 64 00 00 00 01 36"))) + Cluster(110, WithCrc(B("81 6E 01 37"))));
  DataStoreNormal ring(Base());
  ASSERT_EQ(ring.Open(), 1);
  for (const int cluster : {5, 32767}) {
    SCOPED_TRACE(cluster);
    reader.StartAt(long{cluster} * 4096);
    EXPECT_EQ(ReadNext(ring), 0);
    long next = -1;
    int bytes_read = -1;
    Bytes buffer(4096);
    EXPECT_EQ(ring.ReadDataIntoBuffer(long{cluster} * 4096, buffer.data(), 4096, bytes_read, next),
              1);
    EXPECT_EQ(bytes_read, 0);
    EXPECT_EQ(next, cluster == 5 ? 6 * 4096 : 0);
  }
}

TEST_F(RingReading, AClusterLostInBothFilesEndsTheListing) {
  Bytes clusters;
  for (unsigned char i = 0; i < 20; ++i)
    clusters = clusters +
               Cluster(100U + i, WithCrc(B("80") + Filled(1, static_cast<unsigned char>(100 + i)) +
                                         B("00 00 00 01 36")));
  Put(0, clusters);
  Bytes lost = Cluster(103, WithCrc(B("80 67 00 00 00 01 36")));
  lost[0] = static_cast<unsigned char>(lost[0] ^ 0xFF);
  Put(3, lost);
  const Viewed viewed = ViewRing();
  EXPECT_TRUE(viewed.opened);
  // Of clusters 0 to 2 the last one's tick was still being collected.
  EXPECT_EQ(CountOf(viewed.out, "(hdr1)"), 2);
  EXPECT_TRUE(log.Has(2, "DataStoreNormal.cc", "Failed to read cluster"));
}

// ---- A ring that has wrapped -------------------------------------------------

// Cluster 2 is the newest, cluster 3 the oldest: its first packet tells only the
// low bits of its tick. Most clusters hold nothing.
class WrappedRingReading : public RingReading {
 protected:
  WrappedRingReading() {
    Bytes ring =
        Cluster(0x1000, WithCrc(B("80 00 10 00 00 01 38"))) +
        Cluster(0x1010, WithCrc(B("81 10 01 39"))) + Cluster(0x1020, WithCrc(B("81 20 01 38"))) +
        Cluster(5, WithCrc(B("81 05 01 36"))) + Cluster(6, WithCrc(B("80 00 02 00 00 01 37")));
    ring.reserve(std::size_t{32768} * 4096);
    for (unsigned int cluster = 5; cluster < 32767; ++cluster) {
      const Bytes empty = Cluster(6 + cluster / 16, {});
      ring.insert(ring.end(), empty.begin(), empty.end());
    }
    const Bytes last = Cluster(0x0FFF, WithCrc(B("81 09 01 56")));
    ring.insert(ring.end(), last.begin(), last.end());
    Put(0, ring);
  }
  // Not worth undoing: the next ring is made anew.
  void TearDown() override {
    for (const int number : {1, 2}) unlink(File(number).c_str());
    ring_made_ = false;
  }
};

constexpr char kUndefined[] =
    "(hdr2) 4294967295 (01/19/2038 03:12:02) (01) [Tag=siren, TagNo=0x36, State=on]\n";
constexpr char kFromTheFirstKnownTick[] =
    "(hdr1) 4294967045 (01/01/1970 00:04:16) (01) [Tag=siren, TagNo=0x37, State=off]\n"
    "(hdr2)   512 (01/01/1970 00:04:20) (01) [Tag=Bookmark, TagNo=0x56]\n"
    "(hdr1)   521 (01/01/1970 00:34:08) (01) [Tag=brake, TagNo=0x38, State=on]\n"
    "(hdr2)  4096 (01/01/1970 00:34:16) (01) [Tag=brake, TagNo=0x39, State=off]\n"
    "(hdr2)  4112 (01/01/1970 00:34:24) (01) [Tag=brake, TagNo=0x38, State=on]\n";

TEST_F(WrappedRingReading, BeginsAtTheOldestClusterAndEndsAtTheNewest) {
  const Viewed viewed = ViewRing();
  EXPECT_TRUE(viewed.opened);
  EXPECT_EQ(viewed.out, std::string("Expanded view = 0\n") + kUndefined + kFromTheFirstKnownTick);
  EXPECT_TRUE(Logged(4,
                     "ReadNextSystemTick: Found HEADER_2 packet when last read system tick was "
                     "undefined, ignoring..."));
}

TEST_F(WrappedRingReading, AStartTickLeavesOutTheTickThatIsNotKnown) {
  EXPECT_EQ(ViewRing(1).out, std::string("Expanded view = 0\n"
                                         "Start System Tick (1) End System Tick (4294967295)\n") +
                                 kFromTheFirstKnownTick);
}

TEST_F(WrappedRingReading, AnEndTickEndsTheListingBehindTheFirstTickPastIt) {
  EXPECT_THAT(ViewRing(0, 600).out, EndsWith("(hdr1)   521 (01/01/1970 00:34:08) (01) "
                                             "[Tag=brake, TagNo=0x38, State=on]\n"));
}

TEST_F(WrappedRingReading, AFullCurrentClusterIsTheEndAndNotTheWayToTheOldest) {
  Put(2, Cluster(0x1020, FillingPackets()));
  DataStoreNormal ring(Base());
  ASSERT_EQ(ring.Open(), 1);
  ASSERT_EQ(ring.CurrentCluster(), 2);
  reader.StartAt(ring.InitialReadLocation());
  int ticks = 0;
  while (ticks < 100 && ReadNext(ring) > 0) ++ticks;
  EXPECT_EQ(ticks, 5 + 16);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(ReadNext(ring), 0);
}

}  // namespace
}  // namespace vmr::test
