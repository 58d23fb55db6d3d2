#include "tools/record/libgps.h"

#include <dlfcn.h>
#include <fmt/format.h>

namespace vmr::tool {
namespace {

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

bool FindAll(void* library, Libgps& gps) {
  return Find(library, "gps_open", gps.open) && Find(library, "gps_stream", gps.stream) &&
         Find(library, "gps_waiting", gps.waiting) && Find(library, "gps_read", gps.read) &&
         Find(library, "gps_close", gps.close) && Find(library, "gps_errstr", gps.errstr);
}

}  // namespace

const char* const kLibgpsFile = VMR_LIBGPS_SONAME;

std::optional<Libgps> LoadLibgps(std::string& error, const std::string& file) {
  Libgps gps;
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library != nullptr && FindAll(library, gps)) return gps;
  const char* const reason = dlerror();
  error = fmt::format(
      "--gpsd needs {}, which cannot be loaded ({}); install it, with Debian by "
      "`apt install {}`, and try again",
      file, reason != nullptr ? reason : "no reason is told", VMR_LIBGPS_PACKAGE);
  return std::nullopt;
}

}  // namespace vmr::tool
