#include <algorithm>
#include <limits>

#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "dast/detect/dast_detector_reader_internal.h"

namespace {

constexpr int READ_BUFFER = 100000;
constexpr int ATTRIBUTE_BASE = 16;
/// ~0 stands for no number.
constexpr VInt LAST_NUMBER = VInt{std::numeric_limits<Large>::max()} - 1;

}  // namespace

DetectorReader::DetectorReader(std::span<DetectorField> fields, const char* extra_file, AceReporter* rep)
    : dFields(fields), extraFile(extra_file != nullptr ? extra_file : ""), repObj(rep) {
  rewind();
}

DetectorReader::~DetectorReader() = default;

int DetectorReader::rewind() {
  curField = NO_FIELD;
  highest = 0;
  curLine = -1;
  lastResult = 1;
  inputReader.reset();
  aInput.reset();
  if (!extraFile.empty()) {
    repObj->printf("Reading strings from %s\n", extraFile.c_str());
    aInput = std::make_unique<AceInput>(extraFile.c_str(), READ_BUFFER, true);
  }
  return 0;
}

int DetectorReader::get_line(const char** string, Large* info, VInt* line) {
  if (lastResult <= 0) return lastResult;
  if (const int rc = next_line(); rc <= 0) return fail(rc);
  *string = curString.c_str();
  if (info != nullptr) *info = curInfo;
  if (line != nullptr) *line = ++curLine;
  return 1;
}

int DetectorReader::next_line() {
  if (curField == NO_FIELD) {
    if (const int rc = next_extra(); rc != 0) return rc;
    open_field();
  }
  while (curField < static_cast<int>(dFields.size())) {
    if (const int rc = next_value(); rc != 0) return rc;
    open_field();
  }
  return 0;
}

int DetectorReader::next_extra() {
  const char* text = nullptr;
  while (aInput != nullptr && aInput->read_line(&text) >= 0) {
    if (text[0] == '\0') continue;
    curString = text;
    curInfo = static_cast<Large>(++highest);
    return 1;
  }
  return aInput != nullptr && aInput->read_error() != 0 ? -1 : 0;
}

/// The next field, whose numbers follow those before.
void DetectorReader::open_field() {
  inputReader.reset();
  if (++curField >= static_cast<int>(dFields.size())) return;
  DetectorField& field = dFields[static_cast<std::size_t>(curField)];
  field.idOffset = static_cast<Large>(++highest);
  aInput = std::make_unique<AceInput>(field.teraName.c_str(), READ_BUFFER, true);
  inputReader = std::make_unique<TeraStandardReader>(aInput.get(), ATTRIBUTE_BASE);
}

int DetectorReader::next_value() {
  const DetectorField& field = dFields[static_cast<std::size_t>(curField)];
  const char* text = nullptr;
  Large id = 0;
  int rc = 0;
  while ((rc = inputReader->get_line(&text, &id, nullptr)) > 0 && text[0] == '\0') continue;
  if (rc == 0 && aInput->read_error() != 0) return -1;
  if (rc <= 0) return rc;
  const VInt number = VInt{field.idOffset} + id;
  if (number > LAST_NUMBER) {
    repObj->printf("Detector: the values of field '%s' do not fit, their numbers pass %ld\n",
                   field.fieldName.c_str(), LAST_NUMBER);
    return -1;
  }
  curString = field.prefix + text + field.suffix;
  highest = std::max(highest, number);
  curInfo = static_cast<Large>(number);
  return 1;
}
