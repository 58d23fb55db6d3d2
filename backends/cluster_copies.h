// Telling the better of two copies of a cluster from the worse, where the cluster's
// own CRC of eight bits says that both are whole.
#ifndef VMR_BACKENDS_CLUSTER_COPIES_H_
#define VMR_BACKENDS_CLUSTER_COPIES_H_

namespace vmr {

// All of these look at images of 4096 bytes, of which `size` may say anything.

// Each packet is whole, ends as it must, and the last one ends where `size` says. A
// torn write hardly ever leaves that, whatever the cluster's CRC says. True, too, of a
// cluster without packets.
bool PacketsAreSound(const unsigned char* cluster);

// The bytes in use that a copy whose CRC is wrong claims, when packets of these
// lengths do end there, whatever is in them; else 0.
int ClaimedBytes(const unsigned char* cluster);

// The bytes in use, the header's first tick included, are the same.
bool AreSameCopy(const unsigned char* a, const unsigned char* b);

// The tick that sound packets reach, from the cluster's first one on; 0 where that is none.
unsigned int LastToldTick(const unsigned char* cluster);

// `challenger` holds packets, and is to be taken instead of `holder`: it is sound
// where the other is not, or both are and the other, which holds packets too, is its
// beginning.
bool IsBetterCopy(const unsigned char* challenger, const unsigned char* holder);

}  // namespace vmr

#endif  // VMR_BACKENDS_CLUSTER_COPIES_H_
