// Prints the catalogue of tags, a line each: tag in hexadecimal, bytes of the item or of its head,
// "text" where one follows, the kind of its record.
#include <cstdio>

#include "records/kinds.h"
#include "store/tag_catalogue.h"

int main() {
  for (unsigned int tag = 0; tag < 256; ++tag) {
    const vmr::TagRow* const row = vmr::FindTag(static_cast<unsigned char>(tag));
    const vmr::records::Shape* const shape =
        vmr::records::FindShape(static_cast<unsigned char>(tag));
    if (row == nullptr || shape == nullptr) continue;
    std::printf("%02x %u %s %s\n", tag, row->size, row->variable ? "text" : "fixed",
                KindOf(shape->kind).name);
  }
  return 0;
}
