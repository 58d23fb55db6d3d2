// What is said about a surveyed ring: lines for people, JSON for programs.
#ifndef VMR_TOOLS_RING_REPORT_H_
#define VMR_TOOLS_RING_REPORT_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/ring/findings.h"

namespace vmr::tool {

// The findings that belong to one survey of the store that is spoken of as `name`. Refers
// to all of them.
class RingReport {
 public:
  RingReport(const std::string& name, const RingSurvey& survey,
             const std::vector<Finding>& findings)
      : name_(name), survey_(survey), findings_(findings) {}

  std::string Text() const;
  nlohmann::ordered_json Json() const;
  // Whether the files are sound, for whoever is not to know what is recorded in them, or how much,
  // or what they are called.
  std::string TextOfFilesAlone() const;
  // "s_1.mtd cluster 3: wrong CRC; ticks 10 to 20: time; s_2.mtd has a good copy"
  std::string Describe(const Finding& finding) const;
  // 0, 4 or 3, by the gravest finding.
  int ExitCode() const;

 private:
  std::string FileLine(int file) const;
  std::string FileRecordingLine(int file) const;
  std::string RecordingLine() const;
  std::string Verdict() const;
  std::string TickText(unsigned int tick) const;
  std::string SpanText(const Finding& finding) const;
  static std::string ItemsText(const Finding& finding);
  std::string WhyNotOpened(const Finding& finding) const;
  static const char* OpenPacketText(const Finding& finding);
  nlohmann::ordered_json FileJson(int file) const;
  nlohmann::ordered_json RecordingJson() const;
  nlohmann::ordered_json FindingJson(const Finding& finding) const;
  nlohmann::ordered_json TickJson(unsigned int tick) const;
  nlohmann::ordered_json TimeJson(unsigned int tick) const;

  const std::string& name_;
  const RingSurvey& survey_;
  const std::vector<Finding>& findings_;
};

// Keeps a file of garbage from filling the screen: of findings of one kind in one
// file the first ones are told, the others counted.
class FindingLimit {
 public:
  // False when there were enough like this one.
  bool Tells(const Finding& finding);
  // What was not told, a line for each kind and file.
  std::string Rest(const RingSurvey& survey) const;

 private:
  static constexpr int kMostAlike = 20;

  struct Group {
    const FindingKind* kind;
    int file;
    int told = 0;
    int untold = 0;
    int untold_clusters = 0;
  };
  std::vector<Group> groups_;
};

// "2024-05-01T10:00:50Z".
std::string UtcText(std::int64_t time_us);
// "cluster 5", "clusters 5 to 9".
std::string ClusterText(int first, int last);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_REPORT_H_
