#include "store/microphones.h"

#include <cstdio>

#include "host/enum_to_string.h"
#include "host/mic_client.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kDescSlack = 4;
constexpr unsigned short kDataSlack = 1;

// Deliberate: outside 0..3 the two tables are no inverses of each other, and a
// position above 4 becomes stream number 0 without a word.
constexpr unsigned char kStreamNumbers[] = {1, 2, 0, 3, 4};
constexpr unsigned int kStreamNumberRows = sizeof(kStreamNumbers);

int PositionOf(unsigned char stream_number) {
  return static_cast<int>(DataStore::ConvertKeltMicToOrvaneMicValue(stream_number));
}

// Prints a name; false when there is none. Deliberate: the rest of the line is
// then lost.
bool PrintName(const char* before, const char* name) {
  PrintText(before);
  if (name == nullptr) return false;
  PrintText(name);
  return true;
}

// One truth value of the microphone at `position`, held in `held`.
struct Change {
  bool* held;
  e_MIC_DATA_STATE kind;
  e_MicrophonePosition position;
  bool value;
};

void Report(DataStore& store, const Change& change, bool write, unsigned int systemTick) {
  if (change.position >= kMicCount) {
    VMR_LOG(kLogError, "Invalid mic " << static_cast<unsigned int>(change.position));
    return;
  }
  bool& held = change.held[change.position];
  if (held == change.value) return;
  held = change.value;
  if (write) store.WriteMicState(change.position, change.kind, change.value, systemTick);
}

}  // namespace

unsigned char DataStore::ConvertOrvaneMicToKELTMicValue(e_MicrophonePosition position) {
  if (position == MIC_POSITION_INVALID)
    VMR_LOG(kLogError, "ConvertOrvaneMicToKELTMicValue"
                           << " Invalid Mic value passed in of "
                           << static_cast<unsigned int>(position));
  return position < kStreamNumberRows ? kStreamNumbers[position] : static_cast<unsigned char>(0);
}

e_MicrophonePosition DataStore::ConvertKeltMicToOrvaneMicValue(unsigned char streamNumber) {
  if (streamNumber < kMicCount) return kMicPositionOfStream[streamNumber];
  // Deliberate: the byte appears as one raw character.
  VMR_LOG(kLogError, "ConvertKeltMicToOrvaneMicValue"
                         << " Invalid KELT value passed in of " << static_cast<char>(streamNumber));
  return MIC_POSITION_2;
}

void DataStore::ReportMicPresent(e_MicrophonePosition position, bool present, bool write,
                                 unsigned int systemTick) {
  Report(*this, {mirror_.microphone.present, MIC_DATA_PRESENT, position, present}, write,
         systemTick);
}

void DataStore::ReportMicState(e_MicrophonePosition position, bool on, bool write,
                               unsigned int systemTick) {
  Report(*this, {mirror_.microphone.on, MIC_DATA_STATE, position, on}, write, systemTick);
}

void DataStore::WriteMicState(e_MicrophonePosition position, e_MIC_DATA_STATE kind, bool value,
                              unsigned int systemTick) {
  const unsigned char item[kMicDataBytes] = {TAG_MIC_DATA, ConvertOrvaneMicToKELTMicValue(position),
                                             static_cast<unsigned char>(kind),
                                             static_cast<unsigned char>(value ? 1 : 0)};
  AddToCurrPacket(item, sizeof(item), systemTick, kDataSlack);
}

void DataStore::WriteMicDesc(e_MicrophonePosition position) {
  const unsigned char head[kMicDescHeadBytes] = {
      TAG_MIC_DESC, ConvertOrvaneMicToKELTMicValue(position),
      ConvertOrvaneMicToKELTMicValue(position), ConvertOrvaneMicToKELTMicValue(position)};
  const char* const name = position < kMicCount ? MicClient::names[position] : nullptr;
  char marked[256];
  // Deliberate: readers know a microphone's name by the "$$" in front of it.
  static_cast<void>(std::snprintf(marked, sizeof(marked), "$$%s", name == nullptr ? "" : name));
  AddTextItem(*this, head, sizeof(head), marked, kDescSlack);
}

// Deliberate: the name in the item is not printed; the unit's name is.
void DataStore::StoreMicDesc(const BIN_MIC_DESC_T* item) {
  if (item == nullptr || !Viewing()) return;
  const int position = PositionOf(item->stream_number);
  PrintItemHead(TAG_MIC_DESC);
  PrintText(", KeltMicId=", item->stream_number, ", MicId=", position);
  if (!PrintName(", Type=", EnumToString::MicPositionToStr(PositionOf(item->type)))) return;
  PrintText(", Port=", PositionOf(item->port));
  if (!PrintName(", Name='", MicClient::names[position])) return;
  PrintText("']");
}

void DataStore::ReportMicPresent(unsigned char streamNumber, bool present) {
  ReportMicPresent(ConvertKeltMicToOrvaneMicValue(streamNumber), present, false, 0);
  // Deliberate: no comma behind the position, here and below.
  if (!Viewing()) return;
  PrintItemHead(TAG_MIC_DATA);
  PrintText(", KELTMicId=", streamNumber, ", MicId=", PositionOf(streamNumber),
            " Present=", present, '-', present ? "yes" : "no", ']');
}

void DataStore::ReportMicState(unsigned char streamNumber, bool on) {
  ReportMicState(ConvertKeltMicToOrvaneMicValue(streamNumber), on, false, 0);
  if (!Viewing()) return;
  PrintItemHead(TAG_MIC_DATA);
  PrintText(", KELTMicId=", streamNumber, ", MicId=", PositionOf(streamNumber), " State=", on, '-',
            on ? "on" : "off", ']');
}

void DecodeMicDesc(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto desc = AsRecord<BIN_MIC_DESC_T>(item, kMicDescHeadBytes + item[4]);
  out.StoreMicDesc(&desc);
}

void DecodeMicData(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const bool value = item[3] != 0;
  if (item[2] == MIC_DATA_STATE)
    out.ReportMicState(item[1], value);
  else if (item[2] == MIC_DATA_PRESENT)
    out.ReportMicPresent(item[1], value);
  else if (out.Viewing())
    PrintText("[Invalid Mic State = ", item[2], "] ");
}

}  // namespace vmr
