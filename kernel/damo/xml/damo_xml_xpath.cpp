#include "damo/xml/damo_xml_xpath_internal.h"

#include <libxml/xpathInternals.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "ace/ace_exception.h"
#include "damo/xml/damo_xml_path_internal.h"

namespace {

constexpr const char* CONDITION = "Cannot evaluate XPath";
constexpr char ALIAS_SEPARATOR = '|';

struct ErrorText {
  int code;
  const char* text;
};
constexpr std::array ERROR_TEXTS = {
    ErrorText{XPATH_NUMBER_ERROR, "a number is expected"},
    ErrorText{XPATH_UNFINISHED_LITERAL_ERROR, "a text has no closing quote"},
    ErrorText{XPATH_VARIABLE_REF_ERROR, "the name of a variable is expected"},
    ErrorText{XPATH_UNDEF_VARIABLE_ERROR, "there are no variables"},
    ErrorText{XPATH_INVALID_PREDICATE_ERROR, "a predicate is wrong or not closed"},
    ErrorText{XPATH_EXPR_ERROR, "it is no XPath expression"},
    ErrorText{XPATH_UNCLOSED_ERROR, "a bracket is not closed"},
    ErrorText{XPATH_UNKNOWN_FUNC_ERROR, "there is no such function"},
    ErrorText{XPATH_INVALID_OPERAND, "an operand has the wrong type"},
    ErrorText{XPATH_INVALID_TYPE, "an argument has the wrong type"},
    ErrorText{XPATH_INVALID_ARITY, "a function has the wrong number of arguments"},
    ErrorText{XPATH_UNDEF_PREFIX_ERROR, "a prefix is not among the namespaces"},
    ErrorText{XPATH_RECURSION_LIMIT_EXCEEDED, "it is nested too deeply"},
};

/// The next node in the order of the document that is in `top`, not below `from` if `from` has no children.
const xmlNode* successor(const xmlNode* from, const xmlNode* top) {
  if (from->type == XML_ELEMENT_NODE && from->children != nullptr) return from->children;
  while (from != top && from->next == nullptr) from = from->parent;
  return from == top ? nullptr : from->next;
}

}  // namespace

// ---------------------------------------------------------------- expressions

DamoXmlXpath::DamoXmlXpath(const std::vector<std::string>& xpathNamespaces, VInt max_steps)
    : xpathCtx(xmlXPathNewContext(nullptr)) {
  if (xpathCtx == nullptr || xmlXPathContextSetCache(xpathCtx.get(), 1, -1, 0) != 0) throw std::bad_alloc();
  xpathCtx->error = take;
  xpathCtx->userData = this;
  xpathCtx->opLimit = static_cast<unsigned long>(std::max<VInt>(max_steps, 1));
  for (std::size_t i = 0; i + 1 < xpathNamespaces.size(); i += 2)
    if (xpathNamespaces[i].empty() || xmlXPathRegisterNs(xpathCtx.get(), xml_text(xpathNamespaces[i].c_str()),
                                                         xml_text(xpathNamespaces[i + 1].c_str())) != 0)
      throw AceException("Cannot instantiate XML input reader", "XPath namespace %zu: prefix '%s' for '%s'",
                         i / 2, xpathNamespaces[i].c_str(), xpathNamespaces[i + 1].c_str());
}

void DamoXmlXpath::take(void* self, xmlError* error) noexcept {
  auto* const xpath = static_cast<DamoXmlXpath*>(self);
  if (error == nullptr || xpath->errorCode != 0) return;
  xpath->errorCode = error->code;
  xpath->errorPlace = error->int1;
}

void DamoXmlXpath::fail(const std::string& what) const {
  const int code = errorCode - XML_XPATH_EXPRESSION_OK;
  if (code == XPATH_MEMORY_ERROR) throw std::bad_alloc();
  if (errorCode == 0 || code == XPATH_OP_LIMIT_EXCEEDED)
    throw AceException(CONDITION, "%s: it takes too many steps", what.c_str());
  const auto* const known = std::ranges::find(ERROR_TEXTS, code, &ErrorText::code);
  const std::string text = known != ERROR_TEXTS.end() ? known->text : "error " + std::to_string(errorCode);
  throw AceException(CONDITION, "%s: %s, at character %d", what.c_str(), text.c_str(), errorPlace + 1);
}

