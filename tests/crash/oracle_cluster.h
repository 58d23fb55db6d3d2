// What the bytes of one cluster say: the oracle's own reading of the format, which
// shares no code with the store, its CRC and byte orders included.
#ifndef VMR_TESTS_CRASH_ORACLE_CLUSTER_H_
#define VMR_TESTS_CRASH_ORACLE_CLUSTER_H_

#include <cstdint>

namespace vmr::crash {

// Of 4096 bytes. True when they are a cluster with a right CRC.
bool IsWholeCluster(const unsigned char* cluster);
// Its used bytes.
int UsedBytes(const unsigned char* cluster);
std::uint32_t FirstTick(const unsigned char* cluster);
// The tick that its packets reach, 0 if none.
std::uint32_t WalkTicks(const unsigned char* cluster);
// Its packets are whole, end as they must, and fill it to the last used byte.
bool HasSoundPackets(const unsigned char* cluster);

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_ORACLE_CLUSTER_H_
