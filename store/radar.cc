#include "store/radar.h"

#include "host/enum_to_string.h"
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
constexpr unsigned short kStateSlack = 1;
constexpr unsigned short kReadingSlack = 1;

constexpr unsigned char kTypeMask = 0x1F;
constexpr unsigned char kIdMask = 0x1F;
constexpr int kUnitsShift = 5;
constexpr int kConnectedShift = 5;
constexpr unsigned char kConnectedMask = 0xE0;
constexpr unsigned char kConnectedValue = 0x20;

// A target from here on may be a status word and goes into the long item.
constexpr unsigned short kFirstLongTarget = 251;

const char* TypeName(e_RADAR_SRC_TYPE type) {
  switch (type) {
    case RADAR_SRC_DISCONNECTED:
      return "disconnected";
    case RADAR_SRC_GENERIC:
      return "generic";
  }
  return "Invalid";  // Deliberate: so are types 2 to 31 of an item printed
}

const char* AvailableName(bool connected) { return connected ? "available" : "unavailable"; }

unsigned char High2(std::uint16_t speed, int shift) {
  return static_cast<unsigned char>((speed >> 8 & 0x03) << shift);
}

unsigned short TenBits(unsigned char packed, int shift, unsigned char low) {
  return static_cast<unsigned short>((packed >> shift & 0x03) << 8 | low);
}

// Deliberate: the tag number in lower case.
void PrintState(unsigned char id, bool connected) {
  PrintText("[Tag=", ItemName(TAG_RADAR_STATE), ", TagNo=0x", LowerHex2{TAG_RADAR_STATE},
            ", RadarNo=", id, ", State=", connected, '-', AvailableName(connected), ']');
}

constexpr int kLockShift = 5;
constexpr int kFastestShift = 3;
constexpr int kTargetShift = 1;
constexpr int kDirectionShift = 7;

void PrintReading(const RADAR_DESC_T& radar, unsigned char id, unsigned short lock,
                  unsigned short fastest, e_Tag tag) {
  const bool data = tag >= TAG_RADAR_DATA && tag < TAG_RADAR_TARGET;
  PrintItemHead(data ? TAG_RADAR_DATA : TAG_RADAR_TARGET, tag);
  PrintText(", RadarNo=", id, ", TargetSpeed=");
  PrintSpeedValue(radar.target);
  if (fastest != kSpeedNotPresent) {
    PrintText(", FastestSpeed=");
    PrintSpeedValue(radar.fastest);
  }
  if (lock != kSpeedNotPresent) {
    PrintText(", LockSpeed=");
    PrintSpeedValue(radar.lock);
  }
  PrintText(']');
}

void LogUnknownRadar(const DataStore& store, unsigned char id) {
  // Deliberate: the id is shown as one raw character.
  if (store.Type() == DATA_STORE_NORMAL)
    VMR_LOG(kLogError, "Attempt to report a radar to non-existant id-" << static_cast<char>(id));
}

}  // namespace

RADAR_DESC_T* DataStore::FindRadarDesc(RADAR_DESC_T* table, unsigned char id) {
  if (RefuseNull(table, "FindRadarDesc")) return nullptr;
  return device_table::Find(table, kRadarCount, id);
}

int DataStore::InitializeRadarId(unsigned char id, e_RADAR_SRC_TYPE type, e_SpeedUnits units,
                                 const char* desc, bool write) {
  RADAR_DESC_T* const entry = device_table::EntryFor(mirror_.radar.radars, kRadarCount, id);
  if (entry == nullptr) return -1;
  entry->units = units;
  entry->type = type;
  entry->desc = desc == nullptr ? "" : desc;
  // Deliberate: whether a reading is held stays as it is.
  entry->radarType = 0;
  entry->target = 0;
  entry->lock = 0;
  entry->fastest = 0;
  entry->direction = RADAR_DIRECTION_0;
  entry->connected = false;
  if (write) WriteRadarDesc(*entry);
  // Deliberate: the id argument appears as one raw character.
  if (Viewing()) {
    PrintItemHead(TAG_RADAR_DESC);
    PrintText(", RadarNo=", static_cast<char>(id),
              ", Units=", EnumToString::SpeedUnitsToStr(static_cast<int>(units)),
              ", Type=", TypeName(type), ", Desc='", entry->desc.c_str(), "']");
  }
  return entry->id;
}

void DataStore::CheckRadarConfig(bool write) {
  RADAR_DESC_T* const table = mirror_.radar.radars;
  const std::uint16_t radar_type = mirror_.policy.system.radar_type;
  const RADAR_DESC_T* const known = FindRadarDesc(table, kConfiguredRadarId);
  if (known != nullptr && known->radarType == radar_type) return;
  InitializeRadarId(kConfiguredRadarId,
                    radar_type != 0 ? RADAR_SRC_GENERIC : RADAR_SRC_DISCONNECTED,
                    SPEED_UNITS_AS_ON_RADAR, EnumToString::RadarTypeToStr(radar_type), write);
  RADAR_DESC_T* const entry = FindRadarDesc(table, kConfiguredRadarId);
  if (entry == nullptr) {
    VMR_LOG(kLogError, "Internal error configuring radar");
    return;
  }
  entry->radarType = radar_type;
  entry->connected = false;
  if (write) WriteRadarState(*entry, kStateSlack);
}

