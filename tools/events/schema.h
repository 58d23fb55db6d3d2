// The JSON Schema of the program's input, and what a value lacks of it.
#ifndef VMR_TOOLS_EVENTS_SCHEMA_H_
#define VMR_TOOLS_EVENTS_SCHEMA_H_

#include <cstdint>
#include <deque>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr::tool {

// One schema, compiled: what draft 2020-12 means by the keywords that
// docs/events.schema.json uses, and by no others. Beyond the draft it knows
//
//   x-number    the number that a `const` word stands for. Such a word is taken
//               in any case, with blanks, underscores or hyphens in it.
//   x-maxBytes  the largest length of a text in bytes, as recordings count.
//   format      is checked; the `pattern` beside it tells other validators.
//   title       is what messages say was expected, if it is there.
//
// Owned by its SchemaFile.
class Schema {
 public:
  // Empty when the value fits, else the first field that does not and what was
  // expected: `"speed" is -1, expected a number from 0 to 29296`. `name` is that
  // of the value itself, empty for a whole line or file.
  std::string WhyNot(const nlohmann::json& value, const std::string& name = {}) const;

  // Parts of a schema; null when there is no such part.
  const Schema* Property(std::string_view name) const;
  const Schema* Items() const;
  // What holds for a value that fits the condition, "if".
  const Schema* Then() const { return then_; }
  // Of alternatives told apart by one field's value, the one that `object` is.
  const Schema* AlternativeFor(const nlohmann::json& object) const;
  std::vector<std::string> PropertyNames() const;
  // `number` keeps within the limits, if there are some.
  bool TakesNumber(double number) const {
    return (!limits_.lowest || number >= *limits_.lowest) &&
           (!limits_.highest || number <= *limits_.highest);
  }
  // The number that a value stands for, as a word or by itself.
  std::int64_t NumberOf(const nlohmann::json& value) const;

 private:
  friend class SchemaFile;
  friend class SchemaCheck;

  enum class Type { kAny, kBoolean, kNumber, kInteger, kObject, kArray, kString };
  enum class Format { kNone, kDateTime, kPlainText, kIpv4, kMacAddress };
  struct Limits {
    std::optional<double> lowest, highest;
    std::optional<std::size_t> least_items, most_items, most_bytes;
  };

  const std::string& Title() const;
  std::string Expected() const;
  std::string ExpectedWords() const;
  bool IsWord(const nlohmann::json& value) const;
  bool IsOfType(const nlohmann::json& value) const;
  bool ScalarFits(const nlohmann::json& value) const;
  bool TextFits(const std::string& text) const;

  bool refuse_all_ = false;
  std::string title_;
  Type type_ = Type::kAny;
  std::optional<nlohmann::json> constant_;
  std::optional<std::int64_t> word_number_;
  Limits limits_;
  Format format_ = Format::kNone;
  bool closed_ = false;  // no properties but the named ones
  std::vector<std::string> required_;
  std::vector<std::pair<std::string, const Schema*>> properties_;
  std::vector<const Schema*> any_of_;
  std::vector<const Schema*> one_of_;
  const Schema* ref_ = nullptr;
  const Schema* items_ = nullptr;
  const Schema* if_ = nullptr;
  const Schema* then_ = nullptr;
  const Schema* else_ = nullptr;
};

// A schema with its definitions. Throws std::logic_error for a text that is no
// schema, or uses what Schema does not know: the text is part of the program.
class SchemaFile {
 public:
  explicit SchemaFile(std::string_view text);
  SchemaFile(const SchemaFile&) = delete;
  SchemaFile& operator=(const SchemaFile&) = delete;

  const Schema& Root() const { return *root_; }
  // Throws std::logic_error when there is none of that name.
  const Schema& Definition(const std::string& name) const;

 private:
  using Text = nlohmann::ordered_json;  // messages follow the file's order

  const Schema* Compile(const Text& text);
  void CompileKeyword(Schema& schema, const std::string& keyword, const Text& value);
  bool CompileCheck(Schema& schema, const std::string& keyword, const Text& value);
  bool CompilePart(Schema& schema, const std::string& keyword, const Text& value);
  const Schema* Reference(const std::string& pointer);

  std::deque<Schema> schemas_;
  std::map<std::string, Schema*> definitions_;
  const Schema* root_ = nullptr;
};

// The schema of docs/events.schema.json, built into the program.
const SchemaFile& InputSchema();

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVENTS_SCHEMA_H_
