/// For methods whose index gives values back in the form that its map makes of them.
#pragma once

#include <string>

#include "tera/tera_auto_data.h"
#include "tera/tera_reader.h"

/// Passes lines on, and notes the first value that an automaton would give back in another form.
class DimeCheckedReader : public TeraReader {
 public:
  DimeCheckedReader(TeraReader* reader, const TeraMap* map) : source(reader), teraMap(map) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    const int rc = source->get_line(string, info, line);
    if (rc > 0 && firstLost.empty() && !is_kept(*string)) firstLost = *string;
    return rc;
  }
  int rewind() override { return source->rewind(); }
  VInt get_estimate() override { return source->get_estimate(); }

  std::string firstLost;

 private:
  bool is_kept(const char* string) const {
    return teraMap->is_normalized(string) != 0 && teraMap->tok_len(string, true) <= TeraAutoData::MAX_TOKENS;
  }

  TeraReader* source;
  const TeraMap* teraMap;
};
