#include "tests/crash/state_check.h"

#include <cstring>
#include <tuple>

#include "tests/support/reference_crc.h"

namespace vmr::crash {
namespace {

constexpr int kLargest = 4089;  // fits only an empty cluster
constexpr std::uint32_t kLargeTick = 4000000;
constexpr std::size_t kMaxStreamBytes = 1 << 27;

// Three full headers of growing length, at ticks above all others.
const std::vector<Packet>& AppendedPackets() {
  static const std::vector<Packet> kPackets = [] {
    std::vector<Packet> made;
    for (unsigned char n = 0; n < 3; ++n) {
      const std::uint32_t tick = 3000000U + n;
      Bytes bytes{0x80,
                  static_cast<unsigned char>(tick),
                  static_cast<unsigned char>(tick >> 8),
                  static_cast<unsigned char>(tick >> 16),
                  0,
                  static_cast<unsigned char>(30 * n)};
      bytes.resize(bytes.size() + 30U * n, static_cast<unsigned char>(0xA0 + n));
      bytes.push_back(test::ReferenceCrc8(bytes));
      made.push_back({bytes, tick});
    }
    return made;
  }();
  return kPackets;
}

int Write(DataStoreNormal& store, const Bytes& bytes, std::uint32_t tick) {
  return store.WriteData(bytes.data(), static_cast<int>(bytes.size()), tick);
}

bool operator==(const Position& a, const Position& b) {
  if (!a.found || !b.found) return a.found == b.found;
  return std::tie(a.newest, a.newest_st, a.oldest, a.oldest_st, a.size) ==
         std::tie(b.newest, b.newest_st, b.oldest, b.oldest_st, b.size);
}

std::string Number(long number) { return std::to_string(number); }

}  // namespace

// Follows the four flags through the writes, one step after another as the ring's
// format documents them. A cluster that is closed without a tick gets that of the
// packet behind it, in both files.
std::vector<ClusterWrite> PredictWrites(const Prediction& prediction,
                                        const std::vector<Appended>& packets) {
  std::vector<ClusterWrite> writes;
  std::array<bool, 2> curr = prediction.curr_stale;
  std::array<bool, 2> prev = prediction.prev_stale;
  int current = prediction.current;
  int previous = prediction.previous;
  int size = prediction.size;
  bool untold = prediction.untold;
  std::size_t turn = prediction.last_writer == 0 ? 1 : 0;
  for (const Appended& packet : packets) {
    const bool tells = packet.tick < 0xFFFFFFFD;
    if (size + packet.bytes > kPageBytes) {
      for (const std::size_t file : {turn, 1 - turn})
        if (prev[file]) writes.push_back({static_cast<int>(file), previous});
      prev = curr;
      if (untold && tells) prev = {true, true};
      previous = current;
      current = (current + 1) % kPages;
      size = 7;
      untold = true;
    }
    size += packet.bytes;
    untold = untold && !tells;
    if (prev[turn]) writes.push_back({static_cast<int>(turn), previous});
    writes.push_back({static_cast<int>(turn), current});
    curr[turn] = prev[turn] = false;
    curr[1 - turn] = true;
    turn = 1 - turn;
  }
  return writes;
}

ReadImage ImageOf(const CowFiles& files, int name) {
  return
      [&files, name](int cluster, unsigned char* to) { return files.ReadRaw(name, cluster, to); };
}

bool ReadStream(DataStoreNormal& store, int from_cluster, Bytes* stream) {
  unsigned char buffer[kPageBytes];
  long position = static_cast<long>(from_cluster) * kPageBytes;
  int bytes_read = 1;
  stream->clear();
  while (bytes_read > 0 && stream->size() < kMaxStreamBytes) {
    if (store.ReadDataIntoBuffer(position, buffer, kPageBytes, bytes_read, position) == 0)
      return false;
    stream->insert(stream->end(), buffer, buffer + bytes_read);
  }
  return true;
}

std::string StateCheck::Visit(const Expected& expected) {
  const CowFiles::Mark mark = files_.Set();
  files_.ForgetCalls();
  predicted_ = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2));
  found_ = 0;
  for (std::size_t i = 0; i < expected.damaged.size(); ++i)
    if (expected.damaged[i].cluster >= 0)
      files_.ReadRaw(expected.damaged[i].name == kFile1 ? kFile2 : kFile1,
                     expected.damaged[i].cluster, good_[i]);
  ++counts_["states"];
  std::string wrong = CompareSearches();
  if (wrong.empty()) wrong = CheckOutcome(expected);
  if (wrong.empty()) wrong = CheckFirstOpen(expected);
  files_.Undo(mark);
  if (wrong.empty() && predicted_.outcome != Outcome::kFails) wrong = CheckGoingOn(expected);
  files_.Undo(mark);
  return wrong;
}

