// Which recordings a folder holds.
#ifndef VMR_TOOLS_COMMON_FOLDER_H_
#define VMR_TOOLS_COMMON_FOLDER_H_

#include <string>
#include <vector>

namespace vmr::tool {

struct Folder {
  std::vector<std::string> recordings;  // the bases of stores, and files, in the order of names
  std::string error;                    // not empty: there are none, and why
};

// Stores, also such as were set aside, and flat files, be their first bytes damaged. What
// cannot be opened may be one. Folders in it are not looked into, and hidden files are none.
Folder LookInto(const std::string& folder);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_FOLDER_H_
