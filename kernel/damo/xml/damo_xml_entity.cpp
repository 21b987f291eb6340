#include "damo/xml/damo_xml_entity_internal.h"

#include <libxml/parserInternals.h>

#include <cstring>
#include <new>

#include "ace/ace_exception.h"

namespace {

constexpr VInt GROWTH = 10;
constexpr VInt FREE_GROWTH = 1 << 20;
/// What a reference counts for at least, so that empty ones have an end, too.
constexpr VInt REFERENCE_COST = 8;
constexpr int MAX_NESTING = 40;
/// Elements within each other, by entities.
constexpr int MAX_DEPTH = 1024;

bool is_text(const xmlNode* node) {
  return node != nullptr && (node->type == XML_TEXT_NODE || node->type == XML_ENTITY_REF_NODE);
}

void remove(xmlNode* node) {
  xmlUnlinkNode(node);
  xmlFreeNode(node);
}

void insert_before(xmlNode* node, xmlNode* added) {
  added->parent = node->parent;
  added->prev = node->prev;
  added->next = node;
  (node->prev != nullptr ? node->prev->next : node->parent->children) = added;
  node->prev = added;
}

void append_character(int code, std::string* out) {
  xmlChar bytes[8];
  const int size = xmlCopyCharMultiByte(bytes, code);
  out->append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

}  // namespace

void DamoXmlEntities::fail(const xmlNode& reference, const char* what) {
  const int readerLine = reader->get_line();
  throw AceException("Cannot read XML source", "'%s', line %ld: entity '%s' %s", reader->get_name().c_str(),
                     readerLine > 0 ? readerLine : xmlGetLineNo(&reference), plain_text(reference.name),
                     what);
}

const xmlEntity& DamoXmlEntities::find(const xmlNode& reference) {
  const xmlEntity* const entity = xmlGetDocEntity(reference.doc, reference.name);
  if (entity == nullptr) fail(reference, "is not declared in the file; document types are not read");
  if (entity->etype != XML_INTERNAL_GENERAL_ENTITY && entity->etype != XML_INTERNAL_PREDEFINED_ENTITY)
    fail(reference, "is in another file, which is not read");
  return *entity;
}

void DamoXmlEntities::charge(const xmlNode& reference, int size) {
  grown += REFERENCE_COST + size;
  if (grown > FREE_GROWTH + GROWTH * reader->get_file().get_pos())
    fail(reference, "lets the document grow beyond ten times its size");
}

/// Texts have no other markup than references.
void DamoXmlEntities::append_content(const xmlNode& reference, const char* content, int nesting,
                                     std::string* out) {
  if (nesting > MAX_NESTING) fail(reference, "has entities in entities nested too deeply");
  for (const char* next; (next = std::strchr(content, '&')) != nullptr;) {
    out->append(content, next);
    const char* const end = std::strchr(next, ';');
    if (end == nullptr) fail(reference, "has '&' that begins no reference");
    const std::string name(next + 1, end);
    content = end + 1;
    if (name.starts_with("#")) {
      const bool isHex = name.starts_with("#x");
      append_character(
          static_cast<int>(std::strtol(name.c_str() + (isHex ? 2 : 1), nullptr, isHex ? 16 : 10)), out);
      continue;
    }
    xmlNode inner = reference;
    inner.name = xml_text(name.c_str());
    const xmlEntity& entity = find(inner);
    charge(reference, entity.length);
    if (entity.etype == XML_INTERNAL_PREDEFINED_ENTITY)
      *out += plain_text(entity.content);
    else
      append_content(reference, plain_text(entity.content), nesting + 1, out);
  }
  *out += content;
}

void DamoXmlEntities::append(const xmlNode& reference, std::string* out) {
  const xmlEntity& entity = find(reference);
  charge(reference, entity.length);
  append_content(reference, plain_text(entity.content), 0, out);
}

/// Runs of texts and references become one text each.
void DamoXmlEntities::expand_texts(xmlNode* parent) {
  for (xmlNode* first = parent->children; first != nullptr;) {
    xmlNode* end = first;
    bool isPlain = !is_text(first->next) && first->type != XML_ENTITY_REF_NODE;
    if (!is_text(first) || isPlain) {
      first = first->next;
      continue;
    }
    std::string text;
    for (; is_text(end); end = end->next) {
      if (end->type == XML_TEXT_NODE)
        text += plain_text(end->content);
      else
        append(*end, &text);
    }
    xmlNode* const whole =
        xmlNewDocTextLen(parent->doc, xml_text(text.c_str()), static_cast<int>(text.size()));
    if (whole == nullptr) throw std::bad_alloc();
    insert_before(first, whole);
    while (whole->next != end) remove(whole->next);
    first = end;
  }
}

/// References in a list of nodes become copies of what they stand for, those in these, too.
void DamoXmlEntities::insert_markup(xmlNode* parent) {
  for (xmlNode* child = parent->children; child != nullptr;) {
    if (child->type != XML_ENTITY_REF_NODE) {
      child = child->next;
      continue;
    }
    const xmlEntity& entity = find(*child);
    charge(*child, entity.length);
    xmlNode* const before = child->prev;
    for (xmlNode* part = entity.children; part != nullptr; part = part->next) {
      xmlNode* const copy = xmlDocCopyNode(part, parent->doc, 1);
      if (copy == nullptr) throw std::bad_alloc();
      insert_before(child, copy);
    }
    remove(child);
    child = before != nullptr ? before->next : parent->children;
  }
}

void DamoXmlEntities::expand_attributes(xmlNode* element) {
  for (xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next)
    expand_texts(reinterpret_cast<xmlNode*>(attribute));
}

void DamoXmlEntities::expand(xmlNode* top) {
  int depth = 0;
  for (xmlNode* node = top; node != nullptr;) {
    if (node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE) {
      if (node->type == XML_ELEMENT_NODE) expand_attributes(node);
      if (reader->get_prolog().hasMarkup) insert_markup(node);
      expand_texts(node);
      if (node->children != nullptr) {
        if (++depth > MAX_DEPTH)
          throw AceException("Cannot read XML source", "'%s': entities nest elements too deeply",
                             reader->get_name().c_str());
        node = node->children;
        continue;
      }
    }
    while (node != top && node->next == nullptr) {
      node = node->parent;
      --depth;
    }
    if (node == top) break;
    node = node->next;
  }
}
