// What a viewer of a video is told of the vehicle, second by second.
#ifndef VMR_TOOLS_READ_CUE_TEXT_H_
#define VMR_TOOLS_READ_CUE_TEXT_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "records/record.h"

namespace vmr::tool {

// Follows what is in force, and collects what changes.
class CueText {
 public:
  void Take(const records::Record& record);
  // Whatever happened, as one of the second's changes.
  void Add(const std::string& change) { changes_.push_back(change); }
  void Forget();

  // The lines of a cue, plain text: speeds, inputs, and the changes since the last call,
  // which are done with.
  std::vector<std::string> TakeLines();

 private:
  void TakeSpeed(const records::Record& record);
  void TakeChange(const records::Record& record);
  std::string SpeedLine() const;
  std::string InputLine() const;

  std::map<std::int64_t, std::string> speeds_;  // by device, with units
  std::map<std::int64_t, const char*> units_;   // by device; null: none are known
  std::optional<std::string> target_;           // the first radar's
  std::map<std::int64_t, bool> inputs_;         // what is known
  std::vector<std::string> changes_;
};

// The word or number of an input.
std::string InputName(const records::Value& input);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_CUE_TEXT_H_
