#include <leveldb/db.h>

#include "bench/appenders/key_value.h"

namespace vmr::bench {

std::unique_ptr<Appender> MakeLevelDb(const std::string& folder) {
  using Store = KeyValue<leveldb::DB, leveldb::Options, leveldb::WriteOptions, leveldb::Slice>;
  return std::make_unique<Store>(folder);
}

}  // namespace vmr::bench
