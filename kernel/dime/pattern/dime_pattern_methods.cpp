#include "dime/dime_pattern_methods.h"

#include <cstring>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_parse_internal.h"
#include "dime/pattern/dime_expression_internal.h"
#include "tera/tera_query.h"
#include "tera/tera_string_trie.h"

namespace {

constexpr const char* RECALL_MAGIC = "RXROP";
constexpr int PERFECT = 255;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeRegexpMethod_constructor(
    []() -> DastBaseMethod* { return new DimeRegexpMethod; }, DimeRegexpMethod::NAME,
    DimeRegexpMethod::MAGIC);
const MagicConstructor<DastBaseMethod> DastBaseMethodDimeCategoryMethod_constructor(
    []() -> DastBaseMethod* { return new DimeCategoryMethod; }, DimeCategoryMethod::NAME,
    DimeCategoryMethod::MAGIC);
const bool parserIsListed = DimeRegexpRecallOptions::get_parser() != nullptr;

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_flag_option("ignore_case", "Ignore character case when matching");
}

/// What stands between '^' and '$'.
std::string strip_anchors(const char* text) {
  std::string_view inner(text);
  if (inner.starts_with('^')) inner.remove_prefix(1);
  if (inner.ends_with('$')) inner.remove_suffix(1);
  return std::string(inner);
}

int refuse_options(const char* name, const char* options) {
  if (options == nullptr || options[std::strspn(options, " \t\r\n")] == '\0') return 0;
  AceReporter::use_default()->ev_wprintf("The method %s has no such options, '%s' found\n", name, options);
  return -1;
}

class RegexpQuery : public TeraQuery {
 public:
  RegexpQuery(std::string pattern, int options)
      : expression(std::move(pattern), options), patternOptions(options) {}

  int is_empty() const override { return expression.is_valid() ? 0 : 1; }
  int compare(const char* entry) override { return matches(expression, entry) ? PERFECT : 0; }
  using TeraQuery::compare;
  char* display(const char* entry, AceAttach* at) const override;
  /// Whether the expression matches all of the entry.
  bool equals(const char* entry) const override {
    if (!expression.is_valid()) return false;
    // The end of a quotation, which the pattern may have left open, means nothing elsewhere.
    if (whole == nullptr)
      whole = std::make_unique<DimeExpression>("\\A(?:" + std::string(expression.get_pattern()) + "\\E)\\z",
                                               patternOptions);
    return matches(*whole, entry);
  }

 private:
  static bool matches(const DimeExpression& with, const char* entry) {
    int offsets[DimeExpression::MAX_OFFSETS];
    return with.is_valid() && entry != nullptr && execute(with, entry, offsets) >= 0;
  }
  static int execute(const DimeExpression& with, const char* entry, int* offsets) {
    return with.match(entry, static_cast<int>(std::strlen(entry)), 0, 0, offsets);
  }

  DimeExpression expression;
  int patternOptions;
  mutable std::unique_ptr<DimeExpression> whole;  // made when it is asked for
};

char* RegexpQuery::display(const char* entry, AceAttach* at) const {
  if (!expression.is_valid()) return at->attach(entry);
  int offsets[DimeExpression::MAX_OFFSETS];
  const int rc = execute(expression, entry, offsets);
  if (rc == PCRE_ERROR_NOMATCH) return nullptr;
  if (rc < 0)
    throw AceException("Error in regular expression execution\n", "Code %d in '%s' when comparing to %s\n",
                       rc, expression.get_pattern(), entry);
  std::string text;
  const int count = rc > 0 ? rc : DimeExpression::MAX_OFFSETS / 3;
  for (int i = 0; i < count; ++i) {
    if (i > 0) text += '&';
    const int from = offsets[2 * i];
    const int to = offsets[2 * i + 1];  // before `from` when an assertion has moved the start of the match
    if (from >= 0 && from < to) text.append(entry + from, static_cast<std::size_t>(to - from));
  }
  return at->attach(text.c_str());
}

class CategoryQuery : public TeraQuery {
 public:
  CategoryQuery(DastOptions::Call call, const char* words) : recallMode(call), trie(words) {}

  int is_empty() const override { return 0; }
  int compare(const char* entry) override {
    return entry == nullptr || !knows_mode() || find(entry) == nullptr ? 0 : PERFECT;
  }
  using TeraQuery::compare;
  /// Whether the entry is one of the words.
  bool equals(const char* entry) const override { return entry != nullptr && trie.is_exact(entry); }
  char* display(const char* entry, AceAttach* at) const override;

 private:
  bool knows_mode() const { return recallMode >= DastOptions::EXACT && recallMode <= DastOptions::DETECT; }
  /// Where the match starts; null for none.
  const char* find(const char* entry) const {
    if (recallMode == DastOptions::EXACT) return trie.is_exact(entry) ? entry : nullptr;
    if (recallMode != DastOptions::APPROX) return trie.is_extension(entry) ? entry : nullptr;
    for (; *entry != '\0'; ++entry)
      if (trie.is_extension(entry)) return entry;
    return nullptr;
  }

