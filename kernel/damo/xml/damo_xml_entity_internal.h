/// References to entities, replaced by what they stand for. A document grows with them, and no more than with
/// what it pays for: ten times the bytes read and 1 MiB.
#pragma once

#include "damo/xml/damo_xml_reader_internal.h"

class DamoXmlEntities {
 public:
  explicit DamoXmlEntities(const DamoXmlReader* source) : reader(source) {}

  /// In the attributes of an element.
  void expand_attributes(xmlNode* element);
  /// In an element, or a document, and all that is in it.
  void expand(xmlNode* top);
  /// Throws if a reference is to an entity of another file, or to none.
  const xmlEntity& find(const xmlNode& reference);
  /// What a reference to text stands for.
  std::string text_of(const xmlNode& reference) {
    std::string text;
    append(reference, &text);
    return text;
  }

 private:
  void charge(const xmlNode& reference, int size);
  [[noreturn]] void fail(const xmlNode& reference, const char* what);
  void append(const xmlNode& reference, std::string* out);
  void append_content(const xmlNode& reference, const char* content, int nesting, std::string* out);
  void expand_texts(xmlNode* parent);
  void insert_markup(xmlNode* parent);

  const DamoXmlReader* reader;
  VInt grown = 0;
};
