#include "tools/read/items_in_force.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "store/tag_catalogue.h"

namespace vmr::test {
namespace {

using records::KindUse;
using records::PositionQuality;
using records::Record;
using tool::ItemsInForce;

Record RecordOf(const std::vector<unsigned char>& item) {
  Record record{};
  record.shape = records::FindShape(item[0]);
  record.kind = &records::KindOf(record.shape->kind);
  record.item = item.data();
  record.item_bytes = item.size();
  record.crc_right = true;
  return record;
}

// The same by a map alone: every record's key and texts are made at once.
class PlainItems {
 public:
  void Take(const Record& record) {
    if (record.kind->use != KindUse::kState || !record.crc_right) return;
    ItemsInForce::Items& items = all[ItemsInForce::KeyOf(record)];
    const bool lost = record.kind->id == records::KindId::kPosition &&
                      record.position.quality == PositionQuality::kUnknown;
    if (lost) return items.clear();
    if (record.repeats && !items.empty()) return;
    const ItemsInForce::Item item = ItemsInForce::ItemOf(record);
    const auto goes = [&item](const auto& kept) { return kept.is_partial || !item.is_partial; };
    items.erase(std::remove_if(items.begin(), items.end(), goes), items.end());
    items.push_back(item);
  }
  std::map<ItemsInForce::Key, ItemsInForce::Items> all;
};

std::string TextOf(const std::map<ItemsInForce::Key, ItemsInForce::Items>& all) {
  std::string text;
  for (const auto& [key, items] : all) {
    text += records::KindOf(key.first).name;
    for (const std::int64_t number : key.second) text += " " + std::to_string(number);
    for (const ItemsInForce::Item& item : items)
      text +=
          " [" + item.meaning + (item.is_partial ? "~" : "") + testing::PrintToString(item.bytes);
    text += "\n";
  }
  return text;
}

// Items of every tag, with few different bytes, so that keys come again, and with all.
class RandomItems {
 public:
  std::vector<unsigned char> Next() {
    const TagRow& row = Tags().rows[random_() % Tags().count];
    if (records::FindShape(row.tag) == nullptr) return Next();
    const unsigned int most = random_() % 4 == 0 ? 255 : 7;
    std::vector<unsigned char> item(row.size);
    for (unsigned char& byte : item) byte = static_cast<unsigned char>(random_() % (most + 1));
    item[0] = row.tag;
    if (row.variable) item.resize(std::size_t{row.size} + (item.back() %= 20), 'x');
    return item;
  }
  bool OneIn(unsigned int count) { return random_() % count == 0; }

 private:
  std::mt19937 random_{20190619};
};

TEST(ItemsInForce, AreThoseThatAMapOfKeysHolds) {
  constexpr int kRecords = 60000;
  RandomItems items;
  ItemsInForce in_force;
  PlainItems plain;
  for (int n = 0; n < kRecords; ++n) {
    const std::vector<unsigned char> item = items.Next();
    Record record = RecordOf(item);
    record.repeats = items.OneIn(5);
    record.crc_right = !items.OneIn(20);
    record.position = {n, -n, items.OneIn(3) ? PositionQuality::kUnknown : PositionQuality::kKnown};
    in_force.Take(record);
    plain.Take(record);
    if (n % 3000 == 0) {
      EXPECT_EQ(TextOf(in_force.All()), TextOf(plain.all)) << n;
    }
    if (!items.OneIn(10000)) continue;
    in_force.ForgetAll();
    plain.all.clear();
    EXPECT_TRUE(in_force.All().empty());
  }
  EXPECT_GT(plain.all.size(), 200U);
  EXPECT_EQ(TextOf(in_force.All()), TextOf(plain.all));
}

TEST(ItemsInForce, OfACopyGoOnApart) {
  const std::vector<unsigned char> before = {TAG_VOLT_PERCENT, 90}, behind = {TAG_VOLT_PERCENT, 80};
  ItemsInForce original;
  original.Take(RecordOf(before));
  ItemsInForce copy = original;
  copy.Take(RecordOf(behind));
  ItemsInForce assigned;
  assigned.Take(RecordOf(behind));
  assigned = original;
  assigned.Take(RecordOf(before));
  const auto meaning = [](const ItemsInForce& items) { return TextOf(items.All()); };
  EXPECT_NE(meaning(original), meaning(copy));
  EXPECT_EQ(meaning(original), meaning(assigned));
  original.ForgetAll();
  EXPECT_TRUE(original.All().empty());
  EXPECT_EQ(copy.All().size(), 1U);
}

}  // namespace
}  // namespace vmr::test
