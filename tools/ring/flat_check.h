// Looks a flat file over: an extract, or what a recorder wrote into one.
#ifndef VMR_TOOLS_RING_FLAT_CHECK_H_
#define VMR_TOOLS_RING_FLAT_CHECK_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "records/record.h"
#include "tools/ring/finding_kinds.h"

namespace vmr::tool {

// A kind is its row.
struct FlatFindingKind {
  const char* name;  // stable, for programs
  Severity severity;
  const char* phrase;
};

struct FlatFinding {
  const FlatFindingKind* kind;
  std::int64_t offset = 0;  // of the first byte, in the file
  std::int64_t bytes = 0;   // 0: not to be said
  // The last one told in front of it and the first one behind it; kNoTick: none.
  unsigned int from_tick = kNoTick;
  unsigned int to_tick = kNoTick;
  records::Time from;
  records::Time to;
};

// What the file holds and what is wrong with it. Every packet's CRC is looked at, where
// its items begin and end, and the order of ticks.
class FlatCheck final : public records::Sink {
 public:
  explicit FlatCheck(std::string path) : path_(std::move(path)) {}

  // False, and errno, when it cannot be read to its end.
  bool Read();

  std::string Text() const;
  nlohmann::ordered_json Json() const;
  // 0, 4 or 3, by the gravest finding.
  int ExitCode() const;

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnNewRun(int run, unsigned int tick) override;

 private:
  struct Range {
    unsigned int first;
    unsigned int last;
  };

  void Add(const FlatFindingKind& kind, std::int64_t offset, std::size_t bytes);
  void CheckDictionary(const std::vector<unsigned char>& beginning);
  void Decode();
  void TakeLabel(const records::Record& record);
  Severity Gravest() const;
  const char* Verdict() const;
  std::string Describe(const FlatFinding& finding) const;
  nlohmann::ordered_json FindingJson(const FlatFinding& finding) const;

  std::string path_;
  std::int64_t bytes_ = 0;
  std::vector<FlatFinding> findings_;

  unsigned long records_ = 0;
  std::set<std::string> kinds_;
  unsigned int first_tick_ = kNoTick;
  unsigned int last_tick_ = kNoTick;
  records::Time first_time_;
  records::Time last_time_;
  std::optional<Range> range_;       // as its label says
  unsigned int end_tick_ = kNoTick;  // where the stream says that it ends
  bool has_ended_ = false;
  records::Place last_place_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_FLAT_CHECK_H_
