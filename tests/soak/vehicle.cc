#include "tests/soak/vehicle.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>

#include "tests/support/documented_items.h"

namespace vmr::test {
namespace {

// Tags as docs/format.md has them: on, off.
constexpr int kInputTags[11][2] = {{0x34, 0x35}, {0x36, 0x37}, {0x38, 0x39}, {0x3C, 0x3D},
                                   {0x3E, 0x3F}, {0x40, 0x41}, {0x42, 0x43}, {0x44, 0x45},
                                   {0x46, 0x47}, {0x3A, 0x3B}, {0x4A, 0x4B}};
constexpr int kLights = 0, kSiren = 1, kBrake = 2, kAuxiliary = 3, kSystemPower = 5;
constexpr int kMicStreams[4] = {1, 2, 0, 3};
constexpr int kFirstTemperature = -1000;

// A reader knows no item of 0x04, but a configuration carries one, as it does 0x11;
// 0x19 is reserved, and no store writes it.
std::array<DocumentedItem, 256> WrittenItems() {
  std::array<DocumentedItem, 256> items = DocumentedItems();
  items[0x04] = items[0x11];
  items[0x19] = {};
  return items;
}

char Byte(int value) { return static_cast<char>(value & 0xFF); }

// A position of TTs north or west.
struct Axis {
  int degrees, minutes, fraction;
};
Axis AxisOf(int tts) { return {tts / 600000, tts / 10000 % 60, tts % 10000}; }

int TTsOf(const Location_t& at) { return std::abs(DataStore::LocToTTs(at)); }

}  // namespace

std::vector<std::string> ItemsOf(const unsigned char* packet, int length) {
  static const auto kItems = WrittenItems();
  const int head = packet[0] == 0x80 ? 6 : packet[0] == 0x81 ? 3 : 2;
  std::vector<std::string> items;
  for (int at = head; at < length - 1;) {
    const DocumentedItem& item = kItems[packet[at]];
    if (item.size == 0) return {"no item"};
    const auto size = static_cast<int>(item.size);
    const int bytes = item.text ? size + packet[at + size - 1] : size;
    if (at + bytes > length - 1) return {"no end"};
    items.emplace_back(reinterpret_cast<const char*>(packet + at), static_cast<std::size_t>(bytes));
    at += bytes;
  }
  return items;
}

std::string Differences(const StateMirror& mirror, const VehicleState& state) {
  std::ostringstream wrong;
  const auto same = [&](const char* what, int n, int held, int expected) {
    if (held != expected)
      wrong << what << ' ' << n << " is " << held << ", not " << expected << '\n';
  };
  for (int n = 0; n < 11; ++n) same("input", n, mirror.inputs.on[n], state.inputs[n]);
  for (int n = 0; n < 4; ++n) {
    same("microphone present", n, mirror.microphone.present[n], state.mic_present[n]);
    same("microphone on", n, mirror.microphone.on[n], state.mic_on[n]);
    same("stream", n, mirror.camera.streams[n], state.streams[n]);
    same("camera", n, mirror.camera.cameras[n], state.cameras[n]);
    if (state.temperatures[n] != kFirstTemperature)
      same("temperature", n, mirror.temperature.sensors[n].temperature, state.temperatures[n]);
  }
  for (int n = 0; n < 6; ++n) same("live", n, mirror.camera.live_streams[n].state, state.live[n]);
  for (const SPEED_DESC_T& device : mirror.speed.devices)
    if (device.id <= 2 && state.speeds[device.id - 1] != VehicleState::kUnknown)
      same("speed", device.id, static_cast<int>(device.speed), state.speeds[device.id - 1]);
  if (state.radar_target != VehicleState::kUnknown) {
    same("target", 1, mirror.radar.radars[0].target, state.radar_target);
    same("lock", 1, mirror.radar.radars[0].lock, state.radar_lock);
    same("direction", 1, static_cast<int>(mirror.radar.radars[0].direction), state.radar_direction);
  }
  same("receiver", 0, mirror.gps.gpsAvailable, state.gps_available);
  if (state.placed && state.gps_available) {
    same("latitude", 0, TTsOf(mirror.gps.gpsLat), state.lat_tts);
    same("longitude", 0, TTsOf(mirror.gps.gpsLon), state.lon_tts);
  }
  return wrong.str();
}

// ---- The host's part ------------------------------------------------------------

void Vehicle::StartIn(DataStore& store) {
  store_ = &store;
  const VehicleState before = state_;
  state_ = VehicleState();
  state_.lat_tts = before.lat_tts == 0 ? 25010000 : before.lat_tts;
  state_.lon_tts = before.lon_tts == 0 ? 56010000 : before.lon_tts;
  expected_.clear();
}

void Vehicle::ReportStartup() {
  store_->ReportShutdownDataAtStartup();
  for (int n = 0; n < 4; ++n) {
    Expect({0x55, n << 4});
    Expect({0x59, kMicStreams[n], 1, 0});
    Expect({0x59, kMicStreams[n], 2, 0});
    Expect({0x51, n << 4});
  }
}

// The time zone's name fills a packet of its own: readers take nothing of a
// packet behind it.
void Vehicle::ReportConfiguration() {
  constexpr std::size_t kFillsAPacket = 253;
  system_.record_speed_in_metadata.value = true;
  system_.radar_type = 1;
  system_.time_zone_name.value = std::string(kFillsAPacket, 'z');
  store_->ReportSystemInfo(system_, false);
  store_->ReportOfficerInfo({{"Officer " + std::to_string(shift_)}, {std::to_string(shift_)}},
                            false);
  store_->ReportConfiguration(true);
}

void Vehicle::ReportShutdown() {
  store_->ReportShutdownData();
  for (int n = 0; n < 4; ++n) {
    if (state_.streams[n] != 0) Expect({0x55, n << 4});
    if (state_.mic_present[n]) Expect({0x59, kMicStreams[n], 1, 0});
    if (state_.mic_on[n]) Expect({0x59, kMicStreams[n], 2, 0});
    if (state_.cameras[n] != 0) Expect({0x51, n << 4});
  }
  for (const int n : {kLights, kSiren, kBrake, kAuxiliary, kSystemPower})
    if (state_.inputs[n]) Expect({kInputTags[n][1]});
}

// ---- What happens ----------------------------------------------------------------

void Vehicle::Expect(std::initializer_list<int> bytes) {
  std::string item;
  for (const int byte : bytes) item += Byte(byte);
  expected_.push_back(item);
}

void Vehicle::ExpectText(int tag, const std::string& text) {
  expected_.push_back({Byte(tag), Byte(static_cast<int>(text.size()))});
  expected_.back() += text;
}

void Vehicle::Act(unsigned int tick) {
  using Event = void (Vehicle::*)(unsigned int);
  // The first ones happen most.
  static constexpr Event kEvents[] = {
      &Vehicle::Fix,        &Vehicle::Fix,         &Vehicle::Fix,    &Vehicle::Speed,
      &Vehicle::Speed,      &Vehicle::Radar,       &Vehicle::Input,  &Vehicle::Input,
      &Vehicle::Microphone, &Vehicle::Picture,     &Vehicle::Press,  &Vehicle::LiveStream,
      &Vehicle::Crew,       &Vehicle::Temperature, &Vehicle::Policy, &Vehicle::Receiver};
  (this->*kEvents[Random(16)])(tick);
}

void Vehicle::Talk() {
  std::string text = "talk " + std::to_string(++talks_) + " ";
  text.resize(230, static_cast<char>('a' + talks_ % 26));
  const bool test = talks_ % 10 == 0;
  store_->ReportStringData(test ? TAG_TEST : TAG_LOG, text.c_str());
  ExpectText(test ? 0xF1 : 0x20, text);
}

void Vehicle::ActLate(unsigned int waiting_since, unsigned char ticks) {
  store_->ReportBookmark(waiting_since - ticks);
  Expect({0x21, ticks});
  Expect({0x56});
}

void Vehicle::SetInput(int n, bool on, unsigned int tick) {
  const int tag = kInputTags[n][on ? 0 : 1];
  store_->ReportStateData(static_cast<e_Tag>(tag), true, tick);
  if (state_.inputs[n] == on) return;
  state_.inputs[n] = on;
  Expect({tag});
}

void Vehicle::Input(unsigned int tick) {
  SetInput(static_cast<int>(Random(11)), Random(2) == 1, tick);
}

void Vehicle::SetMic(int n, bool present, bool on, unsigned int tick) {
  store_->ReportMicPresent(static_cast<e_MicrophonePosition>(n), present, true, tick);
  store_->ReportMicState(static_cast<e_MicrophonePosition>(n), on, true, tick);
  if (state_.mic_present[n] != present) Expect({0x59, kMicStreams[n], 1, present ? 1 : 0});
  if (state_.mic_on[n] != on) Expect({0x59, kMicStreams[n], 2, on ? 1 : 0});
  state_.mic_present[n] = present;
  state_.mic_on[n] = on;
}

void Vehicle::Microphone(unsigned int tick) {
  SetMic(static_cast<int>(Random(4)), Random(2) == 1, Random(2) == 1, tick);
}

void Vehicle::Picture(unsigned int tick) {
  const auto n = static_cast<int>(Random(4));
  const auto state = static_cast<int>(Random(3));
  const bool camera = Random(2) == 1;
  int& held = camera ? state_.cameras[n] : state_.streams[n];
  if (camera)
    store_->ReportCameraState(static_cast<e_CameraPort>(n), static_cast<e_CameraState>(state), true,
                              tick);
  else
    store_->ReportVideoStreamState(static_cast<e_VideoStream>(n), static_cast<e_StreamState>(state),
                                   true, tick);
  if (held != state) Expect({camera ? 0x51 : 0x55, n << 4 | state});
  held = state;
}

void Vehicle::LiveStream(unsigned int tick) {
  const auto n = static_cast<int>(Random(6));
  state_.live[n] = !state_.live[n];
  store_->ReportLvsState(static_cast<e_VideoStream>(n), 0, false, state_.live[n], 0, 0, true, tick);
  Expect({0xB0, n << 4 | (state_.live[n] ? 1 : 0), 0, 0, 0, 0, 0, 0, 0});
}

// 0 to 2 are left out: some of them count as noise.
void Vehicle::Speed(unsigned int tick) {
  const auto device = static_cast<int>(Random(2));
  const auto speed = static_cast<int>(3 + Random(200));
  store_->ReportSpeed(static_cast<unsigned char>(device + 1), static_cast<unsigned short>(speed),
                      true, tick, TAG_SPEED_8);
  if (state_.speeds[device] == speed) return;
  state_.speeds[device] = speed;
  if (speed < 128)
    Expect({0x71 + device, speed});
  else
    Expect({0x78 + device, speed, 0});
}

void Vehicle::Radar(unsigned int tick) {
  const auto target = static_cast<int>(1 + Random(250));
  const bool locks = state_.radar_target == VehicleState::kUnknown || Random(4) == 0;
  if (state_.radar_target == VehicleState::kUnknown) Expect({0x6F, 0x21});
  const int lock_before = state_.radar_lock, direction_before = state_.radar_direction;
  if (locks) state_.radar_lock = 1 + state_.radar_lock % 255;
  if (locks) state_.radar_direction = static_cast<int>(Random(2));
  store_->ReportRadar(
      1, static_cast<unsigned short>(state_.radar_lock), 70, static_cast<unsigned short>(target),
      static_cast<e_RADAR_DIRECTION>(state_.radar_direction), true, tick, static_cast<e_Tag>(0));
  const bool same = state_.radar_target == target && lock_before == state_.radar_lock &&
                    direction_before == state_.radar_direction;
  if (locks)
    Expect({0x61, state_.radar_direction << 7, state_.radar_lock, 70, target});
  else if (!same)
    Expect({0x68, target});
  state_.radar_target = target;
}

void Vehicle::Temperature(unsigned int tick) {
  const auto n = static_cast<int>(Random(4));
  const auto degrees = static_cast<int>(Random(100)) - 20;
  store_->ReportTemp(static_cast<e_TempSensors>(n), static_cast<short>(degrees), true, tick);
  if (std::abs(degrees - state_.temperatures[n]) < 3) return;
  state_.temperatures[n] = degrees;
  Expect({0xE1 + n, degrees});
}

// Every move is of more than 36 feet, north or south at least.
void Vehicle::Fix(unsigned int tick) {
  if (!state_.gps_available) return;
  static constexpr int kMoves[] = {60, -60, 127, -120, 128, -5000, 4000, 32767, -32767, 40000};
  int d_lat = kMoves[Random(10)];
  int d_lon = kMoves[Random(10)];
  if (state_.lat_tts > 29000000) d_lat = -5000;
  if (state_.lat_tts < 20000000) d_lat = 4000;
  if (state_.lon_tts > 59000000) d_lon = -5000;
  if (state_.lon_tts < 40000000) d_lon = 4000;
  state_.lat_tts += d_lat;
  state_.lon_tts += d_lon;
  const Axis lat = AxisOf(state_.lat_tts), lon = AxisOf(state_.lon_tts);
  GpsStatusItem fix;
  fix.latitude_degrees = static_cast<std::uint16_t>(lat.degrees);
  fix.latitude_minutes = static_cast<std::uint16_t>(lat.minutes);
  fix.latitude_fraction = lat.fraction;
  fix.latitude_is_north = 1;
  fix.longitude_degrees = static_cast<std::uint16_t>(lon.degrees);
  fix.longitude_minutes = static_cast<std::uint16_t>(lon.minutes);
  fix.longitude_fraction = lon.fraction;
  store_->ReportGps(fix, tick, true);

  const int longest = std::max(std::abs(d_lat), std::abs(d_lon));
  if (!state_.placed || longest > 32767)
    Expect({0x91, 1, lat.degrees, lat.minutes, lat.fraction, lat.fraction >> 8, lon.degrees,
            lon.minutes, lon.fraction, lon.fraction >> 8});
  else if (longest <= 127)
    Expect({0x92, d_lat, d_lon});
  else
    Expect({0x93, d_lat, d_lat >> 8, d_lon, d_lon >> 8});
  state_.placed = true;
}

// Mostly there; when it comes back its first position is absolute.
void Vehicle::Receiver(unsigned int /*tick*/) {
  const bool available = !state_.gps_available || Random(4) != 0;
  store_->ReportGpsState(available, true);
  if (state_.gps_available == available) return;
  state_.gps_available = available;
  if (!available) state_.placed = false;
  Expect({0x94, available ? 1 : 0});
}

void Vehicle::Press(unsigned int tick) {
  const auto button = static_cast<int>(Random(4)), action = static_cast<int>(Random(3));
  if (button == 3) {
    store_->ReportBookmark(tick);
    Expect({0x56});
    return;
  }
  store_->ReportButton(static_cast<e_button_list>(button),
                       static_cast<e_button_action_list>(action), true);
  Expect({0xC0, button, action});
}

void Vehicle::Crew(unsigned int /*tick*/) {
  ++shift_;
  const std::string number = std::to_string(shift_);
  store_->ReportOfficerInfo({{"Officer " + number}, {number}}, true);
  ExpectText(0x05, "Officer " + number);
  ExpectText(0x08, number);
}

// Policy 66, the seconds before an event.
void Vehicle::Policy(unsigned int /*tick*/) {
  const auto seconds = 1 + system_.pre_event_time.value % 100;
  system_.pre_event_time.value = seconds;
  store_->ReportSystemInfo(system_, true);
  Expect({0x18, 66, static_cast<int>(seconds)});
}

}  // namespace vmr::test
