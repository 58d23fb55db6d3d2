// Dates and times as the viewer prints them.
#ifndef VMR_READER_DATE_TEXT_H_
#define VMR_READER_DATE_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vmr {

// Local times as "06/19/2019 16:50:07". Asking the C library costs more than the line in
// which the time stands; so it is asked once for an hour, and the hour's other seconds
// are counted from there. An hour in which the clocks change is not counted through.
//
// Owns     the hour that was asked for last.
// Threads  none.
class DateText {
 public:
  // Valid until the next call; empty when the second has no local time.
  std::string_view Of(std::int32_t second);

 private:
  void Learn(std::int32_t second);

  // The seconds whose text is known: none yet, one, or an hour, of which minutes and
  // seconds are counted.
  std::int64_t first_ = 1;
  std::int64_t last_ = 0;
  bool has_text_ = false;  // they have a local time
  std::size_t length_ = 0;
  char text_[80] = {};  // room for any seven numbers
};

}  // namespace vmr

#endif  // VMR_READER_DATE_TEXT_H_
