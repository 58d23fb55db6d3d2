#include "tools/commands/listing.h"

#include <errno.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

#include "backends/file_io.h"
#include "reader/metadata_reader.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

// Whoever reads the listing has seen enough; nothing is being recorded.
void EndOnClosedPipe() {
  struct sigaction action {};
  action.sa_handler = [](int) { _exit(kExitSuccess); };
  sigaction(SIGPIPE, &action, nullptr);
}

// Each call of the system costs more than hundreds of lines. On a terminal lines appear
// as they come.
void WriteInLargePieces() {
  static char buffer[std::size_t{64} * 1024];
  if (isatty(STDOUT_FILENO) == 0)
    static_cast<void>(std::setvbuf(stdout, buffer, _IOFBF, sizeof(buffer)));
}

bool WroteAll() {
  if (FlushOutput()) return true;
  Say(fmt::format("standard output: {}", errno == 0 ? "write error" : TextOfErrno()));
  return false;
}

}  // namespace

int PrintListing(const ListingOptions& options) {
  EndOnClosedPipe();
  WriteInLargePieces();
  const Recording recording = FindRecording(options.path, options.kind);
  if (!recording.error.empty()) {
    Say(recording.error);
    return kExitFailure;
  }
  if (!recording.remark.empty()) Say(recording.remark);
  MetadataReader reader(RingAccess::kReadOnly);
  const bool opened =
      reader.ViewFile(recording.path, recording.ring, options.from, options.to, options.expanded);
  if (!opened && recording.ring)
    Say(fmt::format(
        "{0}: not readable as a ring; `vmr view --listing --flat {0}_1.mtd` prints what one file "
        "holds",
        recording.path));
  return WroteAll() && opened ? kExitSuccess : kExitFailure;
}

}  // namespace vmr::tool