DamoXmlXpath::Compiled DamoXmlXpath::compile(const std::string& text, const std::string& what) {
  errorCode = 0;
  xpathCtx->opCount = 0;
  Compiled compiled(xmlXPathCtxtCompile(xpathCtx.get(), xml_text(text.c_str())));
  if (compiled == nullptr || errorCode != 0) fail(what);
  return compiled;
}

DamoXmlXpath::Object DamoXmlXpath::evaluate(xmlXPathCompExpr* compiled, xmlNode* node, int position,
                                            const std::string& what) {
  errorCode = 0;
  xpathCtx->opCount = 0;
  xpathCtx->doc = node->doc;
  xpathCtx->node = node;
  xpathCtx->proximityPosition = position;
  xpathCtx->contextSize = position;
  Object object(xmlXPathCompiledEval(compiled, xpathCtx.get()));
  if (object == nullptr || errorCode != 0) fail(what);
  return object;
}

const char* DamoXmlXpath::find_namespace(const std::string& prefix) const {
  const xmlChar* const uri = xmlXPathNsLookup(xpathCtx.get(), xml_text(prefix.c_str()));
  return uri != nullptr ? plain_text(uri) : nullptr;
}

// ---------------------------------------------------------------- fields

DamoXmlFields::DamoXmlFields(const char* const* paths, int num_paths, DamoXmlXpath* shared, VInt max_bytes)
    : xpath(shared), maxBytes(max_bytes) {
  for (int i = 0; i < num_paths; ++i) {
    xpathFields.push_back({paths[i] != nullptr ? paths[i] : "", nullptr, {}});
    xpathFields.back().compiled = shared->compile(xpathFields.back().path, name_of(xpathFields.back()));
  }
}

std::string DamoXmlFields::name_of(const Field& field) const {
  return "field path " + std::to_string(&field - xpathFields.data()) + ", '" + field.path + "'";
}

bool DamoXmlFields::stay_in_record(std::string* other) const {
  for (const Field& field : xpathFields)
    if (damo_xml_reach(field.path) == DamoXmlReach::OUTSIDE) {
      *other = name_of(field);
      return false;
    }
  return true;
}

void DamoXmlFields::get_node_content(const xmlNode* node, std::string* out, const Field& field) const {
  const auto add = [&](const xmlChar* text) {
    const char* const bytes = plain_text(text);
    const std::size_t size = std::strlen(bytes);
    if (static_cast<VInt>(out->size() + size) > maxBytes)
      throw AceException("Cannot read XML source", "%s: more than %ld bytes, which is the limit of a field",
                         name_of(field).c_str(), maxBytes);
    out->append(bytes, size);
  };
  if (node->type == XML_NAMESPACE_DECL) {
    add(reinterpret_cast<const xmlNs*>(node)->href);
  } else if (node->type == XML_ATTRIBUTE_NODE) {
    for (const xmlNode* part = node->children; part != nullptr; part = part->next) add(part->content);
  } else if (node->type != XML_ELEMENT_NODE && node->type != XML_DOCUMENT_NODE) {
    add(node->content);
  } else {
    for (const xmlNode *part = node->children, *now = part; now != nullptr;) {
      if (now->type == XML_TEXT_NODE || now->type == XML_CDATA_SECTION_NODE) add(now->content);
      now = successor(now, node);
    }
  }
}

void DamoXmlFields::append_result(const xmlXPathObject& result, Field* field) const {
  const xmlNodeSet* const nodes = result.nodesetval;
  for (int i = 0; nodes != nullptr && i < nodes->nodeNr; ++i) {
    if (i > 0) field->text += ALIAS_SEPARATOR;
    get_node_content(nodes->nodeTab[i], &field->text, *field);
  }
}

void DamoXmlFields::read(xmlNode* record, const char** out) {
  for (std::size_t i = 0; i < xpathFields.size(); ++i) {
    Field& field = xpathFields[i];
    field.text.clear();
    const DamoXmlXpath::Object result = xpath->evaluate(field.compiled.get(), record, 1, name_of(field));
    if (result->type == XPATH_NODESET) {
      append_result(*result, &field);
    } else {
      const std::unique_ptr<xmlChar, decltype(xmlFree)> text(xmlXPathCastToString(result.get()), xmlFree);
      if (text == nullptr) throw std::bad_alloc();
      field.text = plain_text(text.get());
    }
    out[i] = field.text.c_str();
  }
}
