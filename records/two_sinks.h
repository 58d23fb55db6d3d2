// Hands what a decoder finds to two sinks.
#ifndef VMR_RECORDS_TWO_SINKS_H_
#define VMR_RECORDS_TWO_SINKS_H_

#include "records/record.h"

namespace vmr::records {

// The first gets each thing before the second does. Both must outlive it.
class TwoSinks final : public Sink {
 public:
  TwoSinks(Sink& first, Sink& second) : first_(first), second_(second) {}

  void OnPacket(const PacketFound& packet) override {
    first_.OnPacket(packet);
    second_.OnPacket(packet);
  }
  void OnRecord(const Record& record) override {
    first_.OnRecord(record);
    second_.OnRecord(record);
  }
  void OnGap(const Gap& gap) override {
    first_.OnGap(gap);
    second_.OnGap(gap);
  }
  void OnClockStep(const ClockStep& step) override {
    first_.OnClockStep(step);
    second_.OnClockStep(step);
  }
  void OnNewRun(int run, unsigned int tick) override {
    first_.OnNewRun(run, tick);
    second_.OnNewRun(run, tick);
  }

 private:
  Sink& first_;
  Sink& second_;
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_TWO_SINKS_H_
