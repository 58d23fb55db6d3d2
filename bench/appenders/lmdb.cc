// A transaction a packet, appended under a number that counts up, which is its quickest
// way; commits are synced unless told otherwise.
#include <lmdb.h>

#include "bench/appenders/appender.h"

namespace vmr::bench {
namespace {

class Lmdb : public Appender {
 public:
  explicit Lmdb(const std::string& folder) {
    Check(mdb_env_create(&env_));
    Check(mdb_env_set_mapsize(env_, kMapBytes));
    Check(mdb_env_open(env_, folder.c_str(), 0, 0600));
    MDB_txn* transaction = nullptr;
    Check(mdb_txn_begin(env_, nullptr, 0, &transaction));
    Check(mdb_dbi_open(transaction, nullptr, MDB_INTEGERKEY, &packets_));
    Check(mdb_txn_commit(transaction));
  }
  ~Lmdb() override { mdb_env_close(env_); }

  bool Append(const unsigned char* packet, std::size_t bytes) override {
    MDB_txn* transaction = nullptr;
    if (mdb_txn_begin(env_, nullptr, 0, &transaction) != 0) return false;
    MDB_val key{sizeof(number_), &number_};
    MDB_val value{bytes, const_cast<unsigned char*>(packet)};
    if (mdb_put(transaction, packets_, &key, &value, MDB_APPEND) != 0) {
      mdb_txn_abort(transaction);
      return false;
    }
    ++number_;
    return mdb_txn_commit(transaction) == 0;
  }

 private:
  static constexpr std::size_t kMapBytes = std::size_t{256} << 20;
  static void Check(int result) {
    if (result != 0) throw Failure(std::string("LMDB: ") + mdb_strerror(result));
  }

  MDB_env* env_ = nullptr;
  MDB_dbi packets_ = 0;
  std::size_t number_ = 0;
};

}  // namespace

std::unique_ptr<Appender> MakeLmdb(const std::string& folder) {
  return std::make_unique<Lmdb>(folder);
}

}  // namespace vmr::bench
