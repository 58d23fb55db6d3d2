// Our own: a busy drive's reports, a packet at every timer tick.
#include "backends/data_store_normal.h"
#include "bench/appenders/appender.h"
#include "bench/drive.h"

namespace vmr::bench {
namespace {

class Ring : public Appender {
 public:
  explicit Ring(const std::string& folder) : store_(folder + "/ring") {
    if (store_.Open() == 0) throw Failure("the ring cannot be opened");
    store_.InitCurrentSystemTick(tick_);
    Drive::Equip(store_);
  }
  ~Ring() override { store_.Close(); }

  // The others are handed the packet; here it has yet to be made of what is reported.
  bool Append(const unsigned char* /*packet*/, std::size_t /*bytes*/) override {
    drive_.Tick(store_, ++tick_);
    return store_.LastPacketStored();
  }

 private:
  Drive drive_{Drive::Kind::kBusy};
  DataStoreNormal store_;
  unsigned int tick_ = 1;
};

}  // namespace

std::unique_ptr<Appender> MakeRing(const std::string& folder) {
  return std::make_unique<Ring>(folder);
}

}  // namespace vmr::bench
