// Makes a recording's part of a lake.
#ifndef VMR_TOOLS_LAKE_CONVERSION_H_
#define VMR_TOOLS_LAKE_CONVERSION_H_

#include <cstdint>
#include <string>

#include "tools/lake/lake.h"
#include "tools/lake/parquet_writer.h"
#include "tools/lake/scratch.h"

namespace vmr::tool {

// What became of a recording. README.md beside this says what each is.
struct Converted {
  std::string path;
  std::string recording;  // its name in the lake; empty: it has none
  std::string status;
  std::string findings;
  int exit_code = 0;
  std::uint64_t records = 0;
  std::uint64_t bytes = 0;
  std::uint64_t written = 0, unchanged = 0, removed = 0;
  std::int64_t decode_ms = 0, parquet_ms = 0;
};

// A line of JSON, ended.
std::string LineOf(const Converted& converted);

struct ConversionTools {
  Lake& lake;
  LakeScratch& scratch;
  ParquetWriter& writer;
  bool digests_files = false;
};

// What goes wrong is said on standard error, too.
Converted Convert(const std::string& path, const ConversionTools& tools);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_CONVERSION_H_
