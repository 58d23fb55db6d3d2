#include "tools/read/items_in_force.h"

#include <algorithm>
#include <cstdlib>

#include "store/gps.h"
#include "store/tag_catalogue.h"

namespace vmr::tool {

using records::KindId;
using records::KindUse;
using records::Order;
using records::PositionQuality;
using records::Record;
using records::Value;

namespace {

bool IsPartial(const records::Shape& shape, const records::KindRow& kind) {
  for (std::size_t i = 0; i < kind.field_count; ++i)
    if (shape.fields[i].order == Order::kAbsent) return true;
  return false;
}

std::string MeaningOf(const Record& record) {
  std::string meaning;
  for (std::size_t i = 0; i < record.kind->field_count; ++i) {
    const Value value = ValueOf(record, i);
    if (record.kind->id == KindId::kPosition && value.field->type == records::FieldType::kFlag)
      continue;  // how it was recorded
    meaning += value.present ? std::to_string(value.number) + "=" : "?";
    meaning.append(value.text);
    meaning += ';';
  }
  return meaning;
}

void AppendAxis(std::int32_t tts, std::string& item) {
  constexpr int kMinutesPerDegree = 60;
  const int minutes = std::abs(tts) / kTTsPerMinute;
  const int fraction = std::abs(tts) % kTTsPerMinute;
  item += static_cast<char>(minutes / kMinutesPerDegree);
  item += static_cast<char>(minutes % kMinutesPerDegree);
  item += static_cast<char>(fraction & 0xFF);
  item += static_cast<char>(fraction >> 8);
}

}  // namespace

std::string PositionItem(const records::Position& position) {
  constexpr int kWest = 1, kSouth = 2;
  std::string item(1, static_cast<char>(TAG_GPS_ABS));
  item += static_cast<char>((position.longitude_tts < 0 ? kWest : 0) |
                            (position.latitude_tts < 0 ? kSouth : 0));
  AppendAxis(position.latitude_tts, item);
  AppendAxis(position.longitude_tts, item);
  return item;
}

ItemsInForce::Key ItemsInForce::KeyOf(const Record& record) {
  Key key{record.kind->id, {}};
  for (std::size_t i = 0; i < record.kind->key_fields; ++i)
    key.second.push_back(ValueOf(record, i).number);
  return key;
}

ItemsInForce::Item ItemsInForce::ItemOf(const Record& record) {
  Item item;
  item.bytes = record.kind->id == KindId::kPosition
                   ? PositionItem(record.position)
                   : std::string(reinterpret_cast<const char*>(record.item), record.item_bytes);
  item.meaning = MeaningOf(record);
  item.is_partial = IsPartial(*record.shape, *record.kind);
  return item;
}

void ItemsInForce::Take(const Record& record) {
  if (record.kind->use != KindUse::kState || !record.crc_right) return;
  Items& items = items_[KeyOf(record)];
  const bool is_position = record.kind->id == KindId::kPosition;
  if (is_position && record.position.quality == PositionQuality::kUnknown) return items.clear();
  // A full state may say less exactly what was said before.
  if (record.repeats && !items.empty()) return;
  Item item = ItemOf(record);
  if (!item.is_partial) items.clear();
  items.erase(
      std::remove_if(items.begin(), items.end(), [](const Item& i) { return i.is_partial; }),
      items.end());
  items.push_back(std::move(item));
}

}  // namespace vmr::tool
