/// The strings of an index detector with their numbers: those of the extra file, then the values of each
/// field. The numbering is fixed while reading: after a pass the fields' offsets are those of this pass.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "dast/dast_detector.h"
#include "tera/tera_reader.h"

class AceInput;
class AceReporter;

class DetectorReader : public TeraReader {
 public:
  /// `extra_file` may be null. The fields must stay, and their offsets are set. Throws an `AceException` for
  /// files that are not there.
  DetectorReader(std::span<DetectorField> fields, const char* extra_file, AceReporter* rep);
  ~DetectorReader() override;

  int get_line(const char** string, Large* info, VInt* line) override;
  int rewind() override;
  VInt get_estimate() override { return 0; }

 private:
  int next_line();
  int next_extra();
  int next_value();
  void open_field();
  int fail(int rc) { return lastResult = rc; }

  static constexpr int NO_FIELD = -1;

  std::span<DetectorField> dFields;
  std::string extraFile;
  AceReporter* repObj;
  std::unique_ptr<AceInput> aInput;         // of the present file
  std::unique_ptr<TeraReader> inputReader;  // of the present field; null in the extra file
  int curField = NO_FIELD;                  // NO_FIELD: the extra file
  VInt highest = 0;                         // number so far
  Large curInfo = 0;
  VInt curLine = -1;
  std::string curString;
  int lastResult = 1;
};
