// One event of the input, ready to be reported.
#ifndef VMR_TOOLS_EVENTS_EVENT_H_
#define VMR_TOOLS_EVENTS_EVENT_H_

#include <functional>
#include <string_view>

#include "store/data_store.h"
#include "tools/events/json_fields.h"

namespace vmr::tool {

// Reports one event to a store, as of `tick`.
using EventAction = std::function<void(DataStore& store, unsigned int tick)>;

// A kind of event.
struct EventKind {
  std::string_view name;
  // The fields fit the schema of this kind.
  EventAction (*parse)(const JsonFields& fields);
  // At most so many item bytes does one of them make, a tick adjustment before
  // every item included.
  unsigned int most_bytes;
  // It may write the time zone's name, an item that no reader accepts: readers
  // leave out what follows it in its packet.
  bool ends_packet = false;
};

struct Event {
  EventAction action;
  const EventKind* kind = nullptr;
};

// Of the whole configuration, with texts as long as they may be.
inline constexpr unsigned int kMostConfigurationBytes = 1300;

// The kind of that name, null when there is none.
const EventKind* FindEventKind(std::string_view name);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_EVENT_H_
