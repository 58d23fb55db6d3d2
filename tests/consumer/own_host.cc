// The services of host/, all of them, as small as they can be: a host that has
// no files, and nobody to share memory with.
#include "own_host.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "host/crc8.h"
#include "host/enum_to_string.h"
#include "host/file_ops.h"
#include "host/gps_util.h"
#include "host/log.h"
#include "host/mic_client.h"
#include "host/shared_memory.h"
#include "host/string_utilities.h"
#include "host/systick.h"
#include "host/wall_clock.h"
#include "host/watchdog.h"

namespace vmr {
namespace {

class FixedClock final : public WallClock {
 public:
  std::time_t Now() override {
    ++own_host_use.clock_readings;
    return 1700000000;
  }
};

class NoFiles final : public FileOps {
 public:
  int Open(const char*, int, mode_t) override { return Refuse(); }
  ssize_t Read(int, void*, std::size_t) override { return Refuse(); }
  ssize_t Write(int, const void*, std::size_t) override { return Refuse(); }
  off_t Lseek(int, off_t, int) override { return Refuse(); }
  int Fsync(int) override { return Refuse(); }
  int Close(int) override { return Refuse(); }
  int Stat(const char*, struct stat*) override { return Refuse(); }
  int Chmod(const char*, mode_t) override { return Refuse(); }
  int Rename(const char*, const char*) override { return Refuse(); }
  int Unlink(const char*) override { return Refuse(); }
  int Remove(const char*) override { return Refuse(); }
  int System(const char*) override { return Refuse(); }
  int Usleep(unsigned int) override { return 0; }

 private:
  static int Refuse() {
    errno = ENOSYS;
    return -1;
  }
};

}  // namespace

unsigned char Crc8(const unsigned char* data, unsigned int length, unsigned char initial) {
  ++own_host_use.crcs;
  unsigned int crc = initial;
  for (unsigned int i = 0; i < length; ++i) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80) ? (crc << 1 ^ 0x07) & 0xFF : crc << 1;
  }
  return static_cast<unsigned char>(crc);
}

unsigned int LogClient::AskHost() const {
  mask_ = 0xFF;
  return mask_;
}
const char* LogClient::ProcessName() const { return "own host"; }
void LogMsg::Log(unsigned int, std::string_view) { ++own_host_use.log_lines; }
void SysLogMsg::Log(unsigned int, std::string_view) {}

unsigned int Systick::SystemTick() const { return 1000; }
unsigned int Systick::PriorShutdownTick() const { return 0; }

WallClock& WallClock::Current() {
  static FixedClock clock;
  return clock;
}
WallClock* WallClock::Use(WallClock*) { return &Current(); }
bool LocalTime(std::time_t seconds, std::tm* result) {
  return gmtime_r(&seconds, result) != nullptr;
}

FileOps& FileOps::Current() {
  static NoFiles files;
  return files;
}
FileOps* FileOps::Use(FileOps*) { return &Current(); }

GpsUtil* GpsUtil::Instance() {
  static GpsUtil util;
  return &util;
}
int GpsUtil::CalcGpsSeconds(int fraction) const { return fraction * 60 / 10000; }

unsigned int StringUtilities::SafeStrCpyCnt(char* dest, const char* source, unsigned int size) {
  if (size == 0) return 0;
  const std::size_t count = source == nullptr ? 0 : strnlen(source, size - 1);
  if (count > 0) std::memcpy(dest, source, count);
  dest[count] = '\0';
  return static_cast<unsigned int>(count);
}

const char* EnumToString::SpeedUnitsToStr(int) { return "units"; }
const char* EnumToString::RadarTypeToStr(int) { return "radar"; }
const char* EnumToString::MicPositionToStr(int) { return "position"; }
const char* EnumToString::TimeZoneToStr(int) { return "UTC"; }
const char* EnumToString::CameraPortToStr(int) { return "port"; }
const char* EnumToString::VideoFormatToStr(int) { return "format"; }
const char* const MicClient::names[MicClient::kMicCount] = {"1", "2", "3", "4"};

SharedMemory::~SharedMemory() { Detach(); }
void* SharedMemory::Attach(unsigned int size, char) {  // shared with nobody
  Detach();
  size_ = size;
  return area_ = std::calloc(1, size_);
}
void SharedMemory::Detach() {
  std::free(area_);
  area_ = nullptr;
}

void Watchdog::PetWatchdog() {}

}  // namespace vmr
