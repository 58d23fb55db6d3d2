#include <rocksdb/db.h>

#include "bench/appenders/key_value.h"

namespace vmr::bench {

std::unique_ptr<Appender> MakeRocksDb(const std::string& folder) {
  using Store = KeyValue<rocksdb::DB, rocksdb::Options, rocksdb::WriteOptions, rocksdb::Slice>;
  return std::make_unique<Store>(folder);
}

}  // namespace vmr::bench
