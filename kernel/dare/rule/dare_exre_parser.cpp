#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <mutex>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "dare/rule/dare_exre_parser_internal.h"

namespace {

constexpr const char* ROOT = "KVConfiguration";
constexpr const char* RULES = "rules";  // also the root of the older format
constexpr const char* VERSION_ATTRIBUTE = "svversion";
constexpr const char* VERSION = "90.0";
constexpr const char* FILTERS = "filters";
constexpr const char* FILTER = "filter";
constexpr const char* RULE = "rule";
/// After that many, faults are counted and not named.
constexpr int MAX_REPORTED_FAULTS = 100;

struct ContextDelete {
  void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};
const xmlChar* xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

std::string string_of(const xmlChar* text) {
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

std::string trimmed(const std::string& text) {
  constexpr const char* BLANKS = " \t\r\n\v\f";
  const std::size_t first = text.find_first_not_of(BLANKS);
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(BLANKS) + 1 - first);
}

/// While it lives, the XML library prints nothing on behalf of this thread; the parser keeps its last error.
class QuietXml {
 public:
  QuietXml() {
    xmlSetStructuredErrorFunc(nullptr, [](void*, xmlError*) {});
  }
  QuietXml(const QuietXml&) = delete;
  QuietXml& operator=(const QuietXml&) = delete;
  ~QuietXml() { xmlSetStructuredErrorFunc(oldContext, oldFunction); }

 private:
  xmlStructuredErrorFunc oldFunction = xmlStructuredError;
  void* oldContext = xmlStructuredErrorContext;
};

/// Ends the parsing of a document with a document type.
void refuse_document_type(void* parser, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* context = static_cast<xmlParserCtxt*>(parser);
  context->wellFormed = 0;
  xmlStopParser(context);
}

}  // namespace

// ---------------------------------------------------------------- files
// A document is read whole; document types, and so entities, are refused. Anything wrong makes the program
// unusable.

DareExreConfig* DareExreConfig::parse_config(const char* filename, const DareExreNames& names,
                                             AceReporter* rep) {
  const std::string name = filename != nullptr ? filename : "";
  AceFile file;
  std::string text;
  if (!name.empty() && file.prep(name.c_str(), nullptr) >= 0 && file.get_size() <= MAX_FILE_SIZE) {
    text.resize(static_cast<std::size_t>(file.get_size()));
    AceAttach at;
    const char* bytes = file.read_array<char>(static_cast<VInt>(text.size()), &at, 1);
    if (bytes != nullptr) return parse_text(bytes, static_cast<Huge>(text.size()), name.c_str(), names, rep);
  }
  rep->printf("ERROR: Unable to parse XML file \"%s\"\n", name.c_str());
  return nullptr;
}

DareExreConfig* DareExreConfig::parse_text(const char* text, Huge size, const char* filename,
                                           const DareExreNames& names, AceReporter* rep) {
  if (text == nullptr || size < 0 || size > MAX_FILE_SIZE) return nullptr;
  return DareExreParser(filename, names, rep).parse(text, static_cast<int>(size));
}

