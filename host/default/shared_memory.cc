#include "host/shared_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vmr {

SharedMemory::~SharedMemory() { Detach(); }

namespace {

// Never makes an area smaller: others may have attached all of it.
bool GrowTo(int fd, off_t size) {
  struct stat status {};
  if (fstat(fd, &status) != 0) return false;
  return status.st_size >= size || ftruncate(fd, size) == 0;
}

}  // namespace

void SharedMemory::Detach() {
  if (area_ != nullptr) munmap(area_, size_);
  area_ = nullptr;
}

// The areas of this machine are POSIX shared memory objects "/vmr.X", X being
// the character. Growing a new one fills it with zeros.
void* SharedMemory::Attach(unsigned int size, char id) {
  Detach();
  const char name[] = {'/', 'v', 'm', 'r', '.', id, '\0'};
  const int fd = shm_open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0660);
  if (fd < 0) return nullptr;
  void* area = MAP_FAILED;
  if (GrowTo(fd, static_cast<off_t>(size)))
    area = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  if (area == MAP_FAILED) return nullptr;
  area_ = area;
  size_ = size;
  return area_;
}

}  // namespace vmr
