// What takes packets and keeps them through a loss of power: our ring, the system calls
// that it cannot do without, and the stores that might be taken instead.
#ifndef VMR_BENCH_APPENDERS_APPENDER_H_
#define VMR_BENCH_APPENDERS_APPENDER_H_

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

namespace vmr::bench {

// Errors   the constructors throw Failure, as this is a program of its own.
class Appender {
 public:
  Appender() = default;
  virtual ~Appender() = default;
  Appender(const Appender&) = delete;
  Appender& operator=(const Appender&) = delete;

  // True once a loss of power can not take the packet any more.
  virtual bool Append(const unsigned char* packet, std::size_t bytes) = 0;
};

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using MakeAppender = std::unique_ptr<Appender>(const std::string& folder);

// `folder` is there and empty.
MakeAppender MakeRing, MakeRaw, MakeAppendedFile;
// With the libraries that were found when this was built.
MakeAppender MakeSqliteWal, MakeSqliteRollback, MakeLevelDb, MakeRocksDb, MakeLmdb;

}  // namespace vmr::bench

#endif  // VMR_BENCH_APPENDERS_APPENDER_H_
