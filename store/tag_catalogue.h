// One row per item kind: how long it is, whether the dictionary lists it and
// who decodes it. The dictionary, the reader, the viewer and the tests all take it
// from this table; a new kind of item is a new row here.
#ifndef VMR_STORE_TAG_CATALOGUE_H_
#define VMR_STORE_TAG_CATALOGUE_H_

#include <cstddef>

#include "store/stream_format.h"

namespace vmr {

class DataStore;

// What decoding tells the reader beside changing the output store.
struct DecodeResult {
  bool policy_end_seen = false;     // an end-of-policy item was decoded
  bool end_of_stream_seen = false;  // an end-of-stream item was decoded
};

// Decodes the whole item at `item` into `out`.
using ItemDecoder = void (*)(DataStore& out, const unsigned char* item, DecodeResult& result);

struct TagRow {
  e_Tag tag;
  const char* name;  // under which the viewer prints it
  // The item's bytes, tag included. When `variable`, of its fixed head alone,
  // whose last byte counts the text bytes that follow it.
  unsigned char size;
  bool variable;
  bool listed;          // the dictionary has an entry for it
  ItemDecoder decoder;  // null: written, and illegal to every reader
};

// The rows; those that are listed stand in the dictionary's order, which is not
// the order of the tags.
struct TagCatalogue {
  static constexpr unsigned char kNoRow = 0xFF;

  const TagRow* rows;
  std::size_t count;
  const unsigned char* row_by_tag;  // of 256 tags; kNoRow for a number that is none

  // As FindTag; for whoever looks up one after another.
  const TagRow* Find(unsigned char tag) const {
    const unsigned char row = row_by_tag[tag];
    return row == kNoRow ? nullptr : &rows[row];
  }

  const TagRow* begin() const { return rows; }
  const TagRow* end() const { return rows + count; }
};
const TagCatalogue& Tags();

// The row of a tag byte, null for a number that is no tag.
[[nodiscard]] const TagRow* FindTag(unsigned char tag);

// Whether the item at `item`, of which `available` bytes (at least 1) may be looked at, is
// of a legal tag and ends within them; `length` is then its whole length in bytes.
[[nodiscard]] inline bool MeasureItem(const TagRow* row, const unsigned char* item,
                                      std::size_t available, std::size_t& length) {
  if (row == nullptr || row->size > available) return false;
  length = row->variable ? row->size + item[row->size - 1] : row->size;
  return length <= available;
}

// That length; 0 when the tag is illegal or the item does not end within them.
[[nodiscard]] inline std::size_t ItemLength(const TagRow* row, const unsigned char* item,
                                            std::size_t available) {
  std::size_t length = 0;
  return MeasureItem(row, item, available, length) ? length : 0;
}

}  // namespace vmr

#endif  // VMR_STORE_TAG_CATALOGUE_H_