// The search of each file alone, through its own interface.
std::string StateCheck::CompareSearches() const {
  unsigned char buffer[kPageBytes];
  for (const int name : {kFile1, kFile2}) {
    FileStore file(static_cast<short>(name + 1));
    if (file.StartFile(kBase, buffer, kPages, kPageBytes, name + 1) == 0)
      return "a file of the right size cannot be opened";
    Position position;
    position.found = file.FindLastPosition(kPages, kPageBytes, buffer) != 0;
    position.newest = file.NewestCluster();
    position.newest_st = file.NewestSt();
    position.oldest = file.OldestCluster();
    position.oldest_st = file.OldestSt();
    position.size = file.NewestSize();
    const Position& right = predicted_.file[static_cast<std::size_t>(name)];
    if (position == right) continue;
    return "search of file #" + Number(name + 1) + ": found " + Number(position.found) +
           " newest " + Number(position.newest) + " size " + Number(position.size) +
           ", oracle: found " + Number(right.found) + " newest " + Number(right.newest) + " size " +
           Number(right.size);
  }
  return "";
}

std::string StateCheck::CheckOutcome(const Expected& expected) {
  if (predicted_.outcome == Outcome::kRecreates) {
    ++counts_["recreated"];
    if (!expected.may_recreate) return "both files are unsearchable";
  }
  if (predicted_.outcome == Outcome::kFails) {
    ++counts_["open_failed"];
    if (!expected.may_fail) return "the current or the previous cluster is bad in both files";
  }
  return "";
}

std::string StateCheck::CompareOpened(const DataStoreNormal& store,
                                      const Prediction& predicted) const {
  if (store.CurrentCluster() == predicted.current &&
      store.PreviousCluster() == predicted.previous &&
      store.GetCurrentSystemTick() == predicted.last_tick)
    return "";
  return "opened at cluster " + Number(store.CurrentCluster()) + ", previous " +
         Number(store.PreviousCluster()) + ", tick " + Number(store.GetCurrentSystemTick()) +
         ", oracle: " + Number(predicted.current) + ", " + Number(predicted.previous) + ", " +
         Number(predicted.last_tick);
}

std::string StateCheck::CheckFirstOpen(const Expected& expected) {
  const bool had_corrupt = files_.Exists(kCorrupt1);
  DataStoreNormal store(kBase);
  const bool opened = store.Open() != 0;
  if (opened != (predicted_.outcome != Outcome::kFails)) return "Open returned " + Number(opened);
  if (!opened) return "";
  if (!had_corrupt && files_.Exists(kCorrupt1) != (predicted_.outcome == Outcome::kRecreates))
    return "a file was set aside, or was not";
  std::string wrong = CompareOpened(store, predicted_);
  if (!wrong.empty()) return wrong;
  for (const int name : {kFile1, kFile2})
    if (files_.Mode(name) != (S_IFREG | 0660)) return "the mode of a file is not set right";
  const bool recreated = predicted_.outcome == Outcome::kRecreates;
  if (!ReadStream(store, recreated ? 0 : expected.stream->from_cluster, &stream_))
    return "reading back failed";
  wrong = recreated && !stream_.empty() ? "a new store holds data" : CheckFound(expected);
  for (std::size_t i = 0; i < expected.damaged.size() && wrong.empty(); ++i)
    wrong = CheckDamagedCluster(expected.damaged[i], good_[i], store);
  if (wrong.empty()) wrong = CheckLostCluster(expected, store);
  if (wrong.empty() && expected.everything) wrong = CheckEverything(store);
  return wrong.empty() ? CheckFlags(store) : wrong;
}

