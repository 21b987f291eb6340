#include "tera/tera_collation.h"

#include <algorithm>
#include <climits>
#include <compare>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <tuple>

#include "ace/ace_attach.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_str_avl.h"
#include "tera/tera_unicode.h"

namespace {

constexpr std::string_view DEFAULT_NAME = "ascii";
constexpr std::string_view DATE_PREFIX = "date: ";
constexpr std::size_t MAX_BASE_NAME = 90;
constexpr std::string_view TABLE_SUFFIX = ".txt";

int sign_of(std::strong_ordering order) {
  return std::is_lt(order) ? -1 : std::is_gt(order) ? 1 : 0;
}

int compare_bytes(std::string_view a, std::string_view b) {
  return sign_of(a.compare(b) <=> 0);
}

/// 0 when `text` starts with `key`.
int compare_start(std::string_view key, std::string_view text) {
  return compare_bytes(key, text.substr(0, key.size()));
}

/// The order of sorting with a prefix: what starts with the key lies below it.
int above(int limit) {
  return limit < 0 ? -1 : 1;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

/// White space as the C locale has it.
bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

// ---------------------------------------------------------------- making by name
// A name says all that a collation needs: a language, a format of dates, or the file of a table.

std::unique_ptr<TeraCollation> make_unicode(const char* name) {
  const std::string_view text(name);
  const std::size_t dot = text.rfind('.');
  const bool isTable = dot != std::string_view::npos && text.find('/', dot) == std::string_view::npos &&
                       text.find('\\') == std::string_view::npos && dot <= MAX_BASE_NAME;
  if (!isTable) return nullptr;
  const std::string filename = std::string(text.substr(0, dot)) += TABLE_SUFFIX;
  auto uni_coll = std::make_unique<TeraUnicode>(name);
  const int rc = uni_coll->load(filename.c_str(), name + dot + 1);
  if (rc < 0) {
    ace_error(__FILE__, __LINE__, "uni_coll->load(filename,encoding)", rc, 0, rc);
    return nullptr;
  }
  return uni_coll;
}

std::unique_ptr<TeraCollation> make_collation(const char* name) {
  struct Separators {
    const char* language;
    char floating;
    char thousand;
  };
  static constexpr Separators NUMERIC[] = {
      {"numeric_en", '.', ','}, {"numeric_ch", '.', '\''}, {"numeric_de", ',', '.'}};
  static constexpr Separators PRICE[] = {{"multi_price_en", '.', ','}, {"multi_price_de", ',', '.'}};

  const std::string_view text(name);
  if (text == DEFAULT_NAME) return std::make_unique<TeraAscii>(name);
  if (text.starts_with(DATE_PREFIX))
    return std::make_unique<TeraDate>(name, TeraDate::get_format(name + DATE_PREFIX.size()));
  for (const Separators& known : NUMERIC)
    if (text == known.language) return std::make_unique<TeraNumeric>(name, known.floating, known.thousand);
  for (const Separators& known : PRICE)
    if (text == known.language) return std::make_unique<TeraMultiPrice>(name, known.floating, known.thousand);
  return make_unicode(name);
}

/// All collations that the process shares.
struct Shared {
  std::mutex mutex;
  StrAvlTree<TeraCollation*> byName{nullptr};
};

/// Never destroyed: hosts may give collations back while the process ends.
Shared& shared() {
  static auto* const all = new Shared;
  return *all;
}

}  // namespace

// ---------------------------------------------------------------- sharing
// One object for each name in the process, which goes when the last one gives it back.

TeraCollation::TeraCollation(const char* name) {
  const std::size_t size = std::strlen(name) + 1;
  collationName = static_cast<char*>(std::memcpy(new char[size], name, size));
}

TeraCollation::~TeraCollation() {
  delete[] collationName;
}

TeraCollation* TeraCollation::factory(const char* name) {
  if (name == nullptr || *name == 0) name = DEFAULT_NAME.data();
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  if (TeraCollation* known = all.byName(name); known != nullptr) {
    ++known->refCount;
    return known;
  }
  auto made = make_collation(name);
  if (made == nullptr) return nullptr;
  TeraCollation*& place = all.byName.insert(name);
  return place = made.release();
}

void TeraCollation::destroy() {
  Shared& all = shared();
  {
    const std::lock_guard lock(all.mutex);
    if (--refCount > 0) return;
    if (all.byName(collationName) == this) all.byName.erase(collationName, nullptr);
    if (all.byName.empty()) all.byName.remove();
  }
  delete this;
}

VInt TeraCollation::save(AceFile* file) const {
  return file->put_string(collationName);
}

TeraCollation* TeraCollation::read(AceFile* file) {
  AceAttach at;
  const char* name = file->get_string(&at);
  return name != nullptr ? factory(name) : nullptr;
}

// ---------------------------------------------------------------- bytes
// Strings that start with a key are those that agree with it as far as it goes.

int TeraAscii::compare_sort(const char* a, const char* b, int prefix) const {
  return prefix != 0 ? above(compare_limit(a, b, 0)) : std::strcmp(a, b);
}

int TeraAscii::compare_limit(const char* a, const char* b, int /*unused*/) const {
  return std::strncmp(a, b, std::strlen(a));
}

// ---------------------------------------------------------------- dates
// A date is compared by its parts, the year first, in whatever order the text has them.

namespace {

/// Reads the parts of a date one after the other. Once one is not there, none is any more.
class DateScanner {
 public:
  explicit DateScanner(const char* text) : pos(text) {}

