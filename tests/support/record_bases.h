/// Random tables of records, and bases made of them.
#pragma once

#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"
#include "support/temp_folder.h"
#include "support/texts.h"
#include "tera/tera_alias_reader.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"

namespace support {

/// A field of a table: how it is stored, what is in it, and how it is asked.
struct FieldPlan {
  std::string name;
  std::string type;
  int partialFreq = 0;
  bool indexEmpty = false;
  std::string collation = {};
  std::string method = "EDIT";
  std::string buildOptions = "-filter 0";
  std::string recallOptions = {};
  std::string globalAliases = {};  // lines of an alias file
  std::string antiAliases = {};
  int abstraction = -1;
  std::string generator = {};  // of aliases
};

struct Table {
  std::vector<FieldPlan> fields;
  std::vector<std::vector<std::string>> records;  // values as they are in the file

  std::string text() const { return lines_of(records); }
  /// The main value and the aliases of a value.
  static std::vector<std::string> parts(const std::string& value) { return parts_of(value, '|'); }
};

/// A table without records, of fields in an advanced index.
inline Table table_of(std::initializer_list<const char*> names) {
  Table table;
  for (const char* name : names)
    table.fields.push_back({.name = name, .type = "ADVANCED|CHANGING|FULL|ORIGINAL"});
  return table;
}

inline const TeraMap& letter_map() {
  static const auto map = [] {
    TeraMapConfig config("utf-8");
    config.set_tokens("a-z0-9");
    config.map_glob_chars(0);
    auto made = std::make_unique<TeraMap>();
    config.compile_map(made.get());
    return made;
  }();
  return *map;
}

/// A declared base of the table's fields, with methods. Alias lists live in the folder.
inline std::unique_ptr<DastBase> declare_base(const Table& table, const TempFolder& folder,
                                              int abstractions = 0) {
  std::vector<const char*> names;
  for (const auto& field : table.fields) names.push_back(field.name.c_str());
  auto base = std::make_unique<DastBase>(static_cast<int>(names.size()), names.data(), nullptr, nullptr,
                                         folder.file("access").c_str(), "utf-8", 0, 0, "1", abstractions, 0);
  std::filesystem::create_directory(folder.file("access"));
  for (const auto& field : table.fields) {
    const auto alias_file = [&](const std::string& text, const std::string& suffix) {
      const std::string name = text.empty() ? "" : folder.file(field.name + suffix);
      if (!text.empty()) write_file(name, text);
      return name;
    };
    const int rc = base->assign(
        field.name.c_str(), field.type.c_str(), field.partialFreq,
        field.collation.empty() ? nullptr : field.collation.c_str(),
        alias_file(field.globalAliases, ".global").c_str(), alias_file(field.antiAliases, ".anti").c_str(),
        nullptr, field.generator.empty() ? nullptr : field.generator.c_str(), nullptr, nullptr, nullptr,
        field.abstraction, AceReporter::use_default(), field.indexEmpty ? 1 : 0);
    if (rc < 0) return nullptr;
    if (field.type.find("NONE") != std::string::npos) continue;
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(field.method.c_str()));
    method->configure_build_options(field.buildOptions.c_str(), &letter_map());
    if (!field.recallOptions.empty()) method->configure_recall_options(field.recallOptions.c_str());
    base->configure_field(field.name.c_str(), method.release());
  }
  return base;
}

/// The same, built with its indexes; null when that fails.
inline std::unique_ptr<DastBase> build_base(const Table& table, const TempFolder& folder,
                                            const char* sort = "NONE", const char* copy = nullptr) {
  auto base = declare_base(table, folder, 1);
  write_file(folder.file("records"), table.text());
  if (base == nullptr ||
      base->make(folder.file("records").c_str(), sort, nullptr, copy, nullptr, AceReporter::null()) < 0 ||
      base->make_all_access(AceReporter::null()) < 0)
    return nullptr;
  return base;
}

/// Every combination of storage that can be declared, those of one feature set.
inline std::vector<FieldPlan> all_field_plans(const char* features) {
  std::vector<FieldPlan> plans;
  for (const char* interval : {"CHANGING", "OPTIMIZED"})
    for (const char* index : {"FULL", "PARTIAL", "NONE"})
      for (const char* strings : {"ORIGINAL", "NUMERIC", "INDEXED", "NOT_AT_ALL"})
        for (const bool empty : {false, true}) {
          FieldPlan plan;
          plan.name = "f" + std::to_string(plans.size());
          plan.type = std::string(features) + "|" + interval + "|" + index + "|" + strings;
          plan.partialFreq = 3;
          plan.indexEmpty = empty;
          plans.push_back(plan);
        }
  return plans;
}

/// Values of few letters (or digits), with empty ones and aliases among them.
inline std::string random_value(std::mt19937& random, bool is_numeric, bool with_aliases) {
  const auto pick = [&](unsigned n) { return random() % n; };
  const auto part = [&] {
    std::string text;
    if (is_numeric) return pick(8) == 0 ? text : std::to_string(pick(3) == 0 ? random() : pick(50));
    const unsigned length = pick(10) == 0 ? 0 : 1 + pick(7);
    for (unsigned i = 0; i < length; ++i) text += static_cast<char>('a' + pick(3));
    return text;
  };
  std::string value = part();
  if (!with_aliases) return value;
  for (unsigned i = pick(8) == 0 ? 1 + pick(2) : 0; i > 0; --i) value += "|" + part();
  return value;
}

inline Table random_table(unsigned seed, std::vector<FieldPlan> plans, unsigned num_records) {
  std::mt19937 random(seed);
  Table table{std::move(plans), {}};
  for (unsigned r = 0; r < num_records; ++r) {
    table.records.emplace_back();
    for (const auto& field : table.fields)
      table.records.back().push_back(random_value(random, field.type.ends_with("NUMERIC"), true));
  }
  return table;
}

}  // namespace support