DareExreParser::Document DareExreParser::read(const char* text, int size) {
  static std::once_flag isInitialised;
  std::call_once(isInitialised, xmlInitParser);
  const QuietXml quiet;
  const std::unique_ptr<xmlParserCtxt, ContextDelete> context(xmlNewParserCtxt());
  if (context == nullptr) throw std::bad_alloc();
  context->sax->internalSubset = refuse_document_type;
  Document document(xmlCtxtReadMemory(context.get(), text, size, nullptr, nullptr,
                                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
  if (document != nullptr && context->wellFormed != 0 && context->errNo == XML_ERR_OK) return document;
  aceRep->printf("ERROR: Unable to parse XML file \"%s\"\n", fileName);
  const xmlError* error = xmlCtxtGetLastError(context.get());
  if (error != nullptr && error->message != nullptr)
    aceRep->printf("Line %d: %s\n", error->line, trimmed(error->message).c_str());
  else
    aceRep->print("A document without document type is expected\n");
  return nullptr;
}

/// What the path GROUP/NAME leads to from the root; without group, NAME. A walk: the XPath of the library
/// that is installed frees memory twice when memory ends.
DareExreParser::Nodes DareExreParser::find_nodes(xmlNode* root, const char* group, const char* name) {
  Nodes nodes;
  for (xmlNode* child = root->children; child != nullptr; child = child->next) {
    if (child->type != XML_ELEMENT_NODE) continue;
    if (group == nullptr && name_of(child) == name) nodes.push_back(child);
    if (group == nullptr || name_of(child) != group) continue;
    for (xmlNode* node : find_nodes(child, nullptr, name)) nodes.push_back(node);
  }
  return nodes;
}

bool DareExreParser::is_current(xmlNode* root) {
  const std::string version = attribute(root, VERSION_ATTRIBUTE);
  const bool isCurrent = name_of(root) == ROOT && version == VERSION;
  aceRep->printf("svversion attribute: %s (%s)\n", version.c_str(),
                 isCurrent ? "compatible" : "not compatible");
  return isCurrent;
}

DareExreConfig* DareExreParser::parse(const char* text, int size) {
  const Document document = read(text, size);
  xmlNode* root = document != nullptr ? xmlDocGetRootElement(document.get()) : nullptr;
  if (root == nullptr) return nullptr;
  const std::string name = name_of(root);
  if (name != ROOT && name != RULES) {
    aceRep->printf("ERROR: Unable to parse XML file \"%s\"\nRoot '%s' or '%s' expected, '%s' found\n",
                   fileName, ROOT, RULES, name.c_str());
    return nullptr;
  }
  config.reset(new DareExreConfig);
  const bool isCurrent = is_current(root);
  const Nodes filters = isCurrent ? find_nodes(root, FILTERS, FILTER) : Nodes();
  const Nodes rules = find_nodes(root, name == RULES ? nullptr : RULES, RULE);
  if (isCurrent && filters.empty()) aceRep->printf("No filters defined in file \"%s\"\n", fileName);
  if (rules.empty()) {
    aceRep->printf("No rules defined in file \"%s\"\n", fileName);
    return nullptr;
  }
  parse_filters(filters);
  isCurrent ? parse_rules(rules) : parse_compat_rules(rules);
  resolve_inputs();
  config->numOutputs = static_cast<int>(resultSlots.size());
  if (numFaults > MAX_REPORTED_FAULTS) aceRep->printf("%d faults in all\n", numFaults);
  return numFaults == 0 ? config.release() : nullptr;
}

// ---------------------------------------------------------------- elements and texts
// White space around texts does not count; a fault is noted with the rule that it is in.

void DareExreParser::fault(const char* expected, const char* element, const std::string& text) {
  if (++numFaults > MAX_REPORTED_FAULTS) return;
  aceRep->printf("%s number: %d; name: %.200s; element '%s': %s expected, '%.200s' found\n", place.kind,
                 place.number, place.name.c_str(), element, expected, text.c_str());
}

DareExreParser::Elements DareExreParser::elements_of(xmlNode* node, const std::set<std::string>& known,
                                                     const char* several) {
  Elements elements;
  for (xmlNode* child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE) {
      if (const std::string text = trimmed(string_of(child->content)); !text.empty())
        fault("no text between elements", name_of(node).c_str(), text);
      continue;
    }
    if (child->type != XML_ELEMENT_NODE) continue;
    const std::string name = name_of(child);
    if (several != nullptr && name == several) continue;
    if (!known.contains(name))
      fault("no such element", name_of(node).c_str(), name);
    else if (!elements.try_emplace(name, child).second)
      fault("one element", name_of(node).c_str(), name);
  }
  return elements;
}

std::string DareExreParser::text_of(xmlNode* node) {
  std::string text;
  for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
    if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
      text += string_of(child->content);
    else if (child->type != XML_COMMENT_NODE)
      fault("a text", name_of(node).c_str(), name_of(child));
  }
  return trimmed(text);
}

std::string DareExreParser::text_of(const Elements& elements, const char* name) {
  const auto found = elements.find(name);
  return found != elements.end() ? text_of(found->second) : "";
}

int DareExreParser::number_of(const std::string& text, const char* element) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || behind != end) fault("a number", element, text);
  return number;
}

std::string DareExreParser::name_of(const xmlNode* node) {
  return string_of(node->name);
}

std::string DareExreParser::attribute(xmlNode* node, const char* name) {
  std::string text;
  const xmlAttr* found = xmlHasProp(node, xml(name));
  for (const xmlNode* part = found != nullptr ? found->children : nullptr; part != nullptr; part = part->next)
    text += string_of(part->content);
  return trimmed(text);
}

