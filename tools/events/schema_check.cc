// Checks a value against a schema and says what is wrong with it.
#include <fmt/format.h>

#include <algorithm>

#include "tools/common/iso_time.h"
#include "tools/common/numbers.h"
#include "tools/events/json_values.h"
#include "tools/events/schema.h"

namespace vmr::tool {

using nlohmann::json;

namespace {

std::string Quoted(const std::string& text) { return '"' + text + '"'; }

}  // namespace

// ---- What was expected -----------------------------------------------------------

const std::string& Schema::Title() const {
  return title_.empty() && ref_ != nullptr ? ref_->Title() : title_;
}

std::string Schema::ExpectedWords() const {
  std::string text;
  for (const Schema* alternative : any_of_) {
    if (!text.empty()) text += ", ";
    if (alternative->word_number_)
      text += alternative->constant_->dump();
    else
      text += (alternative == any_of_.back() ? "or " : "") + alternative->Expected();
  }
  return text;
}

std::string Schema::Expected() const {
  if (!Title().empty()) return Title();
  if (ref_ != nullptr) return ref_->Expected();
  if (!any_of_.empty()) return ExpectedWords();
  if (type_ == Type::kBoolean) return "true or false";
  if (type_ == Type::kObject) return "an object";
  if (type_ == Type::kString) return "a text";
  if (type_ == Type::kArray) return "a list";
  return fmt::format("a {}number from {} to {}", type_ == Type::kInteger ? "whole " : "",
                     limits_.lowest.value_or(0), limits_.highest.value_or(0));
}

// ---- Values without parts ---------------------------------------------------------

bool Schema::TextFits(const std::string& text) const {
  if (limits_.most_bytes && text.size() > *limits_.most_bytes) return false;
  switch (format_) {
    case Format::kNone:
      return true;
    case Format::kDateTime:
      return ParseIsoTime(text).has_value();
    case Format::kPlainText:
      return text.find('\0') == text.npos;
    case Format::kIpv4:
      return ParseIpv4(text).has_value();
    case Format::kMacAddress:
      return ParseMac(text).has_value();
  }
  return false;
}

bool Schema::IsOfType(const json& value) const {
  switch (type_) {
    case Type::kAny:
      return true;
    case Type::kBoolean:
      return value.is_boolean();
    case Type::kNumber:
      return value.is_number();
    case Type::kInteger:
      return WholeNumber(value).has_value();
    case Type::kObject:
      return value.is_object();
    case Type::kArray:
      return value.is_array();
    case Type::kString:
      return value.is_string();
  }
  return false;
}

bool Schema::ScalarFits(const json& value) const {
  if (refuse_all_) return false;
  if (word_number_) return IsWord(value);
  if (constant_) return value == *constant_;
  if (!IsOfType(value)) return false;
  if (value.is_number() && !TakesNumber(value.get<double>())) return false;
  if (value.is_array()) {
    if (limits_.least_items && value.size() < *limits_.least_items) return false;
    if (limits_.most_items && value.size() > *limits_.most_items) return false;
  }
  return !value.is_string() || TextFits(value.get_ref<const std::string&>());
}

// ---- The check ----------------------------------------------------------------------

// One walk through a value. It stops at the first thing that does not fit.
class SchemaCheck {
 public:
  // `quiet` leaves the reason out, for a look at one of several alternatives.
  explicit SchemaCheck(bool quiet) : quiet_(quiet) {}

  // `asked` is the schema that the field was given, from which a message takes
  // what was expected; `schema` may be one that it refers to.
  bool Fits(const Schema& schema, const Schema& asked, const json& value, const std::string& path);
  const std::string& Reason() const { return reason_; }

 private:
  bool ObjectFits(const Schema& schema, const json& object, const std::string& path);
  bool NamesFit(const Schema& schema, const json& object, const std::string& path);
  bool ItemsFit(const Schema& schema, const json& array, const std::string& path);
  bool AnyFits(const Schema& schema, const Schema& asked, const json& value,
               const std::string& path);
  bool OneFits(const Schema& schema, const json& value, const std::string& path);
  bool BranchFits(const Schema& schema, const Schema& asked, const json& value,
                  const std::string& path);
  bool Missing(const Schema& schema, const std::string& name, const std::string& path);
  bool Wrong(const json& value, const std::string& expected, const std::string& path);

