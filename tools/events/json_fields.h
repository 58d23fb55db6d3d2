// The fields of a JSON object that fits its schema.
#ifndef VMR_TOOLS_EVENTS_JSON_FIELDS_H_
#define VMR_TOOLS_EVENTS_JSON_FIELDS_H_

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/events/schema.h"

namespace vmr::tool {

// The getters take a field that is there: `object` was checked against
// `schema`, or Has was asked.
//
// Owns     nothing; `object` and `schema` must outlive it.
class JsonFields {
 public:
  JsonFields(const nlohmann::json& object, const Schema& schema)
      : object_(object), schema_(schema) {}

  bool Has(const char* name) const { return object_.contains(name); }
  const nlohmann::json& Value(const char* name) const { return object_.at(name); }

  bool Bool(const char* name) const { return Value(name).get<bool>(); }
  double Real(const char* name) const { return Value(name).get<double>(); }
  std::string Text(const char* name) const { return Value(name).get<std::string>(); }
  // A number, or the number that a word stands for.
  template <typename Integer>
  Integer Number(const char* name) const {
    return static_cast<Integer>(NumberOf(name));
  }
  // Microseconds since 1970.
  std::int64_t Time(const char* name) const;
  // An IPv4 address, as a text or as a number.
  std::uint32_t Address(const char* name) const;
  std::array<unsigned char, 6> Mac(const char* name) const;
  // The fields of an object, or of each object of a list.
  JsonFields Object(const char* name) const;
  std::vector<JsonFields> List(const char* name) const;

 private:
  std::int64_t NumberOf(const char* name) const;

  const nlohmann::json& object_;
  const Schema& schema_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_JSON_FIELDS_H_
