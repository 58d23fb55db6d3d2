#include "store/items.h"

#include <cstring>

#include "host/string_utilities.h"
#include "store/data_store.h"
#include "store/log_source.h"

namespace vmr {
namespace {
constexpr const char* kLogSource = kDataStoreLogSource;
}

void AddTextItem(DataStore& store, const unsigned char* head, std::size_t head_bytes,
                 const char* text, unsigned short slack) {
  constexpr std::size_t kLongestHead = kMicDescHeadBytes;
  constexpr unsigned int kTextLimit = 256;
  unsigned char item[kLongestHead + kTextLimit];
  memcpy(item, head, head_bytes);
  const auto length = static_cast<unsigned char>(
      StringUtilities::SafeStrCpyCnt(reinterpret_cast<char*>(item + head_bytes), text, kTextLimit));
  item[head_bytes - 1] = length;
  store.AddToCurrPacket(item, static_cast<unsigned int>(head_bytes + length), slack);
}

bool HasTag(unsigned char id) {
  if (id >= kFirstTaggedId && id <= kLastTaggedId) return true;
  VMR_LOG(kLogError,
          "No item for device id " << static_cast<unsigned int>(id) << ", ids are 1 to 7");
  return false;
}

void LogNull(const char* operation) { VMR_LOG(kLogError, "Null value passed to " << operation); }

}  // namespace vmr
