// RFC 3161: what a time-stamping authority is asked, and what it answered.
#ifndef VMR_TOOLS_EVIDENCE_TIME_STAMP_H_
#define VMR_TOOLS_EVIDENCE_TIME_STAMP_H_

#include <optional>
#include <string>
#include <string_view>

namespace vmr::tool {

// A query for bytes of this SHA-256, 64 hexadecimal digits, with the authority's certificate
// asked for. Without a nonce: the same bytes make the same query. Empty, and `error`, when
// there is no library for it.
std::string TimeStampQuery(std::string_view sha256, std::string& error);

struct TimeStamp {
  std::string sha256;  // of what was stamped; empty: it is not a SHA-256
  std::string time;    // as the authority wrote it, "2026-11-22T18:00:00Z"
};
// Nothing, and `error`, when the reply is none or grants nothing. Whose signature it bears is
// not looked at: that takes the authority's certificate.
std::optional<TimeStamp> ReadTimeStampReply(std::string_view reply, std::string& error);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_TIME_STAMP_H_
