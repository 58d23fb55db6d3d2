// LevelDB and RocksDB, whose interfaces are one: a synced Put a packet, under a number
// that counts up.
#ifndef VMR_BENCH_APPENDERS_KEY_VALUE_H_
#define VMR_BENCH_APPENDERS_KEY_VALUE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "bench/appenders/appender.h"

namespace vmr::bench {

template <typename Db, typename Options, typename WriteOptions, typename Slice>
class KeyValue : public Appender {
 public:
  explicit KeyValue(const std::string& folder) {
    Options options;
    options.create_if_missing = true;
    Db* db = nullptr;
    const auto status = Db::Open(options, folder + "/db", &db);
    if (!status.ok()) throw Failure(status.ToString());
    db_.reset(db);
    synced_.sync = true;
  }

  bool Append(const unsigned char* packet, std::size_t bytes) override {
    char key[sizeof(number_)];
    for (std::size_t n = 0; n < sizeof(key); ++n)
      key[n] = static_cast<char>(number_ >> (8 * (sizeof(key) - 1 - n)));
    ++number_;
    const Slice value(reinterpret_cast<const char*>(packet), bytes);
    return db_->Put(synced_, Slice(key, sizeof(key)), value).ok();
  }

 private:
  std::unique_ptr<Db> db_;
  WriteOptions synced_;
  std::uint64_t number_ = 0;
};

}  // namespace vmr::bench

#endif  // VMR_BENCH_APPENDERS_KEY_VALUE_H_
