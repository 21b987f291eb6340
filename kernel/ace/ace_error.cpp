#include "ace/ace_error.h"

#include <cstring>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"

void ace_error_msg(const char* file, int line, const char* text, int val) {
  AceReporter::use_default()->printf("%s:%d: ERROR in %s, error code %d\n", AceFile::get_filename(file), line,
                                     text, val);
}

void* ace_error(const char* file, int line, const char* text, int val, int, void* ret) {
  ace_error_msg(file, line, text, val);
  return ret;
}

int ace_error(const char* file, int line, const char* text, int val, int, int ret) {
  ace_error_msg(file, line, text, val);
  return ret;
}

Large ace_error(const char* file, int line, const char* text, int val, int, Large ret) {
  ace_error_msg(file, line, text, val);
  return ret;
}

int ace_report(const char* file, int line, const char* text, int val) {
  // The file as given, unlike ace_error_msg: hosts tell the two apart by it.
  AceReporter::use_default()->ev_wprintf("%s:%d: WARNING in %s, error code %d\n", file, line, text, val);
  return 0;
}

const char* ace_strerror(int errnum, char* errbuf, std::size_t buflen) {
  return strerror_r(errnum, errbuf, buflen);  // the GNU form, which returns the text
}
