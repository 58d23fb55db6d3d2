#include "tools/evidence/library_functions.h"

#include <dlfcn.h>
#include <fmt/format.h>

namespace vmr::tool {

LibraryFunctions::LibraryFunctions(const char* file, const char* package)
    : file_(file), package_(package), library_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr) Fail();
}

void* LibraryFunctions::Look(const char* name) {
  if (!error_.empty()) return nullptr;
  void* const function = dlsym(library_, name);
  if (function == nullptr) Fail();
  return function;
}

void LibraryFunctions::Fail() {
  const char* const reason = dlerror();
  error_ = fmt::format(
      "{} is needed and cannot be loaded ({}); install it, with Debian by `apt install {}`, and "
      "try "
      "again",
      file_, reason != nullptr ? reason : "no reason is told", package_);
}

}  // namespace vmr::tool
