// Why the mirror of a store that recorded may differ from that of the store into
// which the recording was read.
#ifndef VMR_TESTS_READER_MIRROR_REASONS_H_
#define VMR_TESTS_READER_MIRROR_REASONS_H_

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>

namespace vmr::test {

enum class Difference {
  kNone,
  kTimeBase,
  kGpsConfigured,
  kHemisphere,
  kSouthOrEast,
  kTemperature8Bit,
  kValidSpeed,
  kRadarTypeOfDevice,
  kUnitsAndTypeBits,
  kSwallowedBehindADump,
  kInvalidAtADump,
  kUntaggedDevice,
  kNotRecordedSpeed,
  kTenBits,
  kTargetItem,
  kReadingNotDumped,
  kDataValid,
  kDirectionBit,
  kDescriptionBehindReading,
  kFourBits,
  kOverlongText,
  kDumpOnly,
  kEmptyVersion,
  kLowByte,
  kRadarType,
  kTimeZoneName,
  kCameraSettings,
  kConfigurationValid,
  kCount
};

struct Reason {
  Difference difference;
  const char* field;
  const char* why;
};

inline constexpr Reason kReasons[] = {
    {Difference::kTimeBase, "time.base_time, base_tick, time_check_tick",
     "a time item anchors at its packet's tick, and every dump carries one; the clock that follows "
     "from them agrees within two seconds"},
    {Difference::kGpsConfigured, "gps.gpsConfigured",
     "every dump describes the GPS, which a reader takes for configured"},
    {Difference::kHemisphere, "gps.gpsLat, gpsLon: hemisphere",
     "a decoded absolute position holds the masked quadrant instead of letters"},
    {Difference::kSouthOrEast, "gps.gpsLat, gpsLon: numbers of a southern or eastern position",
     "without its letter it counts as positive, so deltas move it the other way"},
    {Difference::kTemperature8Bit, "temperature.sensors: temperature",
     "an item carries the low 8 bits, read as signed"},
    {Difference::kValidSpeed, "speed.devices: valid",
     "a swallowed speed and a ReportValidSpeed leave no item, and a lost GPS or radar clears it "
     "only when it is read"},
    {Difference::kRadarTypeOfDevice, "speed.devices, radar.radars: radarType",
     "no item carries the radar type"},
    {Difference::kUnitsAndTypeBits, "speed.devices, radar.radars: units, type",
     "an item carries three and five bits"},
    {Difference::kSwallowedBehindADump, "speed.devices: speed of 1 or 2",
     "the description in a dump sets 0, from where 1 and 2 are drift"},
    {Difference::kInvalidAtADump, "speed.devices: speed of an invalid device",
     "a dump describes the device, which sets 0, and leaves out the invalid speed"},
    {Difference::kUntaggedDevice, "speed.devices, radar.radars: readings of ids outside 1 to 7",
     "they have no tags"},
    {Difference::kNotRecordedSpeed, "speed.devices: speed, while policy 98 is off",
     "speeds are then not written"},
    {Difference::kTenBits, "radar.radars: lock, fastest, target above 1023",
     "an item carries ten bits"},
    {Difference::kTargetItem, "radar.radars: lock, fastest, direction",
     "a target item is read as lock and fastest not present, direction 0"},
    {Difference::kReadingNotDumped, "radar.radars: the reading",
     "a dump describes the radar, which clears it, and carries a reading only when one is held "
     "and the radar connected"},
    {Difference::kDataValid, "radar.radars: dataValid",
     "a target item is read as a whole reading, and a reading that looks like the held one as "
     "none"},
    {Difference::kDirectionBit, "radar.radars: direction", "an item carries the lowest bit"},
    {Difference::kDescriptionBehindReading, "speed.devices, radar.radars after a dump",
     "a small reading may fill up a packet in front of its larger description, which then clears "
     "it"},
    {Difference::kFourBits, "camera: states and formats",
     "an item carries four bits, and state 3 as 0"},
    {Difference::kOverlongText, "texts of more than 253 characters",
     "the item, of a device its whole description, does not fit a packet and is dropped; from 256 "
     "on "
     "its length is taken modulo 256"},
    {Difference::kDumpOnly, "identity.serial_number, versions", "only dumps carry them"},
    {Difference::kEmptyVersion, "identity.versions", "a dump leaves out an empty one"},
    {Difference::kLowByte, "policy: numbers", "an item carries the low byte"},
    {Difference::kRadarType, "policy.system.radar_type", "no item carries it"},
    {Difference::kTimeZoneName, "policy.system.time_zone_name",
     "no reader accepts its tag; and what stands behind it in its packet is lost, so these runs "
     "take the item out before it is stored"},
    {Difference::kCameraSettings, "policy.recording.cameras", "no item carries them"},
    {Difference::kConfigurationValid, "policy.configuration_valid",
     "only the end item of a configuration section tells it, and every dump has one, valid or "
     "not"},
};
static_assert(std::size(kReasons) == static_cast<std::size_t>(Difference::kCount) - 1);

// Collects every field that differs without a reason, and which reasons were
// needed.
class Comparison {
 public:
  template <typename T>
  void Equal(const std::string& field, const T& written, const T& read) {
    ++fields_;
    if (written == read) return;
    std::ostringstream text;
    text << field << ": " << testing::PrintToString(written) << " read back as "
         << testing::PrintToString(read) << "\n";
    unexplained_ += text.str();
  }
  // Equal, or for this reason as `explained` says.
  template <typename T>
  void Allow(Difference reason, const std::string& field, const T& written, const T& read,
             bool explained) {
    if (written != read && explained) {
      ++seen_[static_cast<std::size_t>(reason)];
      ++fields_;
      return;
    }
    Equal(field, written, read);
  }

  const std::string& Unexplained() const { return unexplained_; }
  int Fields() const { return fields_; }
  int Seen(Difference reason) const { return seen_[static_cast<std::size_t>(reason)]; }
  void Forget() { unexplained_.clear(); }

 private:
  std::string unexplained_;
  int fields_ = 0;
  int seen_[static_cast<std::size_t>(Difference::kCount)] = {};
};

// What happened that a mirror does not tell.
struct History {
  bool dumped = false;
  bool described_behind_reading = false;  // in some flush of this recording
  bool speeds_were_off = false;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_MIRROR_REASONS_H_
