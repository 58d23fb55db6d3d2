#include "host/log.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <syslog.h>

#include <utility>

#include "host/default/host_control.h"

namespace vmr {
namespace {

constexpr unsigned int kDefaultMask = kLogFatal | kLogError | kLogWarning;

struct LogSettings {
  std::string process_name = program_invocation_short_name;
  host::LogSink sink;
};

unsigned int MaskFromEnvironment() {
  const char* text = getenv("VMR_LOG");
  if (text == nullptr || *text == '\0') return kDefaultMask;
  const bool hexadecimal = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  char* end = nullptr;
  errno = 0;
  const unsigned long long mask = strtoull(text, &end, hexadecimal ? 16 : 10);
  const bool usable = errno == 0 && text[0] != '-' && *end == '\0' && mask <= UINT_MAX;
  return usable ? static_cast<unsigned int>(mask) : kDefaultMask;
}

LogSettings& Settings() {
  static LogSettings settings;
  return settings;
}

int SyslogPriority(unsigned int level) {
  if (level & kLogFatal) return LOG_CRIT;
  if (level & kLogError) return LOG_ERR;
  if (level & kLogWarning) return LOG_WARNING;
  return level & (kLogSearch | kLogInfo) ? LOG_INFO : LOG_DEBUG;
}

}  // namespace

unsigned int LogClient::AskHost() const {
  // Two threads that ask at once get the same answer.
  const unsigned int mask = MaskFromEnvironment();
  mask_.store(mask, std::memory_order_relaxed);
  return mask;
}

const char* LogClient::ProcessName() const { return Settings().process_name.c_str(); }

void LogMsg::Log(unsigned int level, std::string_view text) {
  const LogSettings& settings = Settings();
  if (settings.sink) {
    settings.sink(level, text);
    return;
  }
  // One write for the whole line, so that lines of several processes do not mix.
  std::string line = settings.process_name;
  line.append(": ").append(text).append("\n");
  fwrite(line.data(), 1, line.size(), stderr);
}

void SysLogMsg::Log(unsigned int level, std::string_view text) {
  syslog(SyslogPriority(level), "%.*s", static_cast<int>(text.size()), text.data());
}

namespace host {

void SetLogLevel(unsigned int mask) { LogClient::Instance()->SetLevel(mask); }
void SetProcessName(const std::string& name) { Settings().process_name = name; }
void SetLogSink(LogSink sink) { Settings().sink = std::move(sink); }

}  // namespace host
}  // namespace vmr
