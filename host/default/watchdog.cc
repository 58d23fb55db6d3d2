#include "host/watchdog.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace vmr {

// Tells a service manager that speaks the sd_notify protocol; without one
// (NOTIFY_SOCKET unset) there is nobody to tell.
void Watchdog::PetWatchdog() {
  static constexpr char kAlive[] = "WATCHDOG=1";
  const char* path = getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (path == nullptr || *path == '\0' || strlen(path) >= sizeof(address.sun_path)) return;
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path, strlen(path));
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + strlen(path));
  // A manager that is gone or busy must not stop the operation that pets.
  static_cast<void>(sendto(fd, kAlive, sizeof(kAlive) - 1, MSG_DONTWAIT | MSG_NOSIGNAL,
                           reinterpret_cast<const sockaddr*>(&address), length));
  close(fd);
}

}  // namespace vmr
