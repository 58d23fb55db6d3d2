// The rows of a recording, in a file for each table and day.
#ifndef VMR_TOOLS_LAKE_ROW_FILES_H_
#define VMR_TOOLS_LAKE_ROW_FILES_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "records/record.h"
#include "tools/read/value_text.h"

namespace vmr::tool {

// Cells as the writer of Parquet files takes them: a text stands in quotes, what is unknown is
// empty, a time is microseconds since 1970. Unit and recording, which come first in each table,
// are told to the writer once.
class TypedRow {
 public:
  explicit TypedRow(LineBuffer& line) : line_(line) { line_.clear(); }

  void Null() {
    if (has_cells_) line_.push_back(',');
    has_cells_ = true;
  }
  void Text(std::string_view text);
  void TextOrNull(std::string_view text) { text.empty() ? Null() : Text(text); }
  void Flag(bool flag);
  template <typename Integer>
  void Number(Integer number) {
    Null();
    AppendNumber(number, line_);
  }
  void Tick(unsigned int tick) { tick == kNoTick ? Null() : Number(tick); }
  void Time(const records::Time& time);
  void Utc(std::int64_t us) { Number(us); }
  void Place(const records::Place& place);
  void Value(const records::Value& value);
  void End() { line_.push_back('\n'); }

 private:
  void Present(const records::Value& value);
  void Recorded(std::string_view text);
  void Degrees(std::int64_t tts);
  void Reading(const records::Value& value);

  LineBuffer& line_;
  bool has_cells_ = false;
};

// Rows are held until there are some megabytes of them, then each file is opened, written and
// closed: however many days a recording has, one file is open and the memory is bounded.
//
// Errors   HasFailed(), after saying why.
class RowFiles final : public records::Sink {
 public:
  // Files are made in `folder`.
  explicit RowFiles(std::string folder) : folder_(std::move(folder)) {}

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override;

  // Of gaps the day is kNoDay.
  using Key = std::pair<std::string, std::int64_t>;  // table and day
  struct Rows {
    std::string file;  // plain name in the folder
    std::uint64_t count = 0;
    std::string held;  // not written yet
  };
  // Writes what is held. False when something was not written.
  bool Flush();
  // Why not; empty: nothing has failed.
  const std::string& Error() const { return error_; }
  const std::map<Key, Rows>& Files() const { return files_; }
  bool HasFailed() const { return !error_.empty(); }

 private:
  void Put(const std::string& table, std::int64_t day);
  std::string Write(Rows& rows);

  const std::string folder_;
  std::map<Key, Rows> files_;
  LineBuffer line_;
  std::size_t held_bytes_ = 0;
  std::string error_;
};

// A new file of rows, whole. Says why not, and returns it; empty: it was written.
std::string WriteRows(const std::string& path, std::string_view text);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_ROW_FILES_H_
