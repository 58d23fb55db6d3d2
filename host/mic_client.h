// The unit's microphones.
#ifndef VMR_HOST_MIC_CLIENT_H_
#define VMR_HOST_MIC_CLIENT_H_

namespace vmr {

class MicClient {
 public:
  static constexpr int kMicCount = 4;
  // Names by microphone position, 0..kMicCount - 1.
  static const char* const names[kMicCount];
};

}  // namespace vmr

#endif  // VMR_HOST_MIC_CLIENT_H_
