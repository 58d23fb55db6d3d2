// Gathers items in sixteen areas and turns the areas into packets.
#include <cstring>

#include "host/crc8.h"
#include "store/bytes.h"
#include "store/data_store.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/packet_format.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

[[gnu::noinline, gnu::cold]] void LogItem(unsigned int size, unsigned short slack) {
  VMR_LOG(kLogEachItem, "Add to Current packet size (" << size << "), newSlack (" << slack << ")");
}

[[gnu::noinline, gnu::cold]] void LogEventTick(unsigned int event_tick,
                                               unsigned int slack_start_tick) {
  VMR_LOG(kLogEachItem,
          "AddToCurrPacket, newTick " << event_tick << " lastSlackSt = " << slack_start_tick);
}

[[gnu::noinline, gnu::cold]] void LogDropped(unsigned int size) {
  VMR_LOG(kLogError, "***************** Dropped " << size << " data bytes ********************");
}

// Lengths of one packet under construction, checked before it is built.
bool FitsPacket(unsigned int length) {
  if (length <= kMaxPacketItemBytes) return true;
  VMR_LOG(kLogError, "Refusing to write a packet of " << length << " item bytes");
  return false;
}

// Puts the count, the items and the CRC behind the rest of a packet's head. Returns the
// packet's length.
int CompletePacket(unsigned char* packet, const unsigned char* items, unsigned int length) {
  const std::size_t head_bytes = FindPacketShape(packet[0])->head_bytes;
  const std::size_t packet_bytes = head_bytes + length + kPacketCrcBytes;
  packet[head_bytes - 1] = static_cast<unsigned char>(length);
  memcpy(packet + head_bytes, items, length);
  const auto covered = static_cast<unsigned int>(PacketCrcSpan(packet, packet_bytes));
  packet[packet_bytes - 1] = Crc8(packet, covered, kCrcInitial);
  return static_cast<int>(packet_bytes);
}

}  // namespace

// Every item passes the two functions below: what they say of it is said elsewhere, and
// copying the item is the last thing that is done, so that they need no frame.
void DataStore::AddToCurrPacket(const unsigned char* data, unsigned int size,
                                unsigned short slack) {
  if (LogClient::Instance()->MayWant(kLogEachItem)) LogItem(size, slack);
  // Deliberate: an item that is then dropped still shortens the slack.
  if (packet_slack_ == 0 || slack < packet_slack_) packet_slack_ = slack;
  // Deliberate: first fit. A small item may end up in front of a larger one that
  // was reported before it; readers do not rely on the order within a tick.
  for (int area = 0; area < kAreaCount; ++area) {
    if (size >= kAreaBytes - used_[area]) continue;
    if (data == nullptr) return;
    unsigned char* const at = areas_[area] + used_[area];
    used_[area] += size;
    if (size > 0) memcpy(at, data, size);
    return;
  }
  LogDropped(size);
}

void DataStore::AddToCurrPacket(const unsigned char* data, unsigned int size,
                                unsigned int eventTick, unsigned short slack) {
  if (LogClient::Instance()->MayWant(kLogEachItem)) LogEventTick(eventTick, slack_start_tick_);
  if (eventTick != 0 && eventTick < slack_start_tick_)
    AddEarlierItem(data, size, eventTick, slack);
  else
    AddToCurrPacket(data, size, slack);
}

// Of an event before the slack started.
void DataStore::AddEarlierItem(const unsigned char* data, unsigned int size, unsigned int eventTick,
                               unsigned short slack) {
  if (packet_slack_ == 0 || packet_slack_ > slack) packet_slack_ = slack;
  const unsigned int pending_slack = packet_slack_;
  unsigned short item_slack = 1;
  if (slack_start_tick_ < pending_slack + eventTick) {
    // Deliberate: modulo 65536; the ticks back below, modulo 256.
    item_slack = static_cast<unsigned short>(pending_slack + eventTick - slack_start_tick_);
  } else {
    const unsigned int ticks_back = slack_start_tick_ - eventTick;
    VMR_LOG(kLogEachItem, "AddToCurrPacket, Writing Tick adjustment of " << ticks_back);
    WriteTickAdjust(static_cast<unsigned char>(ticks_back));
  }
  AddToCurrPacket(data, size, item_slack);
}

// Tick adjustment item: the item behind it happened that many ticks before the
// slack started. Slack 4.
//
//    offset  0      1
//           +------+-------------+
//           | 0x21 | ticks, u8   |
//           +------+-------------+
void DataStore::WriteTickAdjust(unsigned char ticks) {
  constexpr unsigned short kSlack = 4;
  const unsigned char item[1 + 1] = {TAG_TICK_ADJUST, ticks};
  AddToCurrPacket(item, sizeof(item), kSlack);
}

int DataStore::UsedAreas() const {
  int count = 0;
  for (const std::uint32_t used : used_) count += used != 0 ? 1 : 0;
  return count;
}

void DataStore::DiscardPendingItems() {
  for (std::uint32_t& used : used_) used = 0;
}

// A packet needs the whole tick only when its upper 24 bits are not those of
// the packet before it. Deliberate: so a store that begins within the last 256
// ticks of the number range begins with the short header.
void DataStore::WriteBuffers() {
  VMR_LOG(kLogEachItem, "WriteBuffers");
  if (used_[0] == 0) return;
  const bool whole_tick = NeedsWholeTick(current_tick_, last_written_tick_);
  IgnoreRefusal(whole_tick ? WritePacket1(current_tick_, areas_[0], used_[0])
                           : WritePacket2(current_tick_, areas_[0], used_[0]));
  used_[0] = 0;
  for (int area = 1; area < kAreaCount && used_[area] != 0; ++area) {
    IgnoreRefusal(WritePacketCont(areas_[area], used_[area]));
    used_[area] = 0;
  }
  last_written_tick_ = current_tick_;
}

int DataStore::WritePacket1(unsigned int tick, const unsigned char* data, unsigned int length) {
  if (RefuseNull(data, "WritePacket1") || !FitsPacket(length)) return 0;
  // Deliberate: logged, and written all the same.
  if (tick == kNoTick) VMR_LOG(kLogError, "trying to write SysTick of (-1)");
  unsigned char packet[kMaxPacketBytes];
  packet[0] = HEADER_1;
  PutLe32(packet + 1, tick);
  return WriteData(packet, CompletePacket(packet, data, length), tick);
}

int DataStore::WritePacket2(unsigned int tick, const unsigned char* data, unsigned int length) {
  if (RefuseNull(data, "WritePacket2") || !FitsPacket(length)) return 0;
  unsigned char packet[kMaxPacketBytes];
  packet[0] = HEADER_2;
  packet[1] = static_cast<unsigned char>(tick);
  return WriteData(packet, CompletePacket(packet, data, length), tick);
}

int DataStore::WritePacketCont(const unsigned char* data, unsigned int length) {
  if (RefuseNull(data, "WritePacketCont") || !FitsPacket(length)) return 0;
  unsigned char packet[kMaxPacketBytes];
  packet[0] = HEADER_CONT;
  return WriteData(packet, CompletePacket(packet, data, length), kContinuationTick);
}

}  // namespace vmr