std::string StateCheck::CheckFound(const Expected& expected) {
  if (predicted_.outcome == Outcome::kRecreates) return "";
  found_ = expected.stream->PacketsIn(stream_);
  if (found_ < 0 && expected.resurfaced != nullptr) {
    found_ = expected.resurfaced->PacketsIn(stream_);
    counts_["resurfaced_unacknowledged"] += found_ >= 0 ? 1 : 0;
  }
  if (found_ < 0)
    return "what is read back (" + Number(static_cast<long>(stream_.size())) +
           " bytes) is not what was written";
  if (found_ > expected.at_most)
    return Number(found_) + " packets found, at most " + Number(expected.at_most) + " written";
  if (found_ >= expected.at_least) return "";
  const int less = DocumentedLoss(expected);
  if (found_ >= expected.at_least - less) return "";
  return Number(found_) + " packets found of " + Number(expected.at_least);
}

// How many packets may be missing, each for a reason that the format's documents
// name. Counted where one is.
int StateCheck::DocumentedLoss(const Expected& expected) {
  if (expected.holder != kAnyName &&
      !predicted_.file[static_cast<std::size_t>(expected.holder)].found) {
    ++counts_["one_less_holder_unsearchable"];
    return 1;
  }
  return 0;
}

// All clusters from the oldest to the current one, each from a file that has it
// whole: the last two as they were loaded, the others as a read tries the files.
std::string StateCheck::CheckEverything(DataStoreNormal& store) {
  ++counts_["states_with_everything_read"];
  Bytes right;
  unsigned char cluster[kPageBytes];
  const auto load = [&](int n) {
    const bool in_memory = n == predicted_.current || n == predicted_.previous;
    const int first = in_memory ? predicted_.last_writer : 1 - predicted_.last_writer;
    return (files_.ReadRaw(first, n, cluster) && IsWholeCluster(cluster)) ||
           (files_.ReadRaw(1 - first, n, cluster) && IsWholeCluster(cluster));
  };
  const int next = (predicted_.current + 1) % kPages;
  const bool wrapped = !load(next) || FirstTick(cluster) != 0xFFFFFFFF;
  const int oldest = wrapped ? next : 0;
  for (int n = oldest;; n = (n + 1) % kPages) {
    if (!load(n)) return "cluster " + Number(n) + " is bad in both files";
    right.insert(right.end(), cluster + 7, cluster + UsedBytes(cluster));
    if (n == predicted_.current) break;
  }
  if (store.InitialReadLocation() != static_cast<long>(oldest) * kPageBytes)
    return "the oldest cluster is not " + Number(oldest);
  if (!ReadStream(store, oldest, &again_)) return "reading everything back failed";
  return again_ == right ? "" : "everything read back is not what the files hold";
}

// The good copy must be read back, and stay.
std::string StateCheck::CheckDamagedCluster(const Expected::DamagedCopy& damaged,
                                            const unsigned char* good,
                                            DataStoreNormal& store) const {
  if (damaged.cluster < 0 || predicted_.outcome != Outcome::kOpens) return "";
  const int good_name = damaged.name == kFile1 ? kFile2 : kFile1;
  unsigned char read[kPageBytes], after[kPageBytes];
  const auto used = static_cast<std::size_t>(UsedBytes(good));
  const bool is_current = damaged.cluster == predicted_.current;
  if (store.ReadCluster(read, damaged.cluster) == 0) return "a damaged cluster is lost";
  if (!files_.ReadRaw(good_name, damaged.cluster, after) || memcmp(good, after, used) != 0)
    return "the good copy of a damaged cluster was changed";
  if (is_current) return "";  // what its copies hold differs by a packet
  if (memcmp(good, read, used) != 0) return "a damaged cluster was read as something else";
  // A read tries the file whose turn it is first, and mends it.
  const bool read_first = damaged.name != predicted_.last_writer;
  if (read_first &&
      (!files_.ReadRaw(damaged.name, damaged.cluster, after) || memcmp(good, after, used) != 0))
    return "a damaged cluster was not mended";
  return "";
}

// What is bad in both files costs itself and nothing else.
std::string StateCheck::CheckLostCluster(const Expected& expected, DataStoreNormal& store) const {
  if (expected.lost_cluster < 0 || predicted_.outcome != Outcome::kOpens) return "";
  unsigned char read[kPageBytes];
  return store.ReadCluster(read, expected.lost_cluster) == 0 ? "" : "a lost cluster was read";
}

