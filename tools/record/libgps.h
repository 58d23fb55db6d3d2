// libgps, loaded when there is a live gpsd to read.
//
// Not linked: it and the eight libraries that it brings would be loaded at the start of
// every command, where they would be a quarter of the time of `vmr --help`
// (docs/performance.md), and one option of one command uses it.
#ifndef VMR_TOOLS_RECORD_LIBGPS_H_
#define VMR_TOOLS_RECORD_LIBGPS_H_

#include <gps.h>

#include <optional>
#include <string>

namespace vmr::tool {

// Its functions, which have the types that gps.h declares.
struct Libgps {
  decltype(&::gps_open) open = nullptr;
  decltype(&::gps_stream) stream = nullptr;
  decltype(&::gps_waiting) waiting = nullptr;
  decltype(&::gps_read) read = nullptr;
  decltype(&::gps_close) close = nullptr;
  decltype(&::gps_errstr) errstr = nullptr;
};

// The file that belongs to the gps.h above, such as "libgps.so.28".
extern const char* const kLibgpsFile;

// Looked for where the system looks for libraries; stays loaded to the process's end.
// Nothing, and in `error` why and what to do, when it or one of its functions is not there.
std::optional<Libgps> LoadLibgps(std::string& error, const std::string& file = kLibgpsFile);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_LIBGPS_H_
