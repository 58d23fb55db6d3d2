// Speeds, radars' readings, temperatures and the voltage as lines over time.
#ifndef VMR_TOOLS_REPORT_SERIES_BOOK_H_
#define VMR_TOOLS_REPORT_SERIES_BOOK_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "records/record.h"
#include "tools/report/case_file.h"
#include "tools/report/line_builder.h"
#include "tools/report/placement.h"
#include "tools/report/range_clip.h"

namespace vmr::tool {

class SeriesBook {
 public:
  void Take(const records::Record& record, const Spot& spot);
  // From x on nothing is known.
  void LoseAll(AxisX x);
  // Of each value, whatever its unit.
  std::vector<Line> Lines() const;
  // What was told at all, or is in force in the part, kind by kind. Where several units were
  // told, a line for each. Of a value that was told while its unit was not, the unit is the only
  // one that is told at all; `findings` gets a note of that.
  // The only unit that the recording tells of a device's readings; nothing: none, or several.
  std::optional<std::int64_t> SoleUnits(records::KindId kind, std::int64_t device) const;
  std::vector<CaseSeries> Finish(const Inside* part, std::vector<CaseFinding>& findings);

 private:
  using Key = std::tuple<records::KindId, std::int64_t, std::size_t>;  // device, field
  using Device = std::pair<records::KindId, std::int64_t>;

  void TakeReading(const records::Record& record, std::size_t field, const Spot& spot);
  // Says of each device whose readings are shown in a unit that was not told for all of them.
  void PutAssumedUnits(std::vector<CaseFinding>& findings) const;
  // A line of neither values nor words is left out.
  void Put(CaseSeries series, std::vector<CaseSeries>& all) const;
  void PutByUnits(const Key& key, Line line, std::vector<CaseSeries>& all);

  std::map<Key, LineBuilder> lines_;
  std::map<std::int64_t, std::string> words_;  // by the numbers that stand for them
  std::map<Device, LineBuilder> units_;        // of the kind of the readings
  std::map<Device, std::string> assumed_;      // the units in words
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_SERIES_BOOK_H_
