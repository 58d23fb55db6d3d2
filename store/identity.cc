#include "store/identity.h"

#include <cstring>
#include <string_view>

#include "host/enum_to_string.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kStringSlack = 2;
constexpr unsigned short kVersionSlack = 4;
constexpr unsigned short kMacSlack = 1;

constexpr StringRow kStrings[] = {
    {StringId::kLog, TAG_LOG},
    {StringId::kOfficer, TAG_OFFICER},
    {StringId::kVehicle, TAG_VEHICLE},
    {StringId::kDepartment, TAG_DEPARTMENT},
    {StringId::kTimeZone, TAG_TIME_ZONE},
    {StringId::kTest, TAG_TEST},
    {StringId::kBadgeId, TAG_BADGE_ID},
    {StringId::kSerialNumber, TAG_SERIAL_NUM},
    {StringId::kTimeZoneName, TAG_TIME_ZONE_NAME},
};

constexpr const char* kComponentNames[kComponentCount] = {"Invalid",
                                                          "Mainboard",
                                                          "System Software",
                                                          "IOP",
                                                          "System FPGA",
                                                          "Front Panel",
                                                          "Pendry",
                                                          "Split Screen FPGA",
                                                          "Power Board Software",
                                                          "Power Board Hardware"};

void WriteText(DataStore& store, e_Tag tag, std::string_view text, unsigned short slack) {
  unsigned char item[kStringHeadBytes + kMaxItemTextBytes] = {tag};
  const auto recorded = static_cast<unsigned char>(text.size());  // modulo 256
  item[1] = recorded;
  if (recorded > 0) memcpy(item + kStringHeadBytes, text.data(), recorded);
  store.AddToCurrPacket(item, static_cast<unsigned int>(kStringHeadBytes + recorded), slack);
}

// A name that the unit does not know leaves the index as it was.
void StoreTimeZone(SystemInfo& system, std::string_view name) {
  for (int index = 0; index < EnumToString::kTimeZoneCount; ++index) {
    if (name != EnumToString::TimeZoneToStr(index)) continue;
    system.time_zone_index = index;
    return;
  }
}

void StoreText(StateMirror& mirror, StringId id, std::string_view value) {
  IdentityMirror& identity = mirror.identity;
  switch (id) {
    case StringId::kOfficer:
      identity.officer.name.value = value;
      break;
    case StringId::kVehicle:
      identity.vehicle.vehicle_id.value = value;
      break;
    case StringId::kDepartment:
      identity.department.department_name.value = value;
      break;
    case StringId::kBadgeId:
      identity.officer.badge_id.value = value;
      break;
    case StringId::kSerialNumber:
      identity.serial_number = value;
      break;
    case StringId::kTimeZoneName:
      mirror.policy.system.time_zone_name.value = value;
      break;
    case StringId::kTimeZone:
      StoreTimeZone(mirror.policy.system, value);
      break;
    case StringId::kLog:
    case StringId::kTest:
      break;  // printed only
  }
}

}  // namespace

const char* ComponentName(e_COMPONENT component) { return kComponentNames[component]; }

const StringRow* FindStringRow(e_Tag tag) {
  for (const StringRow& row : kStrings)
    if (row.tag == tag) return &row;
  return nullptr;
}

// ---- Writing -------------------------------------------------------------------

void DataStore::WriteStringData(e_Tag tag, const char* text, unsigned short slack) {
  WriteText(*this, tag, text == nullptr ? "" : text, slack);
}

void DataStore::WriteStringData(e_Tag tag, const std::string& text, unsigned short slack) {
  WriteText(*this, tag, text, slack);
}

void DataStore::WriteDiffString(e_Tag tag, std::string& held, const std::string& now) {
  if (held == now) return;
  held = now;
  WriteStringData(tag, held, kStringSlack);
}

void DataStore::WriteDiffString(e_Tag tag, StringItem& held, const StringItem& now) {
  WriteDiffString(tag, held.value, now.value);
}

void DataStore::WriteDiffString(e_Tag tag, std::string& held, const StringItem& now) {
  WriteDiffString(tag, held, now.value);
}

void DataStore::WriteDiffString(e_Tag tag, StringItem& held, const std::string& now) {
  WriteDiffString(tag, held.value, now);
}

void DataStore::WriteOfficer() {
  WriteStringData(TAG_OFFICER, mirror_.identity.officer.name.value, kStringSlack);
  WriteStringData(TAG_BADGE_ID, mirror_.identity.officer.badge_id.value, kStringSlack);
}

void DataStore::WriteVehicleInfo() {
  WriteStringData(TAG_VEHICLE, mirror_.identity.vehicle.vehicle_id.value, kStringSlack);
}

void DataStore::WriteDepartmentInfo() {
  WriteStringData(TAG_DEPARTMENT, mirror_.identity.department.department_name.value, kStringSlack);
}

