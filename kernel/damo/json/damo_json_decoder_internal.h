/// JSON values from the events of a parser.
#pragma once

#include <jsoncons/json.hpp>
#include <jsoncons/json_filter.hpp>

#include "ace/ace_types.h"
#include "damo/json/damo_json_path_internal.h"

class AceReporter;

/// Makes a value, and knows whether an object had a member twice, of which only the first one is in it.
class DamoJsonDecoder : public jsoncons::basic_json_filter<char> {
 public:
  DamoJsonDecoder() : jsoncons::basic_json_filter<char>(decoder) {}

  void reset() {
    decoder.reset();
    numKeys = 0;
  }
  bool is_valid() const { return decoder.is_valid(); }
  /// Once for a value.
  DamoJsonValue take() { return decoder.get_result(); }
  /// The first value with members of the same name is told about.
  void check_members(const DamoJsonValue& value, const char* source, VInt record, AceReporter* rep);

 private:
  JSONCONS_VISITOR_RETURN_TYPE visit_key(const string_view_type& name, const jsoncons::ser_context& context,
                                         std::error_code& error) override {
    ++numKeys;
    destination().key(name, context, error);
    JSONCONS_VISITOR_RETURN;
  }

  jsoncons::json_decoder<DamoJsonValue> decoder;
  std::size_t numKeys = 0;
  bool hasWarned = false;
};
