#include "tests/support/captured_log.h"

#include <algorithm>
#include <ostream>
#include <string_view>

#include "host/default/host_control.h"
#include "host/log.h"

namespace vmr::test {
namespace {

// "File.cc:123 text" taken apart.
LogEntry Parse(unsigned int level, std::string_view line) {
  const std::size_t colon = line.find(':');
  const std::size_t blank = line.find(' ', colon);
  return {level, std::string(line.substr(0, colon)), std::string(line.substr(blank + 1))};
}

}  // namespace

void PrintTo(const LogEntry& entry, std::ostream* os) {
  *os << "[" << entry.level << "] " << entry.file << ": \"" << entry.text << "\"";
}

CapturedLog::CapturedLog(unsigned int mask) : mask_before_(LogClient::Instance()->Level()) {
  host::SetLogLevel(mask);
  host::SetLogSink([this](unsigned int level, std::string_view text) {
    entries_.push_back(Parse(level, text));
  });
}

CapturedLog::~CapturedLog() {
  host::SetLogSink({});
  host::SetLogLevel(mask_before_);
}

int CapturedLog::Count(unsigned int level, const std::string& file, const std::string& text) const {
  return static_cast<int>(
      std::count(entries_.begin(), entries_.end(), LogEntry{level, file, text}));
}

std::vector<std::string> CapturedLog::Texts(unsigned int level) const {
  std::vector<std::string> texts;
  for (const LogEntry& entry : entries_)
    if (entry.level == level) texts.push_back(entry.text);
  return texts;
}

}  // namespace vmr::test
