// Writes the schemas of docs/schema/ from the tables of kinds: vmr_schema FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "records/record.h"
#include "tools/read/columns.h"
#include "tools/read/csv_table.h"
#include "tools/read/json_line.h"

namespace {

using Json = nlohmann::ordered_json;
using namespace vmr::records;

// Of a schema all of whose lines give something away, and of a property that does so beside.
constexpr const char* kSensitive = "x-sensitivity";

constexpr const char* kTimePattern =
    "^-?[0-9]{4,}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z$";
constexpr const char* kBytesPattern = "^([0-9a-f]{2})+$";

Json Typed(const char* type) { return {{"type", type}}; }
Json Whole(std::int64_t least) { return {{"type", "integer"}, {"minimum", least}}; }
Json Whole(std::int64_t least, std::int64_t most) {
  return {{"type", "integer"}, {"minimum", least}, {"maximum", most}};
}
Json Matching(const char* pattern) { return {{"type", "string"}, {"pattern", pattern}}; }
Json Only(const char* word) { return {{"const", word}}; }
Json OrNull(Json schema) {
  if (schema.contains("anyOf"))
    schema["anyOf"].push_back(Typed("null"));
  else
    schema["type"] = Json::array({schema["type"], "null"});
  return schema;
}
Json Told(Json schema, const std::string& what) {
  if (!what.empty()) schema["description"] = what;
  return schema;
}

Json TickSchema() { return OrNull(Whole(0, 4294967294)); }
Json TimeSchema() { return OrNull(Matching(kTimePattern)); }

// Every number that a field with words can hold is a byte.
Json WordsOf(const FieldRow& field) {
  Json words = Json::array();
  for (int number = 0; number < 256; ++number) {
    const char* const word = field.word(number);
    if (word != nullptr && std::find(words.begin(), words.end(), word) == words.end())
      words.push_back(word);
  }
  return words;
}

Json ValueSchema(const FieldRow& field) {
  switch (field.type) {
    case FieldType::kFlag:
      return Typed("boolean");
    case FieldType::kWord:
      return {{"anyOf", Json::array({Json{{"enum", WordsOf(field)}}, Typed("integer")})}};
    case FieldType::kText:
      return Typed("string");
    case FieldType::kMac:
      return Matching("^([0-9a-f]{2}:){5}[0-9a-f]{2}$");
    case FieldType::kAddress:
      return Matching("^[0-9]{1,3}(\\.[0-9]{1,3}){3}$");
    case FieldType::kTime:
      return Matching(kTimePattern);
    case FieldType::kLatitude:
      return {{"type", "number"}, {"minimum", -90}, {"maximum", 90}};
    case FieldType::kLongitude:
      return {{"type", "number"}, {"minimum", -180}, {"maximum", 180}};
    default:
      return Typed("integer");
  }
}

// A schema under construction: properties in the order of lines.
struct Object {
  Json properties = Json::object();
  Json required = Json::array();

