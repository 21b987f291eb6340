#include "damo/json/damo_json_decoder_internal.h"

#include "ace/ace_reporter.h"

namespace {

/// Members of all objects in a value.
std::size_t num_members(const DamoJsonValue& value) {
  std::size_t count = 0;
  if (value.is_object()) {
    count = value.size();
    for (const auto& member : value.object_range()) count += num_members(member.value());
  } else if (value.is_array()) {
    for (const DamoJsonValue& element : value.array_range()) count += num_members(element);
  }
  return count;
}

}  // namespace

void DamoJsonDecoder::check_members(const DamoJsonValue& value, const char* source, VInt record,
                                    AceReporter* rep) {
  if (hasWarned || num_members(value) == numKeys) return;
  hasWarned = true;
  rep->ev_wprintf("'%s', record %ld: an object has members of the same name, of which the first one counts\n",
                  source, record);
}
