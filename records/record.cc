#include "records/record.h"

#include "store/bytes.h"
#include "store/microphones.h"

namespace vmr::records {
namespace {

std::int64_t RawNumber(const FieldPlace& place, const unsigned char* item) {
  const unsigned char* const at = item + place.offset;
  switch (place.order) {
    case Order::kByte:
      return place.is_signed ? static_cast<std::int8_t>(*at) : *at;
    case Order::kLe16:
      return place.is_signed ? static_cast<std::int16_t>(GetLe16(at)) : GetLe16(at);
    case Order::kLe32:
      return place.is_signed ? static_cast<std::int32_t>(GetLe32(at)) : std::int64_t{GetLe32(at)};
    case Order::kBe16:
      return GetBe16(at);
    case Order::kBe32:
      return GetBe32(at);
    case Order::kSplit10:
      return (item[1] >> place.shift & 3) << 8 | *at;
    default:
      return 0;
  }
}

std::int64_t NumberOf(const FieldPlace& place, FieldType type, const unsigned char* item) {
  std::int64_t number = RawNumber(place, item);
  if (place.order != Order::kSplit10) {
    if (place.shift > 0 || place.bits > 0) number >>= place.shift;
    if (place.bits > 0) number &= (1 << place.bits) - 1;
  }
  number += place.bias;
  if (type == FieldType::kFlag) {
    const bool yes = place.only_one ? number == 1 : number != 0;
    return yes != place.inverted ? 1 : 0;
  }
  return number;
}

std::string_view TextAt(const unsigned char* from, std::size_t bytes) {
  return {reinterpret_cast<const char*>(from), bytes};
}

// What one item alone does not say in so many bytes.
void Compute(const Record& record, std::size_t index, Value& value) {
  if (record.kind->id == KindId::kPosition) {
    const bool known = record.position.quality != PositionQuality::kUnknown;
    const FieldType type = value.field->type;
    value.present = known || type == FieldType::kFlag;
    value.number = type == FieldType::kLatitude    ? record.position.latitude_tts
                   : type == FieldType::kLongitude ? record.position.longitude_tts
                                                   : record.item[0] == TAG_GPS_ABS;
    return;
  }
  // A microphone's position, which units count otherwise than recordings do.
  const unsigned char stream_number = record.item[record.shape->fields[index].offset];
  value.present = stream_number < kMicCount;
  if (value.present) value.number = kMicPositionOfStream[stream_number];
}

}  // namespace

const char* TextOf(TimeQuality quality) {
  static constexpr const char* kTexts[] = {"unknown", "estimated", "exact", "stepped"};
  return kTexts[static_cast<std::size_t>(quality)];
}

const char* TextOf(GapReason reason) {
  static constexpr const char* kTexts[] = {"overwritten",
                                           "lost clusters",
                                           "overtaken",
                                           "wrong packet CRC",
                                           "no packets",
                                           "unknown item",
                                           "cut short at the end",
                                           "lost before it was copied"};
  return kTexts[static_cast<std::size_t>(reason)];
}

std::int64_t NumberOf(const Record& record, std::size_t index) {
  return NumberOf(record.shape->fields[index], record.kind->fields[index].type, record.item);
}

Value ValueOf(const Record& record, std::size_t index) {
  const FieldPlace& place = record.shape->fields[index];
  Value value;
  value.field = &record.kind->fields[index];
  switch (place.order) {
    case Order::kAbsent:
      return value;
    case Order::kText:
      value.text = TextAt(record.item + place.offset, record.item_bytes - place.offset);
      break;
    case Order::kSixBytes:
      value.text = TextAt(record.item + place.offset, kMacFieldBytes);
      break;
    case Order::kComputed:
      Compute(record, index, value);
      return value;
    default:
      value.number = NumberOf(place, value.field->type, record.item);
  }
  value.present = place.absent < 0 || value.number != place.absent;
  if (value.field->word != nullptr) value.word = value.field->word(value.number);
  return value;
}

}  // namespace vmr::records
