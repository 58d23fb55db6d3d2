// What a host program sets on the default implementation of the unit's
// services. The library itself never includes this.
#ifndef VMR_HOST_DEFAULT_HOST_CONTROL_H_
#define VMR_HOST_DEFAULT_HOST_CONTROL_H_

#include <functional>
#include <string>
#include <string_view>

namespace vmr::host {

// Log: the mask (initially from the environment variable VMR_LOG, default 7),
// the process name (initially the program's own) and where messages go
// (initially standard error, as "process: File.cc:line text"; an empty sink
// restores that).
using LogSink = std::function<void(unsigned int level, std::string_view text)>;
void SetLogLevel(unsigned int mask);
void SetProcessName(const std::string& name);
void SetLogSink(LogSink sink);

// Ticks: SystemTick() is the half seconds of CLOCK_BOOTTIME plus an offset.
// StartSystemTickAt chooses the offset so that the tick now is `tick`, and the
// counter runs on from there; HoldSystemTick stops it at `tick` until the next
// call of either, which is how a replay drives it.
void StartSystemTickAt(unsigned int tick);
void HoldSystemTick(unsigned int tick);
void SetPriorShutdownTick(unsigned int tick);

}  // namespace vmr::host

#endif  // VMR_HOST_DEFAULT_HOST_CONTROL_H_
