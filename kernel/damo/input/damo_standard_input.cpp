#include "damo/damo_standard_input.h"

#include <memory>

#include "damo/text/damo_scan_internal.h"

_DamoStandardInput::_DamoStandardInput(char separator, AceReporter* rep)
    : DamoFileInput(rep), fieldSep(separator) {}

int _DamoStandardInput::split(char* line, int length, int /*as_is*/) {
  return damo_split(line, length, static_cast<char>(fieldSep), fieldPtr, field_room());
}

char* _DamoStandardInput::get_source_text(AceAttach* at) {
  if (char* const text = long_source_text(at); text != nullptr) return text;
  return joined_source(static_cast<char>(fieldSep), at,
                       [](const char* field, std::string* text) { *text += field; });
}

DamoInput* DamoStandardInput(const char* file, char separator, AceReporter* rep, int num_fields) {
  auto input = std::make_unique<_DamoStandardInput>(separator, rep);
  if (input->set_num_fields(num_fields) < 0 || input->init(file) < 0) return nullptr;
  return input.release();
}
