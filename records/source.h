// Where packets come from: stretches of bytes, in recorded order, and what is missing
// between them.
#ifndef VMR_RECORDS_SOURCE_H_
#define VMR_RECORDS_SOURCE_H_

#include <cstddef>
#include <memory>
#include <optional>

#include "records/record.h"

namespace vmr::records {

// Bytes that stand together.
struct Stretch {
  const unsigned char* bytes = nullptr;  // valid until the next one is asked for
  std::size_t size = 0;
  Place place;                        // of the first byte
  unsigned int first_tick = kNoTick;  // of the first packet with a tick of its own, if the
                                      // container tells it
  bool is_whole = true;               // every packet ends within it; else more bytes may come
  std::optional<Gap> gap;             // in front of it; only reason, place, bytes and clusters
};

// Threads  one at a time.
// Errors   what cannot be read is a gap; nothing throws but for want of memory.
class Source {
 public:
  virtual ~Source() = default;
  // The next stretch, which begins with the last `unused` bytes of the one before unless
  // that was whole. False at the end, where `stretch` may still tell of a gap.
  virtual bool Next(std::size_t unused, Stretch& stretch) = 0;
  // Another source of the same, that begins with the stretch handed out last.
  virtual std::unique_ptr<Source> Fork() const = 0;
  // A file of packets alone, such as an extract.
  virtual bool IsFlat() const = 0;
  // How much of it has been handed out, 0 to 1.
  virtual double Progress() const = 0;
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_SOURCE_H_
