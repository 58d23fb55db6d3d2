// The decoders that the tag catalogue names, each beside its family's
// operations. Deliberate: many go through the operations that report, which
// rebuild the mirror exactly as the writer had it. They are called with the whole item in reach.
#ifndef VMR_STORE_DECODERS_H_
#define VMR_STORE_DECODERS_H_

#include <cstring>
#include <type_traits>

#include "store/tag_catalogue.h"

namespace vmr {

// The text of an item, terminated. Decoding allocates nothing for it.
class ItemText {
 public:
  ItemText(const unsigned char* text, unsigned char length) {
    memcpy(text_, text, length);
    text_[length] = '\0';
  }
  const char* c_str() const { return text_; }

 private:
  char text_[kMaxItemTextBytes + 1];
};

// A whole item of `bytes` bytes as the record that lays it out; a text's room
// behind it is 0. Copied: no record is ever laid over a buffer.
template <typename Record>
Record AsRecord(const unsigned char* item, std::size_t bytes = sizeof(Record)) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  Record record{};
  memcpy(&record, item, bytes);
  return record;
}

// tag_catalogue.cc

// A kind of item as the catalogue names it.
const char* ItemName(e_Tag tag);
// How the viewer begins an item: "[Tag=speed, TagNo=0x71"; the second under the name of
// another number's kind.
void PrintItemHead(e_Tag tag);
void PrintItemHead(e_Tag named, e_Tag number);

void DecodeTickAdjust(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeEndOfStream(DataStore& out, const unsigned char* item, DecodeResult& result);

// gps.cc
void DecodeGpsDesc(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeGpsAbs(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeGpsRel8(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeGpsRel16(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeGpsState(DataStore& out, const unsigned char* item, DecodeResult& result);

// time_temperature.cc
void DecodeTime(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeTempDesc(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeTemp(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeVoltPercent(DataStore& out, const unsigned char* item, DecodeResult& result);

// inputs.cc
void DecodeDiscreteInput(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeCovertOn(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeBookmark(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeButton(DataStore& out, const unsigned char* item, DecodeResult& result);

// speed.cc
void DecodeSpeedDesc(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeSpeed8(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeSpeed16(DataStore& out, const unsigned char* item, DecodeResult& result);

// radar.cc
void DecodeRadarDesc(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeRadarData(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeRadarTarget(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeRadarState(DataStore& out, const unsigned char* item, DecodeResult& result);

// cameras.cc
void DecodeCameraDesc(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeCameraState(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeVideoStreamState(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeVideoStreamFormat(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeLvsState(DataStore& out, const unsigned char* item, DecodeResult& result);

// microphones.cc
void DecodeMicDesc(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeMicData(DataStore& out, const unsigned char* item, DecodeResult& result);

// identity.cc
void DecodeString(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeMac(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodeVersion(DataStore& out, const unsigned char* item, DecodeResult& result);

// policy.cc
void DecodePolicy8(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodePolicy16(DataStore& out, const unsigned char* item, DecodeResult& result);
void DecodePolicyEnd(DataStore& out, const unsigned char* item, DecodeResult& result);

}  // namespace vmr

#endif  // VMR_STORE_DECODERS_H_
