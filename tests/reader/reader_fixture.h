// A reader with an output store that keeps what it is handed, a source that
// serves bytes from memory, a captured log, and the verbs that tests of the
// reader use on them.
#ifndef VMR_TESTS_READER_READER_FIXTURE_H_
#define VMR_TESTS_READER_READER_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/log.h"
#include "reader/metadata_reader.h"
#include "tests/support/bytes.h"
#include "tests/support/captured_log.h"
#include "tests/support/recording_store.h"
#include "tests/support/reference_crc.h"

namespace vmr::test {

inline Bytes Chars(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline Bytes Filled(std::size_t count, unsigned char value) { return Bytes(count, value); }

// A continuation packet with its CRC behind, which covers its first L bytes.
inline Bytes WithContCrc(Bytes packet) {
  const Bytes covered(packet.begin(), packet.begin() + packet.at(1));
  packet.push_back(ReferenceCrc8(covered));
  return packet;
}

// A continuation of 255 item bytes, 258 bytes in all; the first is `mark`.
inline Bytes FullCont(unsigned char mark) {
  return WithContCrc(B("82 FF") + Filled(1, mark) + Filled(254, 0x36));
}

// What `action` writes to standard output.
template <typename Action>
std::string Printed(Action action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

// Serves a stream from memory, at most `chunk` bytes a read; positions are
// offsets.
class MemorySource : public DataStore {
 public:
  explicit MemorySource(Bytes stream, int chunk = 4096)
      : DataStore(DATA_STORE_FLAT_READ, kSimpleStoreBufferBytes),
        stream_(std::move(stream)),
        chunk_(chunk) {}

  int Open() override { return OpenInit(); }
  int WriteData(const unsigned char* /*data*/, int /*length*/, unsigned int /*sysTick*/) override {
    return 0;
  }
  int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize, int& bytesRead,
                         long& nextPosition) override {
    bytesRead = 0;
    rooms.push_back(bufferSize);
    if (static_cast<int>(rooms.size()) == failing_read || bufferSize < needed_room) return 0;
    const int left = static_cast<int>(stream_.size()) - static_cast<int>(position);
    bytesRead = std::min({left, chunk_, bufferSize});
    std::copy_n(stream_.begin() + position, bytesRead, buffer);
    nextPosition = position + bytesRead;
    return 1;
  }

  std::vector<int> rooms;  // what each read was offered
  int failing_read = 0;    // the n-th read fails; 0: none
  int needed_room = 0;     // with less, a read is refused

 private:
  Bytes stream_;
  int chunk_;
};

class ReaderTest : public testing::Test {
 protected:
  ReaderTest() {
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(out.Open(), 1);
  }

  bool Logged(unsigned int level, const std::string& text) const {
    return log.Has(level, "MetadataReader.cc", text);
  }
  int TimesLogged(unsigned int level, const std::string& text) const {
    return log.Count(level, "MetadataReader.cc", text);
  }

  int ReadNext(DataStore& source) { return reader.ReadNextSystemTick(source, out); }

  // The packets of the next tick as bytes.
  std::vector<Bytes> NextTick(DataStore& source) {
    const int count = ReadNext(source);
    EXPECT_EQ(PacketsOfTick(), count);
    return packets_of_tick_;
  }

  // Every tick up to the end of the source.
  std::vector<std::vector<Bytes>> AllTicks(DataStore& source) {
    std::vector<std::vector<Bytes>> ticks;
    while (ReadNext(source) > 0 && PacketsOfTick() > 0) ticks.push_back(packets_of_tick_);
    return ticks;
  }

  // Hands a packet to the parser in memory that ends where the packet does.
  int Parse(const Bytes& packet) { return Parse(packet, packet.size()); }
  int Parse(const Bytes& packet, std::size_t length) {
    const Bytes exact(packet);
    return reader.ParsePacket(out, exact.data(), static_cast<int>(length));
  }

  // What the viewer prints for the packet.
  std::string View(const Bytes& packet, unsigned int view_mode = kViewItems) {
    out.SetViewMode(view_mode);
    std::string text = Printed([&] { EXPECT_EQ(Parse(packet), 1); });
    out.SetViewMode(0);
    return text;
  }

  // What the viewer prints for the item, which must be parsed whole.
  std::string ViewItem(const Bytes& item) {
    out.SetViewMode(kViewItems);
    std::string text = Printed(
        [&] { EXPECT_EQ(reader.ParseItem(out, item.data()), static_cast<int>(item.size())); });
    out.SetViewMode(0);
    return text;
  }

  CapturedLog log;
  RecordingStore out;
  MetadataReader reader;

 private:
  // The collected packets leave the reader only by being handed to a store.
  int PacketsOfTick() {
    out.packets.clear();
    EXPECT_EQ(reader.WriteReadSystemTick(out), 1);
    packets_of_tick_.clear();
    for (const WrittenPacket& packet : out.packets) packets_of_tick_.push_back(packet.bytes);
    return static_cast<int>(packets_of_tick_.size());
  }

  std::vector<Bytes> packets_of_tick_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_READER_FIXTURE_H_
