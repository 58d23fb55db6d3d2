// Reports that a source of speeds came or went.
#ifndef VMR_TOOLS_EVENTS_AVAILABILITY_H_
#define VMR_TOOLS_EVENTS_AVAILABILITY_H_

#include "store/data_store.h"

namespace vmr::tool {

// Readers of a recording stop trusting the source's last speed when it goes.
// These tell the store so too; otherwise it would keep back a speed that is the
// same when the source comes back, and readers would go without it.
void ReportGpsAvailable(DataStore& store, bool available);
void ReportRadarConnected(DataStore& store, bool connected);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_AVAILABILITY_H_
