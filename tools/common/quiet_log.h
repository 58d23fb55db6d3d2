// Keeps the library's log quiet for a while.
#ifndef VMR_TOOLS_COMMON_QUIET_LOG_H_
#define VMR_TOOLS_COMMON_QUIET_LOG_H_

#include <cstdlib>
#include <optional>

#include "host/log.h"

namespace vmr::tool {

// As long as it lives nothing is logged, whatever VMR_LOG says.
class QuietLog {
 public:
  QuietLog() : level_before_(LogClient::Instance()->Level()) { LogClient::Instance()->SetLevel(0); }
  ~QuietLog() { LogClient::Instance()->SetLevel(level_before_); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  unsigned int level_before_;
};

// The same, unless the user has said by VMR_LOG what to log.
class QuietUnlessAsked {
 public:
  QuietUnlessAsked() {
    if (std::getenv("VMR_LOG") == nullptr) quiet_.emplace();
  }

 private:
  std::optional<QuietLog> quiet_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_QUIET_LOG_H_
