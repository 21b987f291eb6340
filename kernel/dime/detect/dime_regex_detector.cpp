#include "dime/dime_regex_detector.h"

#include <algorithm>
#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "dime/pattern/dime_expression_internal.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_splitter.h"
#include "tera/tera_transform.h"

namespace {

constexpr int PERFECT = 255;
/// Magic-free records have at least this many bytes for an expression.
constexpr int LEAST_BYTES = 16;
constexpr const char* BLANKS = " \t\r\n\v\f";

const MagicConstructor<DastDetectorInterface> DastDetectorInterfaceDimeRegexDetector_constructor(
    []() -> DastDetectorInterface* { return new DimeRegexDetector; }, DimeRegexDetector::NAME,
    DimeRegexDetector::MAGIC);

struct Unref {
  void operator()(TeraScanGraph* graph) const { graph->decr_ref(); }
};

/// Where the node lies at which a word starts or ends: behind the last word.
int node_position(std::string_view text, int pos) {
  const std::size_t last = text.substr(0, static_cast<std::size_t>(pos)).find_last_not_of(BLANKS);
  return last == std::string_view::npos ? 0 : static_cast<int>(last) + 1;
}

}  // namespace

void DimeRegexDetector_init() {}

struct DimeRegexDetector::Hit {
  int from;  // of the text
  int to;
  const RegexpStruct* source;
};

struct DimeRegexDetector::RegexpStruct {
  void lookup(const char* text, int length, std::vector<bool>* marks, HitQueue* queue) const;
  void add_candidates(const std::string& hit, TeraResult* result) const;

  std::string regexString;
  std::string trafoString;
  int detectPenalty = 0;
  Large hitInfo = 0;
  std::shared_ptr<const DimeExpression> regEx;
  std::shared_ptr<const TeraTransform> trafoObj;
};

DimeRegexDetector::DimeRegexDetector() : compileOptions(PCRE_UTF8 | PCRE_UCP) {}

DimeRegexDetector::~DimeRegexDetector() = default;

// ---------------------------------------------------------------- expressions
// Each has a number to tell, a penalty, and perhaps a transform of what it matched.

int DimeRegexDetector::init(int count, const char* const* patterns, const int* penalties,
                            const char* const* transforms) {
  regexpStructs.clear();
  for (int i = 0; i < count; ++i)
    if (add_regexp(patterns[i], transforms != nullptr ? transforms[i] : nullptr,
                   penalties != nullptr ? penalties[i] : 0, static_cast<Large>(i)) < 0)
      return -1;
  return 0;
}

int DimeRegexDetector::add_regexp(const char* pattern, const char* transform, int penalty, Large info) {
  return pattern != nullptr ? add(pattern, transform != nullptr ? transform : "", penalty, info) : -1;
}

int DimeRegexDetector::add(std::string pattern, std::string transform, int penalty, Large info) {
  if (penalty < 0 || penalty > MAX_PENALTY) {
    AceReporter::use_default()->printf("Expression '%s': a penalty from 0 to %d expected, %d found\n",
                                       pattern.c_str(), MAX_PENALTY, penalty);
    return -1;
  }
  regexpStructs.push_back({std::move(pattern), std::move(transform), penalty, info, nullptr, nullptr});
  return 0;
}

int DimeRegexDetector::get_num_regexps() const {
  return static_cast<int>(regexpStructs.size());
}

int DimeRegexDetector::make(TeraReader*, int, AceReporter* rep, const char* filename) {
  for (RegexpStruct& regexp : regexpStructs) {
    regexp.regEx = std::make_shared<const DimeExpression>(regexp.regexString, compileOptions);
    if (!regexp.regEx->is_valid()) {
      regexp.regEx = nullptr;
      return -1;
    }
    if (regexp.trafoString.empty()) continue;
    regexp.trafoObj.reset(TeraTransform::factory(regexp.trafoString.c_str(), nullptr));
    if (regexp.trafoObj != nullptr) continue;
    rep->printf("%s: expression '%s' has a transform '%s', which is not known\n",
                filename != nullptr ? filename : NAME, regexp.regexString.c_str(),
                regexp.trafoString.c_str());
    regexp.regEx = nullptr;
    return -1;
  }
  return 0;
}

void DimeRegexDetector::clean() {
  for (RegexpStruct& regexp : regexpStructs) {
    regexp.regEx = nullptr;
    regexp.trafoObj = nullptr;
  }
}

int DimeRegexDetector::magic() const {
  return magic_number(MAGIC);
}

int DimeRegexDetector::reconfigure(const DastDetectorInterface* other) {
  return dynamic_cast<const DimeRegexDetector*>(other) != nullptr ? 0 : -1;
}

// ---------------------------------------------------------------- looking up
// All matches of all expressions become spans of one graph.

void DimeRegexDetector::RegexpStruct::lookup(const char* text, int length, std::vector<bool>* marks,
                                             HitQueue* queue) const {
  int options = PCRE_NOTEMPTY;
  for (int start = 0; start < length;) {
    int offsets[DimeExpression::MAX_OFFSETS];
    const int rc = regEx->match(text, length, start, options, offsets);
    if (rc < 0) {
      if (rc != PCRE_ERROR_NOMATCH)
        AceReporter::use_default()->ev_wprintf("Regular expression '%s' gives error %d for '%.100s'\n",
                                               regexString.c_str(), rc, text);
      return;
    }
    options |= PCRE_NO_UTF8_CHECK;  // the first match has checked it
    const bool hasGroup = rc != 1 && offsets[2] >= 0 && offsets[2] < offsets[3];
    const int* span = hasGroup ? offsets + 2 : offsets;
    if (span[0] >= 0 && span[0] < span[1] && span[1] <= length) {
      const int from = node_position({text, static_cast<std::size_t>(length)}, span[0]);
      const int to = node_position({text, static_cast<std::size_t>(length)}, span[1]);
      if (from < to) {
        (*marks)[static_cast<std::size_t>(from)] = (*marks)[static_cast<std::size_t>(to)] = true;
        queue->push_back({span[0], span[1], this});
      }
    }
    if (offsets[1] <= start) return;  // an assertion has moved the start of the match behind its end
    start = offsets[1];
  }
}

