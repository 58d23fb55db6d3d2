// The data of a page: a header in JSON and columns of numbers, deflated. report/DATA.md
// describes every byte.
#ifndef VMR_TOOLS_REPORT_PACKING_H_
#define VMR_TOOLS_REPORT_PACKING_H_

#include <optional>
#include <string>
#include <string_view>

#include "tools/report/case_file.h"
#include "tools/report/page.h"

namespace vmr::tool {

// Not yet deflated. Equal cases make equal bytes.
std::string PackCase(const CaseFile& file, const PageHeading& heading);

// zlib's form of deflate, in base64 without line breaks. Nothing without memory for it.
std::optional<std::string> DeflatedBase64(std::string_view bytes);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PACKING_H_
