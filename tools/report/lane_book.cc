#include "tools/report/lane_book.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/read/state_words.h"

namespace vmr::tool {

using records::KindId;
using records::Record;

namespace {

// A kind whose records are drawn as lanes: the words for its numbers, or for no and yes.
struct DrawnKind {
  KindId kind;
  const char* group;
  std::size_t field;
  std::vector<std::string> words;
};

const std::string kUnknownWord = "unknown";

const std::vector<DrawnKind>& DrawnKinds() {
  static const std::vector<DrawnKind> kKinds = {
      {KindId::kInput, "inputs", 1, {"off", "on"}},
      {KindId::kMicrophone, "microphones", 3, {"off", "on"}},
      {KindId::kCamera, "cameras", 1, {"off", "on", "background"}},
      {KindId::kStream, "streams", 1, {"off", "on", "background"}},
      {KindId::kLiveStream, "streams", 2, {"off", "on"}},
      {KindId::kGpsState, "gps", 0, {"not available", "available"}},
      {KindId::kRadarState, "radar", 1, {"not connected", "connected"}},
  };
  return kKinds;
}

const DrawnKind* FindDrawn(KindId kind) {
  for (const DrawnKind& drawn : DrawnKinds())
    if (drawn.kind == kind) return &drawn;
  return nullptr;
}

// Of a microphone: what is told of it, the last field of its key.
bool IsPresence(const StateTable::Key& key) {
  constexpr std::int64_t kPresent = 1;
  return key.first == KindId::kMicrophone && key.second.back() == kPresent;
}

// Units count those that they know by where they sit.
std::string MicrophoneOf(const StateTable::Key& key) {
  const std::vector<StateTable::Key> known = KnownKeys(records::KindOf(key.first));
  if (std::find(known.begin(), known.end(), key) == known.end())
    return fmt::format("microphone of stream {}", key.second[0]);
  return fmt::format("microphone {}", key.second[1]);
}

// A report that has no word is drawn by nobody; the table of events has it.
bool IsDrawn(const Record& record) {
  if (FindDrawn(record.kind->id) == nullptr) return false;
  return record.kind->id != KindId::kMicrophone || ValueOf(record, 2).word != nullptr;
}

std::string RoleOf(const StateTable::Key& key) {
  if (key.first != KindId::kInput) return {};
  const std::string name = KeyWords(key);
  if (name == "emergency lights") return "lights";
  if (name == "siren") return "siren";
  return {};
}

std::string IdOf(const StateTable::Key& key) {
  std::string id = records::KindOf(key.first).name;
  if (key.first == KindId::kInput) return id + "/" + KeyWords(key);
  for (const std::int64_t number : key.second) id += fmt::format("/{}", number);
  return id;
}

std::vector<std::string> FirstWords(const StateTable::Key& key) {
  std::vector<std::string> words{kUnknownWord};
  const std::vector<std::string> more = IsPresence(key)
                                            ? std::vector<std::string>{"not present", "present"}
                                            : FindDrawn(key.first)->words;
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

// "off" and its like stand in front of all that say it is on.
std::vector<int> OnWords(const std::vector<std::string>& words) {
  std::vector<int> on;
  constexpr std::size_t kOff = 1;
  for (std::size_t word = kOff + 1; word < words.size(); ++word)
    on.push_back(static_cast<int>(word));
  return on;
}

}  // namespace

LaneBook::LaneBook() {
  for (const DrawnKind& drawn : DrawnKinds())
    for (const StateTable::Key& key : KnownKeys(records::KindOf(drawn.kind))) LaneOf(key);
}

LaneBook::Lane& LaneBook::LaneOf(const StateTable::Key& key) {
  Lane& lane = lanes_[key];
  if (lane.words.empty()) lane.words = FirstWords(key);
  return lane;
}

std::int64_t LaneBook::WordOf(const Record& record, Lane& lane) {
  const DrawnKind& drawn = *FindDrawn(record.kind->id);
  const std::int64_t number = ValueOf(record, drawn.field).number;
  const auto known = static_cast<std::int64_t>(drawn.words.size());
  if (number < known) return number + 1;
  const std::string word = fmt::format("state {}", number);
  const auto found = std::find(lane.words.begin(), lane.words.end(), word);
  const std::int64_t index = found - lane.words.begin();
  if (found == lane.words.end()) lane.words.push_back(word);
  return index;
}

void LaneBook::Take(const Record& record, const Spot& spot, const Phrases& phrases) {
  LearnName(record, phrases);
  if (!IsDrawn(record)) return;
  Lane& lane = LaneOf(StateTable::KeyOf(record));
  const std::int64_t word = WordOf(record, lane);
  if (!record.crc_right)
    lane.line.Doubt(spot.x, word);
  else if (spot.holds_from)
    lane.line.Tell(*spot.holds_from, word, record.repeats);
}

void LaneBook::LoseAll(AxisX x) {
  for (auto& [key, lane] : lanes_) lane.line.Lose(x);
}

// ---- Names -----------------------------------------------------------------------

void LaneBook::LearnName(const Record& record, const Phrases& phrases) {
  const KindId kind = record.kind->id;
  if (!record.crc_right || (kind != KindId::kCameraName && kind != KindId::kMicrophoneName)) return;
  const std::int64_t number = ValueOf(record, 0).number;
  const std::string name = phrases.NameOf(kind, number);
  const Named named{kind, number};
  std::vector<std::string>& told = names_[named];
  if (!name.empty() && std::find(told.begin(), told.end(), name) == told.end())
    told.push_back(name);
}

// " ("Front")", and " ("Front"), later ("Rear")"
std::string LaneBook::NamesOf(KindId kind, std::int64_t number) const {
  const auto told = names_.find({kind, number});
  if (told == names_.end()) return {};
  std::string text;
  for (const std::string& name : told->second) text += (text.empty() ? "" : ", later") + name;
  return text;
}

std::string LaneBook::NameOf(const StateTable::Key& key) const {
  const std::vector<std::int64_t>& numbers = key.second;
  switch (key.first) {
    case KindId::kMicrophone:
      return MicrophoneOf(key) + NamesOf(KindId::kMicrophoneName, numbers[0]) +
             (IsPresence(key) ? " present" : "");
    case KindId::kCamera:
      return fmt::format("camera {}{}", numbers[0], NamesOf(KindId::kCameraName, numbers[0]));
    case KindId::kStream:
      return fmt::format("video stream {}", numbers[0]);
    case KindId::kLiveStream:
      return fmt::format("live stream {}", numbers[0]);
    case KindId::kGpsState:
      return "GPS";
    case KindId::kRadarState:
      return fmt::format("radar {}", numbers[0]);
    default:
      return KeyWords(key);
  }
}

std::vector<CaseLane> LaneBook::Finish(AxisX begin) {
  std::vector<CaseLane> all;
  for (auto& [key, lane] : lanes_) {
    CaseLane drawn;
    drawn.id = IdOf(key);
    drawn.group = FindDrawn(key.first)->group;
    drawn.name = NameOf(key);
    drawn.role = RoleOf(key);
    drawn.words = std::move(lane.words);
    drawn.on = OnWords(drawn.words);
    drawn.line = lane.line.Take();
    const bool told_at_once =
        !drawn.line.empty() && drawn.line.front().x <= begin && drawn.line.front().Holds();
    if (!told_at_once) drawn.line.insert(drawn.line.begin(), {begin, 0, LinePoint::kUnknown});
    all.push_back(std::move(drawn));
  }
  return all;
}

}  // namespace vmr::tool