  DastOptions::Call recallMode;
  StringTrie trie;
};

char* CategoryQuery::display(const char* entry, AceAttach* at) const {
  if (!knows_mode()) return at->attach(entry);
  const char* start = find(entry);
  if (start == nullptr) return at->attach("");
  std::string part(start);
  while (!trie.is_exact(part.c_str())) part.pop_back();  // the longest word there
  return at->attach(part.c_str());
}

}  // namespace

void DimeRegexpMethod_init() {}

void DimeCategoryMethod_init() {}

// ---------------------------------------------------------------- REGEXP

AceOptionsParser* DimeRegexpRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeRegexpMethod::NAME, declare_recall_options);
  return listed.get();
}

int DimeRegexpRecallOptions::apply(const char* options, AceReporter* rep) {
  const DimeParse parser(get_parser(), options, rep, "parser->parse(string, rep)");
  if (parser.has_failed()) return -1;
  ignoreCase = parser->get_bool_value("ignore_case");
  return 0;
}

VInt DimeRegexpRecallOptions::save(AceFile* file) const {
  file->put_magic(RECALL_MAGIC);
  file->put_bool(ignoreCase);
  return 0;
}

VInt DimeRegexpRecallOptions::read(AceFile* file) {
  if (const int rc = file->get_magic(RECALL_MAGIC); rc < 0)
    return ace_error(__FILE__, __LINE__, "file->get_magic(\"RXROP\")", rc, 0, -1);
  ignoreCase = file->get_bool();
  return file->is_short() ? -1 : 0;
}

int DimeRegexpMethod::magic() const {
  return magic_number(MAGIC);
}

int DimeRegexpMethod::reconfigure(const DastBaseMethod* other) {
  return reconfigure(static_cast<const DastDetectorInterface*>(other));
}

int DimeRegexpMethod::reconfigure(const DastDetectorInterface* other) {
  const auto* rmethod = dynamic_cast<const DimeRegexpMethod*>(other);
  if (rmethod == nullptr)
    return ace_error(__FILE__, __LINE__, "rmethod = dynamic_cast<const DimeRegexpMethod*> (method)", -1, 0,
                     -1);
  pcreFlags = rmethod->pcreFlags;
  regexFeatures = rmethod->regexFeatures;
  recallOpts = rmethod->recallOpts;
  return 0;
}

int DimeRegexpMethod::configure_recall_options(const char* options) {
  return recallOpts.apply(options, AceReporter::use_default());
}

int DimeRegexpMethod::configure_build_options(const char* options, const TeraMap*) {
  return refuse_options(NAME, options);
}

TeraQuery* DimeRegexpMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  std::string pattern = strip_anchors(query);
  if (call == DastOptions::EXACT || call == DastOptions::COMPLETE) pattern.insert(0, 1, '^');
  if (call == DastOptions::EXACT || call == DastOptions::DETECT) pattern += '$';
  return new RegexpQuery(std::move(pattern), pcreFlags | (recallOpts.ignoreCase ? PCRE_CASELESS : 0));
}

VInt DimeRegexpMethod::save(AceFile* file) {
  file->put_int(regexFeatures);
  file->put_int(pcreFlags);
  ACE_CALL(recallOpts.save(file));
  return 0;
}

VInt DimeRegexpMethod::read(AceFile* file) {
  regexFeatures = file->get_int();
  pcreFlags = file->get_int();
  ACE_CALL(recallOpts.read(file));
  return 0;
}

// ---------------------------------------------------------------- CATEGORY

int DimeCategoryMethod::magic() const {
  return magic_number(MAGIC);
}

int DimeCategoryMethod::reconfigure(const DastBaseMethod* other) {
  return reconfigure(static_cast<const DastDetectorInterface*>(other));
}

int DimeCategoryMethod::reconfigure(const DastDetectorInterface* other) {
  return dynamic_cast<const DimeCategoryMethod*>(other) != nullptr ? 0 : -1;
}

int DimeCategoryMethod::configure_recall_options(const char* options) {
  return refuse_options(NAME, options);
}

int DimeCategoryMethod::configure_build_options(const char* options, const TeraMap*) {
  return refuse_options(NAME, options);
}

TeraQuery* DimeCategoryMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  if (query == nullptr) return nullptr;
  if (call == DastOptions::DETECT0) return new RegexpQuery(strip_anchors(query), PCRE_CASELESS);
  if (call == DastOptions::DETECT0 + 1)
    return new RegexpQuery(strip_anchors(query), PCRE_CASELESS | PCRE_UTF8);
  return new CategoryQuery(call, query);
}
