// What a recording can say: one row per kind of record, one per field of it, one per
// shape in which items carry it. Decoding, exports, schema and tests walk these tables.
#ifndef VMR_RECORDS_KINDS_H_
#define VMR_RECORDS_KINDS_H_

#include <cstddef>
#include <cstdint>

namespace vmr::records {

// In the order of the table. Programs may store the names, never these numbers.
enum class KindId : unsigned char {
  kTime,
  kTimeZone,
  kTimeZoneName,
  kMac,
  kOfficer,
  kBadge,
  kDepartment,
  kVehicle,
  kSerialNumber,
  kVersion,
  kPolicy,
  kConfigurationEnd,
  kInput,
  kButton,
  kBookmark,
  kPosition,
  kGpsReceiver,
  kGpsState,
  kSpeed,
  kSpeedDevice,
  kRadar,
  kRadarDevice,
  kRadarState,
  kMicrophone,
  kMicrophoneName,
  kCamera,
  kCameraName,
  kStream,
  kStreamFormat,
  kLiveStream,
  kTemperature,
  kTemperatureSensor,
  kVoltage,
  kLog,
  kTest,
  kTickAdjust,
  kEndOfStream,
};
inline constexpr std::size_t kKindCount = static_cast<std::size_t>(KindId::kEndOfStream) + 1;

enum class FieldType : unsigned char {
  kNumber,     // a whole number
  kFlag,       // yes or no
  kWord,       // one of a few words
  kText,       // bytes as recorded, in no known encoding
  kMac,        // six bytes
  kAddress,    // IPv4
  kReading,    // a number that for some values is a word instead: what a radar shows then
  kTime,       // seconds since 1970-01-01 00:00 UTC
  kLatitude,   // degrees, north positive
  kLongitude,  // degrees, east positive
};

// What a record or a field gives away of people, places and work, so that it may have to be
// taken out before a recording is handed on.
enum class Sensitivity : unsigned char {
  kNone,
  kIdentity,
  kGps,
  kText,
  kRadar,
  kSpeed,
  kAudio,
  kCameras,
  kStreams,
  kInputs,
  kTemperature,
};
inline constexpr std::size_t kSensitivityCount =
    static_cast<std::size_t>(Sensitivity::kTemperature) + 1;

struct SensitivityRow {
  Sensitivity id;
  const char* name;  // lower case, as on the command line and in schemas
  const char* what;  // one line for people
};

struct SensitivityTable {
  const SensitivityRow* rows;
  std::size_t count;
  const SensitivityRow* begin() const { return rows; }
  const SensitivityRow* end() const { return rows + count; }
};
// All but kNone, in their order.
const SensitivityTable& Sensitivities();
// "" of kNone.
const char* NameOf(Sensitivity sensitivity);

// A field as it is called and measured wherever it is shown.
struct FieldRow {
  const char* name;  // lower case, as in exports
  FieldType type;
  const char* unit;  // "" without one
  const char* what;  // one line for people
  // The word for a number, null where there is none. Null: the field has no words.
  const char* (*word)(std::int64_t number) = nullptr;
  // What it gives away beside what all of its record does.
  Sensitivity sensitivity = Sensitivity::kNone;
};

// What a record of the kind does to what is known of the vehicle.
enum class KindUse : unsigned char {
  kState,    // holds until another record of the same key
  kEvent,    // happens at its tick and is over
  kFraming,  // tells how to read the recording
};

inline constexpr std::size_t kMaxFields = 6;

struct KindRow {
  KindId id;
  const char* name;  // lower case, as in exports
  const char* what;  // one line for people
  KindUse use;
  Sensitivity sensitivity;  // that there is a record at all gives this away
  // The first so many fields say what the record is of: two records with the same ones
  // are of the same microphone, input and so on.
  unsigned char key_fields;
  unsigned char field_count;
  FieldRow fields[kMaxFields];
};

struct KindTable {
  const KindRow* rows;
  std::size_t count;
  const KindRow* begin() const { return rows; }
  const KindRow* end() const { return rows + count; }
};
const KindTable& Kinds();
extern const KindRow* const kKindRows;
inline const KindRow& KindOf(KindId id) { return kKindRows[static_cast<std::size_t>(id)]; }
// Its records do, or one of their fields.
bool GivesAway(const KindRow& kind, Sensitivity sensitivity);
// Null for a name that no kind has.
const KindRow* FindKind(const char* name);

// How a field's number lies in an item.
enum class Order : unsigned char {
  kAbsent,    // items of this shape do not carry the field
  kByte,      // one byte
  kLe16,      // least significant byte first
  kLe32,      // the same, four bytes
  kBe16,      // most significant byte first
  kBe32,      // the same, four bytes
  kSplit10,   // ten bits: two in byte 1, `shift` up, and the low eight at `offset`
  kText,      // behind the head, whose last byte counts it
  kSixBytes,  // six bytes
  kComputed,  // not in the item alone: the decoder follows it from record to record
};

struct FieldPlace {
  Order order = Order::kAbsent;
  unsigned char offset = 0;  // from the item's tag byte, which is 0
  unsigned char shift = 0;   // bits below the field's
  unsigned char bits = 0;    // of the field; 0: all there are
  bool is_signed = false;    // two's complement
  std::int16_t bias = 0;     // added to the number
  bool inverted = false;     // of a flag: 0 is yes
  bool only_one = false;     // of a flag: 1 is yes and nothing else
  std::int32_t absent = -1;  // this number says that there is no value; -1: none does
};

// An item's shape: tags first_tag to last_tag carry a record of the kind so.
struct Shape {
  unsigned char first_tag;
  unsigned char last_tag;
  KindId kind;
  FieldPlace fields[kMaxFields];  // in the order of the kind's
};

struct ShapeTable {
  const Shape* shapes;
  std::size_t count;
  const Shape* begin() const { return shapes; }
  const Shape* end() const { return shapes + count; }
};
const ShapeTable& Shapes();
// By tag; null for a number that is no tag.
extern const Shape* const* const kShapeOfTag;
inline const Shape* FindShape(unsigned char tag) { return kShapeOfTag[tag]; }

}  // namespace vmr::records

#endif  // VMR_RECORDS_KINDS_H_
