#include "tools/events/json_fields.h"

#include "tools/common/iso_time.h"
#include "tools/common/numbers.h"
#include "tools/events/json_values.h"

namespace vmr::tool {

std::int64_t JsonFields::NumberOf(const char* name) const {
  return schema_.Property(name)->NumberOf(Value(name));
}

std::int64_t JsonFields::Time(const char* name) const {
  return ParseIsoTime(Value(name).get_ref<const std::string&>()).value_or(0);
}

std::uint32_t JsonFields::Address(const char* name) const {
  if (!Value(name).is_string()) return Number<std::uint32_t>(name);
  return ParseIpv4(Value(name).get_ref<const std::string&>()).value_or(0);
}

std::array<unsigned char, 6> JsonFields::Mac(const char* name) const {
  return ParseMac(Value(name).get_ref<const std::string&>())
      .value_or(std::array<unsigned char, 6>{});
}

JsonFields JsonFields::Object(const char* name) const {
  return {Value(name), *schema_.Property(name)};
}

std::vector<JsonFields> JsonFields::List(const char* name) const {
  std::vector<JsonFields> list;
  for (const nlohmann::json& item : Value(name))
    list.emplace_back(item, *schema_.Property(name)->Items());
  return list;
}

}  // namespace vmr::tool
