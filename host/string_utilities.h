// The unit's bounded string copy.
#ifndef VMR_HOST_STRING_UTILITIES_H_
#define VMR_HOST_STRING_UTILITIES_H_

namespace vmr {

class StringUtilities {
 public:
  // Copies at most size - 1 characters of `source` to `dest`, terminates it and
  // returns how many characters it copied, the terminator not counted. A null
  // source counts as empty; a size of 0 copies nothing and returns 0.
  [[nodiscard]] static unsigned int SafeStrCpyCnt(char* dest, const char* source,
                                                  unsigned int size);
};

}  // namespace vmr

#endif  // VMR_HOST_STRING_UTILITIES_H_
