// A cluster's CRC, carried forward when packets are appended.
#ifndef VMR_BACKENDS_CARRIED_CRC_H_
#define VMR_BACKENDS_CARRIED_CRC_H_

#include <array>

#include "host/crc8.h"

namespace vmr {

// Computed anew for every packet, the CRC of a cluster that fills up would cost ten
// times what everything else does that an append needs the processor for.
//
// A CRC is linear: the CRCs of two messages of one length differ by the CRC, begun with
// 0, of the bits in which the messages do. An append changes the size field, and as many
// payload bytes stand behind that as the cluster held before. So its CRC changes by that
// of the size's changed bits, moved on by so many zero bytes, and then takes in the new
// bytes as it takes in any.
//
// A zero byte gives every value of the register another one, and no two the same: it
// moves them round in rings. Their 256 values are kept ring by ring, so that moving on
// by any number of bytes is a look-up, with 1 KiB of tables in all.
//
// The unit's maker may put any Crc8 in the place of the default one. What is no CRC of
// eight bits taken byte by byte is found out by Learn, and the whole cluster is then
// summed up every time.
//
// Owns     nothing.
// Threads  none.
// Errors   none: a CRC that cannot be carried, or not yet, is computed.
class CarriedCrc {
 public:
  using Service = decltype(&Crc8);

  // Works out the tables from the CRC service, and whether they say what it does.
  // Of a cluster that was filled before this, the next CRC is computed.
  void Learn(Service service = Crc8);
  // So is the next one behind this: something else has changed than the cluster's size
  // and what lies behind its bytes.
  void Forget() { sealed_bytes_ = 0; }

  // What byte 0 of the cluster must be. Behind its first `bytes_before` bytes it holds
  // new ones, and its size field tells how many; byte 0 is still what it was.
  //
  // The first carried one is compared with the computed one, and in builds with
  // assertions every one.
  [[nodiscard]] unsigned char OfAppended(const unsigned char* cluster, int bytes_before);

  // Whether the service is of the kind that can be carried, as far as is known.
  bool CanCarry() const { return trust_ != Trust::kNone; }

 private:
  enum class Trust { kNone, kUnproven, kProven };
  // Of a value of the register.
  struct Place {
    unsigned char ring_start;  // in `rings_`
    unsigned char ring_length;
    unsigned char index;  // in its ring
  };

  bool LayOutRings();
  bool IsLinear() const;
  bool IsTakenByteWise() const;
  bool IsTakenAlikeAtEveryLength() const;
  unsigned char MovedOn(unsigned int value, unsigned int bytes) const;
  unsigned char Computed(const unsigned char* cluster) const;
  unsigned char Carry(const unsigned char* cluster, int bytes_before) const;

  Service service_ = Crc8;
  Trust trust_ = Trust::kNone;
  int sealed_bytes_ = 0;  // of the cluster whose CRC was told last; 0: none
  std::array<unsigned char, 256> rings_ = {};
  std::array<Place, 256> places_ = {};
};

}  // namespace vmr

#endif  // VMR_BACKENDS_CARRIED_CRC_H_
