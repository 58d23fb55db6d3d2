#include "store/inputs.h"

#include <array>

#include "store/data_store.h"
#include "store/decoders.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {

constexpr DiscreteInput kDiscreteInputs[kDiscreteInputCount] = {
    {0, TAG_EMERGENCY_LIGHTS_ON, TAG_EMERGENCY_LIGHTS_OFF},
    {1, TAG_SIREN_ON, TAG_SIREN_OFF},
    {2, TAG_BRAKE_ON, TAG_BRAKE_OFF},
    {3, TAG_AUX_INPUT_ON, TAG_AUX_INPUT_OFF},
    {4, TAG_DOOR_ON, TAG_DOOR_OFF},
    {5, TAG_SYSTEM_POWER_ON, TAG_SYSTEM_POWER_OFF},
    {6, TAG_ACCIDENT_DETECT_ON, TAG_ACCIDENT_DETECT_OFF},
    {7, TAG_IGNITION_ON, TAG_IGNITION_OFF},
    {8, TAG_RECORDING_ON, TAG_RECORDING_OFF},
    {9, TAG_COVERT_ON, TAG_COVERT_OFF},
    {10, TAG_DOCKED_ON, TAG_DOCKED_OFF},
};

namespace {

constexpr unsigned char kNoInput = 0xFF;

// By tag: an input is reported whether it has changed or not.
constexpr std::array<unsigned char, 256> IndexByTag() {
  std::array<unsigned char, 256> index{};
  for (auto& entry : index) entry = kNoInput;
  for (unsigned char i = 0; i < kDiscreteInputCount; ++i)
    index[kDiscreteInputs[i].on_tag] = index[kDiscreteInputs[i].off_tag] = i;
  return index;
}
constexpr std::array<unsigned char, 256> kIndexByTag = IndexByTag();

constexpr const char* kLogSource = kDataStoreLogSource;

// Deliberate: going off may wait a tick longer than going on.
constexpr unsigned short kOnSlack = 1;
constexpr unsigned short kOffSlack = 2;
constexpr unsigned short kBookmarkSlack = 1;
constexpr unsigned short kButtonSlack = 1;

constexpr int kLastButton = BUTTON_BACKLIGHT;
constexpr int kLastAction = BUTTON_RELEASED;

const char* NameOf(const char* const (&names)[3], int value) {
  return value >= 0 && value < 3 ? names[value] : "Invalid";
}

const char* ButtonName(int button) {
  static constexpr const char* kNames[] = {"POWER", "RECORD", "BACKLIGHT"};
  return NameOf(kNames, button);
}

const char* ActionName(int action) {
  static constexpr const char* kNames[] = {"PRESSED", "LONG PRESSED", "RELEASED"};
  return NameOf(kNames, action);
}

}  // namespace

const DiscreteInput* FindDiscreteInput(e_Tag tag) {
  const unsigned char index = kIndexByTag[tag];
  return index == kNoInput ? nullptr : &kDiscreteInputs[index];
}

void DataStore::ReportStateData(e_Tag tag, bool write, unsigned int systemTick) {
  const DiscreteInput* const input = FindDiscreteInput(tag);
  if (input == nullptr) {
    VMR_LOG(kLogError, "internal error, invalid tag");
    return;
  }
  const bool on = tag == input->on_tag;
  bool& held = mirror_.inputs.on[input->index];
  if (held != on) {
    held = on;
    if (write) WriteStateData(tag, on ? kOnSlack : kOffSlack, systemTick);
  }
  if (!Viewing()) return;
  PrintItemHead(tag);
  PrintText(", State=", on ? "on" : "off", ']');
}

void DataStore::WriteStateData(e_Tag tag, unsigned short slack, unsigned int systemTick) {
  const unsigned char item[1] = {tag};
  AddToCurrPacket(item, sizeof(item), systemTick, slack);
}

void DataStore::ReportBookmark(unsigned int systemTick) {
  WriteStateData(TAG_BOOKMARK, kBookmarkSlack, systemTick);
}

void DataStore::ReportButton(e_button_list button, e_button_action_list action, bool write) {
  // Deliberate: compared signed. A negative number passes and prints "Invalid".
  const int button_number = button;
  const int action_number = action;
  if (button_number > kLastButton) {
    VMR_LOG(kLogError, "Invalid button " << button_number);
    return;
  }
  if (action_number > kLastAction) {
    // Deliberate: no blank before the number.
    VMR_LOG(kLogError, "Invalid button action" << action_number);
    return;
  }
  if (write) WriteButton(button, action);
  if (!Viewing()) return;
  PrintItemHead(TAG_BUTTON);
  PrintText(", Button=", ButtonName(button_number), ", Action=", ActionName(action_number), ']');
}

void DataStore::WriteButton(e_button_list button, e_button_action_list action) {
  const unsigned char item[kButtonBytes] = {TAG_BUTTON, static_cast<unsigned char>(button),
                                            static_cast<unsigned char>(action)};
  AddToCurrPacket(item, sizeof(item), kButtonSlack);
}

void DecodeDiscreteInput(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportStateData(static_cast<e_Tag>(item[0]), false, 0);
}

// Deliberate: this one input is recorded again into the output store while it
// is read. Extracted recordings have carried the second item ever since.
void DecodeCovertOn(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportStateData(static_cast<e_Tag>(item[0]), true, 0);
}

void DecodeBookmark(DataStore& out, const unsigned char* /*item*/, DecodeResult& /*result*/) {
  if (!out.Viewing()) return;
  PrintItemHead(TAG_BOOKMARK);
  PrintText(']');
}

void DecodeButton(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportButton(static_cast<e_button_list>(item[1]), static_cast<e_button_action_list>(item[2]),
                   false);
}

}  // namespace vmr
