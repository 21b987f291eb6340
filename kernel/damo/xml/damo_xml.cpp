#include "damo/damo_xml.h"

#include <cstring>
#include <limits>
#include <map>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/xml/damo_xml_entity_internal.h"
#include "damo/xml/damo_xml_reader_internal.h"

namespace {

constexpr const char* XML_NAMESPACE = "http://www.w3.org/XML/1998/namespace";
constexpr int MAX_NODES = 1'000'000;
constexpr std::size_t MAX_SAMPLE = 1024;

/// The prefixes of URIs, in the order in which they came.
class Prefixes {
 public:
  void add(const std::string& prefix, const std::string& uri) {
    if (byUri.emplace(uri, prefix).second) order.emplace_back(prefix, uri);
  }
  /// The prefix of a namespace, which may be new.
  const std::string& find(const xmlNs& space) {
    const std::string uri = plain_text(space.href);
    const auto known = byUri.find(uri);
    if (known != byUri.end()) return known->second;
    std::string prefix = plain_text(space.prefix);
    for (int i = 1; prefix.empty() || is_taken(prefix); ++i) prefix = "ns" + std::to_string(i);
    add(prefix, uri);
    return byUri.find(uri)->second;
  }
  const std::vector<std::pair<std::string, std::string>>& get() const { return order; }

 private:
  bool is_taken(const std::string& prefix) const {
    for (const auto& [taken, uri] : order)
      if (taken == prefix) return true;
    return false;
  }

  std::map<std::string, std::string> byUri{{XML_NAMESPACE, "xml"}};
  std::vector<std::pair<std::string, std::string>> order;
};

}  // namespace

/// One pass through the file.
struct DamoXml::Walk {
  explicit Walk(DamoXml* xml)
      : reader(xml->filePath.c_str(), xml->limits, AceReporter::use_default()),
        entities(&reader),
        mostElements(xml->mostElements) {}

  DamoXmlQuiet quiet;
  DamoXmlReader reader;
  DamoXmlEntities entities;
  Prefixes prefixes;
  DamoJsonNode* root = nullptr;  // null: namespaces only
  std::vector<DamoJsonNode*> open;
  int numNodes = 0;
  VInt mostElements, numElements = 0;

  void run();

 private:
  std::string key_of(const xmlNs* space, const xmlChar* name) {
    return space != nullptr ? prefixes.find(*space) + ":" + plain_text(name) : plain_text(name);
  }
  DamoJsonNode* child(DamoJsonNode* parent, const std::string& key);
  void add_sample(DamoJsonNode* parent, const std::string& key, const char* text);
  void enter(xmlNode* node, int depth);
  void add_text(const xmlNode* node, int depth);
};

DamoJsonNode* DamoXml::Walk::child(DamoJsonNode* parent, const std::string& key) {
  bool isNew = false;
  DamoJsonNode* const found = parent->add_child(key, &isNew);
  if (isNew && ++numNodes > MAX_NODES)
    throw AceException("Cannot read XML source", "'%s' has more than %d paths", reader.get_name().c_str(),
                       MAX_NODES);
  return found;
}

void DamoXml::Walk::add_sample(DamoJsonNode* parent, const std::string& key, const char* text) {
  DamoJsonNode* const node = child(parent, key);
  if (*node->get_value() != '\0') return;
  std::string sample(text, strnlen(text, MAX_SAMPLE));
  if (sample.size() == MAX_SAMPLE)  // whole characters
    for (char last = '\x80'; (last & '\xC0') == '\x80' && !sample.empty(); sample.pop_back())
      last = sample.back();
  node->set_value(std::move(sample));
}

void DamoXml::Walk::enter(xmlNode* node, int depth) {
  if (reader.get_prolog().hasType) entities.expand_attributes(node);
  for (const xmlNs* space = node->nsDef; space != nullptr; space = space->next)
    if (*plain_text(space->href) != '\0') prefixes.find(*space);
  if (root == nullptr) return;
  open.resize(static_cast<std::size_t>(depth) + 1);
  DamoJsonNode* const own =
      child(depth == 0 ? root : open[static_cast<std::size_t>(depth) - 1], key_of(node->ns, node->name));
  open.back() = own;
  for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next)
    add_sample(own, "@" + key_of(attribute->ns, attribute->name),
               attribute->children != nullptr ? plain_text(attribute->children->content) : "");
}

void DamoXml::Walk::add_text(const xmlNode* node, int depth) {
  if (root == nullptr || depth == 0) return;
  const std::string text =
      node->type == XML_ENTITY_REF_NODE ? entities.text_of(*node) : plain_text(node->content);
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start != std::string::npos)
    add_sample(open[static_cast<std::size_t>(depth) - 1], CONTENT, text.c_str() + start);
}

void DamoXml::Walk::run() {
  if (reader.get_prolog().hasMarkup)
    throw AceException("Cannot read XML source",
                       "'%s' has entities with elements in them, which are not followed",
                       reader.get_name().c_str());
  while (reader.next(false)) {
    const int type = reader.get_type();
    if (type == XML_READER_TYPE_ELEMENT) {
      if (++numElements > mostElements) return;
      enter(reader.get_node(), reader.get_depth());
    }
    if (type == XML_READER_TYPE_TEXT || type == XML_READER_TYPE_CDATA ||
        type == XML_READER_TYPE_ENTITY_REFERENCE)
      add_text(reader.get_node(), reader.get_depth());
  }
}

DamoXml::DamoXml(const char* file, VInt num_elements)
    : filePath(file != nullptr ? file : ""),
      mostElements(num_elements > 0 ? num_elements : std::numeric_limits<VInt>::max()) {}

DamoXml::~DamoXml() = default;

void DamoXml::init() {
  if (isInit) return;
  const DamoXmlQuiet quiet;
  const DamoXmlReader reader(filePath.c_str(), limits, AceReporter::use_default());
  const DamoXmlProlog& prolog = reader.get_prolog();
  encodingName = prolog.encoding;
  documentType = prolog.hasType ? prolog.typeName + "\t" + prolog.publicId + "\t" + prolog.systemId : "";
  isInit = true;
}

void DamoXml::cleanup() {
  isInit = false;
  encodingName.clear();
  documentType.clear();
  nodes.clear();
  rootNode.reset();
}

std::string DamoXml::get_encoding() {
  init();
  return encodingName;
}

std::string DamoXml::get_dtd() {
  init();
  return documentType;
}

std::string DamoXml::get_namespaces() {
  Walk walk(this);
  walk.run();
  std::string lines;
  for (const auto& [prefix, uri] : walk.prefixes.get()) lines += prefix + "\t" + uri + "\n";
  return lines;
}

const std::vector<JsonOutput>& DamoXml::get_structure(const char* const* namespaces, int num_namespaces) {
  Walk walk(this);
  for (int i = 0; namespaces != nullptr && i + 1 < num_namespaces; i += 2)
    if (namespaces[i] != nullptr && namespaces[i + 1] != nullptr)
      walk.prefixes.add(namespaces[i], namespaces[i + 1]);
  rootNode = std::make_unique<DamoJsonNode>(ROOT);
  walk.root = rootNode.get();
  walk.run();
  nodes.resize(static_cast<std::size_t>(rootNode->get_num_nodes()));
  rootNode->write_output(nodes.data(), 0);
  return nodes;
}

std::string DamoXml::concat(const std::string& path, const std::string& key) {
  return path + "/" + (key == CONTENT ? "text()" : key);
}
