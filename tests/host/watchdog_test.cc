#include "host/watchdog.h"

#include <gtest/gtest.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "tests/support/temp_dir.h"

namespace vmr::test {
namespace {

// Listens as a service manager does. A name that begins with '@' is abstract.
class Manager {
 public:
  explicit Manager(const std::string& name) : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    bound_ = bind(socket_, reinterpret_cast<const sockaddr*>(&address), length) == 0;
  }
  ~Manager() { close(socket_); }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  bool Bound() const { return bound_; }
  // The next message; "" when there is none.
  std::string Received() const {
    char text[100];
    const ssize_t count = recv(socket_, text, sizeof(text), MSG_DONTWAIT);
    return count < 0 ? "" : std::string(text, static_cast<std::size_t>(count));
  }

 private:
  int socket_;
  bool bound_ = false;
};

std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

class Pet : public testing::Test {
 protected:
  Pet() { unsetenv("NOTIFY_SOCKET"); }
  ~Pet() override { unsetenv("NOTIFY_SOCKET"); }

  static void TellAbout(const std::string& socket) { setenv("NOTIFY_SOCKET", socket.c_str(), 1); }

  TempDir dir;
  Watchdog watchdog;
};

TEST_F(Pet, TellsTheServiceManager) {
  const Manager manager(dir.Path("notify"));
  ASSERT_TRUE(manager.Bound());
  TellAbout(dir.Path("notify"));
  watchdog.PetWatchdog();
  EXPECT_EQ(manager.Received(), "WATCHDOG=1");
  EXPECT_EQ(manager.Received(), "") << "once";
  watchdog.PetWatchdog();
  EXPECT_EQ(manager.Received(), "WATCHDOG=1");
}

TEST_F(Pet, TellsAManagerWithAnAbstractAddress) {
  const std::string name = "@vmr-test-" + std::to_string(getpid());
  const Manager manager(name);
  ASSERT_TRUE(manager.Bound());
  TellAbout(name);
  watchdog.PetWatchdog();
  EXPECT_EQ(manager.Received(), "WATCHDOG=1");
}

TEST_F(Pet, IsHarmlessWithoutAManager) {
  watchdog.PetWatchdog();
  for (const std::string& socket :
       {std::string(), dir.Path("nobody"), std::string(108, 'x'), std::string(5000, 'x')}) {
    TellAbout(socket);
    watchdog.PetWatchdog();
  }
}

TEST_F(Pet, DoesNotWaitForAManagerThatDoesNotRead) {
  const Manager manager(dir.Path("notify"));
  TellAbout(dir.Path("notify"));
  for (int i = 0; i < 5000; ++i) watchdog.PetWatchdog();
  EXPECT_EQ(manager.Received(), "WATCHDOG=1");
}

TEST_F(Pet, LeavesNoDescriptorOpen) {
  const Manager manager(dir.Path("notify"));
  const std::ptrdiff_t before = OpenDescriptors();
  for (const char* name : {"notify", "nobody"}) {
    TellAbout(dir.Path(name));
    watchdog.PetWatchdog();
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
}  // namespace vmr::test
