#include "damo/xml/damo_xml_reader_internal.h"

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"

namespace {

constexpr const char* CONDITION = "Cannot read XML source";
/// No document types of other files, nothing over a network, texts whole, lines beyond 65535.
constexpr int OPTIONS = XML_PARSE_NONET | XML_PARSE_NOCDATA | XML_PARSE_COMPACT | XML_PARSE_BIG_LINES;

constexpr VInt MAX_PROLOG = 1 << 20;
constexpr int MAX_DEFAULTS = 256;
/// Growth by parameter entities: of what has been read, and what each reference counts for at least.
constexpr VInt PARAMETER_GROWTH = 10;
constexpr VInt REFERENCE_COST = 64;

std::string replaceNewlines(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

void print_nothing(void* /*context*/, const char* /*format*/, ...) {}

}  // namespace

// ---------------------------------------------------------------- what is wrong
// The XML library tells of faults in the middle of its work: the first error is kept, and thrown when the
// library has returned.

DamoXmlQuiet::DamoXmlQuiet()
    : oldGeneric(xmlGenericError),
      oldGenericContext(xmlGenericErrorContext),
      oldStructured(xmlStructuredError),
      oldStructuredContext(xmlStructuredErrorContext) {
  xmlSetGenericErrorFunc(nullptr, print_nothing);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
}

DamoXmlQuiet::~DamoXmlQuiet() {
  xmlSetGenericErrorFunc(oldGenericContext, oldGeneric);
  xmlSetStructuredErrorFunc(oldStructuredContext, oldStructured);
}

void DamoXmlFaults::take(void* faults, xmlError* error) noexcept {
  auto* const self = static_cast<DamoXmlFaults*>(faults);
  if (error == nullptr) return;
  try {
    self->keep(*error);
  } catch (...) {
    self->isSet = true;
  }
}

void DamoXmlFaults::keep(const xmlError& error) {
  std::string message = error.message != nullptr
                            ? error.message
                            : "error " + std::to_string(error.code) + " of the XML library";
  if (error.level >= XML_ERR_ERROR) {
    if (isSet) return;
    isSet = true;
    line = error.line;
    column = error.int2;
    text = replaceNewlines(std::move(message));
  } else if (numReported + warnings.size() < MAX_WARNINGS) {
    warnings.push_back("line " + std::to_string(error.line) + ": " + replaceNewlines(std::move(message)));
  }
}

void DamoXmlFaults::set(int at_line, std::string what) noexcept {
  if (isSet) return;
  isSet = true;
  line = at_line;
  column = 0;
  text = std::move(what);
}

void DamoXmlFaults::check(const std::string& file, AceReporter* rep) {
  if (!warnings.empty()) {
    const std::vector<std::string> present = std::exchange(warnings, {});
    numReported += present.size();
    for (const std::string& warning : present) rep->ev_wprintf("'%s', %s\n", file.c_str(), warning.c_str());
    if (numReported == MAX_WARNINGS) rep->ev_wprintf("'%s': no more warnings\n", file.c_str());
  }
  if (isSet) throw AceException(CONDITION, "'%s', %s", file.c_str(), get_error().c_str());
}

std::string DamoXmlFaults::get_error() const {
  if (text.empty()) throw std::bad_alloc();  // when it was to be kept
  return "line " + std::to_string(line) + (column > 0 ? ", column " + std::to_string(column) : "") + ": " +
         text;
}

// ---------------------------------------------------------------- bytes
// The parser asks for bytes; their number bounds what entities may make of them.

DamoXmlFile::DamoXmlFile(const std::string& name, DamoXmlFaults* shared)
    : stream(std::fopen(name.c_str(), "rbe")), faults(shared) {}

int DamoXmlFile::read(void* file, char* buffer, int size) noexcept {
  auto* const self = static_cast<DamoXmlFile*>(file);
  try {
    if (self->faults->has_error()) return -1;
    const std::size_t count = std::fread(buffer, 1, static_cast<std::size_t>(size), self->stream.get());
    self->pos += static_cast<VInt>(count);
    if (std::ferror(self->stream.get()) != 0) {
      char reason[128];
      self->faults->set(0, "byte " + std::to_string(self->pos) +
                               " cannot be read: " + ace_strerror(errno, reason, sizeof reason));
      return -1;
    }
    if (self->end >= 0 && self->pos > self->end) {
      self->faults->set(0, "byte " + std::to_string(self->pos) + ": more than the " +
                               std::to_string(self->held) + " bytes that may be in memory at once");
      return -1;
    }
    return static_cast<int>(count);
  } catch (...) {
    self->faults->set(0, {});
    return -1;
  }
}

void DamoXmlFile::limit(VInt held_bytes) {
  held = held_bytes;
  end = held < 0 ? -1 : pos + held;
}

VInt DamoXmlFile::get_size() const {
  struct stat info {};
  return fstat(fileno(stream.get()), &info) == 0 ? info.st_size : 0;
}

void DamoXmlFile::rewind() {
  std::rewind(stream.get());
  pos = 0;
  end = -1;
}

// ---------------------------------------------------------------- the prolog
// Outside entities are refused before the library could look for them; the others are declared here.

/// What the parser meets on its way to the first element, and in a whole document. Exceptions do not leave
/// its functions, which the XML library calls.
struct DamoXmlReader::Watch {
  DamoXmlProlog* found;
  DamoXmlFile* file;
  DamoXmlFaults* faults;
  bool isProlog;  // only that
  VInt parameterSize = 0;

