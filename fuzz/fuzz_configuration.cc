// Any bytes as a unit's configuration file, reported to a store.
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include "backends/data_store_null.h"
#include "fuzz/fuzz_setup.h"
#include "reader/metadata_reader.h"
#include "tools/events/event.h"
#include "tools/record/unit_configuration.h"

namespace {

using vmr::fuzz::Require;

// Parses what was recorded, and counts it.
class ParsedBack final : public vmr::DataStoreNull {
 public:
  int WriteData(const unsigned char* packet, int length, unsigned int /*sysTick*/) override {
    Require(reader_.ParsePacket(mirror_, packet, length) == 1, "what is recorded can be read");
    mirror_.WriteBuffers();
    bytes_ += static_cast<unsigned int>(length);
    return 1;
  }
  unsigned int Bytes() const { return bytes_; }

 private:
  vmr::MetadataReader reader_;
  vmr::DataStoreNull mirror_;
  unsigned int bytes_ = 0;
};

// The file's path; its content is the bytes.
std::string PathOf(const std::uint8_t* data, std::size_t size) {
  static const int kFile = memfd_create("configuration", MFD_CLOEXEC);
  const bool filled =
      ftruncate(kFile, 0) == 0 && pwrite(kFile, data, size, 0) == static_cast<ssize_t>(size);
  Require(filled, "the input is written");
  return fmt::format("/proc/self/fd/{}", kFile);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  const auto configuration = vmr::tool::LoadConfiguration(PathOf(data, size));
  if (!configuration) return 0;
  ParsedBack store;
  store.InitCurrentSystemTick(1);
  vmr::tool::ReportAll(*configuration, store);
  store.WriteBuffers();
  constexpr unsigned int kMostPacketHeads = 16 * 7;
  Require(store.Bytes() <= vmr::tool::kMostConfigurationBytes + kMostPacketHeads,
          "a configuration makes no more bytes than it may");
  store.WriteFullState(false);
  store.WriteBuffers();
  return 0;
}
