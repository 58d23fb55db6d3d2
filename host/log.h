// The unit's logging service, and the line builder that every part of the
// library uses in front of it.
#ifndef VMR_HOST_LOG_H_
#define VMR_HOST_LOG_H_

#include <atomic>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace vmr {

// Level bits of a message; a client's mask selects which of them are produced.
enum LogLevel : unsigned int {
  kLogFatal = 1,      // a store can no longer be used: allocation, overflow
  kLogError = 2,      // errors
  kLogWarning = 4,    // warnings
  kLogSearch = 16,    // information about searches
  kLogInfo = 32,      // information
  kLogTrace = 64,     // detailed trace
  kLogEachItem = 128  // trace of every item, flush and timer tick
};

// The process's connection to the log: its name and which levels it wants.
//
// Owns     nothing the caller sees; Instance() lives as long as the process.
// Threads  Level() may be read from any thread.
class LogClient {
 public:
  static LogClient* Instance() { return &instance_; }

  // The mask of level bits that are to be produced. Looked at for every item, so
  // it is a plain load once the host was asked.
  unsigned int Level() const {
    const unsigned int mask = mask_.load(std::memory_order_relaxed);
    return mask != kNotAskedYet ? mask : AskHost();
  }
  // False only when the level is surely off: one load and one test, since most
  // levels are off for most items.
  bool MayWant(unsigned int level) const {
    return (mask_.load(std::memory_order_relaxed) & (level | kNotAskedYet)) != 0;
  }
  // The host's: changes the mask.
  void SetLevel(unsigned int mask) { mask_.store(mask, std::memory_order_relaxed); }
  // The name under which this process's messages are sent.
  const char* ProcessName() const;

 private:
  static constexpr unsigned int kNotAskedYet = 0x80000000;  // no level

  constexpr LogClient() = default;
  // The host's first mask, which Level() gives from then on.
  unsigned int AskHost() const;

  static LogClient instance_;
  mutable std::atomic<unsigned int> mask_{kNotAskedYet};
};
inline LogClient LogClient::instance_;

// Sends one finished message. `text` may hold any byte, NUL included: some
// messages show a byte as a raw character.
class LogMsg {
 public:
  static void Log(unsigned int level, std::string_view text);
};

// Sends one finished message to the operating system's log. The library itself
// sends everything through LogMsg; a host routes there what it wants kept.
class SysLogMsg {
 public:
  static void Log(unsigned int level, std::string_view text);
};

// Collects one message by stream insertion and sends it when it goes out of
// scope, as "File.cc:line text". Short messages stay on the stack; only one
// longer than kInlineBytes allocates.
class LogLine {
 public:
  static bool Wanted(LogLevel level) {
    return __builtin_expect(static_cast<long>(LogClient::Instance()->MayWant(level)), 0L) != 0 &&
           (LogClient::Instance()->Level() & level) != 0;
  }

  LogLine(LogLevel level, const char* source_file, int line);
  ~LogLine();
  LogLine(const LogLine&) = delete;
  LogLine& operator=(const LogLine&) = delete;

  std::ostream& Stream() { return stream_; }

 private:
  static constexpr std::size_t kInlineBytes = 512;

  class Buffer : public std::streambuf {
   public:
    Buffer() { setp(inline_, inline_ + kInlineBytes); }
    std::string_view Text();

   protected:
    int_type overflow(int_type c) override;

   private:
    char inline_[kInlineBytes];
    std::string spilled_;  // what no longer fitted, empty for short messages
  };

  LogLevel level_;
  Buffer buffer_;
  std::ostream stream_;
};

}  // namespace vmr

// VMR_LOG(kLogError, "Invalid sensor " << id);
// The text is built only when the level is wanted, and then out of the way: in a
// function of its own that copies what it needs, so that a message costs the code
// around it neither registers nor stack. The including source names itself in a
// constant `kLogSource`. With VMR_NO_LOG nothing is ever produced, which measures
// what asking costs.
#ifdef VMR_NO_LOG
#define VMR_LOG_WANTED(level) false
#else
#define VMR_LOG_WANTED(level) ::vmr::LogLine::Wanted(level)
#endif
#define VMR_LOG(level, ...)                                                                \
  (!VMR_LOG_WANTED(level) ? static_cast<void>(0) : [=]() __attribute__((noinline, cold)) { \
    ::vmr::LogLine(level, kLogSource, __LINE__).Stream() << __VA_ARGS__;                   \
  }())

#endif  // VMR_HOST_LOG_H_
