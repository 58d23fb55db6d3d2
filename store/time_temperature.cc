#include "store/time_temperature.h"

#include <cstdlib>

#include "host/wall_clock.h"
#include "store/bytes.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kTimeSlack = 1;
constexpr unsigned short kDescSlack = 4;
constexpr unsigned short kTempSlack = 4;

constexpr int kSmallestRecordedChange_deg = 3;

void PrintTime(e_Tag tag, std::int32_t value) {
  std::tm local{};
  PrintItemHead(TAG_TIME, tag);
  if (!LocalTime(value, &local)) {
    // Deliberate: "locatime" is how the line has always read.
    PrintText(", time ", value, " (locatime returned NULL)]");
    return;
  }
  PrintText(", time ", value, " (", Dec2{local.tm_mon + 1}, '/', Dec2{local.tm_mday}, '/',
            Dec2{local.tm_year + 1900}, ' ', Dec2{local.tm_hour}, ':', Dec2{local.tm_min}, ':',
            Dec2{local.tm_sec}, ")]");
}

}  // namespace

void DataStore::WriteTime(long time) {
  unsigned char item[kTimeBytes] = {TAG_TIME};
  PutLe32(item + 1, static_cast<std::uint32_t>(time));
  AddToCurrPacket(item, sizeof(item), kTimeSlack);
}

void DataStore::StoreTime(int rawTime, e_Tag tag) {
  const auto value = static_cast<std::int32_t>(SwapBytes32(static_cast<std::uint32_t>(rawTime)));
  if (value < 0) {
    VMR_LOG(kLogError, "Invalid Time - " << value);
    return;
  }
  mirror_.time.base_time = value;
  mirror_.time.base_tick = current_tick_;
  mirror_.time.time_check_tick = current_tick_;
  if (Viewing()) PrintTime(tag, value);
}

void DataStore::InitializeTempSensor(e_TempSensors id, const char* desc, bool write) {
  if (id >= kTempSensorCount) {
    VMR_LOG(kLogError, "Invalid Temp Sensor " << static_cast<unsigned int>(id));
    return;
  }
  TempInfo_t& sensor = mirror_.temperature.sensors[id];
  sensor.desc = desc == nullptr ? "" : desc;
  if (write) WriteTempDesc(id, sensor);
  if (!Viewing()) return;
  PrintItemHead(TAG_TEMP_DESC);
  // Deliberate: "desc" in lower case, where the other descriptions have "Desc".
  PrintText(", Id=", static_cast<unsigned int>(id), ", desc='", sensor.desc.c_str(), "']");
}

// Deliberate: the order in which existing recordings carry the four.
void DataStore::InitTempSensors(bool write) {
  InitializeTempSensor(TEMP_SENSOR_CPU, "cpu", write);
  InitializeTempSensor(TEMP_SENSOR_INLET, "inlet", write);
  InitializeTempSensor(TEMP_SENSOR_OUTLET, "outlet", write);
  InitializeTempSensor(TEMP_SENSOR_POWER, "power", write);
}

void DataStore::ReportTemp(e_TempSensors id, short temperature, bool write,
                           unsigned int systemTick) {
  if (id >= kTempSensorCount) {
    VMR_LOG(kLogError, "Invalid sensor " << static_cast<unsigned int>(id));
    return;
  }
  TempInfo_t& sensor = mirror_.temperature.sensors[id];
  // Deliberate: the stored value stays where it was, so that a slow drift is
  // recorded once it has become large enough.
  if (sensor.valid && std::abs(sensor.temperature - temperature) < kSmallestRecordedChange_deg)
    return;
  sensor.temperature = temperature;
  sensor.valid = true;
  if (write) WriteTemp(id, sensor, kTempSlack, systemTick);
}

void DataStore::WriteTempDesc(e_TempSensors id, const TempInfo_t& info) {
  const unsigned char head[kTempDescHeadBytes] = {TAG_TEMP_DESC, static_cast<unsigned char>(id)};
  AddTextItem(*this, head, sizeof(head), info.desc.c_str(), kDescSlack);
}

void DataStore::WriteTemp(e_TempSensors id, const TempInfo_t& info, unsigned short slack,
                          unsigned int systemTick) {
  if (id >= kTempSensorCount) {
    VMR_LOG(kLogError, "Invalid sensor " << static_cast<unsigned int>(id));
    return;
  }
  const unsigned char item[kTempBytes] = {
      static_cast<unsigned char>(TAG_TEMP + static_cast<unsigned int>(id)),
      static_cast<unsigned char>(info.temperature)};
  AddToCurrPacket(item, sizeof(item), systemTick, slack);
}

void DataStore::StoreTemp(short temperature, e_Tag tag) {
  const int id = tag - TAG_TEMP;
  if (id < 0 || id >= static_cast<int>(kTempSensorCount)) {
    // Deliberate: nothing stands between the operation's name and its text.
    VMR_LOG(kLogError, "StoreTemp"
                           << "Invalid Id of " << id << " : tag=" << static_cast<int>(tag));
    return;
  }
  TempInfo_t& sensor = mirror_.temperature.sensors[id];
  sensor.temperature = temperature;
  sensor.valid = true;
  if (!Viewing()) return;
  PrintItemHead(tag);
  PrintText(", Id=", id, ", temp=", temperature, ']');
}

void DataStore::StoreVoltPercent(unsigned char percent) {
  // Deliberate: the line has no tag number.
  if (Viewing()) PrintText("[Tag=", ItemName(TAG_VOLT_PERCENT), ", VoltPercent=", percent, ']');
}

// The bytes are read most significant first; StoreTime swaps them. Deliberate:
// the two cancel out, and recordings hold the value least significant first.
void DecodeTime(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.StoreTime(static_cast<int>(GetBe32(item + 1)), TAG_TIME);
}

void DecodeTempDesc(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const ItemText text(item + kTempDescHeadBytes, item[2]);
  out.InitializeTempSensor(static_cast<e_TempSensors>(item[1]), text.c_str(), false);
}

void DecodeTemp(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.StoreTemp(static_cast<std::int8_t>(item[1]), static_cast<e_Tag>(item[0]));
}

void DecodeVoltPercent(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.StoreVoltPercent(item[1]);
}

}  // namespace vmr
