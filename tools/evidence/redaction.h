// What is to be taken out of a recording before it is handed on, as people write it.
#ifndef VMR_TOOLS_EVIDENCE_REDACTION_H_
#define VMR_TOOLS_EVIDENCE_REDACTION_H_

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "records/kinds.h"

namespace vmr::tool {

// Classes of records::Sensitivities(). Free texts may repeat anything else, so they are taken out
// with whatever is, unless they are to stay on purpose.
class Redaction {
 public:
  // Of a list such as "identity,gps=1km", "radar,text=keep" or "text". Nothing, and what is wrong
  // and what there is, for one that cannot be understood.
  static std::optional<Redaction> Of(std::string_view list, std::string& error);

  bool TakesOut(records::Sensitivity sensitivity) const {
    return taken_[static_cast<std::size_t>(sensitivity)];
  }
  // For what a record of the kind, or a field of it, is taken out; kNone: it stays.
  records::Sensitivity TakenOutFor(const records::KindRow& kind) const;
  // Of a record of the kind nothing goes but its text, such as the name of a device.
  bool TakesOnlyTextOf(const records::KindRow& kind) const;
  // Of the cells to whose middles positions are moved; 0: none are written, or all stay.
  unsigned int CellMetres() const { return cell_m_; }

  // "identity,gps=1km,text": the same for every list that means the same.
  std::string Text() const;

  // Names and values that there are, for people: "identity, gps (gps=1km), ...".
  static std::string WhatThereIs();

 private:
  bool Take(std::string_view name, std::optional<std::string_view> value, std::string& error);

  std::array<bool, records::kSensitivityCount> taken_{};
  unsigned int cell_m_ = 0;
  bool keeps_text_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_REDACTION_H_
