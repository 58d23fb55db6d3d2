// Notices when somebody takes a ring's files away while they are recorded into.
#ifndef VMR_TOOLS_RECORD_RING_WATCH_H_
#define VMR_TOOLS_RECORD_RING_WATCH_H_

#include <array>
#include <chrono>
#include <string>

#include "backends/data_store_normal.h"

namespace vmr::tool {

// A recorder goes on with the files that it has opened, whatever becomes of their
// names: what goes into a deleted one is gone when the recorder ends.
//
// Owns     a descriptor of each file.
// Threads  none.
class RingWatch {
 public:
  explicit RingWatch(const std::string& base);
  ~RingWatch();
  RingWatch(const RingWatch&) = delete;
  RingWatch& operator=(const RingWatch&) = delete;

  // The ring has just been opened.
  void Start();
  // Looks every few seconds, and tells what is new; cheap enough for every tick.
  void Tick();
  // After the ring was closed: says what of the recording is in no file or in one
  // only. False when something is in no file.
  bool Conclude(const DataStoreNormal& store);

 private:
  enum class Fate { kThere, kMoved, kGone };
  struct File {
    std::string path;
    int fd = -1;
    Fate fate = Fate::kThere;
  };

  void Look();
  static Fate FateOf(const File& file);
  static void Tell(const File& file);
  bool ConcludeWithout(const File& gone, const File& left, bool left_took_all,
                       const DataStoreNormal& store) const;
  static bool HoldsAsMuch(const File& left, const File& gone, int cluster);

  std::string base_;
  std::array<File, 2> files_;
  unsigned int ticks_ = 0;
  std::chrono::steady_clock::time_point next_look_{};
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_RING_WATCH_H_
