#include "tools/lake/packets_digest.h"

#include <algorithm>

namespace vmr::tool {

bool GoTogether(const PacketsDigest& a, const PacketsDigest& b) {
  if (a.first != b.first) return false;
  if (a.bytes == b.bytes) return a.all == b.all;
  const std::size_t both = std::min(a.pieces.size(), b.pieces.size());
  return std::equal(a.pieces.begin(), a.pieces.begin() + static_cast<std::ptrdiff_t>(both),
                    b.pieces.begin());
}

void PacketsDigester::Add(std::string_view packet) {
  if (digest_.bytes == 0) digest_.first = Sha256Of(packet);
  all_.Add(packet);
  AddToPieces(packet);
  digest_.bytes += packet.size();
}

void PacketsDigester::AddToPieces(std::string_view bytes) {
  std::uint64_t at = digest_.bytes;
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, std::min<std::uint64_t>(left_, bytes.size()));
    piece_->Add(part);
    bytes.remove_prefix(part.size());
    at += part.size();
    left_ -= part.size();
    if (left_ > 0) continue;
    digest_.pieces.push_back(piece_->Digest());
    piece_ = std::make_unique<Sha256>();
    left_ = at;
  }
}

PacketsDigest PacketsDigester::Digest() {
  digest_.all = all_.Digest();
  return digest_;
}

}  // namespace vmr::tool