// Three packets that each need a cluster of their own show what every flag says.
std::string StateCheck::CheckFlags(DataStoreNormal& store) const {
  static const Bytes kLargeBytes(kLargest, 0);
  const std::size_t from = files_.Calls().size();
  for (int n = 0; n < 3; ++n)
    if (Write(store, kLargeBytes, kLargeTick) == 0) return "a packet was refused";
  const Appended large = {kLargest, kLargeTick};
  return CompareWrites({large, large, large}, from);
}

std::string StateCheck::CompareWrites(const std::vector<Appended>& packets,
                                      std::size_t from) const {
  const std::vector<ClusterWrite> right = PredictWrites(predicted_, packets);
  std::size_t at = 0;
  std::string text;
  bool same = true;
  for (std::size_t i = from; i < files_.Calls().size(); ++i) {
    const Done& done = files_.Calls()[i];
    if (done.call != Call::kWrite) continue;
    text += " #" + Number(done.name + 1) + ":" + Number(done.page);
    same =
        same && at < right.size() && right[at].name == done.name && right[at].cluster == done.page;
    ++at;
  }
  if (same && at == right.size()) return "";
  text += ", oracle:";
  for (const ClusterWrite& write : right)
    text += " #" + Number(write.name + 1) + ":" + Number(write.cluster);
  return "stale flags: wrote" + text;
}

// Recording goes on behind what was found, and all of it is there afterwards.
std::string StateCheck::CheckGoingOn(const Expected& expected) {
  const bool recreated = predicted_.outcome == Outcome::kRecreates;
  const int from_cluster = recreated ? 0 : expected.stream->from_cluster;
  {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return "the second Open failed";
    std::string wrong = AppendThree(store);
    const int previous = store.PreviousCluster();
    const int current = store.CurrentCluster();
    store.Close();
    if (wrong.empty() && expected.mirrors_equal)
      wrong = CompareMirrors(from_cluster, previous, current);
    if (!wrong.empty()) return wrong;
  }
  const Prediction closed = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2));
  if (closed.outcome == Outcome::kRecreates && expected.may_recreate) {
    ++counts_["recreated_at_the_next_open"];  // new data put the damage on a search path
    return "";
  }
  DataStoreNormal store(kBase);
  if (store.Open() == 0) return "the Open after a clean close failed";
  const std::string wrong = CompareOpened(store, closed);
  if (!wrong.empty()) return "after a clean close " + wrong;
  for (const Packet& packet : AppendedPackets())
    stream_.insert(stream_.end(), packet.bytes.begin(), packet.bytes.end());
  if (!ReadStream(store, from_cluster, &again_)) return "reading back after a clean close failed";
  if (again_ != stream_ && MayLackTheLast(expected, closed))
    stream_.resize(stream_.size() - AppendedPackets().back().bytes.size());
  return again_ == stream_ ? "" : "after three packets and a clean close something else is read";
}

// The last packet went to the file that took the first: a latent bad cluster on
// that file's search path costs one packet at every restart.
bool StateCheck::MayLackTheLast(const Expected& expected, const Prediction& closed) {
  const std::size_t holder = predicted_.last_writer == 0 ? 1 : 0;
  if (!expected.damage_stays || closed.file[holder].found) return false;
  ++counts_["one_less_at_the_next_open"];
  return true;
}

std::string StateCheck::AppendThree(DataStoreNormal& store) {
  const std::size_t from = files_.Calls().size();
  std::vector<Appended> packets;
  for (const Packet& packet : AppendedPackets()) {
    if (Write(store, packet.bytes, packet.tick) == 0) return "a packet was refused";
    packets.push_back({static_cast<int>(packet.bytes.size()), packet.tick});
  }
  return CompareWrites(packets, from);
}

// Used bytes of the clusters from `from` on, in front of the last two.
std::string StateCheck::CompareMirrors(int from, int previous, int current) const {
  unsigned char one[kPageBytes], two[kPageBytes];
  for (int cluster = from; cluster != previous && cluster != current;
       cluster = (cluster + 1) % kPages) {
    const bool whole = files_.ReadRaw(kFile1, cluster, one) && IsWholeCluster(one) &&
                       files_.ReadRaw(kFile2, cluster, two) && IsWholeCluster(two);
    if (!whole || memcmp(one, two, static_cast<std::size_t>(UsedBytes(one))) != 0)
      return "the files differ in closed cluster " + Number(cluster);
  }
  return "";
}

}  // namespace vmr::crash
