#include "tools/read/items_in_force.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

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

// What the tag alone tells of an item.
struct ItemHead {
  unsigned char key_bytes = 0;  // up to and with the last one that the key is made of
  bool is_partial = false;
};
constexpr unsigned char kMostKeyBytes = 1 + 2;
constexpr unsigned char kKeyIsFarther = kMostKeyBytes + 1;

// Of shapes whose key lies in single bytes.
unsigned char KeyBytes(const records::Shape& shape, const records::KindRow& kind) {
  unsigned char bytes = 1;
  for (std::size_t i = 0; i < kind.key_fields; ++i) {
    const records::FieldPlace& field = shape.fields[i];
    const bool in_one_byte = field.order == Order::kByte || field.order == Order::kComputed;
    if (!in_one_byte || field.offset >= kMostKeyBytes) return kKeyIsFarther;
    bytes = std::max(bytes, static_cast<unsigned char>(field.offset + 1));
  }
  return bytes;
}

std::array<ItemHead, 256> ItemHeads() {
  std::array<ItemHead, 256> heads;
  for (unsigned int tag = 0; tag < heads.size(); ++tag) {
    const records::Shape* const shape = records::FindShape(static_cast<unsigned char>(tag));
    if (shape == nullptr) continue;
    const records::KindRow& kind = records::KindOf(shape->kind);
    heads[tag] = {KeyBytes(*shape, kind), IsPartial(*shape, kind)};
  }
  return heads;
}

const ItemHead& HeadOf(unsigned char tag) {
  static const std::array<ItemHead, 256> kHeads = ItemHeads();
  return kHeads[tag];
}

// Equal for items of one key alone. Two items of one key may have two.
std::uint32_t CodeOf(const unsigned char* item, unsigned char key_bytes) {
  std::uint32_t code = item[0];
  for (unsigned int at = 1; at < key_bytes; ++at) code |= std::uint32_t{item[at]} << (8 * at);
  return code;
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
  Slot& slot = SlotOf(record);
  const bool is_position = record.kind->id == KindId::kPosition;
  if (is_position && record.position.quality == PositionQuality::kUnknown) {
    slot.whole.shape = slot.partial.shape = nullptr;
    return;
  }
  // A full state may say less exactly what was said before.
  if (record.repeats && !slot.IsEmpty()) return;
  if (HeadOf(record.item[0]).is_partial) return slot.partial.Keep(record);
  slot.whole.Keep(record);
  slot.partial.shape = nullptr;
}

void ItemsInForce::ForgetAll() {
  slots_.clear();
  shortcuts_.Clear();
}

std::map<ItemsInForce::Key, ItemsInForce::Items> ItemsInForce::All() const {
  std::map<Key, Items> all;
  for (const auto& [key, slot] : slots_) {
    Items& items = all[key];
    for (const Kept* kept : {&slot.whole, &slot.partial})
      if (kept->shape != nullptr) items.push_back(kept->Told(records::KindOf(key.first)));
  }
  return all;
}

// ---- Keeping -----------------------------------------------------------------------

ItemsInForce::Slot& ItemsInForce::SlotOf(const Record& record) {
  const ItemHead& head = HeadOf(record.item[0]);
  if (head.key_bytes == kKeyIsFarther) return slots_[KeyOf(record)];
  Slot*& slot = shortcuts_.To(CodeOf(record.item, head.key_bytes));
  if (slot == nullptr) slot = &slots_[KeyOf(record)];
  return *slot;
}

ItemsInForce::Slot*& ItemsInForce::Shortcuts::To(std::uint32_t code) {
  constexpr std::uint32_t kMultiplier = 0x9E3779B1;
  Way& way = ways_[code * kMultiplier >> (32 - kBits)];
  if (way.code != code) way = {code, nullptr};
  return way.slot;
}

// Most items are of the length of the one before.
void ItemsInForce::Kept::Keep(const Record& record) {
  shape = record.shape;
  position = record.position;
  if (bytes.size() == record.item_bytes)
    std::memcpy(bytes.data(), record.item, record.item_bytes);
  else
    bytes.assign(reinterpret_cast<const char*>(record.item), record.item_bytes);
}

ItemsInForce::Item ItemsInForce::Kept::Told(const records::KindRow& kind) const {
  Record record{};
  record.kind = &kind;
  record.shape = shape;
  record.item = reinterpret_cast<const unsigned char*>(bytes.data());
  record.item_bytes = bytes.size();
  record.position = position;
  return ItemOf(record);
}

}  // namespace vmr::tool
