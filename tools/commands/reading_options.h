// The options that the commands which read recordings share.
#ifndef VMR_TOOLS_COMMANDS_READING_OPTIONS_H_
#define VMR_TOOLS_COMMANDS_READING_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "tools/read/reading.h"

namespace vmr::tool {

// What the footers of these commands say of PATH and T.
inline constexpr const char* kReadingFooter =
    R"(PATH is the base path of a store, either of its two files, a flat metadata file,
a single file of a store, or a folder: all recordings in it, but not in folders of it.

T is a tick (half seconds, counted on over all runs of a store) or a time:
2019-06-19T21:33:57Z, 2019-06-19T16:33-05:00, @1560979977 (seconds since 1970),
now, -15min (s, min, h, d: so long ago), or in the time zone 2019-06-19T16:33 and
2019-06-19, the whole day. The time zone is the recorded one unless --time-zone
names another (America/Chicago, UTC, local: this machine's), and UTC where none is
recorded. Times are good to about a second.)";

// Each adds options of `parser` that fill `options`, which must outlive it. Values that are
// wrong are refused as wrong usage.
void AddPaths(CLI::App& parser, ReadingOptions& options);
void AddRange(CLI::App& parser, ReadingOptions& options);
CLI::Option* AddTime(CLI::App& parser, const char* name, std::optional<TypedTime>& time,
                     const char* help);
void AddRun(CLI::App& parser, std::optional<int>& run, const char* help);
void AddTimeZone(CLI::App& parser, std::string& time_zone);
void AddKinds(CLI::App& parser, ReadingOptions& options);
void AddOutput(CLI::App& parser, ReadingOptions& options);

// A name that no kind has is wrong usage.
records::KindId KindNamed(const std::string& name);

// To be called when all options were read. Ends of a range that mean the recording's become
// none.
void CheckReadingUsage(ReadingOptions& options);

// The same of single values.
void CheckTimeZone(const std::string& time_zone);
void CheckOrder(const std::optional<TypedTime>& from, const std::optional<TypedTime>& to);

// Adds --format, one of `formats`; the first is the default.
void AddFormat(CLI::App& parser, const std::vector<std::string>& formats, std::string& format);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_READING_OPTIONS_H_
