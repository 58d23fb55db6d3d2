// What the program with services of its own counts of their use.
#ifndef VMR_CONSUMER_OWN_HOST_H_
#define VMR_CONSUMER_OWN_HOST_H_

struct OwnHostUse {
  int log_lines = 0;
  int crcs = 0;
  int clock_readings = 0;
};
inline OwnHostUse own_host_use;

#endif  // VMR_CONSUMER_OWN_HOST_H_
