// A record that outlives the call that handed it out.
#ifndef VMR_TOOLS_READ_KEPT_RECORD_H_
#define VMR_TOOLS_READ_KEPT_RECORD_H_

#include <vector>

#include "records/record.h"

namespace vmr::tool {

// Owns     a copy of the record's item.
class KeptRecord {
 public:
  explicit KeptRecord(const records::Record& record)
      : record_(record), item_(record.item, record.item + record.item_bytes) {}

  // Its item is that of this object, and valid as long as that.
  records::Record Get() const {
    records::Record record = record_;
    record.item = item_.data();
    return record;
  }
  const std::vector<unsigned char>& Item() const { return item_; }

 private:
  records::Record record_;
  std::vector<unsigned char> item_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_KEPT_RECORD_H_
