// Who and what the recording belongs to, and free texts.
#include "tools/events/families.h"
#include "tools/events/records.h"

namespace vmr::tool {
namespace {

EventAction ReportText(e_Tag tag, const JsonFields& fields) {
  return [tag, text = fields.Text("text")](DataStore& store, unsigned int) {
    store.ReportStringData(tag, text.c_str());
  };
}

}  // namespace

EventAction ParseOfficer(const JsonFields& fields) {
  return [officer = OfficerOf(fields)](DataStore& store, unsigned int) {
    store.ReportOfficerInfo(officer, true);
  };
}

EventAction ParseVehicle(const JsonFields& fields) {
  return [vehicle = VehicleOf(fields)](DataStore& store, unsigned int) {
    store.ReportVehicleInfo(vehicle, true);
  };
}

EventAction ParseDepartment(const JsonFields& fields) {
  return [department = DepartmentOf(fields)](DataStore& store, unsigned int) {
    store.ReportDepartmentInfo(department, true);
  };
}

EventAction ParseSerialNumber(const JsonFields& fields) {
  return [serial = fields.Text("serial_number")](DataStore& store, unsigned int) {
    store.ReportSystemSerialNum(serial);
  };
}

EventAction ParseMac(const JsonFields& fields) {
  return [mac = fields.Mac("mac")](DataStore& store, unsigned int) {
    store.ReportMac(mac.data(), true);
  };
}

EventAction ParseVersion(const JsonFields& fields) {
  return [version = VersionOf(fields)](DataStore& store, unsigned int) {
    store.ReportVersion(version.component, version.text.c_str());
  };
}

EventAction ParseLog(const JsonFields& fields) { return ReportText(TAG_LOG, fields); }

EventAction ParseTest(const JsonFields& fields) { return ReportText(TAG_TEST, fields); }

}  // namespace vmr::tool
