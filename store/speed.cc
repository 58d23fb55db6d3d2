#include "store/speed.h"

#include <atomic>

#include "host/enum_to_string.h"
#include "store/bytes.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/device_table.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kDescSlack = 4;
constexpr unsigned short kSpeedSlack = 1;

constexpr unsigned int kSmallestMovement = 3;
constexpr unsigned int kFirstTwoByteSpeed = 128;

constexpr unsigned char kTypeMask = 0x1F;
constexpr int kUnitsShift = 5;

const char* TypeName(e_SPEED_SRC_TYPE type) {
  switch (type) {
    case SPEED_SRC_DISCONNECTED:
      return "disconnected";
    case SPEED_SRC_GPS:
      return "gps";
    case SPEED_SRC_RADAR:
      return "radar";
  }
  return "Invalid";  // Deliberate: so are types 3 to 31 of an item printed
}

// Makes device 2 that of the configured radar; false when there is no room for it.
bool CheckRadarSpeed(DataStore& store, SPEED_DESC_T* table, std::uint16_t radar_type, bool write) {
  const SPEED_DESC_T* const known = DataStore::FindSpeedDesc(table, kRadarSpeedId);
  if (known != nullptr && known->radarType == radar_type) return true;
  // Deliberate: "%d" stays in the text, as it always has.
  VMR_LOG(kLogEachItem, "Configuring Radar for Speed, type = %d" << radar_type);
  store.InitializeSpeedId(kRadarSpeedId, radar_type != 0 ? SPEED_SRC_RADAR : SPEED_SRC_DISCONNECTED,
                          SPEED_UNITS_AS_ON_RADAR, EnumToString::RadarTypeToStr(radar_type), write);
  SPEED_DESC_T* const entry = DataStore::FindSpeedDesc(table, kRadarSpeedId);
  if (entry == nullptr) {
    VMR_LOG(kLogError, "Internal error configuring speed");
    return false;
  }
  entry->valid = false;
  entry->radarType = radar_type;
  return true;
}

void CheckGpsSpeed(DataStore& store, SPEED_DESC_T* table, bool write) {
  if (DataStore::FindSpeedDesc(table, kGpsSpeedId) != nullptr) return;
  VMR_LOG(kLogEachItem, "Configuring Gps for Speed, type = " << 1);
  store.InitializeSpeedId(kGpsSpeedId, SPEED_SRC_GPS, SPEED_UNITS_MPH, "Internal Gps", write);
  SPEED_DESC_T* const entry = DataStore::FindSpeedDesc(table, kGpsSpeedId);
  if (entry == nullptr)
    VMR_LOG(kLogError, "Internal error configuring speed");
  else
    entry->valid = false;
}

}  // namespace

void PrintSpeedValue(std::uint32_t speed) {
  static constexpr const char* kStatusWords[] = {"TST", "ERR", "BLANK", "BAD"};
  constexpr std::uint32_t kFirstStatus = 252, kLastStatus = 255, kStatusMask = 0xFEFF;
  const std::uint32_t status = speed & kStatusMask;
  if (status >= kFirstStatus && status <= kLastStatus)
    PrintText(kStatusWords[status - kFirstStatus], " (", speed, ')');
  else
    PrintText(Dec2{static_cast<int>(speed)});  // 0..65535
}

SPEED_DESC_T* DataStore::FindSpeedDesc(SPEED_DESC_T* table, unsigned char id) {
  if (RefuseNull(table, "FindSpeedDesc")) return nullptr;
  return device_table::Find(table, kSpeedDeviceCount, id);
}

int DataStore::InitializeSpeedId(unsigned char id, e_SPEED_SRC_TYPE type, e_SpeedUnits units,
                                 const char* desc, bool write) {
  SPEED_DESC_T* const entry = device_table::EntryFor(mirror_.speed.devices, kSpeedDeviceCount, id);
  if (entry == nullptr) return -1;
  entry->units = units;
  entry->type = type;
  entry->desc = desc == nullptr ? "" : desc;
  entry->radarType = 0;
  entry->valid = false;
  entry->speed = 0;
  if (write) WriteSpeedDesc(*entry);
  if (Viewing()) {
    PrintItemHead(TAG_SPEED_DESC);
    PrintText(", DeviceNo=", entry->id, ", Type=", TypeName(type),
              ", Units=", EnumToString::SpeedUnitsToStr(static_cast<int>(units)), ", Desc='",
              entry->desc.c_str(), "']");
  }
  return entry->id;
}

