// The reader's operations on one tick, packet or item. Those on a range are in
// range_extraction.cc, state_dump_search.cc and text_viewer.cc.
#include "reader/metadata_reader.h"

#include "host/log.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";

bool RefuseNull(const void* argument, const char* operation) {
  if (argument != nullptr) return false;
  VMR_LOG(kLogError, "Null value passed to " << operation);
  return true;
}

// Of a store that is viewed: what parsing prints is gathered. Its room is in the way of
// stores that are not.
template <typename Parse>
[[gnu::noinline]] int Gathered(const Parse& parse) {
  const ViewBatch batch;
  return parse();
}

}  // namespace

void MetadataReader::StartAt(long position) {
  collector_.StartAt(position);
  parser_.Decoded() = DecodeResult{};
}

int MetadataReader::ReadNextSystemTick(DataStore& source, DataStore& buffer) {
  return collector_.CollectTick(source, buffer);
}

int MetadataReader::ParseReadSystemTick(DataStore& out) {
  const auto parse = [&] { return parser_.ParseTick(out, collector_) ? 1 : 0; };
  return out.Viewing() ? Gathered(parse) : parse();
}

int MetadataReader::WriteReadSystemTick(DataStore& out) { return collector_.CopyTo(out) ? 1 : 0; }

int MetadataReader::ParsePacket(DataStore& out, const unsigned char* packet, int length) {
  const auto parse = [&] {
    return parser_.ParsePacket(out, packet, length, collector_.NextPosition()) ? 1 : 0;
  };
  return out.Viewing() ? Gathered(parse) : parse();
}

int MetadataReader::ParseItem(DataStore& out, const unsigned char* item) {
  if (RefuseNull(item, "ParseItem")) return -1;
  constexpr std::size_t kAllOfIt = 2 * kMaxPacketItemBytes;
  const auto parse = [&] { return parser_.ParseItem(out, item, kAllOfIt); };
  return out.Viewing() ? Gathered(parse) : parse();
}

void MetadataReader::DebugPrint(const unsigned char* bytes, int count) {
  if (RefuseNull(bytes, "DebugPrint")) return;
  const ViewBatch batch;
  PacketParser::DebugPrint(bytes, count);
}

bool MetadataReader::OpenRing(DataStoreNormal& ring) const {
  return (ring_access_ == RingAccess::kReadOnly ? ring.OpenReadOnly() : ring.Open()) != 0;
}

}  // namespace vmr