  void install(xmlParserCtxt* context);

  static Watch* of(void* parser) {
    return static_cast<Watch*>(static_cast<xmlParserCtxt*>(parser)->_private);
  }
  static void refuse(void* parser, const char* what, const xmlChar* name) noexcept;
  static void note_type(void* parser, const xmlChar* name, const xmlChar* public_id,
                        const xmlChar* system_id) noexcept;
  static void declare_entity(void* parser, const xmlChar* name, int type, const xmlChar* public_id,
                             const xmlChar* system_id, xmlChar* content) noexcept;
  static xmlEntity* refer_to_parameter(void* parser, const xmlChar* name) noexcept;
  static void declare_attribute(void* parser, const xmlChar* element, const xmlChar* name, int type,
                                int by_default, const xmlChar* value, xmlEnumeration* tree) noexcept;
  static void stop_at_element(void* parser, const xmlChar*, const xmlChar*, const xmlChar*, int,
                              const xmlChar**, int, int, const xmlChar**) noexcept;
};

void DamoXmlReader::Watch::refuse(void* parser, const char* what, const xmlChar* name) noexcept {
  auto* const context = static_cast<xmlParserCtxt*>(parser);
  try {
    of(parser)->faults->set(context->input != nullptr ? context->input->line : 0,
                            std::string(what) + " '" + plain_text(name) + "'");
  } catch (...) {
    of(parser)->faults->set(0, {});
  }
  xmlStopParser(context);
}

void DamoXmlReader::Watch::note_type(void* parser, const xmlChar* name, const xmlChar* public_id,
                                     const xmlChar* system_id) noexcept {
  try {
    DamoXmlProlog* const found = of(parser)->found;
    found->hasType = true;
    found->typeName = plain_text(name);
    found->publicId = plain_text(public_id);
    found->systemId = plain_text(system_id);
  } catch (...) {
    of(parser)->faults->set(0, {});
  }
  xmlSAX2InternalSubset(parser, name, public_id, system_id);
}

void DamoXmlReader::Watch::declare_entity(void* parser, const xmlChar* name, int type,
                                          const xmlChar* public_id, const xmlChar* system_id,
                                          xmlChar* content) noexcept {
  if (type == XML_INTERNAL_GENERAL_ENTITY && std::strchr(plain_text(content), '<') != nullptr)
    of(parser)->found->hasMarkup = true;
  xmlSAX2EntityDecl(parser, name, type, public_id, system_id, content);
}

xmlEntity* DamoXmlReader::Watch::refer_to_parameter(void* parser, const xmlChar* name) noexcept {
  xmlEntity* const entity = xmlSAX2GetParameterEntity(parser, name);
  if (entity == nullptr) return nullptr;
  Watch* const watch = of(parser);
  watch->parameterSize += REFERENCE_COST + entity->length;
  if (entity->etype != XML_INTERNAL_PARAMETER_ENTITY)
    refuse(parser, "other files are not read: parameter entity", name);
  else if (watch->parameterSize > MAX_PROLOG + PARAMETER_GROWTH * watch->file->get_pos())
    refuse(parser, "the document type grows beyond ten times its size with parameter entity", name);
  return watch->faults->has_error() ? nullptr : entity;
}

void DamoXmlReader::Watch::declare_attribute(void* parser, const xmlChar* element, const xmlChar* name,
                                             int type, int by_default, const xmlChar* value,
                                             xmlEnumeration* tree) noexcept {
  if (value != nullptr && ++of(parser)->found->numDefaults > MAX_DEFAULTS)
    refuse(parser, "too many attributes have values by default: attribute", name);
  xmlSAX2AttributeDecl(parser, element, name, type, by_default, value, tree);
}

void DamoXmlReader::Watch::stop_at_element(void* parser, const xmlChar*, const xmlChar*, const xmlChar*, int,
                                           const xmlChar**, int, int, const xmlChar**) noexcept {
  auto* const context = static_cast<xmlParserCtxt*>(parser);
  try {
    of(parser)->found->encoding =
        plain_text(context->encoding != nullptr ? context->encoding : context->input->encoding);
  } catch (...) {
    of(parser)->faults->set(0, {});
  }
  xmlStopParser(context);
}

void DamoXmlReader::Watch::install(xmlParserCtxt* context) {
  context->_private = this;
  xmlSAXHandler* const sax = context->sax;
  sax->serror = [](void* parser, xmlError* error) { DamoXmlFaults::take(of(parser)->faults, error); };
  sax->internalSubset = note_type;
  sax->entityDecl = declare_entity;
  sax->getParameterEntity = refer_to_parameter;
  sax->attributeDecl = declare_attribute;
  if (isProlog) sax->startElementNs = stop_at_element;
}

xmlDoc* DamoXmlReader::parse(Watch* watch) {
  xmlParserCtxt* const context = xmlNewParserCtxt();
  if (context == nullptr) throw std::bad_alloc();
  watch->install(context);
  xmlDoc* const doc =
      xmlCtxtReadIO(context, DamoXmlFile::read, DamoXmlFile::close, &file, nullptr, nullptr, OPTIONS);
  xmlFreeParserCtxt(context);
  return doc;
}

/// A parser of its own looks at the prolog first: it alone can be told to stop.
void DamoXmlReader::inspect() {
  Watch watch{&prolog, &file, &faults, true};
  file.limit(MAX_PROLOG);
  xmlFreeDoc(parse(&watch));
  if (faults.has_error())
    throw AceException(
        "Cannot instantiate XML input reader",
        "Unable to instantiate libxml2 reader for input file '%s'. Please ensure the file is a "
        "valid XML file: %s",
        fileName.c_str(), faults.get_error().c_str());
  faults.check(fileName, reporter);
  file.rewind();
}

// ---------------------------------------------------------------- the stream
// The reader stands on a node; an element is expanded where its content is needed, and freed with the next
// one.

DamoXmlReader::DamoXmlReader(const char* name, const DamoXmlLimits& given, AceReporter* rep)
    : fileName(name), limits(given), reporter(rep), file(fileName, &faults) {
  static std::once_flag isInitialised;
  std::call_once(isInitialised, xmlInitParser);
  if (!file.is_open())
    throw AceException("Cannot instantiate XML input reader", "XML input file '%s' does not exist", name);
  inspect();
  limits.heldBytes /= 1 + prolog.numDefaults;
  open();
}

DamoXmlReader::~DamoXmlReader() {
  xmlFreeTextReader(reader);
  xmlFreeDoc(document);
}

void DamoXmlReader::open() {
  reader = xmlReaderForIO(DamoXmlFile::read, DamoXmlFile::close, &file, nullptr, nullptr, OPTIONS);
  faults.check(fileName, reporter);
  if (reader == nullptr) throw std::bad_alloc();
  xmlTextReaderSetStructuredErrorHandler(reader, DamoXmlFaults::take, &faults);
}

bool DamoXmlReader::next(bool skip) {
  if (reader == nullptr) return false;
  readerReturnVal = skip ? xmlTextReaderNext(reader) : xmlTextReaderRead(reader);
  faults.check(fileName, reporter);
  if (readerReturnVal < 0)
    throw AceException(CONDITION, "'%s', line %d: it cannot be parsed", fileName.c_str(), get_line());
  return readerReturnVal == 1;
}

xmlNode* DamoXmlReader::expand() {
  file.limit(limits.heldBytes);
  xmlNode* const node = xmlTextReaderExpand(reader);
  file.limit(-1);
  faults.check(fileName, reporter);
  if (node == nullptr)
    throw AceException(CONDITION, "'%s', line %d: it cannot be parsed", fileName.c_str(), get_line());
  return node;
}

xmlDoc* DamoXmlReader::load() {
  if (file.get_size() > limits.heldBytes)
    throw AceException(CONDITION, "'%s' has %ld bytes, more than the %ld bytes that may be in memory at once",
                       fileName.c_str(), file.get_size(), limits.heldBytes);
  xmlFreeTextReader(reader);
  reader = nullptr;
  file.rewind();
  file.limit(limits.heldBytes);
  DamoXmlProlog again;
  Watch watch{&again, &file, &faults, false};
  document = parse(&watch);
  faults.check(fileName, reporter);
  if (document == nullptr) throw AceException(CONDITION, "'%s' cannot be parsed", fileName.c_str());
  return document;
}
