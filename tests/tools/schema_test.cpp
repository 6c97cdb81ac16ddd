// docs/report.schema.json knows each figure that the tool has, and no other.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "tools/sections/sections.h"

namespace tool {
namespace {

using Keys = std::set<std::string>;

Keys keysOf(const nlohmann::json& properties) {
  Keys keys;
  for (const auto& property : properties.items()) keys.insert(property.key());
  return keys;
}

Keys keysOf(const TableInfo& table) {
  Keys keys;
  for (const ColumnInfo& column : table.columns) keys.insert(column.key);
  return keys;
}

TEST(Schema, HasTheKeysOfTheTables) {
  std::ifstream file{TESSARY_SCHEMA};
  const nlohmann::json schema = nlohmann::json::parse(file);
  for (const SectionInfo* const info : allSections()) {
    SCOPED_TRACE(info->schema.name);
    const nlohmann::json& properties = schema.at("$defs").at(info->schema.name).at("properties");
    Keys own{"errors"};
    for (const TableInfo& table : info->schema.tables) {
      if (table.isFields()) {
        own.merge(keysOf(table));
      } else {
        own.insert(table.key);
        EXPECT_EQ(keysOf(properties.at(table.key).at("items").at("properties")), keysOf(table));
      }
    }
    EXPECT_EQ(keysOf(properties), own);
  }
}

}  // namespace
}  // namespace tool
