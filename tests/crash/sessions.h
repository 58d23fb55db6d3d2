// Recording sessions whose calls are noted, so that the files can be put into
// every state that a loss of power in between could leave.
#ifndef VMR_TESTS_CRASH_SESSIONS_H_
#define VMR_TESTS_CRASH_SESSIONS_H_

#include <functional>
#include <string>
#include <vector>

#include "tests/crash/cow_files.h"
#include "tests/crash/recording.h"
#include "tests/crash/state_check.h"

namespace vmr::crash {

// One write to a file, and what stood at that moment.
struct Step {
  Done write;
  int acknowledged;                   // packets of the session that had returned before
  int holder;                         // file that took the last of them; kAnyName: none
  std::vector<std::size_t> unsynced;  // earlier steps not followed by a sync of theirs
};

struct Session {
  bool opened = false;
  std::uint32_t opened_tick = 0;  // the current one then
  std::vector<Step> steps;
  int written = 0;                       // packets, all acknowledged in the end
  int refused = 0;                       // packets for which WriteData did not return 1
  std::vector<std::size_t> returned_at;  // calls made when the open, then each packet returned
  int holder = kAnyName;
};

// Opens a store and appends the packets, then closes it.
Session Record(CowFiles& files, const std::vector<Packet>& packets);

// Packets until the current cluster was closed `closings` times, and a few more.
std::vector<Packet> MakePackets(PacketMaker& maker, int used, int closings, int more);

// A scenario's files with one or two packets recorded, so that file #2 or #1 took
// the last write.
struct Start {
  Stream stream;
  int used = 7;
};
Start MakeStart(const Scenario& scenario, PacketMaker& maker, int turn, CowFiles& files);

// What a torn write may leave of the sectors that it did not reach.
enum class Rest { kOld, kZero, kOnes, kRandom, kUnreadable, kCount };

// Every distinct image that the torn write of `after` over `before` may leave,
// "s" and the written sectors' bits and the rest in its name.
using TornVisitor = std::function<void(const std::string& name, const Page& torn)>;
void ForEachTornImage(CowFiles& files, const Page& before, const Page& after, unsigned int seed,
                      const TornVisitor& visit);
int CountTornImages(const Page& before, const Page& after);

// True when a torn image passes for whole though it is neither the old nor the
// new one: its eight bits of CRC are right by chance.
bool EscapesCrc(const Page& torn, const Page& before, const Page& after);

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_SESSIONS_H_
