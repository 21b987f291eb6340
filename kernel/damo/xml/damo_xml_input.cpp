#include "damo/damo_xml_input.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/xml/damo_xml_entity_internal.h"
#include "damo/xml/damo_xml_match_internal.h"
#include "damo/xml/damo_xml_path_internal.h"
#include "damo/xml/damo_xml_reader_internal.h"
#include "damo/xml/damo_xml_xpath_internal.h"

namespace {

constexpr const char* CONDITION = "Cannot instantiate XML input reader";

std::vector<std::string> namespace_list(const char* const* namespaces, int count) {
  if (count < 0 || count % 2 != 0)
    throw AceException(CONDITION, "XPath namespace list has %i elements but an even number is required.",
                       count);
  std::vector<std::string> list;
  for (int i = 0; i < count && namespaces != nullptr; ++i)
    list.emplace_back(namespaces[i] != nullptr ? namespaces[i] : "");
  return list;
}

const char* checked_paths(const char* record_path, const char* const* field_paths, int num_paths) {
  if (record_path == nullptr || *record_path == '\0')
    throw AceException(CONDITION, "Record XPath must not be empty.");
  if (field_paths == nullptr || num_paths <= 0) throw AceException(CONDITION, "There must be field XPaths.");
  for (int i = 0; i < num_paths; ++i)
    if (field_paths[i] == nullptr || *field_paths[i] == '\0')
      throw AceException(CONDITION, "Field XPath %d must not be empty.", i);
  return record_path;
}

const char* checked_file(const char* file) {
  struct stat info {};
  if (file == nullptr || stat(file, &info) != 0 || !S_ISREG(info.st_mode))
    throw AceException(CONDITION, "XML input file '%s' does not exist", file != nullptr ? file : "");
  return file;
}

}  // namespace

/// Where the records come from: the stream, or a list of elements of the document.
struct _DamoXmlInput::Document {
  Document(const char* file, std::string record_path, const char* const* paths, int num_paths,
           const std::vector<std::string>& namespaces, const DamoXmlLimits& limits, AceReporter* rep)
      : xpathRecord(std::move(record_path)),
        xpath(namespaces, limits.xpathSteps),
        compiledRecord(xpath.compile(xpathRecord, "record path '" + xpathRecord + "'")),
        fields(paths, num_paths, &xpath, limits.fieldBytes),
        source(file, limits, rep),
        entities(&source) {
    choose(rep);
  }

  std::string xpathRecord;
  DamoXmlXpath xpath;
  DamoXmlXpath::Compiled compiledRecord;
  DamoXmlFields fields;
  DamoXmlReader source;
  DamoXmlEntities entities;
  std::optional<DamoXmlMatcher> matcher;  // none: the document is in memory
  std::vector<xmlNode*> list;             // its records
  std::size_t numRead = 0;                // of `list`
  xmlNode* record = nullptr;              // present one
  bool skips = false;                     // the element that the stream is at
  VInt posBefore = 0;

  xmlNode* next() {
    if (matcher) return record = nextRecordNode();
    return record = numRead < list.size() ? list[numRead++] : nullptr;
  }
  void read_fields(VInt number, const char** fields_out);
  VInt take_size() {
    return source.get_file().get_pos() - std::exchange(posBefore, source.get_file().get_pos());
  }

 private:
  void choose(AceReporter* rep);
  void load();
  xmlNodePtr nextRecordNode();
  bool enter_element();
  void expand();
};

void _DamoXmlInput::Document::choose(AceReporter* rep) {
  const auto steps = damo_xml_steps(xpathRecord);
  std::string reason;
  if (!steps)
    reason = "record path '" + xpathRecord + "'";
  else if (fields.stay_in_record(&reason) && source.get_prolog().hasMarkup)
    reason = "an entity with elements in it";
  if (reason.empty()) {
    matcher.emplace(*steps, &xpath);
    return;
  }
  rep->ev_wprintf("'%s' is read into memory as a whole: %s cannot be read in a stream\n",
                  source.get_name().c_str(), reason.c_str());
  load();
}

/// Elements only, and of those within each other the outer one.
void _DamoXmlInput::Document::load() {
  auto* const top = reinterpret_cast<xmlNode*>(source.load());
  if (source.get_prolog().hasType) entities.expand(top);
  xmlXPathOrderDocElems(top->doc);
  const std::string name = "record path '" + xpathRecord + "'";
  const DamoXmlXpath::Object found = xpath.evaluate(compiledRecord.get(), top, 1, name);
  if (found->type != XPATH_NODESET)
    throw AceException(CONDITION, "%s selects no elements but a text, a number or a truth value",
                       name.c_str());
  const xmlNodeSet* const nodes = found->nodesetval;
  for (int i = 0; nodes != nullptr && i < nodes->nodeNr; ++i) {
    xmlNode* const node = nodes->nodeTab[i];
    if (node->type != XML_ELEMENT_NODE) continue;
    const xmlNode* around = list.empty() ? nullptr : node->parent;
    while (around != nullptr && around != list.back()) around = around->parent;
    if (around == nullptr) list.push_back(node);
  }
}