void DataStore::WriteSystemSerialNum() {
  WriteStringData(TAG_SERIAL_NUM, mirror_.identity.serial_number, kStringSlack);
}

void DataStore::WriteMac(const unsigned char* mac, unsigned short slack) {
  if (mac == nullptr) return;
  // Deliberate: the 0 stands in every recording.
  unsigned char item[kMacItemBytes] = {TAG_MAC, 0x00};
  memcpy(item + kMacHeadBytes, mac, kMacBytes);
  AddToCurrPacket(item, sizeof(item), slack);
}

void DataStore::WriteVerDesc(e_COMPONENT component, const char* text) {
  const unsigned char head[kVersionHeadBytes] = {TAG_VERSION,
                                                 static_cast<unsigned char>(component)};
  AddTextItem(*this, head, sizeof(head), text, kVersionSlack);
}

// ---- Reporting -----------------------------------------------------------------

void DataStore::ReportStringData(e_Tag tag, const char* text) {
  WriteStringData(tag, text, kStringSlack);
}

void DataStore::ReportSystemSerialNum(const std::string& serial) {
  mirror_.identity.serial_number = serial;
}

void DataStore::ReportVehicleInfo(const VehicleInfo& info, bool write) {
  StringItem& held = mirror_.identity.vehicle.vehicle_id;
  if (mirror_.policy.configuration_valid && write)
    WriteDiffString(TAG_VEHICLE, held, info.vehicle_id);
  else
    held = info.vehicle_id;
}

void DataStore::ReportDepartmentInfo(const DepartmentInfo& info, bool write) {
  StringItem& held = mirror_.identity.department.department_name;
  if (mirror_.policy.configuration_valid && write)
    WriteDiffString(TAG_DEPARTMENT, held, info.department_name);
  else
    held = info.department_name;
}

void DataStore::ReportOfficerInfo(const Officer& officer, bool write) {
  Officer& held = mirror_.identity.officer;
  if (mirror_.policy.configuration_valid && write) {
    // Deliberate: logged on every such call, changed or not.
    VMR_LOG(kLogTrace, "Officer Changed, need to handle");
    WriteDiffString(TAG_OFFICER, held.name, officer.name);
    WriteDiffString(TAG_BADGE_ID, held.badge_id, officer.badge_id);
    return;
  }
  VMR_LOG(kLogTrace, "Setting the Officer data");
  held = officer;
}

// Deliberate: there is no comparison. Every call with write records the address.
void DataStore::ReportMac(const unsigned char* mac, bool write) {
  if (mac == nullptr) return;
  memmove(mirror_.identity.mac, mac, kMacBytes);  // it may be the mirror's own
  if (write) WriteMac(mac, kMacSlack);
  if (!Viewing()) return;
  PrintItemHead(TAG_MAC);
  PrintText(", mac ", Hex2{mac[0]}, ':', Hex2{mac[1]}, ':', Hex2{mac[2]}, ':', Hex2{mac[3]}, ':',
            Hex2{mac[4]}, ':', Hex2{mac[5]}, ']');
}

// Deliberate: never writes. Versions enter a recording through the full dump.
void DataStore::ReportVersion(e_COMPONENT component, const char* text) {
  if (component >= kComponentCount) {
    VMR_LOG(kLogError, "Invalid component " << static_cast<unsigned int>(component));
    return;
  }
  std::string& held = mirror_.identity.versions[component];
  held = text == nullptr ? "" : text;
  if (!Viewing()) return;
  PrintItemHead(TAG_VERSION);
  PrintText(", ", kComponentNames[component], ": ", held.c_str(), ']');
}

// ---- Decoding ------------------------------------------------------------------

void DataStore::StoreStringData(e_Tag tag, const char* text, unsigned char length) {
  if (text == nullptr) {
    VMR_LOG(kLogError, "StoreStringData, NULL String");
    return;
  }
  const StringRow* const row = FindStringRow(tag);
  if (row == nullptr) return;  // Deliberate: silently
  if (Viewing())
    PrintText("[Tag=String, TagNo=0x", Hex2{tag}, ", ", ItemName(tag), "='",
              std::string_view(text, strnlen(text, length)), "']");
  StoreText(mirror_, row->id, std::string_view(text, length));
}

void DecodeString(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.StoreStringData(static_cast<e_Tag>(item[0]),
                      reinterpret_cast<const char*>(item + kStringHeadBytes), item[1]);
}

void DecodeMac(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportMac(item + kMacHeadBytes, false);
}

void DecodeVersion(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const ItemText text(item + kVersionHeadBytes, item[2]);
  out.ReportVersion(static_cast<e_COMPONENT>(item[1]), text.c_str());
}

}  // namespace vmr
