/// What cascades write.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "damo/output/damo_output_internal.h"

/// A line with "|" for its TABs.
inline std::string damo_shown(std::string_view text) {
  std::string shown(text);
  std::replace(shown.begin(), shown.end(), '\t', '|');
  return shown;
}

/// A file of deletions, and one of decisions; each may be left out.
class DamoCascadeFiles {
 public:
  void set_cascade(const char* file) { cascade = std::make_unique<DamoOutput>(file); }
  void set_debug(const char* file) { debug = std::make_unique<DamoOutput>(file); }
  bool has_cascade() const { return cascade != nullptr; }

  /// `record` has all fields of the other table.
  void write_cascading_deletion(std::string_view record) {
    if (cascade == nullptr) return;
    cascade->write("<del>\t");
    cascade->write(record);
    cascade->put('\n');
  }
  void write_decision(const char* what, std::string_view key, std::string_view reason) {
    if (debug != nullptr)
      debug->printf("%s\t%s\t%s\n", what, damo_shown(key).c_str(), damo_shown(reason).c_str());
  }
  void commit() {
    if (cascade != nullptr) cascade->commit();
    if (debug != nullptr) debug->commit();
    cascade.reset();
    debug.reset();
  }

 private:
  std::unique_ptr<DamoOutput> cascade;
  std::unique_ptr<DamoOutput> debug;
};