  void Add(const std::string& name, Json schema, const std::string& what = "") {
    properties[name] = Told(std::move(schema), what);
    required.push_back(name);
  }
  void AddOptional(const std::string& name, Json schema, const std::string& what) {
    properties[name] = Told(std::move(schema), what);
  }
};

void AddField(const KindRow& kind, std::size_t index, Object& object) {
  const FieldRow& field = kind.fields[index];
  const std::string name = field.name;
  std::string what = field.what;
  if (*field.unit != 0) what = std::string(field.unit) + (what.empty() ? "" : ", " + what);
  const bool is_reading = field.type == FieldType::kReading;
  Json schema = ValueSchema(field);
  if (is_reading || vmr::tool::MayBeAbsent(kind, index)) schema = OrNull(std::move(schema));
  if (!what.empty()) schema["description"] = what;
  if (field.sensitivity != Sensitivity::kNone) schema[kSensitive] = NameOf(field.sensitivity);
  object.Add(name, std::move(schema));
  if (is_reading)
    object.AddOptional(name + "_status", {{"enum", WordsOf(field)}},
                       "what the radar showed instead of a speed");
  if (field.type == FieldType::kText)
    object.AddOptional(name + "_bytes", Matching(kBytesPattern),
                       "the bytes as recorded, when they are no UTF-8");
}

void AddHead(const std::string& kind, Object& object) {
  object.Add("kind", Only(kind.c_str()));
  object.AddOptional("recording", Typed("string"), "which one, when several were exported");
}

void AddPlace(Object& object) {
  object.AddOptional("file", Whole(1, 2), "of the store's two");
  object.AddOptional("cluster", Whole(0, 32767), "of a store");
  object.Add("offset", Whole(0), "bytes from the file's beginning");
}

Object SchemaOf(const KindRow& kind) {
  Object object;
  AddHead(kind.name, object);
  object.Add("tick", TickSchema(), "half seconds; null: nothing tells it");
  object.Add("time", TimeSchema(), "UTC; null: nothing tells it");
  object.Add("time_quality",
             {{"enum",
               {TextOf(TimeQuality::kUnknown), TextOf(TimeQuality::kEstimated),
                TextOf(TimeQuality::kExact), TextOf(TimeQuality::kStepped)}}},
             "how well the time is known");
  object.Add("repeats", Typed("boolean"), "part of a full state that says nothing new");
  for (std::size_t i = 0; i < kind.field_count; ++i) AddField(kind, i, object);
  if (kind.id == KindId::kPosition)
    object.AddOptional("position", Only("unverified"), "its hemisphere is not known for sure");
  object.AddOptional("packet_crc", Only("wrong"), "the packet is damaged");
  object.AddOptional("adjusted_by", Whole(1, 255), "ticks that are taken off the packet's");
  object.AddOptional("run", Whole(1), "ticks began anew so many times before");
  AddPlace(object);
  return object;
}

Object SchemaOfGap() {
  Object object;
  AddHead(vmr::tool::kGapKind, object);
  Json reasons = Json::array();
  for (int reason = 0; reason <= static_cast<int>(GapReason::kMarked); ++reason)
    reasons.push_back(TextOf(static_cast<GapReason>(reason)));
  object.Add("reason", {{"enum", reasons}});
  object.Add("from_tick", TickSchema(), "the last one told in front of it");
  object.Add("to_tick", TickSchema(), "the first one told behind it");
  object.Add("from_time", TimeSchema());
  object.Add("to_time", TimeSchema());
  object.Add("clusters", Whole(0), "of a store, that are lost");
  object.Add("bytes", Whole(0), "of packets that cannot be used; 0: nobody knows");
  AddPlace(object);
  return object;
}

Object SchemaOfClockStep() {
  Object object;
  AddHead(vmr::tool::kClockStepKind, object);
  object.Add("tick", TickSchema());
  object.Add("expected", Matching(kTimePattern), "from the time told before");
  object.Add("told", Matching(kTimePattern), "by the clock from now on");
  object.Add("step_ms", Typed("integer"), "so much further it is");
  AddPlace(object);
  return object;
}

bool Write(const std::filesystem::path& folder, const std::string& kind, const std::string& what,
           const Object& object, Sensitivity sensitivity = Sensitivity::kNone) {
  Json schema = {
      {"$schema", "https://json-schema.org/draft/2020-12/schema"},
      {"$id", "urn:vmr:export:" + std::to_string(vmr::tool::kSchemaVersion) + ":" + kind},
      {"title", kind},
      {"description", what},
      {"type", "object"},
      {"properties", object.properties},
      {"required", object.required},
      {"dependentRequired", {{"file", {"cluster"}}, {"cluster", {"file"}}}},
      {"x-csv-columns", vmr::tool::CsvColumns(kind)},
  };
  if (sensitivity != Sensitivity::kNone) schema[kSensitive] = NameOf(sensitivity);
  std::ofstream file(folder / (kind + ".schema.json"));
  file << schema.dump(2) << '\n';
  file.flush();
  return file.good();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: vmr_schema FOLDER\n");
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  bool written = true;
  for (const KindRow& kind : Kinds())
    written = Write(folder, kind.name, kind.what, SchemaOf(kind), kind.sensitivity) && written;
  written = Write(folder, vmr::tool::kGapKind, "a part that is lost or damaged", SchemaOfGap()) &&
            written;
  written =
      Write(folder, vmr::tool::kClockStepKind, "the unit's clock was set", SchemaOfClockStep()) &&
      written;
  if (!written) std::fprintf(stderr, "vmr_schema: %s: cannot be written\n", argv[1]);
  return written ? 0 : 1;
}
