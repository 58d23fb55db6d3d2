// A recording session that is the same on every machine: everything that a host
// can report, with the values at which machines differ.
#ifndef VMR_TESTS_INTERCHANGE_COURSE_H_
#define VMR_TESTS_INTERCHANGE_COURSE_H_

#include <ctime>
#include <string>

#include "store/data_store.h"
#include "tests/support/test_clock.h"

namespace vmr::test {

// Nothing random and nothing of the machine goes in, the order in which a
// compiler evaluates the arguments of a call included.
class Course {
 public:
  // `store` is open; the first tick is `tick`.
  Course(DataStore& store, unsigned int tick) : store_(store), tick_(tick) {}

  // Reports everything, some 500 ticks long, flushed at the end.
  void Run();

 private:
  using Part = void (Course::*)();

  void Tick();
  void Settle();
  void Devices();
  void CamerasAndMicrophones();
  void Identity();
  void Policies();
  void Positions();
  void MovesAroundTheLimit();
  void ValuesOfOneSignedByte();
  void TextsOfEveryByte();
  void IdsBeyondAscii();
  void Clocks();
  void Fix(int lat_tts, int lon_tts, bool north, bool east);

  DataStore& store_;
  unsigned int tick_;
  unsigned int number_ = 0;  // of the round, 0, 1, 2, ...
  TestClock clock_{0};
  std::time_t clock_offset_s_ = 1700000000;
};

// Every item kind many times over, its payload one that no host would write, as
// a whole flat file.
std::string FlatFileOfGarbage();

}  // namespace vmr::test

#endif  // VMR_TESTS_INTERCHANGE_COURSE_H_
