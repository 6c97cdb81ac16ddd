// Checks JSON texts against a definition of a schema file: schema_check SCHEMA DEFINITION FILE [--lines].
// With --lines the file holds a document a line, and the first line is another's business. Knows the keywords
// that the schema uses, and refuses any other.

#include <cstring>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace {

using nlohmann::json;

[[noreturn]] void complain(const std::string& where, const std::string& what) {
  throw std::runtime_error{where + ": " + what};
}

bool isOfType(const json& value, const std::string& type) {
  if (type == "object") return value.is_object();
  if (type == "array") return value.is_array();
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  if (type == "integer") return value.is_number_integer();
  if (type == "number") return value.is_number();
  throw std::runtime_error{"the schema has an unknown type " + type};
}

void check(const json& schema, const json& rule, const json& value, const std::string& where);

void checkObject(const json& schema, const json& rule, const json& value, const std::string& where) {
  for (const json& key : rule.value("required", json::array())) {
    if (!value.contains(key.get<std::string>())) complain(where, "lacks " + key.get<std::string>());
  }
  for (const auto& [key, member] : value.items()) {
    if (!rule.at("properties").contains(key)) complain(where, "must not have " + key);
    check(schema, rule["properties"][key], member, where + "." + key);
  }
}

void check(const json& schema, const json& rule, const json& value, const std::string& where) {
  for (const auto& [keyword, argument] : rule.items()) {
    if (keyword == "$ref") {
      check(schema, schema.at(json::json_pointer{argument.get<std::string>().substr(1)}), value, where);
    } else if (keyword == "type") {
      if (!isOfType(value, argument)) complain(where, value.dump() + " is no " + argument.get<std::string>());
    } else if (keyword == "const") {
      if (value != argument) complain(where, value.dump() + " is not " + argument.dump());
    } else if (keyword == "enum") {
      if (std::find(argument.begin(), argument.end(), value) == argument.end()) {
        complain(where, value.dump() + " is none of " + argument.dump());
      }
    } else if (keyword == "items") {
      for (const json& item : value) check(schema, argument, item, where + "[]");
    } else if (keyword == "properties") {
      checkObject(schema, rule, value, where);
    } else if (keyword != "required" && keyword != "additionalProperties") {
      complain("schema", "unknown keyword " + keyword);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc < 4) throw std::runtime_error{"schema_check SCHEMA DEFINITION FILE [--lines]"};
    std::ifstream schemaFile{argv[1]};
    const json schema = json::parse(schemaFile);
    const json& rule = schema.at("$defs").at(argv[2]);
    std::ifstream file{argv[3], std::ios::binary};
    if (!file) throw std::runtime_error{std::string{argv[3]} + " is not there"};
    if (argc == 4) {
      check(schema, rule, json::parse(file), argv[2]);
      return 0;
    }
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) check(schema, rule, json::parse(line), argv[2]);
    return 0;
  } catch (const std::exception& exception) {
    std::cerr << exception.what() << "\n";
    return 1;
  }
}
