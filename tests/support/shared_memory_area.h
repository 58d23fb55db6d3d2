// The machine's shared memory area of one identifier, for a test of its own.
#ifndef VMR_TESTS_SUPPORT_SHARED_MEMORY_AREA_H_
#define VMR_TESTS_SUPPORT_SHARED_MEMORY_AREA_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace vmr::test {

// Areas belong to the machine and outlive the process that made them: each test
// begins and ends without, and tests of other processes wait meanwhile.
class SharedMemoryArea : public testing::Test {
 protected:
  explicit SharedMemoryArea(char id = 'T') : name_(std::string("/vmr.") + id) {
    EXPECT_EQ(flock(turn_, LOCK_EX), 0);
    shm_unlink(name_.c_str());
  }
  ~SharedMemoryArea() override {
    shm_unlink(name_.c_str());
    close(turn_);
  }

  // How many mappings of the area this process has.
  int Mappings() const {
    int count = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
      if (line.find("/dev/shm" + name_) != std::string::npos) ++count;
    return count;
  }

 private:
  std::string name_;
  int turn_ = open((std::filesystem::temp_directory_path() / "vmr-shared-memory-test.lock").c_str(),
                   O_RDWR | O_CREAT | O_CLOEXEC, 0600);
};

class MetadataManagersArea : public SharedMemoryArea {
 protected:
  MetadataManagersArea() : SharedMemoryArea('M') {}
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_SHARED_MEMORY_AREA_H_