// ---------------------------------------------------------------- filters
// Filters have names, and are parsed before the rules that use them.

void DareExreParser::parse_filters(const Nodes& nodes) {
  place.kind = "Filter";
  for (xmlNode* node : nodes) {
    ++place.number;
    place.name = attribute(node, "name");
    std::unique_ptr<DareExreFilter> filter = parse_filter(node);
    if (place.name.empty() || !filterNames.try_emplace(place.name, filter.get()).second)
      fault("a name of its own", "filter", place.name);
    if (filter != nullptr) config->namedFilters.push_back(std::move(filter));
  }
}

std::unique_ptr<DareExreFilter> DareExreParser::parse_filter(xmlNode* node) {
  const std::string className = attribute(node, "class");
  const DareExreFilterKind* kind = DareExreFilterKind::find(className);
  if (kind == nullptr) {
    if (++numFaults <= MAX_REPORTED_FAULTS)
      aceRep->printf("Unknown filter class. Filter number: %d; filter name: %s; filter class: %s\n",
                     place.number, place.name.c_str(), className.c_str());
    return nullptr;
  }
  DareExreFilterKind::Settings settings;
  if (kind->hasField) {
    const std::string field = attribute(node, "fieldname");
    settings.field = itsNames.getFieldIndex(field.c_str());
    if (settings.field < 0) fault("the name of a session field", "filter", field);
  }
  if (kind->wants == DareExreFilterKind::FILTERS) {
    elements_of(node, {}, "filter");
    for (xmlNode* child = node->children; child != nullptr; child = child->next)
      if (child->type == XML_ELEMENT_NODE)
        if (auto filter = parse_filter(child); filter != nullptr)
          settings.filters.push_back(std::move(filter));
    return kind->make(std::move(settings));
  }
  settings.text = text_of(node);
  if (kind->wants == DareExreFilterKind::NUMBER) settings.number = number_of(settings.text, "filter");
  const bool mayBeEmpty = kind->hasField;  // the empty value
  if (kind->wants == DareExreFilterKind::TEXT && settings.text.empty() && !mayBeEmpty)
    fault("a relation", "filter", settings.text);
  return kind->make(std::move(settings));
}

// ---------------------------------------------------------------- rules
// A rule filters its input, and goes on with a rule or ends with a category.

void DareExreParser::parse_rules(const Nodes& nodes) {
  place = {};
  for (xmlNode* node : nodes) {  // names first: a rule may jump to a later one
    ++place.number;
    config->ruleArray.push_back(std::make_unique<DareExreRule>());
    DareExreRule* rule = config->ruleArray.back().get();
    rule->ruleID = place.name = attribute(node, "name");
    if (place.name.empty() || !ruleNames.try_emplace(place.name, rule).second)
      fault("a name of its own", "rule", place.name);
  }
  place = {};
  for (xmlNode* node : nodes) {
    DareExreRule* rule = config->ruleArray[static_cast<std::size_t>(place.number)].get();
    ++place.number;
    place.name = rule->ruleID;
    parse_rule(node, rule);
  }
}

void DareExreParser::parse_rule(xmlNode* node, DareExreRule* rule) {
  static const std::set<std::string> KNOWN = {"input",    "output",     "filter",   "penalty",
                                              "relation", "acceptance", "decision", "otherwise"};
  const Elements elements = elements_of(node, KNOWN, nullptr);
  parse_input(text_of(elements, "input"), rule);
  parse_output(elements, rule);
  parse_filter_name(elements, rule);
  if (elements.contains("penalty")) rule->outputPenalty = number_of(text_of(elements, "penalty"), "penalty");
  if (rule->outputPenalty != 0 && rule->filterCriteria == nullptr)
    aceRep->printf("Rule number: %d; rule name: %s; the penalty counts only with a filter\n", place.number,
                   place.name.c_str());
  rule->relationID = text_of(elements, "relation");
  if (elements.contains("relation") && rule->relationID.empty()) fault("a relation", "relation", "");
  const auto acceptance = elements.find("acceptance");
  rule->acceptCriteria = acceptance != elements.end() ? parse_acceptor(acceptance->second)
                                                      : DareExreAcceptorKind::find("")->make({});
  parse_instruction(elements, "decision", &rule->yesInstruction);
  parse_instruction(elements, "otherwise", &rule->noInstruction);
}

