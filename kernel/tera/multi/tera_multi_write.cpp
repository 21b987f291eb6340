// A multi-word index as text.
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "tera/tera_multi.h"

int TeraMulti::write(const char* file, int infos) const {
  AceFile out;
  ACE_CALL(out.build_atomic(file, nullptr));
  std::string text;
  int written = 0;
  for (Large line = 0; line < numRecords; ++line) {
    if (!read_text(line, &text) || text.empty()) continue;
    char number[16];
    std::snprintf(number, sizeof number, "%08x\t", line);
    out.put_line(infos != 0 ? (number + text).c_str() : text.c_str());
    ++written;
  }
  out.close();
  return written;
}

int TeraMulti::words(const char* file, int infos) const {
  AceFile out;
  ACE_CALL(out.build_atomic(file, nullptr));
  AceAttach at;
  for (Large word = 0; word < static_cast<Large>(numWords); ++word) {
    const std::string text = get_line(word, &at);
    out.put_line(infos != 0 ? (std::to_string(get_lines(word).count) + "\t" + text).c_str() : text.c_str());
  }
  out.close();
  return numWords;
}

void TeraMulti::stat(AceReporter* rep) const {
  if (rep == nullptr) return;
  rep->printf("%u lines of %d distinct words, at most %d words and %d bytes\n", numRecords, numWords,
              maxWords, maxLine);
  rep->printf("%ld bytes of coded lines, %d words with a code, %d plain bits for the others\n", compSize,
              wordComp.get_num_codes(), offsetBits);
  rep->printf("%u skip words, options %d, separator '%c', additional ones '%s'\n", skip_list().count,
              optionFlags, sepChar, addSeps.c_str());
}
