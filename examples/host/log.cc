// The unit's log: each message is a line on standard error, "<3>recorder: text",
// with the priority in front as service managers take it. Nothing is allocated,
// since the line may be about having no memory.
#include "host/log.h"

#include <stdlib.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

namespace vmr {
namespace {

constexpr unsigned int kUsualMask = kLogFatal | kLogError | kLogWarning;
constexpr unsigned int kEveryLevel = 0xFF;

const char* PriorityOf(unsigned int level) {
  if (level & kLogFatal) return "<2>";
  if (level & kLogError) return "<3>";
  if (level & kLogWarning) return "<4>";
  return level & (kLogSearch | kLogInfo) ? "<6>" : "<7>";
}

iovec Part(std::string_view text) { return {const_cast<char*>(text.data()), text.size()}; }

}  // namespace

// Asked once. From then on Level() answers with the mask left here.
unsigned int LogClient::AskHost() const {
  const char* const wanted = getenv("VMR_LOG");
  const unsigned long mask = wanted == nullptr ? kUsualMask : strtoul(wanted, nullptr, 10);
  mask_ = static_cast<unsigned int>(mask) & kEveryLevel;
  return mask_;
}

const char* LogClient::ProcessName() const { return "recorder"; }

// One call for the line, so that lines of several processes do not mix. A line
// that standard error does not take is lost: there is nowhere to say so.
void LogMsg::Log(unsigned int level, std::string_view text) {
  const iovec line[] = {Part(PriorityOf(level)), Part("recorder: "), Part(text), Part("\n")};
  static_cast<void>(!writev(STDERR_FILENO, line, 4));
}

void SysLogMsg::Log(unsigned int /*level*/, std::string_view text) {
  syslog(LOG_ERR, "%.*s", static_cast<int>(text.size()), text.data());
}

}  // namespace vmr
