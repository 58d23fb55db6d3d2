// Compiles a schema's text and looks into what was compiled.
#include "tools/events/schema.h"

#include <fmt/format.h>

#include <stdexcept>

#include "tools/events/json_values.h"

namespace vmr::tool {
namespace {

using nlohmann::json;

constexpr std::string_view kDefinitions = "#/$defs/";

// Keywords that only people and other validators read.
bool IsRemark(const std::string& keyword) {
  return keyword == "$schema" || keyword == "$comment" || keyword == "description" ||
         keyword == "$defs" || keyword == "pattern" || keyword == "maxLength";
}

}  // namespace

// ---- Compiling -----------------------------------------------------------------

SchemaFile::SchemaFile(std::string_view text) {
  const Text file = Text::parse(text);
  for (const auto& [name, definition] : file.at("$defs").items())
    definitions_[name] = &schemas_.emplace_back();
  for (const auto& [name, definition] : file.at("$defs").items())
    for (const auto& [keyword, value] : definition.items())
      CompileKeyword(*definitions_[name], keyword, value);
  root_ = Compile(file);
}

const Schema& SchemaFile::Definition(const std::string& name) const {
  const auto found = definitions_.find(name);
  if (found == definitions_.end()) throw std::logic_error("the schema has no $defs/" + name);
  return *found->second;
}

const Schema* SchemaFile::Reference(const std::string& pointer) {
  if (pointer.rfind(kDefinitions, 0) != 0) throw std::logic_error("no reference: " + pointer);
  return &Definition(pointer.substr(kDefinitions.size()));
}

const Schema* SchemaFile::Compile(const Text& text) {
  Schema& schema = schemas_.emplace_back();
  if (text.is_boolean()) {
    schema.refuse_all_ = !text.get<bool>();
    return &schema;
  }
  for (const auto& [keyword, value] : text.items()) CompileKeyword(schema, keyword, value);
  return &schema;
}

void SchemaFile::CompileKeyword(Schema& schema, const std::string& keyword, const Text& value) {
  if (CompileCheck(schema, keyword, value) || CompilePart(schema, keyword, value)) return;
  if (!IsRemark(keyword)) throw std::logic_error("the schema uses the keyword " + keyword);
}

// What is said about the value itself.
bool SchemaFile::CompileCheck(Schema& schema, const std::string& keyword, const Text& value) {
  static const std::map<std::string, Schema::Format> kFormats = {
      {"date-time", Schema::Format::kDateTime},
      {"plain-text", Schema::Format::kPlainText},
      {"ipv4", Schema::Format::kIpv4},
      {"mac-address", Schema::Format::kMacAddress}};
  static const std::map<std::string, Schema::Type> kTypes = {
      {"boolean", Schema::Type::kBoolean}, {"number", Schema::Type::kNumber},
      {"integer", Schema::Type::kInteger}, {"object", Schema::Type::kObject},
      {"array", Schema::Type::kArray},     {"string", Schema::Type::kString}};
  Schema::Limits& limits = schema.limits_;
  if (keyword == "title") return schema.title_ = value, true;
  if (keyword == "type") return schema.type_ = kTypes.at(value), true;
  if (keyword == "const") return schema.constant_ = json::parse(value.dump()), true;
  if (keyword == "x-number") return schema.word_number_ = value.get<std::int64_t>(), true;
  if (keyword == "minimum") return limits.lowest = value.get<double>(), true;
  if (keyword == "maximum") return limits.highest = value.get<double>(), true;
  if (keyword == "minItems") return limits.least_items = value.get<std::size_t>(), true;
  if (keyword == "maxItems") return limits.most_items = value.get<std::size_t>(), true;
  if (keyword == "x-maxBytes") return limits.most_bytes = value.get<std::size_t>(), true;
  if (keyword == "format") return schema.format_ = kFormats.at(value), true;
  return false;
}

// What is said about the parts of a value, or by other schemas.
bool SchemaFile::CompilePart(Schema& schema, const std::string& keyword, const Text& value) {
  if (keyword == "required") return schema.required_ = value, true;
  if (keyword == "additionalProperties" || keyword == "unevaluatedProperties")
    return schema.closed_ = !value.get<bool>(), true;
  if (keyword == "$ref") return schema.ref_ = Reference(value), true;
  if (keyword == "items") return schema.items_ = Compile(value), true;
  if (keyword == "if") return schema.if_ = Compile(value), true;
  if (keyword == "then") return schema.then_ = Compile(value), true;
  if (keyword == "else") return schema.else_ = Compile(value), true;
  if (keyword == "properties") {
    for (const auto& [name, property] : value.items())
      schema.properties_.emplace_back(name, Compile(property));
    return true;
  }
  if (keyword != "anyOf" && keyword != "oneOf") return false;
  auto& alternatives = keyword == "anyOf" ? schema.any_of_ : schema.one_of_;
  for (const Text& alternative : value) alternatives.push_back(Compile(alternative));
  return true;
}

// ---- Looking into a schema -----------------------------------------------------

const Schema* Schema::Property(std::string_view name) const {
  for (const auto& [known, property] : properties_)
    if (known == name) return property;
  return ref_ == nullptr ? nullptr : ref_->Property(name);
}

const Schema* Schema::Items() const {
  return items_ != nullptr || ref_ == nullptr ? items_ : ref_->Items();
}

std::vector<std::string> Schema::PropertyNames() const {
  std::vector<std::string> names;
  if (ref_ != nullptr) names = ref_->PropertyNames();
  for (const auto& [name, property] : properties_) names.push_back(name);
  return names;
}

const Schema* Schema::AlternativeFor(const json& object) const {
  for (const Schema* alternative : one_of_) {
    const Schema* const branch = alternative->ref_ != nullptr ? alternative->ref_ : alternative;
    for (const auto& [name, property] : branch->properties_) {
      const auto value = object.find(name);
      if (property->constant_ && value != object.end() && *value == *property->constant_)
        return branch;
    }
  }
  return nullptr;
}

bool Schema::IsWord(const json& value) const {
  return word_number_ && value.is_string() &&
         SameWord(value.get_ref<const std::string&>(), constant_->get_ref<const std::string&>());
}

std::int64_t Schema::NumberOf(const json& value) const {
  if (ref_ != nullptr) return ref_->NumberOf(value);
  for (const Schema* alternative : any_of_)
    if (alternative->IsWord(value)) return *alternative->word_number_;
  return WholeNumber(value).value_or(0);
}

}  // namespace vmr::tool
