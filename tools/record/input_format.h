// Recognises inputs that are no lines of JSON by how they begin.
#ifndef VMR_TOOLS_RECORD_INPUT_FORMAT_H_
#define VMR_TOOLS_RECORD_INPUT_FORMAT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace vmr::tool {

enum class InputFormat {
  kUnknown,  // anything else; its lines are judged one by one
  kJson,     // there is a line that is a JSON object
  kNmea,     // sentences of a GPS receiver
  kRows,     // values with separators between them, CSV above all
  kBinary,
};

// No more than so much of an input is looked at.
inline constexpr std::size_t kMostBytesOfBeginning = std::size_t{64} * 1024;

// `beginning`: the first lines, or part of the first; `complete`: there is no more.
InputFormat FormatOf(std::string_view beginning, bool complete);

// What such an input is and what to do with `file`; empty for kUnknown and kJson.
std::string AdviceOn(InputFormat format, const std::string& file);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_INPUT_FORMAT_H_
