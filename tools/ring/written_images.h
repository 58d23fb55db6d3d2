// What was written into a new ring, to be compared with what is read back.
#ifndef VMR_TOOLS_RING_WRITTEN_IMAGES_H_
#define VMR_TOOLS_RING_WRITTEN_IMAGES_H_

#include <cstdint>
#include <vector>

#include "tools/ring/image_digest.h"
#include "tools/ring/survey.h"

namespace vmr::tool {

// Clusters that are copies of what was surveyed need not be walked again when they are read
// back: that they are what was written says it all.
//
// Owns     nothing; the facts must outlive it.
class WrittenImages final : public MeantImages {
 public:
  // The next cluster's. Without facts it will be looked at as any other.
  void Add(const unsigned char* image, const CopyFacts* facts) {
    images_.push_back({facts, facts != nullptr ? ImageDigest(image) : 0});
  }
  const CopyFacts* FactsOf(int cluster, const unsigned char* image) const override {
    const auto number = static_cast<std::size_t>(cluster);
    if (number >= images_.size() || images_[number].facts == nullptr) return nullptr;
    return images_[number].digest == ImageDigest(image) ? images_[number].facts : nullptr;
  }

 private:
  struct Image {
    const CopyFacts* facts;
    std::uint64_t digest;
  };
  std::vector<Image> images_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_WRITTEN_IMAGES_H_
