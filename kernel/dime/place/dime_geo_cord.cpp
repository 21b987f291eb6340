// Points, boxes, and what a distance is worth.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "dime/dime_geo.h"
#include "tera/tera_eval.h"

namespace {

constexpr int DECIMAL = 10;
constexpr int MAX_BASE = 36;

/// The common case by hand; false leaves the text to `strtol`.
bool read_plain(const char*& text, int* value) {
  const char* pos = text;
  const bool isNegative = *pos == '-';
  if (isNegative) ++pos;
  constexpr int SAFE_DIGITS = 9;
  int read = 0;
  int numDigits = 0;
  for (; *pos >= '0' && *pos <= '9' && numDigits <= SAFE_DIGITS; ++pos, ++numDigits)
    if (numDigits < SAFE_DIGITS) read = DECIMAL * read + (*pos - '0');
  if (numDigits == 0 || numDigits > SAFE_DIGITS) return false;
  *value = isNegative ? -read : read;
  text = pos;
  return true;
}

/// Moves behind the number. False for what is none, or beyond int.
bool read_number(const char*& text, int base, int* value) {
  if (base == DECIMAL && read_plain(text, value)) return true;
  if (base < 2 || base > MAX_BASE) return false;
  char* end = nullptr;
  errno = 0;
  const long read = std::strtol(text, &end, base);
  if (end == text || errno != 0 || read < INT_MIN || read > INT_MAX) return false;
  *value = static_cast<int>(read);
  text = end;
  return true;
}

}  // namespace

DimeCord::DimeCord(const char* text, int base) {
  if (text == nullptr || text[0] == '\0' || base <= 0) return;
  int x = 0;
  int y = 0;
  if (read_number(text, base, &x) && *text++ == ',' && read_number(text, base, &y) && *text == '\0') {
    xPos = x;
    yPos = y;
    return;
  }
  AceReporter::use_default()->ev_wprintf(
      "Can't construct co-ordinate - malformed co-ordinate string, expected two integers separated by ','");
}

const char* DimeCord::print(AceAttach* at) const {
  constexpr int ROOM = 2 * 11 + 2;
  char* text = nullptr;
  at->malloc(text, ROOM);
  std::snprintf(text, ROOM, "%d,%d", xPos, yPos);
  return text;
}

VInt DimeCord::save(AceFile* file) const {
  file->put_int(xPos);
  file->put_int(yPos);
  return 0;
}

VInt DimeCord::read(AceFile* file) {
  xPos = file->get_int();
  yPos = file->get_int();
  return file->is_short() ? -1 : 0;
}

int DimeCord::dist2cred(double dist_sqrd, double sigma_sqrd, int hit_circle) {
  constexpr double NOTHING = 6;  // times sigma: less than one point
  double v = dist_sqrd;
  if (hit_circle > 0) {
    const double apart = std::sqrt(dist_sqrd) - hit_circle;
    v = apart > 0 ? apart * apart : 0;
  }
  if (v <= 0) return TeraEval::PERFECT;
  if (!(v <= NOTHING * sigma_sqrd)) return 0;
  const auto quality = static_cast<int>(std::exp(-v / sigma_sqrd) * TeraEval::PERFECT);
  return std::min(quality, TeraEval::PERFECT - 1);
}

DimeBox::DimeBox(const DimeCord& a, const DimeCord& b) : blCord(a), trCord(a) {
  add(b);
}

void DimeBox::add(const DimeCord& cord) {
  blCord = {std::min(blCord.xPos, cord.xPos), std::min(blCord.yPos, cord.yPos)};
  trCord = {std::max(trCord.xPos, cord.xPos), std::max(trCord.yPos, cord.yPos)};
}

DimeBox::DimeBox(const char* text) {
  constexpr char SEPARATOR = ';';
  if (text == nullptr) return;
  int numCorners = 0;
  for (const char* piece = text; piece != nullptr;) {
    const char* end = std::strchr(piece, SEPARATOR);
    const std::string corner = end != nullptr ? std::string(piece, end) : std::string(piece);
    piece = end != nullptr ? end + 1 : nullptr;
    if (corner.empty()) continue;
    if (numCorners == MAX_CORNERS) {
      AceReporter::use_default()->ev_wprintf(
          "A box of at most %d corners expected, '%s' and what follows ignored\n", MAX_CORNERS,
          corner.c_str());
      return;
    }
    const DimeCord cord(corner.c_str(), DECIMAL);
    if (numCorners++ == 0) blCord = trCord = cord;
    add(cord);
  }
}