void DareExreParser::parse_output(const Elements& elements, DareExreRule* rule) {
  DareExreOutput& output = rule->outputResult;
  output.resultName = text_of(elements, "output");
  output.resultType = output.resultName.empty() ? DareExreOutput::UNDEF : DareExreOutput::NAMED;
  if (output.resultName.find_first_of("()") != std::string::npos)
    fault("a name without parentheses", "output", output.resultName);
  if (output.resultName.empty()) output.resultName = "result_" + std::to_string(place.number);
  output.resultSlot = slot_of(output.resultName);
}

void DareExreParser::parse_filter_name(const Elements& elements, DareExreRule* rule) {
  if (!elements.contains("filter")) return;
  const std::string name = text_of(elements, "filter");
  if (const auto found = filterNames.find(name); found != filterNames.end()) {
    rule->filterCriteria = found->second;
    return;
  }
  if (++numFaults <= MAX_REPORTED_FAULTS)
    aceRep->printf("Unknown filter name. Rule number: %d; rule name: %s; filter name: %s\n", place.number,
                   place.name.c_str(), name.c_str());
}

/// A rule's name wins over a category.
void DareExreParser::parse_instruction(const Elements& elements, const char* name,
                                       DareExreRule::Instruction* instruction) {
  if (!elements.contains(name)) return;
  const std::string text = text_of(elements, name);
  if (const auto found = ruleNames.find(text); found != ruleNames.end()) {
    instruction->jumpTo = found->second;
    return;
  }
  instruction->stopCategory = DastResult::get_category(text.c_str());
  if (instruction->stopCategory == DastResult::NONE) fault("the name of a rule or a category", name, text);
}

std::unique_ptr<DareExreAcceptor> DareExreParser::parse_acceptor(xmlNode* node) {
  const std::string className = attribute(node, "class");
  const DareExreAcceptorKind* kind = DareExreAcceptorKind::find(className);
  DareExreAcceptorKind::Settings settings;
  if (kind == nullptr) {
    if (++numFaults <= MAX_REPORTED_FAULTS)
      aceRep->printf("Unknown acceptance class. Rule number: %d; acceptance class: %s\n", place.number,
                     className.c_str());
    return DareExreAcceptorKind::find("")->make(std::move(settings));
  }
  settings.dedupField = itsNames.dedupField;
  if (kind->wants == DareExreAcceptorKind::ACCEPTORS) {
    elements_of(node, {}, "acceptance");
    for (xmlNode* child = node->children; child != nullptr; child = child->next)
      if (child->type == XML_ELEMENT_NODE) settings.acceptors.push_back(parse_acceptor(child));
    return kind->make(std::move(settings));
  }
  settings.text = text_of(node);
  if (kind->wants == DareExreAcceptorKind::NUMBER) settings.number = number_of(settings.text, "acceptance");
  if (kind->wants == DareExreAcceptorKind::TEXT && settings.text.empty())
    fault("a relation", "acceptance", settings.text);
  return kind->make(std::move(settings));
}

// ---------------------------------------------------------------- inputs
// An input may be the output of a rule that comes later, so names are resolved when all rules are known.

void DareExreParser::parse_input(const std::string& text, DareExreRule* rule) {
  rule->inputResult = DareExreInput::parse(text);
  if (rule->inputResult != nullptr) return;
  fault("'', 'result', 'combination()' or 'combination(input)'", "input", text);
  rule->inputResult = std::make_unique<DareExreInput>();
}

void DareExreParser::resolve_inputs() {
  place = {};
  for (const auto& rule : config->ruleArray) {
    ++place.number;
    place.name = rule->ruleID;
    for (DareExreInput* input = rule->inputResult.get(); input != nullptr; input = input->reevalInput.get())
      resolve_input(input);
  }
}

void DareExreParser::resolve_input(DareExreInput* input) {
  if (input->resultType == DareExreInput::NAMED) {
    const auto found = resultSlots.find(input->resultName);
    if (found == resultSlots.end())
      fault("the name of a rule's output", "input", input->resultName);
    else
      input->resultSlot = found->second;
  } else if (input->resultType != DareExreInput::UNDEF &&
             itsNames.getCombiId(input->combinationName.c_str()) < 0) {
    fault("the name of a combination", "input", input->combinationName);
  }
}
