#include "tools/read/state_json.h"

#include <fmt/format.h>

namespace vmr::tool {
namespace {

void Put(std::string_view text, LineBuffer& line) {
  line.append(text.data(), text.data() + text.size());
}

const char* PresenceWord(Presence presence) {
  static constexpr const char* kWords[] = {"there",   "in a gap",     "before",  "behind",
                                           "skipped", "between runs", "no ticks"};
  return kWords[static_cast<std::size_t>(presence)];
}

void PutTime(const records::Time& time, LineBuffer& line) {
  if (time.quality == records::TimeQuality::kUnknown) return Put("null", line);
  Put("\"", line);
  AppendUtc(time.us, line);
  Put("\"", line);
}

}  // namespace

void AppendStateHead(const std::string& recording, const std::string& asked, const StateAt& state,
                     LineBuffer& line) {
  Put("\"recording\":", line);
  AppendJsonText(recording, line);
  Put(",\"asked\":", line);
  AppendJsonText(asked, line);
  Put(fmt::format(
          ",\"presence\":\"{}\",\"tick\":{},\"run\":{},\"time\":", PresenceWord(state.presence),
          state.at ? std::to_string(state.at->Tick()) : "null",
          state.at ? std::to_string(state.at->run) : "null"),
      line);
  PutTime(state.time, line);
  Put(fmt::format(",\"time_quality\":\"{}\",\"complete\":{},\"why_not\":",
                  TextOf(state.time.quality), state.IsComplete()),
      line);
  if (state.why_not.empty()) return Put("null", line);
  AppendJsonText(state.why_not, line);
}

std::string KeyMembers(const StateTable::Key& key) {
  const records::KindRow& kind = records::KindOf(key.first);
  std::string members;
  for (std::size_t i = 0; i < kind.key_fields; ++i) {
    const records::FieldRow& field = kind.fields[i];
    const char* const word = field.word != nullptr ? field.word(key.second[i]) : nullptr;
    members += word != nullptr ? fmt::format(",\"{}\":\"{}\"", field.name, word)
                               : fmt::format(",\"{}\":{}", field.name, key.second[i]);
  }
  return members;
}

}  // namespace vmr::tool
