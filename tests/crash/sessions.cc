#include "tests/crash/sessions.h"

#include <algorithm>
#include <cstring>

#include "tests/crash/oracle.h"

namespace vmr::crash {
namespace {

void FillPage(const Page& page, unsigned char* to) {
  if (page.used > 0) memcpy(to, page.bytes, page.used);
  memset(to + page.used, 0, static_cast<std::size_t>(kPageBytes - page.used));
}

// Adds the writes among the calls from `from` on.
void AddSteps(const CowFiles& files, std::size_t from, int acknowledged, Session* session,
              std::vector<std::size_t>* unsynced) {
  for (std::size_t i = from; i < files.Calls().size(); ++i) {
    const Done& done = files.Calls()[i];
    if (done.error != 0 || done.to == kLostWrite) continue;
    if (done.call == Call::kFsync) {
      const auto synced = [&](std::size_t step) {
        return session->steps[step].write.name == done.name;
      };
      unsynced->erase(std::remove_if(unsynced->begin(), unsynced->end(), synced), unsynced->end());
    }
    if (done.call != Call::kWrite || done.name > kFile2) continue;  // not of a new file
    session->steps.push_back({done, acknowledged, session->holder, *unsynced});
    unsynced->push_back(session->steps.size() - 1);
  }
}

}  // namespace

Session Record(CowFiles& files, const std::vector<Packet>& packets) {
  Session session;
  std::vector<std::size_t> unsynced;
  files.ForgetCalls();
  DataStoreNormal store(kBase);
  session.opened = store.Open() != 0;
  session.returned_at.push_back(files.Calls().size());
  if (!session.opened) return session;
  session.opened_tick = store.GetCurrentSystemTick();
  AddSteps(files, 0, 0, &session, &unsynced);
  for (const Packet& packet : packets) {
    const std::size_t from = files.Calls().size();
    const int length = static_cast<int>(packet.bytes.size());
    if (store.WriteData(packet.bytes.data(), length, packet.tick) != 1) ++session.refused;
    session.returned_at.push_back(files.Calls().size());
    AddSteps(files, from, session.written, &session, &unsynced);
    ++session.written;
    if (!session.steps.empty()) session.holder = session.steps.back().write.name;
  }
  const std::size_t from = files.Calls().size();
  store.Close();
  AddSteps(files, from, session.written, &session, &unsynced);
  return session;
}

std::vector<Packet> MakePackets(PacketMaker& maker, int used, int closings, int more) {
  std::vector<Packet> packets;
  while (closings > 0 || more > 0) {
    const int before = used;
    packets.push_back(maker.Next(used));
    if (used != before + static_cast<int>(packets.back().bytes.size()))
      --closings;
    else if (closings <= 0)
      --more;
  }
  return packets;
}

Start MakeStart(const Scenario& scenario, PacketMaker& maker, int turn, CowFiles& files) {
  Start start;
  MakeFiles(scenario, maker, files, &start.stream, &start.used);
  std::vector<Packet> packets{maker.Smallest(start.used)};
  if (turn != 0) packets.push_back(maker.Smallest(start.used));
  Record(files, packets);
  for (const Packet& packet : packets) start.stream.Add(packet);
  return start;
}

// ---- Torn writes -------------------------------------------------------------------

namespace {

const char* const kRestNames[] = {"old", "zero", "ones", "random", "eio"};

class Torn {
 public:
  Torn(const Page& before, const Page& after) {
    FillPage(before, before_);
    FillPage(after, after_);
    bad_before_ = before.bad_sectors;
    for (int sector = 0; sector < kSectors; ++sector)
      if (memcmp(At(before_, sector), At(after_, sector), kSectorBytes) != 0 ||
          (bad_before_ >> sector & 1) != 0)
        changed_.push_back(sector);
  }

  unsigned int Masks() const { return 1U << changed_.size(); }

  // False when the image is the same as with the old content.
  bool Make(unsigned int mask, Rest rest, unsigned int seed, unsigned char* to, Page* page) const {
    memcpy(to, after_, kPageBytes);
    *page = {to, kPageBytes, 0};
    bool distinct = rest == Rest::kOld;
    std::uint32_t random = seed * 2654435761U + mask;
    for (std::size_t i = 0; i < changed_.size(); ++i) {
      if ((mask >> i & 1) != 0) continue;
      unsigned char* const sector = to + changed_[i] * kSectorBytes;
      const unsigned char* const old = At(before_, changed_[i]);
      const auto bit = static_cast<std::uint8_t>(1U << changed_[i]);
      memcpy(sector, old, kSectorBytes);
      if (rest == Rest::kZero) memset(sector, 0, kSectorBytes);
      if (rest == Rest::kOnes) memset(sector, 0xFF, kSectorBytes);
      for (int n = 0; rest == Rest::kRandom && n < kSectorBytes; ++n) {
        random = random * 1664525U + 1013904223U;
        sector[n] = static_cast<unsigned char>(random >> 24);
      }
      if (rest == Rest::kUnreadable || (rest == Rest::kOld && (bad_before_ & bit) != 0))
        page->bad_sectors |= bit;
      distinct = distinct || page->bad_sectors != 0 || memcmp(sector, old, kSectorBytes) != 0;
    }
    return distinct;
  }

 private:
  static const unsigned char* At(const unsigned char* page, int sector) {
    return page + sector * kSectorBytes;
  }

  unsigned char before_[kPageBytes];
  unsigned char after_[kPageBytes];
  std::uint8_t bad_before_;
  std::vector<int> changed_;
};

}  // namespace

void ForEachTornImage(CowFiles& files, const Page& before, const Page& after, unsigned int seed,
                      const TornVisitor& visit) {
  const Torn torn(before, after);
  unsigned char* const bytes = files.Allocate(kPageBytes);
  const unsigned int masks = torn.Masks();
  for (unsigned int mask = 0; mask < masks; ++mask) {
    for (int rest = 0; rest < static_cast<int>(Rest::kCount); ++rest) {
      Page page;
      if (!torn.Make(mask, static_cast<Rest>(rest), seed, bytes, &page)) continue;
      visit("s" + std::to_string(mask) + "/" + kRestNames[rest], page);
    }
  }
}

int CountTornImages(const Page& before, const Page& after) {
  return static_cast<int>(Torn(before, after).Masks()) * static_cast<int>(Rest::kCount);
}

bool EscapesCrc(const Page& torn, const Page& before, const Page& after) {
  if (torn.bad_sectors != 0) return false;
  unsigned char bytes[kPageBytes], other[kPageBytes];
  FillPage(torn, bytes);
  if (!IsWholeCluster(bytes)) return false;
  for (const Page& page : {before, after}) {
    FillPage(page, other);
    if (memcmp(bytes, other, static_cast<std::size_t>(UsedBytes(bytes))) == 0) return false;
  }
  return true;
}

}  // namespace vmr::crash
