// Discrete inputs, buttons, bookmarks.
#include "tools/events/families.h"

namespace vmr::tool {

EventAction ParseInput(const JsonFields& fields) {
  const DiscreteInput& input = kDiscreteInputs[fields.Number<std::size_t>("name")];
  const e_Tag tag = fields.Bool("on") ? input.on_tag : input.off_tag;
  return [tag](DataStore& store, unsigned int tick) { store.ReportStateData(tag, true, tick); };
}

EventAction ParseButton(const JsonFields& fields) {
  const auto button = fields.Number<e_button_list>("button");
  const auto action = fields.Number<e_button_action_list>("action");
  return [=](DataStore& store, unsigned int) { store.ReportButton(button, action, true); };
}

EventAction ParseBookmark(const JsonFields&) {
  return [](DataStore& store, unsigned int tick) { store.ReportBookmark(tick); };
}

}  // namespace vmr::tool