void DataStore::CheckSpeedConfig(bool write) {
  SPEED_DESC_T* const table = mirror_.speed.devices;
  if (CheckRadarSpeed(*this, table, mirror_.policy.system.radar_type, write))
    CheckGpsSpeed(*this, table, write);
}

void DataStore::ReportSpeed(unsigned char id, unsigned short speed, bool write,
                            unsigned int systemTick, e_Tag tag) {
  SPEED_DESC_T* const entry = device_table::Find(mirror_.speed.devices, kSpeedDeviceCount, id);
  if (entry == nullptr) {
    // Deliberate: the id is shown as one raw character, here and below.
    if (Type() == DATA_STORE_NORMAL)
      VMR_LOG(kLogError, "Attempt to report a speed to non-existant id-" << static_cast<char>(id));
    return;
  }
  if (entry->type == SPEED_SRC_DISCONNECTED) {
    VMR_LOG(kLogWarning,
            "Speed reported for device " << static_cast<char>(id) << " but disconnected");
    return;
  }
  if (entry->valid && speed == entry->speed) return;
  entry->valid = true;
  // A receiver at rest reports a wandering 1 or 2. Deliberate: the first value
  // after a (re)initialisation is swallowed likewise.
  if (entry->speed == 0 && speed < kSmallestMovement) {
    VMR_LOG(kLogInfo, "Speed drift from 0 ignoring - " << speed);
    return;
  }
  entry->speed = speed;
  if (write) WriteSpeed(*entry, kSpeedSlack, systemTick);
  if (!Viewing()) return;
  PrintItemHead(TAG_SPEED_8, tag);
  PrintText(", DeviceNo=", id, ", PatrolSpeed=");
  PrintSpeedValue(speed);
  PrintText(']');
}

void DataStore::ReportValidSpeed(unsigned char id, bool valid) {
  if (SPEED_DESC_T* const entry = device_table::Find(mirror_.speed.devices, kSpeedDeviceCount, id))
    entry->valid = valid;
}

void DataStore::WriteSpeedDesc(const SPEED_DESC_T& desc) {
  const unsigned char head[kSpeedDescHeadBytes] = {
      TAG_SPEED_DESC, desc.id,
      static_cast<unsigned char>(desc.units << kUnitsShift | (desc.type & kTypeMask))};
  AddTextItem(*this, head, sizeof(head), desc.desc.c_str(), kDescSlack);
}

void DataStore::WriteSpeed(const SPEED_DESC_T& desc, unsigned short slack,
                           unsigned int systemTick) {
  if (!mirror_.policy.system.record_speed_in_metadata.value) {
    // Deliberate: once in the life of the process, whatever the store.
    static std::atomic<bool> told{false};
    if (!told.exchange(true)) VMR_LOG(kLogWarning, "Speed in Metadata turned off");
    return;
  }
  if (!HasTag(desc.id)) return;
  unsigned char item[kSpeed16Bytes];
  if (desc.speed < kFirstTwoByteSpeed) {
    item[0] = static_cast<unsigned char>(TAG_SPEED_8 - kFirstTaggedId + desc.id);
    item[1] = static_cast<unsigned char>(desc.speed);
    AddToCurrPacket(item, kSpeed8Bytes, systemTick, slack);
    return;
  }
  item[0] = static_cast<unsigned char>(TAG_SPEED_16 - kFirstTaggedId + desc.id);
  PutLe16(item + 1, static_cast<std::uint16_t>(desc.speed));
  AddToCurrPacket(item, kSpeed16Bytes, systemTick, slack);
}

void DecodeSpeedDesc(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const ItemText text(item + kSpeedDescHeadBytes, item[3]);
  out.InitializeSpeedId(item[1], static_cast<e_SPEED_SRC_TYPE>(item[2] & kTypeMask),
                        static_cast<e_SpeedUnits>(item[2] >> kUnitsShift), text.c_str(), false);
}

void DecodeSpeed8(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto id = static_cast<unsigned char>(item[0] - TAG_SPEED_8 + kFirstTaggedId);
  // Deliberate: signed. This writer never puts 128 or more here.
  // NOLINTNEXTLINE(bugprone-signed-char-misuse)
  const auto speed = static_cast<unsigned short>(static_cast<signed char>(item[1]));
  out.ReportSpeed(id, speed, false, 0, static_cast<e_Tag>(item[0]));
}

void DecodeSpeed16(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto id = static_cast<unsigned char>(item[0] - TAG_SPEED_16 + kFirstTaggedId);
  out.ReportSpeed(id, GetLe16(item + 1), false, 0, static_cast<e_Tag>(item[0]));
}

}  // namespace vmr