void DataStore::ReportRadar(unsigned char id, unsigned short lockSpeed, unsigned short fastestSpeed,
                            unsigned short targetSpeed, e_RADAR_DIRECTION direction, bool write,
                            unsigned int systemTick, e_Tag tag) {
  RADAR_DESC_T* const entry = device_table::Find(mirror_.radar.radars, kRadarCount, id);
  if (entry == nullptr) {
    LogUnknownRadar(*this, id);
    return;
  }
  if (!entry->connected) {
    entry->connected = true;
    if (write) WriteRadarState(*entry, kStateSlack);
  }
  const bool others_same =
      lockSpeed == entry->lock && fastestSpeed == entry->fastest && direction == entry->direction;
  const bool target_same = targetSpeed == entry->target;
  if (others_same && targetSpeed < kFirstLongTarget) {
    if (!target_same) {
      entry->target = targetSpeed;
      if (write) WriteRadarDataTarget(*entry, kReadingSlack, systemTick);
    }
  } else if (!others_same || !target_same) {
    entry->lock = lockSpeed;
    entry->fastest = fastestSpeed;
    entry->target = targetSpeed;
    entry->direction = direction;
    entry->dataValid = true;
    if (write) WriteRadarDataLong(*entry, kReadingSlack, systemTick);
  }
  if (Viewing()) PrintReading(*entry, id, lockSpeed, fastestSpeed, tag);
}

void DataStore::ReportRadarState(unsigned char id, bool connected, bool write) {
  RADAR_DESC_T* const entry = device_table::Find(mirror_.radar.radars, kRadarCount, id);
  if (entry == nullptr) {
    LogUnknownRadar(*this, id);
    // Deliberate: printed whether or not anybody views.
    PrintText("ERROR: Non-existant Radar Id ");
    PrintState(id, connected);
    return;
  }
  if (connected != entry->connected) {
    entry->connected = connected;
    if (write) WriteRadarState(*entry, kStateSlack);
  }
  if (Viewing()) PrintState(id, connected);
}

void DataStore::WriteRadarDesc(const RADAR_DESC_T& desc) {
  const unsigned char head[kRadarDescHeadBytes] = {
      TAG_RADAR_DESC, desc.id,
      static_cast<unsigned char>(desc.units << kUnitsShift | (desc.type & kTypeMask))};
  AddTextItem(*this, head, sizeof(head), desc.desc.c_str(), kDescSlack);
}

void DataStore::WriteRadarState(const RADAR_DESC_T& desc, unsigned short slack) {
  const unsigned char item[kRadarStateBytes] = {
      TAG_RADAR_STATE, static_cast<unsigned char>((desc.connected ? 1 : 0) << kConnectedShift |
                                                  (desc.id & kIdMask))};
  AddToCurrPacket(item, sizeof(item), slack);
}

void DataStore::WriteRadarDataLong(const RADAR_DESC_T& desc, unsigned short slack,
                                   unsigned int systemTick) {
  if (!HasTag(desc.id)) return;
  unsigned char item[kRadarDataBytes];
  item[0] = static_cast<unsigned char>(TAG_RADAR_DATA - kFirstTaggedId + desc.id);
  item[1] = static_cast<unsigned char>(
      (desc.direction & 1) << kDirectionShift | High2(desc.lock, kLockShift) |
      High2(desc.fastest, kFastestShift) | High2(desc.target, kTargetShift));
  item[2] = static_cast<unsigned char>(desc.lock);
  item[3] = static_cast<unsigned char>(desc.fastest);
  item[4] = static_cast<unsigned char>(desc.target);
  AddToCurrPacket(item, sizeof(item), systemTick, slack);
}

void DataStore::WriteRadarDataTarget(const RADAR_DESC_T& desc, unsigned short slack,
                                     unsigned int systemTick) {
  if (!HasTag(desc.id)) return;
  const unsigned char item[kRadarTargetBytes] = {
      static_cast<unsigned char>(TAG_RADAR_TARGET - kFirstTaggedId + desc.id),
      static_cast<unsigned char>(desc.target)};
  AddToCurrPacket(item, sizeof(item), systemTick, slack);
}

void DataStore::StoreRadarData(const BIN_RADAR_DATA_T* item, e_Tag tag) {
  if (RefuseNull(item, "StoreRadarData")) return;
  const auto id = static_cast<unsigned char>(tag - TAG_RADAR_DATA + kFirstTaggedId);
  ReportRadar(id, TenBits(item->packed, kLockShift, item->lock),
              TenBits(item->packed, kFastestShift, item->fastest),
              TenBits(item->packed, kTargetShift, item->target),
              static_cast<e_RADAR_DIRECTION>(item->packed >> kDirectionShift), false, 0, tag);
}

void DecodeRadarDesc(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const ItemText text(item + kRadarDescHeadBytes, item[3]);
  out.InitializeRadarId(item[1], static_cast<e_RADAR_SRC_TYPE>(item[2] & kTypeMask),
                        static_cast<e_SpeedUnits>(item[2] >> kUnitsShift), text.c_str(), false);
}

void DecodeRadarData(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto data = AsRecord<BIN_RADAR_DATA_T>(item);
  out.StoreRadarData(&data, static_cast<e_Tag>(item[0]));
}

void DecodeRadarTarget(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto id = static_cast<unsigned char>(item[0] - TAG_RADAR_TARGET + kFirstTaggedId);
  out.ReportRadar(id, kSpeedNotPresent, kSpeedNotPresent, item[1], RADAR_DIRECTION_0, false, 0,
                  static_cast<e_Tag>(item[0]));
}

// A radar that is gone has no speed of the vehicle either.
void DecodeRadarState(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const bool connected = (item[1] & kConnectedMask) == kConnectedValue;
  out.ReportRadarState(item[1] & kIdMask, connected, false);
  if (!connected) out.ReportValidSpeed(kRadarSpeedId, false);
}

}  // namespace vmr
