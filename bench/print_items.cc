// The floor for a listing: one fprintf for each item of a drive, of the length and with
// the numbers that the listing has for such an item, and one for each packet's head.
//
//   print_items busy|sparse ITEMS
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/peer_items.h"

namespace {

using vmr::bench::Drive;
using vmr::bench::PeerItem;

void PrintOne(const PeerItem& item) {
  switch (item.kind) {
    case PeerItem::kFix:
      std::fprintf(stdout,
                   "[Tag=%s, TagNo=0x%02x, DeltaLat=%d, DeltaLon=%d, Lat=%c%d:%02d.%02d, "
                   "Lon=%c%d:%02d.%02d]",
                   "GpsRel16", 0x93U, 146, 0, 'N', 41, item.a / 10000 % 60, item.a % 100, 'W', 93,
                   29, 57);
      break;
    case PeerItem::kRadar:
      std::fprintf(stdout,
                   "[Tag=%s, TagNo=0x%02x, RadarNo=%d, TargetSpeed=%02d, FastestSpeed=%02d, "
                   "LockSpeed=%02d]",
                   "RadarData", 0x61U, item.id, item.a, item.b, item.c);
      break;
    case PeerItem::kLiveStream:
      std::fprintf(stdout,
                   "[Tag=%s, TagNo=0x%02x, Stream=%d, Camera=%d, Quality=%d-%s, State=%d-%s, "
                   "ip(addr=%d.%d.%d.%d, port=%d)]",
                   "LvsState", 0xB0U, item.id, item.a, 1, "High", item.b,
                   item.b != 0 ? "Enabled" : "Disabled", item.c >> 24, item.c >> 16 & 0xFF,
                   item.c >> 8 & 0xFF, item.c & 0xFF, item.d);
      break;
    case PeerItem::kMicrophone:
      std::fprintf(stdout, "[Tag=%s, TagNo=0x%02x, KELTMicId=%d, MicId=%d State=%d-%s]", "MicData",
                   0x59U, item.id + 1, item.id, item.a, item.a != 0 ? "on" : "off");
      break;
    default:
      std::fprintf(stdout, "[Tag=%s, TagNo=0x%02x, Id=%d, State=%d]", "emergency lights",
                   static_cast<unsigned int>(item.kind), item.id, item.a);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc == 3 ? argv[1] : "";
  if (kind != "busy" && kind != "sparse") {
    std::fputs("usage: print_items busy|sparse ITEMS\n", stderr);
    return 2;
  }
  const auto items =
      vmr::bench::PeerItems(kind == "busy" ? Drive::Kind::kBusy : Drive::Kind::kSparse, 4096);
  const long count = std::atol(argv[2]);
  unsigned int tick = 0;
  for (long n = 0; n < count; ++n) {
    const PeerItem& item = items[static_cast<std::size_t>(n) % items.size()];
    if (item.tick != tick)
      std::fprintf(stdout, "\n(%s)  %u (%s) (%02d) ", "hdr2", item.tick, "06/19/2019 16:50:36", 47);
    tick = item.tick;
    PrintOne(item);
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}
