#include "ticks.h"

#include <fcntl.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "host/systick.h"

namespace unit {
namespace {

constexpr unsigned int kStep = 1200;  // ten minutes
constexpr unsigned int kNear = 120;

std::string ceiling_file;
unsigned int ceiling = 0;
unsigned int offset = 0;  // added to the system's counter
unsigned int prior_shutdown = 0;

// CLOCK_BOOTTIME goes on while the unit sleeps and does not follow the calendar.
unsigned int HalfSecondsSinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<unsigned int>(now.tv_sec * 2 + now.tv_nsec / 500000000);
}

// 0 when there is none.
unsigned int ReadCeiling() {
  char text[16] = "";
  const int fd = open(ceiling_file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 0;
  const bool read_all = read(fd, text, sizeof(text) - 1) > 0;
  close(fd);
  return read_all ? static_cast<unsigned int>(strtoul(text, nullptr, 10)) : 0;
}

// The new file takes the old one's place only when it is on the device, so a
// power cut leaves one of the two.
bool WriteCeiling(unsigned int tick) {
  const std::string next = ceiling_file + ".tmp";
  char text[16];
  const int length = snprintf(text, sizeof(text), "%u\n", tick);
  const int fd = open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0660);
  if (fd < 0) return false;
  const bool written = write(fd, text, static_cast<size_t>(length)) == length && fsync(fd) == 0;
  close(fd);
  if (!written || rename(next.c_str(), ceiling_file.c_str()) != 0) return false;
  ceiling = tick;
  return true;
}

}  // namespace

bool StartTicks(const std::string& file, unsigned int last_recorded) {
  ceiling_file = file;
  const unsigned int first = std::max(ReadCeiling(), last_recorded) + 1;
  offset = first - HalfSecondsSinceBoot();
  prior_shutdown = last_recorded;
  return WriteCeiling(first + kStep);
}

unsigned int TickNow() { return offset + HalfSecondsSinceBoot(); }

bool KeepTicks() {
  const unsigned int now = TickNow();
  return now + kNear < ceiling || WriteCeiling(now + kStep);
}

bool StopTicks() { return WriteCeiling(TickNow()); }

}  // namespace unit

// What the library asks.
namespace vmr {

unsigned int Systick::SystemTick() const { return unit::TickNow(); }

// The last recorded tick also after a power cut: the startup record must not
// stand behind the packets before it with an older tick.
unsigned int Systick::PriorShutdownTick() const { return unit::prior_shutdown; }

}  // namespace vmr
