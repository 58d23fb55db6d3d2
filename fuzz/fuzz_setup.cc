#include "fuzz/fuzz_setup.h"

#include <stdlib.h>

#include <cstdio>
#include <string_view>

#include "host/default/host_control.h"
#include "host/log.h"

namespace vmr::fuzz {

void SetUpOnce() {
  static const bool kDone = [] {
    setenv("TZ", "UTC", 1);
    Require(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output is redirected");
    host::SetLogLevel(kLogFatal | kLogError | kLogWarning | kLogSearch | kLogInfo | kLogTrace);
    host::SetLogSink([](unsigned int /*level*/, std::string_view /*text*/) {});
    return true;
  }();
  static_cast<void>(kDone);
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  abort();
}

}  // namespace vmr::fuzz
