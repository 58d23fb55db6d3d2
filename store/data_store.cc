#include "store/data_store.h"

#include <new>

#include "store/log_source.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"

namespace vmr {
namespace {
constexpr const char* kLogSource = kDataStoreLogSource;
}

DataStore::DataStore(DATA_STORE_TYPE_T type, int bufferSize)
    : type_(type), work_buffer_size_(bufferSize) {}

DataStore::~DataStore() = default;

int DataStore::OpenInit() {
  if (IsOpen()) {
    VMR_LOG(kLogError, "Open called on a store that is open");
    return 0;
  }
  work_buffer_.reset(new (std::nothrow) unsigned char[static_cast<std::size_t>(work_buffer_size_)]);
  if (!IsOpen()) {
    VMR_LOG(kLogFatal, "OpenInit: Could not allocate memory");
    return 0;
  }
  // The first packet after an open carries the whole tick, so that a reader who
  // starts there knows where it is.
  last_written_tick_ = kNoTick;
  ++openings_;
  return 1;
}

int DataStore::Close() {
  work_buffer_.reset();
  VMR_LOG(kLogEachItem, "Close"
                            << "done");
  return 1;
}

int DataStore::ReadDataIntoBuffer(long /*position*/, unsigned char* /*buffer*/, int /*bufferSize*/,
                                  int& bytesRead, long& /*nextPosition*/) {
  bytesRead = 0;
  VMR_LOG(kLogError, "Error calling ReadDataIntoBuffer");
  return 0;
}

long DataStore::InitialReadLocation() { return 0; }

void DataStore::PrepareDictionary() {
  dictionary_ = DICTIONARY_T{};
  for (const TagRow& row : Tags())
    if (row.listed) AddTag(dictionary_, row.tag, row.variable, row.size);
  dictionary_.entries[std::size_t{2} * dictionary_.count] = 0x00;
  dictionary_length_ = static_cast<int>(WholePacketBytes(DictionaryBytes(), sizeof(dictionary_)));
}

void DataStore::AddTag(DICTIONARY_T& dictionary, e_Tag tag, bool variable, unsigned int size) {
  constexpr unsigned int kVariable = 0x80;
  constexpr unsigned int kSizeMask = 0x3F;
  if (dictionary.count == DICTIONARY_T::kMaxEntries) {
    // Deliberate: the count is shown as one raw character, as the log always has.
    VMR_LOG(kLogError,
            "Adding more tags than allocated for - " << static_cast<char>(dictionary.count));
    return;
  }
  unsigned char* const entry = &dictionary.entries[std::size_t{2} * dictionary.count];
  entry[0] = tag;
  entry[1] = static_cast<unsigned char>((variable ? kVariable : 0U) | (size & kSizeMask));
  ++dictionary.count;
}

}  // namespace vmr
