// The unit's shared memory service.
#ifndef VMR_HOST_SHARED_MEMORY_H_
#define VMR_HOST_SHARED_MEMORY_H_

namespace vmr {

// One attachment to a named area.
//
// Owns     the attachment, until the object is destroyed.
class SharedMemory {
 public:
  SharedMemory() = default;
  ~SharedMemory();
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  // Attaches the area of `size` bytes known by the character `id`, creating it
  // zeroed if it does not exist yet. Null on failure. A second call gives up
  // the first attachment.
  [[nodiscard]] void* Attach(unsigned int size, char id);

 private:
  void Detach();

  void* area_ = nullptr;
  unsigned int size_ = 0;
};

}  // namespace vmr

#endif  // VMR_HOST_SHARED_MEMORY_H_
