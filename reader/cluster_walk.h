// Walking over the packets of one buffered cluster in search of a state dump's end.
#ifndef VMR_READER_CLUSTER_WALK_H_
#define VMR_READER_CLUSTER_WALK_H_

#include <cstddef>
#include <optional>

#include "reader/metadata_reader.h"
#include "reader/packet_collector.h"
#include "reader/packet_parser.h"

namespace vmr {

struct PacketShape;

// Walks from where the collector stands. A packet that claims to reach past the cluster
// ends the walk. What is parsed of clusters that turn out too new stays in the mirror: the
// dump found in the end overwrites it, and the replay passes over those clusters again.
//
// Owns     nothing.
// Errors   as the reader's: damage is stepped over byte by byte.
class ClusterWalk {
 public:
  ClusterWalk(PacketCollector& packets, PacketParser& parser, ExtractionReport& report)
      : packets_(packets), parser_(parser), report_(report) {}

  // Parses the packets into `output`, up to the first end of a dump that is not after
  // `wanted_tick`, in front of which the collector then stays. `first_tick`: of what
  // stands before the first packet that tells one. False, with nothing buffered any more,
  // when there is no such dump; always without a wanted tick.
  bool Run(DataStore& output, unsigned int first_tick, std::optional<unsigned int> wanted_tick);
  // Whether Run would find one. Parses nothing.
  bool HoldsDump(unsigned int first_tick, unsigned int wanted_tick) const;
  // Passes the continuations that stand there.
  void PassContinuations();
  // The last Run met the end of a dump whose tick its cluster's packets do not tell.
  bool MetUntoldDump() const { return met_untold_dump_; }

 private:
  void TakePacket(DataStore& output, const PacketShape& shape, std::size_t packet_bytes);
  void ParseItems(DataStore& output, const unsigned char* items, std::size_t available);
  bool IsWanted(std::optional<unsigned int> wanted_tick);
  void EmptyPacketList();

  PacketCollector& packets_;
  PacketParser& parser_;
  ExtractionReport& report_;
  bool met_untold_dump_ = false;
};

}  // namespace vmr

#endif  // VMR_READER_CLUSTER_WALK_H_
