// Collects what is logged while the object lives, every level by default.
#ifndef VMR_TESTS_SUPPORT_CAPTURED_LOG_H_
#define VMR_TESTS_SUPPORT_CAPTURED_LOG_H_

#include <string>
#include <vector>

namespace vmr::test {

struct LogEntry {
  unsigned int level;
  std::string file;  // "DataStore.cc"
  std::string text;  // without file and line number
};

inline bool operator==(const LogEntry& a, const LogEntry& b) {
  return a.level == b.level && a.file == b.file && a.text == b.text;
}
void PrintTo(const LogEntry& entry, std::ostream* os);

class CapturedLog {
 public:
  explicit CapturedLog(unsigned int mask = 0xFF);
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  const std::vector<LogEntry>& Entries() const { return entries_; }
  // How often exactly this was logged.
  int Count(unsigned int level, const std::string& file, const std::string& text) const;
  bool Has(unsigned int level, const std::string& file, const std::string& text) const {
    return Count(level, file, text) > 0;
  }
  // The texts logged at one level, in order.
  std::vector<std::string> Texts(unsigned int level) const;
  void Clear() { entries_.clear(); }

 private:
  std::vector<LogEntry> entries_;
  unsigned int mask_before_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_CAPTURED_LOG_H_
