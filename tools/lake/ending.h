// The signals that usually end a process, put off until what it left lying about is gone.
#ifndef VMR_TOOLS_LAKE_ENDING_H_
#define VMR_TOOLS_LAKE_ENDING_H_

namespace vmr::tool {

// While it lives SIGINT, SIGTERM, SIGHUP and SIGQUIT are only noted, unless whoever started the
// process had them ignored; they interrupt calls that wait. At its end the process ends as the
// signal says. SIGPIPE is ignored: the write that fails tells, and a lake that is being made
// does not hang on who reads the messages.
//
// Owns     the treatment of these signals; one at a time.
class PutOffEnding {
 public:
  PutOffEnding();
  ~PutOffEnding();
  PutOffEnding(const PutOffEnding&) = delete;
  PutOffEnding& operator=(const PutOffEnding&) = delete;

  // One has come: what is being done is to be left.
  static bool IsDue();
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_ENDING_H_
