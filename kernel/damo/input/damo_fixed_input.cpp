#include "damo/damo_fixed_input.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "ace/ace_exception.h"

_DamoFixedInput::_DamoFixedInput(int tab_count, const int* tab_stops, AceReporter* rep)
    : DamoFileInput(rep, std::max(tab_count, MAX_FIELDS)), tabCount(tab_count) {
  if (tab_count <= 0 || tab_stops == nullptr)
    throw AceException("Can't have fixed width input reader with zero or negative number of tab stops\n");
  for (int i = 0, previous = 0; i < tab_count; previous = tab_stops[i++])
    if (tab_stops[i] < previous + (i > 0 ? 1 : 0))
      throw AceException("Tab stops out of order\n", "Position = %d, previous = %d, current = %d\n", i,
                         previous, tab_stops[i]);
  std::copy_n(tab_stops, tab_count, memAt.malloc(tabStops, tab_count));
  numFields = tab_count;
}

int _DamoFixedInput::split(char* line, int length, int /*as_is*/) {
  char* to = line_buffer(VInt{std::min(length, tabStops[tabCount - 1])} + tabCount);
  int count = 0;
  for (int from = 0; count < tabCount && (count == 0 || from < length); from = tabStops[count++]) {
    const int width = std::min(tabStops[count], length) - from;
    std::memcpy(to, line + from, static_cast<std::size_t>(width));
    fieldPtr[count] = to;
    to += width;
    *to++ = '\0';
  }
  return count;
}

/// Room for the fields of a line and their terminators.
char* _DamoFixedInput::line_buffer(VInt size) {
  if (size > bufferSize) {
    lineAt.release();
    bufferSize = std::max(size, 2 * bufferSize);
    lineAt.malloc(lineBuffer, bufferSize);
  }
  return lineBuffer;
}

char* _DamoFixedInput::get_source_text(AceAttach* at) {
  std::string text(isExplicitDelete ? "<del>" : "");
  for (int i = 0; i < recordSize && fieldPtr[i] != nullptr; ++i) text += fieldPtr[i];
  return at->attach(text.c_str());
}

DamoInput* DamoFixedInput(const char* file, int tab_count, int* tab_stops, AceReporter* rep) {
  auto input = std::make_unique<_DamoFixedInput>(tab_count, tab_stops, rep);
  return input->init(file) < 0 ? nullptr : input.release();
}
