// Reads the reports of a live gpsd.
#ifndef VMR_TOOLS_RECORD_GPSD_CLIENT_H_
#define VMR_TOOLS_RECORD_GPSD_CLIENT_H_

#include <memory>
#include <optional>
#include <string>

namespace vmr::tool {

struct Libgps;

struct GpsdAddress {
  std::string host = "127.0.0.1";
  std::string port = "2947";

  std::string Text() const { return host + ":" + port; }
};

// "HOST:PORT", "HOST", ":PORT" or "[IPV6]:PORT"; what is absent keeps its
// default. Nothing for a text that is none of these.
std::optional<GpsdAddress> ParseGpsdAddress(const std::string& text);

// Connects, says to what, passes every report on as a line, and connects again when
// the connection ends: after half a second, then after twice as long each time, up
// to half a minute, until a server has reported something. A thread of its own does it, because
// looking up a host and connecting to it may take minutes, in which ticks must go on.
//
// Owns     the thread and one end of the pipe that ReadEnd() is the other of.
// Threads  the caller's only uses the pipe.
class GpsdClient {
 public:
  GpsdClient(const GpsdAddress& address, const Libgps& libgps);
  // Ends the thread. One that hangs in connecting is left to the process's end.
  ~GpsdClient();
  GpsdClient(const GpsdClient&) = delete;
  GpsdClient& operator=(const GpsdClient&) = delete;

  // Where the lines arrive; -1 when the client could not be started. The
  // caller owns it.
  int ReadEnd() const { return read_end_; }

 private:
  struct State;

  std::shared_ptr<State> state_;
  int read_end_ = -1;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_GPSD_CLIENT_H_