void _DamoXmlInput::Document::expand() {
  xmlNode* const node = source.expand();
  if (source.get_prolog().hasType) entities.expand(node);
}

/// Whether the element that the stream is at is a record.
bool _DamoXmlInput::Document::enter_element() {
  xmlNode* const node = source.get_node();
  if (source.get_prolog().hasType) entities.expand_attributes(node);
  bool isExpanded = false;
  const auto expand_once = [&] {
    if (!std::exchange(isExpanded, true)) expand();
  };
  const bool isRecord = matcher->enter(node, source.get_depth(), expand_once);
  if (isRecord) expand_once();
  skips = isRecord || matcher->is_hopeless();
  return isRecord;
}

xmlNodePtr _DamoXmlInput::Document::nextRecordNode() {
  while (source.next(std::exchange(skips, false))) {
    const int type = source.get_type();
    if (type == XML_READER_TYPE_ENTITY_REFERENCE) entities.find(*source.get_node());
    if (type == XML_READER_TYPE_ELEMENT && enter_element()) return source.get_node();
  }
  return nullptr;
}

void _DamoXmlInput::Document::read_fields(VInt number, const char** fields_out) {
  try {
    fields.read(record, fields_out);
  } catch (const AceException& exception) {
    throw AceException(exception.get_cond(), "'%s', record %ld: %s", source.get_name().c_str(), number,
                       exception.get_info());
  }
}

_DamoXmlInput::_DamoXmlInput(const char* file, const char* record_path, const char* const* field_paths,
                             int num_paths, const char* const* namespaces, int num_namespaces,
                             AceReporter* rep, const DamoXmlLimits& limits)
    : DamoInput(rep, std::max(num_paths, MAX_FIELDS)) {
  const std::string path = checked_paths(record_path, field_paths, num_paths);
  const std::vector<std::string> list = namespace_list(namespaces, num_namespaces);
  const DamoXmlQuiet quiet;
  document =
      std::make_unique<Document>(checked_file(file), path, field_paths, num_paths, list, limits, reporter);
  numFields = num_paths;
}

_DamoXmlInput::~_DamoXmlInput() = default;

int _DamoXmlInput::read_line(VInt* line_num, int /*as_is*/) {
  const DamoXmlQuiet quiet;
  for (;;) {
    begin_record();
    if (isEof || document->next() == nullptr) {
      isEof = true;
      return AT_END;
    }
    ++lineIdx;
    document->read_fields(lineIdx, fieldPtr);
    recordSize = document->fields.get_count();
    const int outcome = recordSize == numFields ? ACCEPT : handle_error(recordSize, nullptr);
    if (outcome == SKIP) continue;
    if (line_num != nullptr) *line_num = lineIdx;
    if (outcome != ACCEPT) return REJECTED;
    return static_cast<int>(std::min<VInt>(document->take_size(), INT_MAX));
  }
}

int _DamoXmlInput::partition(int /*part*/, int /*num_parts*/) {
  reporter->printf("XML sources do not support multiple parts!");
  return -1;
}

VInt _DamoXmlInput::get_size() {
  struct stat info {};
  constexpr VInt KIB = 1024;
  return stat(get_source_name(), &info) == 0 ? std::max<VInt>(info.st_size / KIB, 1) : 0;
}

const char* _DamoXmlInput::get_source_name() {
  return document->source.get_name().c_str();
}

char* _DamoXmlInput::get_source_text(AceAttach* at) {
  if (document->record == nullptr) return at->attach("");
  const std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer(xmlBufferCreate(), xmlBufferFree);
  if (buffer == nullptr || xmlNodeDump(buffer.get(), document->record->doc, document->record, 0, 0) < 0)
    throw std::bad_alloc();
  return at->attach(plain_text(xmlBufferContent(buffer.get())));
}

DamoInput* DamoXmlInput(const char* file, const char* record_path, const char** field_paths, int num_paths,
                        const char** namespaces, int num_namespaces, AceReporter* rep) {
  return new _DamoXmlInput(file, record_path, field_paths, num_paths, namespaces, num_namespaces, rep);
}