  DateScanner& number(int* value) {
    skip_space();
    const bool isNegative = *pos == '-';
    if (isNegative || *pos == '+') ++pos;
    if (!is_digit(*pos)) return stop();
    long sum = 0;
    for (; is_digit(*pos); ++pos) sum = std::min(sum * 10 + (*pos - '0'), long{INT_MAX});
    *value = static_cast<int>(isNegative ? -sum : sum);
    return *this;
  }

  /// A run of other characters than white space.
  DateScanner& word(const char** start) {
    skip_space();
    if (*pos == 0) return stop();
    *start = pos;
    while (*pos != 0 && !is_space(*pos)) ++pos;
    return *this;
  }

  DateScanner& sign(char c) {
    if (*pos != c) return stop();
    ++pos;
    return *this;
  }

 private:
  void skip_space() {
    while (is_space(*pos)) ++pos;
  }
  DateScanner& stop() {
    pos = "";
    return *this;
  }

  const char* pos;
};

int compare_dates(const TeraDate::Date& a, const TeraDate::Date& b) {
  return sign_of(std::tie(a.year, a.month, a.day) <=> std::tie(b.year, b.month, b.day));
}

}  // namespace

TeraDate::Format TeraDate::get_format(const char* text) {
  struct Known {
    std::string_view longForm;
    std::string_view shortForm;
    Format format;
  };
  static constexpr Known KNOWN[] = {
      {"yyyy-mm-dd", "yyyy-m-d", YMD},
      {"dd.mm.yyyy", "d.m.yyyy", DMYd},
      {"dd/mm/yyyy", "d/m/yyyy", DMYs},
      {"dd month yyyy", "d month yyyy", DMonthY},
      {"month dd yyyy", "month d yyyy", MonthDY},
      {"dd. month yyyy", "d. month yyyy", DdMonthY},
      {"month ddst yyyy", "month dst yyyy", MonthDdY},
  };
  for (const Known& known : KNOWN)
    if (text == known.longForm || text == known.shortForm) return known.format;
  return YMD;
}

int TeraDate::get_month(const char* name) {
  constexpr char TO_LOWER = 'a' - 'A';
  const auto lower = [](char c) { return static_cast<char>(c | TO_LOWER); };
  const char second = name[0] != 0 ? lower(name[1]) : '\0';
  const char third = name[0] != 0 && name[1] != 0 ? lower(name[2]) : '\0';
  switch (name[0]) {
    case 'A':
      return second == 'u' ? 8 : 4;
    case 'D':
      return 12;
    case 'F':
      return 2;
    case 'J':
      return third == 'l' ? 7 : second == 'u' ? 6 : 1;
    case 'M':
      return third == 'i' || third == 'y' ? 5 : 3;
    case 'N':
      return 11;
    case 'O':
      return 10;
    case 'S':
      return 9;
    default:
      return 0;
  }
}

TeraDate::Date TeraDate::parse(const char* text) const {
  DateScanner scanner(text);
  Date date;
  const char* month = "";
  const char* suffix = "";
  switch (dateFormat) {
    case YMD:
      scanner.number(&date.year).sign('-').number(&date.month).sign('-').number(&date.day);
      return date;
    case DMYd:
      scanner.number(&date.day).sign('.').number(&date.month).sign('.').number(&date.year);
      return date;
    case DMYs:
      scanner.number(&date.day).sign('/').number(&date.month).sign('/').number(&date.year);
      return date;
    case DMonthY:
      scanner.number(&date.day).word(&month).number(&date.year);
      break;
    case MonthDY:
      scanner.word(&month).number(&date.day).number(&date.year);
      break;
    case DdMonthY:
      scanner.number(&date.day).sign('.').word(&month).number(&date.year);
      break;
    case MonthDdY:
      scanner.word(&month).number(&date.day).word(&suffix).number(&date.year);
      break;
  }
  date.month = get_month(month);
  return date;
}

int TeraDate::compare_sort(const char* a, const char* b, int prefix) const {
  if (prefix != 0) return above(compare_limit(a, b, 0));
  if (*a == 0 || *b == 0) return std::strcmp(a, b);
  const int order = compare_dates(parse(a), parse(b));
  return order != 0 ? order : std::strcmp(a, b);
}

int TeraDate::compare_limit(const char* a, const char* b, int /*unused*/) const {
  if (*a == 0) return 0;
  if (*b == 0) return 1;
  const Date key = parse(a);
  Date stored = parse(b);
  const bool isDate = key.year != 0;
  if (isDate && key.day == 0) {
    stored.day = 0;
    if (key.month == 0) stored.month = 0;
  }
  const int order = compare_dates(key, stored);
  return order != 0 || isDate ? order : compare_start(a, b);
}

// ---------------------------------------------------------------- numbers
// Of two numbers the one with more digits is larger, so that none is too long for comparing.

std::string_view TeraNumeric::skip_leading(std::string_view text) const {
  constexpr int DIGIT_BIT = 16;  // without it, '0' is a blank
  const auto isLeading = [this](char c) { return (c & ~DIGIT_BIT) == ' ' || c == itsThousand; };
  text.remove_prefix(static_cast<std::size_t>(std::ranges::find_if_not(text, isLeading) - text.begin()));
  return text;
}

std::size_t TeraNumeric::count_digits(std::string_view text) const {
  const std::string_view integer = text.substr(0, text.find(itsFloating));
  return integer.size() - static_cast<std::size_t>(std::ranges::count(integer, itsThousand));
}

int TeraNumeric::count(const char* text) const {
  return static_cast<int>(std::min<std::size_t>(count_digits(text), INT_MAX));
}

int TeraNumeric::compare_values(std::string_view a, std::string_view b) const {
  if (a.empty() || b.empty()) return sign_of(!a.empty() <=> !b.empty());
  a = skip_leading(a);
  b = skip_leading(b);
  const std::size_t pointA = std::min(a.find(itsFloating), a.size());
  const std::size_t pointB = std::min(b.find(itsFloating), b.size());
  if (const auto order = count_digits(a) <=> count_digits(b); std::is_neq(order)) return sign_of(order);

  std::size_t j = 0;
  for (std::size_t i = 0; i < pointA; ++i) {
    if (a[i] == itsThousand) continue;
    while (b[j] == itsThousand) ++j;  // there are as many digits
    if (const int order = compare_bytes(a.substr(i, 1), b.substr(j, 1)); order != 0) return order;
    ++j;
  }
  const auto fraction = [](std::string_view text, std::size_t point) {
    text.remove_prefix(point);
    return text.substr(0, text.find_last_not_of('0') + 1);
  };
  const auto value = [](std::string_view text) { return text.substr(std::min<std::size_t>(1, text.size())); };
  return compare_bytes(value(fraction(a, pointA)), value(fraction(b, pointB)));
}

int TeraNumeric::compare_sort(const char* a, const char* b, int prefix) const {
  const int order = compare_limit(a, b, 0);
  if (order != 0) return order;
  return prefix != 0 ? 1 : std::strcmp(a, b);
}

int TeraNumeric::compare_limit(const char* a, const char* b, int /*unused*/) const {
  return compare_values(a, b);
}

// ---------------------------------------------------------------- prices
// A text, and behind it values: those of one text are neighbours and in the order of their values.

/// By the text before the first separator, then by the values. A key may end before the other does.
int TeraMultiPrice::compare_parts(std::string_view a, std::string_view b, bool isKey) const {
  const std::string_view textA = a.substr(0, a.find(sepChar));
  const std::string_view textB = b.substr(0, b.find(sepChar));
  const bool isOpen = isKey && textA.size() == a.size();
  if (const int order = isOpen ? compare_start(textA, textB) : compare_bytes(textA, textB); order != 0)
    return order;
  a.remove_prefix(textA.size());
  b.remove_prefix(textB.size());
  while (!a.empty() && !b.empty()) {
    a.remove_prefix(1);
    b.remove_prefix(1);
    if (isKey && a.empty()) return 0;
    const std::string_view valueA = a.substr(0, a.find(sepChar));
    const std::string_view valueB = b.substr(0, b.find(sepChar));
    if (const int order = numericFacet.compare_values(valueA, valueB); order != 0) return order;
    a.remove_prefix(valueA.size());
    b.remove_prefix(valueB.size());
  }
  if (isKey && a.size() <= 1) return 0;
  return sign_of(!a.empty() <=> !b.empty());
}

int TeraMultiPrice::compare_sort(const char* a, const char* b, int prefix) const {
  if (prefix != 0) return above(compare_limit(a, b, 0));
  const int order = compare_parts(a, b, false);
  return order != 0 ? order : std::strcmp(a, b);
}

int TeraMultiPrice::compare_limit(const char* a, const char* b, int /*unused*/) const {
  return compare_parts(a, b, true);
}
