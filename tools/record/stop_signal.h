// Lets SIGINT and SIGTERM end a recording in order.
#ifndef VMR_TOOLS_RECORD_STOP_SIGNAL_H_
#define VMR_TOOLS_RECORD_STOP_SIGNAL_H_

namespace vmr::tool {

// From its construction on, the two signals only note that the recording is to
// stop, and a pipe without a reader is an ordinary error. One per process.
class StopSignal {
 public:
  StopSignal();

  bool Requested() const;
  // Becomes readable with the first signal, and stays so.
  int Fd() const;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_STOP_SIGNAL_H_
