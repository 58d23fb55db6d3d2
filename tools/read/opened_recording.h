// A recording that a command reads by the program's own decoder.
#ifndef VMR_TOOLS_READ_OPENED_RECORDING_H_
#define VMR_TOOLS_READ_OPENED_RECORDING_H_

#include <memory>
#include <string>
#include <vector>

#include "records/source.h"
#include "tools/common/store_path.h"

namespace vmr::tool {

// Why a recording cannot be read.
enum class OpenProblem : unsigned char {
  kNone,
  kMissing,     // nothing stands at the path
  kUnreadable,  // it cannot be opened, or is no recording
  kDamaged,     // so that nothing of it can be read
  kMixed,       // the two files of a store are of two recordings
};

struct OpenedRecording {
  std::string name;                         // as it is spoken of: the base of a store, or the file
  std::unique_ptr<records::Source> source;  // null: it cannot be read
  std::string error;                        // why, and what to do
  OpenProblem problem = OpenProblem::kNone;
  std::string remark;              // what is worth saying about it; may be empty
  std::vector<std::string> files;  // it is in; of a store's two one may not be there
  std::string called;              // what its one file is called; empty: by its path
  bool is_store = false;
};

// Opens a store (one of its files is enough), a flat file, or a single cluster file.
// Nothing is changed on disk. Two recordings in one store are refused.
OpenedRecording OpenRecording(const std::string& path, PathKind kind);

// What to say of a store whose end was told by all its clusters (RingSource::SearchedAll).
std::string RemarkOnSearchedAll(const std::string& store);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_OPENED_RECORDING_H_
