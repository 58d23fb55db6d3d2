// What is measured: temperatures, speeds, the radar, whether GPS is there.
#include <cmath>

#include "tools/events/availability.h"
#include "tools/events/families.h"

namespace vmr::tool {

void ReportGpsAvailable(DataStore& store, bool available) {
  store.ReportGpsState(available, true);
  if (!available) store.ReportValidSpeed(kGpsSpeedId, false);
}

void ReportRadarConnected(DataStore& store, bool connected) {
  store.ReportRadarState(kConfiguredRadarId, connected, true);
  if (!connected) store.ReportValidSpeed(kRadarSpeedId, false);
}

EventAction ParseTemperature(const JsonFields& fields) {
  const auto sensor = fields.Number<e_TempSensors>("sensor");
  const auto degrees = static_cast<short>(std::lround(fields.Real("degrees")));
  return
      [=](DataStore& store, unsigned int tick) { store.ReportTemp(sensor, degrees, true, tick); };
}

EventAction ParseGpsState(const JsonFields& fields) {
  const bool available = fields.Bool("available");
  return [=](DataStore& store, unsigned int) { ReportGpsAvailable(store, available); };
}

EventAction ParseSpeed(const JsonFields& fields) {
  const auto device = fields.Number<unsigned char>("device");
  const auto speed = fields.Number<unsigned short>("speed");
  return [=](DataStore& store, unsigned int tick) {
    store.ReportSpeed(device, speed, true, tick, TAG_SPEED_8);
  };
}

EventAction ParseSpeedValid(const JsonFields& fields) {
  const auto device = fields.Number<unsigned char>("device");
  const bool valid = fields.Bool("valid");
  return [=](DataStore& store, unsigned int) { store.ReportValidSpeed(device, valid); };
}

// The only radar that a store configures is number 1.
EventAction ParseRadar(const JsonFields& fields) {
  const auto lock = fields.Number<unsigned short>("lock");
  const auto fastest = fields.Number<unsigned short>("fastest");
  const auto target = fields.Number<unsigned short>("target");
  const auto direction = fields.Number<e_RADAR_DIRECTION>("direction");
  return [=](DataStore& store, unsigned int tick) {
    store.ReportRadar(kConfiguredRadarId, lock, fastest, target, direction, true, tick,
                      TAG_RADAR_DATA);
  };
}

EventAction ParseRadarState(const JsonFields& fields) {
  const bool connected = fields.Bool("connected");
  return [=](DataStore& store, unsigned int) { ReportRadarConnected(store, connected); };
}

}  // namespace vmr::tool
