#include "reader/output_room.h"

#include <cstdio>

namespace vmr {

// What the file begins with says which range it is.
void OutputRoom::ReportLabel() const {
  char label[256];
  std::snprintf(label, sizeof(label), "Range %u to %u", range_.start, range_.end);
  label[sizeof(label) - 1] = '\0';
  out_.ReportStringData(TAG_LOG, label);
}

void OutputRoom::KeepForCluster() {
  if (!IsScarce()) return;
  discarded_ = true;
  Discard();
}

void OutputRoom::KeepForState() {
  if (!discarded_ && !IsScarce()) return;
  discarded_ = false;
  Discard();
}

void OutputRoom::Discard() {
  out_.DiscardPendingItems();
  if (labelled_) ReportLabel();
}

}  // namespace vmr
