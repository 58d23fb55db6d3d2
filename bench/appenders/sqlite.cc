// A row a packet, each in a transaction of its own, synchronous FULL.
#include <sqlite3.h>

#include "bench/appenders/appender.h"

namespace vmr::bench {
namespace {

class Sqlite : public Appender {
 public:
  Sqlite(const std::string& folder, const std::string& journal_mode) {
    if (sqlite3_open((folder + "/packets.db").c_str(), &db_) != SQLITE_OK) Fail();
    Do("PRAGMA page_size=4096");
    Do("PRAGMA journal_mode=" + journal_mode);
    Do("PRAGMA synchronous=FULL");
    Do("CREATE TABLE packets(id INTEGER PRIMARY KEY, packet BLOB)");
    if (sqlite3_prepare_v2(db_, "INSERT INTO packets(packet) VALUES(?)", -1, &insert_, nullptr) !=
        SQLITE_OK)
      Fail();
  }
  ~Sqlite() override {
    sqlite3_finalize(insert_);
    sqlite3_close(db_);
  }

  bool Append(const unsigned char* packet, std::size_t bytes) override {
    sqlite3_bind_blob(insert_, 1, packet, static_cast<int>(bytes), SQLITE_STATIC);
    const bool done = sqlite3_step(insert_) == SQLITE_DONE;
    return sqlite3_reset(insert_) == SQLITE_OK && done;
  }

 private:
  [[noreturn]] void Fail() { throw Failure(std::string("SQLite: ") + sqlite3_errmsg(db_)); }
  void Do(const std::string& statement) {
    if (sqlite3_exec(db_, statement.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
  }

  sqlite3* db_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
};

}  // namespace

std::unique_ptr<Appender> MakeSqliteWal(const std::string& folder) {
  return std::make_unique<Sqlite>(folder, "WAL");
}

std::unique_ptr<Appender> MakeSqliteRollback(const std::string& folder) {
  return std::make_unique<Sqlite>(folder, "DELETE");
}

}  // namespace vmr::bench