  bool quiet_;
  std::string reason_;
};

namespace {

bool LooksRight(const Schema& schema, const json& value) {
  return SchemaCheck(true).Fits(schema, schema, value, {});
}

std::string Below(const std::string& path, const std::string& name) {
  return path.empty() ? name : path + "." + name;
}

}  // namespace

bool SchemaCheck::Wrong(const json& value, const std::string& expected, const std::string& path) {
  reason_ = path.empty() ? fmt::format("is {}, expected {}", Shown(value), expected)
                         : fmt::format("\"{}\" is {}, expected {}", path, Shown(value), expected);
  return false;
}

bool SchemaCheck::Missing(const Schema& schema, const std::string& name, const std::string& path) {
  if (quiet_) return false;
  const Schema* const property = schema.Property(name);
  reason_ = fmt::format("\"{}\" is missing, expected {}", Below(path, name),
                        property == nullptr ? "it" : property->Expected());
  return false;
}

bool SchemaCheck::Fits(const Schema& schema, const Schema& asked, const json& value,
                       const std::string& path) {
  if (!schema.ScalarFits(value)) return !quiet_ && Wrong(value, asked.Expected(), path);
  if (schema.ref_ != nullptr && !Fits(*schema.ref_, asked, value, path)) return false;
  if (!schema.any_of_.empty() && !AnyFits(schema, asked, value, path)) return false;
  if (value.is_object() && !ObjectFits(schema, value, path)) return false;
  if (value.is_array() && schema.items_ != nullptr && !ItemsFit(schema, value, path)) return false;
  return schema.if_ == nullptr || BranchFits(schema, asked, value, path);
}

bool SchemaCheck::BranchFits(const Schema& schema, const Schema& asked, const json& value,
                             const std::string& path) {
  const Schema* const branch = LooksRight(*schema.if_, value) ? schema.then_ : schema.else_;
  return branch == nullptr || Fits(*branch, asked, value, path);
}

bool SchemaCheck::ItemsFit(const Schema& schema, const json& array, const std::string& path) {
  for (std::size_t i = 0; i < array.size(); ++i)
    if (!Fits(*schema.items_, *schema.items_, array[i], fmt::format("{}[{}]", path, i)))
      return false;
  return true;
}

// For an object the message is about what the first alternative lacks.
bool SchemaCheck::AnyFits(const Schema& schema, const Schema& asked, const json& value,
                          const std::string& path) {
  for (const Schema* alternative : schema.any_of_)
    if (LooksRight(*alternative, value)) return true;
  if (quiet_) return false;
  if (value.is_object()) return Fits(*schema.any_of_[0], *schema.any_of_[0], value, path);
  return Wrong(value, asked.Expected(), path);
}

bool SchemaCheck::ObjectFits(const Schema& schema, const json& object, const std::string& path) {
  for (const std::string& name : schema.required_)
    if (!object.contains(name)) return Missing(schema, name, path);
  for (const auto& [name, property] : schema.properties_) {
    const auto field = object.find(name);
    if (field != object.end() && !Fits(*property, *property, *field, Below(path, name)))
      return false;
  }
  if (schema.closed_ && !NamesFit(schema, object, path)) return false;
  return schema.one_of_.empty() || OneFits(schema, object, path);
}

bool SchemaCheck::NamesFit(const Schema& schema, const json& object, const std::string& path) {
  constexpr std::size_t kListedNames = 12;  // more do not help anybody
  const std::vector<std::string> names = schema.PropertyNames();
  for (const auto& [name, value] : object.items()) {
    if (std::find(names.begin(), names.end(), name) != names.end()) continue;
    const std::string& title = schema.ref_ != nullptr ? schema.ref_->Title() : schema.Title();
    std::string expected = title;
    if (names.size() <= kListedNames) expected = fmt::format("\"{}\"", fmt::join(names, "\", \""));
    reason_ = fmt::format("{} is unknown, expected {}", Quoted(Below(path, name)), expected);
    return false;
  }
  return true;
}

bool SchemaCheck::OneFits(const Schema& schema, const json& value, const std::string& path) {
  const Schema* const chosen = schema.AlternativeFor(value);
  if (chosen != nullptr) return Fits(*chosen, *chosen, value, path);
  std::string expected;
  std::string field;
  for (const Schema* alternative : schema.one_of_) {
    const auto& [name, property] = alternative->ref_->properties_.front();
    expected += (expected.empty() ? "one of " : ", ") + property->constant_->dump();
    field = name;
  }
  return Wrong(value[field], expected, Below(path, field));
}

std::string Schema::WhyNot(const json& value, const std::string& name) const {
  SchemaCheck check(false);
  return check.Fits(*this, *this, value, name) ? std::string() : check.Reason();
}

}  // namespace vmr::tool
