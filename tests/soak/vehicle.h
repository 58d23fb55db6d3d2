// A vehicle in which things happen at random: reports them to a store and knows
// by itself which item bytes must come of it.
#ifndef VMR_TESTS_SOAK_VEHICLE_H_
#define VMR_TESTS_SOAK_VEHICLE_H_

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "store/data_store.h"

namespace vmr::test {

// The state of everything that a full dump repeats, as small as it can be told.
struct VehicleState {
  static constexpr int kUnknown = -1;  // not reported since the store was opened

  bool inputs[11] = {};
  bool mic_present[4] = {};
  bool mic_on[4] = {};
  int streams[4] = {};
  int cameras[4] = {};
  bool live[6] = {};
  int speeds[2] = {kUnknown, kUnknown};  // of the receiver, of the radar
  int radar_target = kUnknown;
  int radar_lock = 0;
  int radar_direction = 0;
  int temperatures[4] = {-1000, -1000, -1000, -1000};  // none
  bool gps_available = true;
  bool placed = false;
  int lat_tts = 0;
  int lon_tts = 0;
};

// What is wrong with a reader's mirror; empty when it shows the state.
std::string Differences(const StateMirror& mirror, const VehicleState& state);

// The items of one packet, header and CRC left out. Lengths are those of
// docs/format.md.
std::vector<std::string> ItemsOf(const unsigned char* packet, int length);

// Owns     nothing; the store given last must outlive the next call.
class Vehicle {
 public:
  // The host's part of opening a store: `store` knows nothing yet.
  void StartIn(DataStore& store);
  // The startup record as of the run before.
  void ReportStartup();
  void ReportConfiguration();
  // The shutdown record.
  void ReportShutdown();

  // One thing that happens at `tick`.
  void Act(unsigned int tick);
  // A text of 230 characters, to fill the ring.
  void Talk();
  // An event that became known `ticks` after it happened, at a time when the
  // store's waiting began at `waiting_since`.
  void ActLate(unsigned int waiting_since, unsigned char ticks);

  const VehicleState& State() const { return state_; }
  // The item bytes that must have come of it since Forget, in no order.
  const std::vector<std::string>& Expected() const { return expected_; }
  void Forget() { expected_.clear(); }

 private:
  unsigned int Random(unsigned int below) { return static_cast<unsigned int>(random_()) % below; }
  void Expect(std::initializer_list<int> bytes);
  void ExpectText(int tag, const std::string& text);

  void Input(unsigned int tick);
  void Microphone(unsigned int tick);
  void Picture(unsigned int tick);
  void LiveStream(unsigned int tick);
  void Speed(unsigned int tick);
  void Radar(unsigned int tick);
  void Temperature(unsigned int tick);
  void Fix(unsigned int tick);
  void Receiver(unsigned int tick);
  void Press(unsigned int tick);
  void Crew(unsigned int tick);
  void Policy(unsigned int tick);

  void SetInput(int n, bool on, unsigned int tick);
  void SetMic(int n, bool present, bool on, unsigned int tick);

  std::mt19937 random_{20260101};
  DataStore* store_ = nullptr;
  VehicleState state_;
  std::vector<std::string> expected_;
  SystemInfo system_;
  unsigned int shift_ = 0;  // which officer drives
  unsigned int talks_ = 0;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SOAK_VEHICLE_H_
