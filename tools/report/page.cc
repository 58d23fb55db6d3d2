#include "tools/report/page.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "tools/common/time_point.h"
#include "tools/read/phrase.h"
#include "tools/read/value_text.h"
#include "tools/report/packing.h"
#include "tools/report/plot_words.h"

namespace vmr::tool {
namespace {

using records::TimeQuality;

// Texts of the case are fit for lines of their own already; here for HTML, too.
std::string Html(std::string_view text) {
  LineBuffer html;
  AppendXml(text, html);
  return fmt::to_string(html);
}

std::string Paragraph(std::string_view text) { return fmt::format("<p>{}</p>\n", Html(text)); }

std::string HalvesText(std::int64_t halves) {
  return ExactDurationText(halves * records::kTick_us);
}

const CaseFact* FindFact(const CaseRecording& recording, std::string_view name) {
  const auto found = std::find_if(recording.facts.begin(), recording.facts.end(),
                                  [name](const CaseFact& fact) { return fact.name == name; });
  return found == recording.facts.end() || found->values.empty() ? nullptr : &*found;
}

std::string FactText(const CaseFact& fact) {
  std::string text;
  for (const CaseText& value : fact.values) {
    const bool is_last = &value == &fact.values.back();
    text += text.empty() ? "" : ", then ";
    if (is_last && fact.left_out > 0)
      text += fmt::format("{}, last ",
                          Counted(static_cast<std::uint64_t>(fact.left_out), "more change"));
    text += value.text.empty() ? "(empty)" : value.text;
  }
  return text;
}

// Of the first and the last stretch that tell a time, where they can of those whose clock was
// right; nothing when none does.
struct Span {
  std::int64_t from_us, to_us;
};
std::optional<Span> SpanOf(const CaseRecording& recording) {
  const bool takes_all = !recording.on_utc || recording.IsDisplaced();
  const auto is_known = [takes_all](const CaseStretch& stretch) {
    return stretch.time.quality != TimeQuality::kUnknown && (takes_all || !stretch.displaced);
  };
  const auto& all = recording.stretches;
  const auto first = std::find_if(all.begin(), all.end(), is_known);
  const auto last = std::find_if(all.rbegin(), all.rend(), is_known);
  if (first == all.end()) return std::nullopt;
  return Span{first->time.us, last->UtcAt(last->last)};
}

std::string SpanText(const CaseRecording& recording) {
  if (recording.stretches.empty()) return Capital(recording.nothing) + ".";
  const auto span = SpanOf(recording);
  if (!span) return "Nothing tells when it was recorded.";
  return fmt::format("From {} to {}.", LocalTimeText(span->from_us), LocalTimeText(span->to_us));
}

std::string WhoText(const CaseRecording& recording) {
  constexpr std::pair<const char*, const char*> kWho[] = {{"officer", "Officer"},
                                                          {"badge", "badge"},
                                                          {"vehicle", "vehicle"},
                                                          {"department", "department"},
                                                          {"serial_number", "unit"}};
  std::string text;
  for (const auto& [name, words] : kWho) {
    const CaseFact* const fact = FindFact(recording, name);
    text += fmt::format("{}{}: {}", text.empty() ? "" : ", ", words,
                        fact == nullptr ? "not told" : FactText(*fact));
  }
  return text + ".";
}

std::string TotalsText(const CaseTotals& totals) {
  std::string text = fmt::format("{} recorded; ", HalvesText(totals.recorded_halves));
  if (totals.lost_halves == 0 && totals.lost_unknown == 0)
    text += "nothing is known to be lost";
  else
    text += fmt::format("{} lost", HalvesText(totals.lost_halves));
  if (totals.lost_unknown > 0)
    text += fmt::format(", and {} nobody knows how long",
                        Counted(static_cast<std::uint64_t>(totals.lost_unknown), "gap"));
  if (totals.wrong_crc > 0)
    text += fmt::format("; {} in {} with a wrong CRC",
                        Counted(static_cast<std::uint64_t>(totals.wrong_crc), "record"),
                        Counted(static_cast<std::uint64_t>(totals.wrong_crc_packets), "packet"));
  if (totals.overwritten) text += "; what came before was overwritten by newer packets";
  return text + ".";
}

void AppendFindings(const CaseRecording& recording, std::string& summary) {
  constexpr std::size_t kMost = 100;
  const std::size_t count = std::min(recording.findings.size(), kMost);
  for (std::size_t i = 0; i < count; ++i) summary += Paragraph(recording.findings[i].words);
  if (count < recording.findings.size())
    summary += Paragraph(fmt::format("And {} more findings.", recording.findings.size() - count));
}

// "officer A and B"; of more than a title holds their number. Each once, whoever rode where.
std::string OfficersText(const CaseFile& file) {
  constexpr std::size_t kMostNamed = 3;
  std::vector<std::string> names;
  for (const CaseRecording& recording : file.recordings)
    if (const CaseFact* const officer = FindFact(recording, "officer"))
      for (const CaseText& name : officer->values)
        if (!name.text.empty() && std::find(names.begin(), names.end(), name.text) == names.end())
          names.push_back(name.text);
  if (names.empty()) return {};
  if (names.size() > kMostNamed) return fmt::format("{} officers", names.size());
  std::string text = "officer ";
  for (const std::string& name : names) text += (&name == &names.front() ? "" : " and ") + name;
  return text;
}

// ", 2019-06-19" or ", 2019-06-19 to 2019-06-21": the days of all that tell a time.
std::string DaysText(const CaseFile& file) {
  std::optional<Span> all;
  for (const CaseRecording& recording : file.recordings) {
    const auto span = SpanOf(recording);
    if (!span) continue;
    if (!all) all = span;
    all->from_us = std::min(all->from_us, span->from_us);
    all->to_us = std::max(all->to_us, span->to_us);
  }
  if (!all) return {};
  const auto day = [](std::int64_t us) {
    return LocalTimeText(us).substr(0, std::string_view("2019-06-19").size());
  };
  const std::string first = day(all->from_us), last = day(all->to_us);
  return first == last ? ", " + first : fmt::format(", {} to {}", first, last);
}

// Appends the template up to `place`, and `with` in its stead.
void Fill(std::string_view& left, std::string_view place, std::string_view with,
          std::string& page) {
  const std::size_t at = left.find(place);
  page.append(left.substr(0, at)).append(with);
  left.remove_prefix(at + place.size());
}

}  // namespace

std::string TitleOf(const CaseFile& file, const PageHeading& heading) {
  if (!heading.title.empty()) return EscapedText(heading.title);
  std::string title;
  for (const CaseRecording& recording : file.recordings)
    title += (title.empty() ? "" : " and ") + recording.name;
  title += DaysText(file);
  const std::string officers = OfficersText(file);
  return officers.empty() ? title : fmt::format("{}, {}", title, officers);
}

std::string SummaryOf(const CaseFile& file) {
  std::string summary;
  for (const CaseRecording& recording : file.recordings) {
    summary += Paragraph(
        fmt::format("{}. {} {}", recording.name, WhoText(recording), SpanText(recording)));
    summary += Paragraph(TotalsText(recording.totals));
    AppendFindings(recording, summary);
  }
  return summary;
}

std::optional<std::string> PageOf(const CaseFile& file, const PageHeading& heading) {
  const auto data = DeflatedBase64(PackCase(file, heading));
  if (!data) return std::nullopt;
  std::string_view left = PageTemplate();
  std::string page;
  page.reserve(left.size() + data->size());
  // In the order in which they stand in the page: what is filled in cannot be taken for a place.
  struct Place {
    std::string_view mark;
    std::string text;
    std::size_t at;
  };
  std::array<Place, 3> places = {{{kTitlePlace, Html(TitleOf(file, heading)), 0},
                                  {kSummaryPlace, SummaryOf(file), 0},
                                  {kDataPlace, *data, 0}}};
  for (Place& place : places) place.at = left.find(place.mark);
  std::sort(places.begin(), places.end(),
            [](const Place& a, const Place& b) { return a.at < b.at; });
  for (const Place& place : places) Fill(left, place.mark, place.text, page);
  page.append(left);
  return page;
}

}  // namespace vmr::tool
