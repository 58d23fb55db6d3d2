// Tells whether of two recordings one is the other, and more.
#ifndef VMR_TOOLS_LAKE_PACKETS_DIGEST_H_
#define VMR_TOOLS_LAKE_PACKETS_DIGEST_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/sha256.h"

namespace vmr::tool {

// Digests of a recording's packets, one behind the other as they were read.
struct PacketsDigest {
  std::string all;    // of all of them; of none, too
  std::string first;  // of the first packet alone; empty: there is none
  std::uint64_t bytes = 0;
  // Of bytes 0 to 255, 256 to 511, 512 to 1023 and so on, each twice as far: the whole ones.
  std::vector<std::string> pieces;
};

// As far as both tell, one begins with the other.
bool GoTogether(const PacketsDigest& a, const PacketsDigest& b);

class PacketsDigester {
 public:
  void Add(std::string_view packet);
  // To be called once.
  PacketsDigest Digest();

 private:
  static constexpr std::uint64_t kFirstPiece = 256;

  void AddToPieces(std::string_view bytes);

  PacketsDigest digest_;
  Sha256 all_;
  std::unique_ptr<Sha256> piece_ = std::make_unique<Sha256>();
  std::uint64_t left_ = kFirstPiece;  // of the piece
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_PACKETS_DIGEST_H_
