// A store that keeps in memory what is handed to WriteData.
#ifndef VMR_TESTS_SUPPORT_RECORDING_STORE_H_
#define VMR_TESTS_SUPPORT_RECORDING_STORE_H_

#include <vector>

#include "store/data_store.h"
#include "tests/support/bytes.h"

namespace vmr::test {

struct WrittenPacket {
  Bytes bytes;
  unsigned int tick;
};

class RecordingStore : public DataStore {
 public:
  explicit RecordingStore(DATA_STORE_TYPE_T type = DATA_STORE_NULL)
      : DataStore(type, kSimpleStoreBufferBytes) {}

  int Open() override { return OpenInit(); }
  int WriteData(const unsigned char* data, int length, unsigned int sysTick) override {
    packets.push_back({Bytes(data, data + length), sysTick});
    return accept ? 1 : 0;
  }

  // The item bytes of everything pending, flushed as one HEADER_1 packet at
  // `tick`. The area must not have spilled into a second packet.
  Bytes FlushedItems(unsigned int tick = 0x01020304) {
    InitCurrentSystemTick(tick);
    packets.clear();
    WriteBuffers();
    if (packets.size() != 1) return {};
    const Bytes& packet = packets[0].bytes;
    const int head = packet[0] == HEADER_1 ? 6 : 3;
    return Bytes(packet.begin() + head, packet.end() - 1);
  }

  std::vector<WrittenPacket> packets;
  bool accept = true;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_RECORDING_STORE_H_