void DimeRegexDetector::RegexpStruct::add_candidates(const std::string& hit, TeraResult* result) const {
  const int quality = PERFECT - detectPenalty;
  if (trafoObj == nullptr) {
    result->add(quality, new TeraCand(result->attach(hit.c_str()), hitInfo));
    return;
  }
  AceAttach at;
  char** variants = nullptr;
  const int count = trafoObj->code(hit.c_str(), &variants, &at);
  for (int i = 0; i < count; ++i) result->add(quality, new TeraCand(result->attach(variants[i]), hitInfo));
}

TeraScanGraph* DimeRegexDetector::lookup(const char* text, DastOptions::Call call, AceReporter* rep) const {
  const bool isMade = std::all_of(regexpStructs.begin(), regexpStructs.end(),
                                  [](const RegexpStruct& regexp) { return regexp.regEx != nullptr; });
  if (text == nullptr || call == DastOptions::NOOP || call == DastOptions::EMPTY || !isMade) return nullptr;
  const std::size_t size = std::strlen(text);
  if (size > TeraSplitResult::MAX_LENGTH) {
    rep->printf("%s: a text of at most %d bytes expected, %zu found\n", NAME, TeraSplitResult::MAX_LENGTH,
                size);
    return nullptr;
  }
  std::vector<bool> marks(size + 1);
  HitQueue queue;
  for (const RegexpStruct& regexp : regexpStructs)
    regexp.lookup(text, static_cast<int>(size), &marks, &queue);
  return prepare_detect(text, marks, queue);
}

/// A node at each mark, an edge for each span.
TeraScanGraph* DimeRegexDetector::prepare_detect(const char* text, const std::vector<bool>& marks,
                                                 const HitQueue& queue) const {
  std::unique_ptr<TeraScanGraph, Unref> graph(new TeraScanGraph(
      TeraScanGraph::CHAR_POSITIONS, text, 0, TeraResult::MAX_CANDS, PERFECT, TeraScanGraph::NO_ORIGIN));
  std::vector<int> nodes(marks.size());  // by position
  int numNodes = 0;
  for (std::size_t pos = 0; pos < marks.size(); ++pos) {
    nodes[pos] = numNodes;
    if (marks[pos]) ++numNodes;
  }
  graph->init(numNodes);
  for (std::size_t pos = 0; pos < marks.size(); ++pos)
    if (marks[pos]) graph->set_char_pos(nodes[pos], static_cast<int>(pos));
  for (const Hit& hit : queue) {
    const std::string string(text + hit.from, text + hit.to);
    const int from = nodes[static_cast<std::size_t>(node_position(text, hit.from))];
    const int to = nodes[static_cast<std::size_t>(node_position(text, hit.to))];
    TeraScanGraph::Edge* edge = graph->get_edge(from, to, TeraScanGraph::NO_ORIGIN, 0, 0);
    if (edge == nullptr) {
      auto result = std::make_unique<TeraResult>(string.c_str(), 0, TeraResult::MAX_CANDS, PERFECT);
      result->set_resolved();
      edge = new TeraScanGraph::Edge(to, nullptr, TeraScanGraph::NO_ORIGIN, 0, 0);
      edge->replace_result(result.release());
      graph->get_node(from)->add(edge);
    }
    hit.source->add_candidates(string, edge->get_result());
  }
  graph->set_resolved();
  return graph.release();
}

// ---------------------------------------------------------------- persistence
// The expressions as texts: they are compiled again when they are read.

VInt DimeRegexDetector::save(AceFile* file) {
  file->put_int(get_num_regexps());
  for (const RegexpStruct& regexp : regexpStructs) {
    file->put_string(regexp.regexString.c_str());
    file->put_string(regexp.trafoString.empty() ? nullptr : regexp.trafoString.c_str());
    file->put_int(regexp.detectPenalty);
    file->put_int(regexp.hitInfo);
  }
  file->put_int(compileOptions);
  return 0;
}

VInt DimeRegexDetector::read(AceFile* file) {
  const int count = file->get_int();
  const Huge left = file->get_left();  // negative when unknown
  if (count < 0 || (left >= 0 && count > left / LEAST_BYTES)) {
    AceReporter::use_default()->printf(
        "Detector %s that is broken at offset %ld: 0 to %ld expressions expected, %d found\n", NAME,
        file->get_pos(), left / LEAST_BYTES, count);
    return -1;
  }
  regexpStructs.clear();
  for (int i = 0; i < count && !file->is_short(); ++i) {
    AceAttach at;
    const char* pattern = file->get_string(&at);
    const char* transform = file->get_string(&at);
    const int penalty = file->get_int();
    if (add_regexp(pattern, transform, penalty, file->get_large()) < 0) return -1;
  }
  compileOptions = file->get_int();
  return file->is_short() ? -1 : make(nullptr, 0, AceReporter::use_default(), nullptr);
}
