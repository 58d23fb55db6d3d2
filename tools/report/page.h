// A case as one page: its data packed into the constant page that draws it.
#ifndef VMR_TOOLS_REPORT_PAGE_H_
#define VMR_TOOLS_REPORT_PAGE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/report/case_file.h"

namespace vmr::tool {

struct PageHeading {
  std::string title;                    // as it was typed, or empty: made of the case
  std::optional<std::string> from, to;  // of the range, as they were typed
  std::string video;                    // a file's name; empty: none
  std::int64_t made_us = 0;             // UTC
};

// report/template.html, which holds kTitlePlace, kSummaryPlace and kDataPlace once each.
std::string_view PageTemplate();
inline constexpr std::string_view kTitlePlace = "<!--vmr:title-->";
inline constexpr std::string_view kSummaryPlace = "<!--vmr:summary-->";
inline constexpr std::string_view kDataPlace = "<!--vmr:data-->";

// Who, when and what is missing, in plain words; HTML paragraphs. Local times are of the zone in
// use.
std::string SummaryOf(const CaseFile& file);

// "car7, 2019-06-19, officer Jane Doe", with the first day and the last one where there are
// several, unless the heading has one.
std::string TitleOf(const CaseFile& file, const PageHeading& heading);

// The whole page. Nothing when memory does not suffice for packing it.
std::optional<std::string> PageOf(const CaseFile& file, const PageHeading& heading);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PAGE_H_
