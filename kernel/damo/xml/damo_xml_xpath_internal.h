/// XPath expressions as the XML library evaluates them, and the texts of nodes.
#pragma once

#include <libxml/xpath.h>

#include <memory>
#include <string>
#include <vector>

#include "damo/xml/damo_xml_reader_internal.h"

/// Evaluates expressions, all in one context.
class DamoXmlXpath {
 public:
  struct DeleteCompiled {
    void operator()(xmlXPathCompExpr* compiled) const { xmlXPathFreeCompExpr(compiled); }
  };
  struct DeleteObject {
    void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
  };
  using Compiled = std::unique_ptr<xmlXPathCompExpr, DeleteCompiled>;
  using Object = std::unique_ptr<xmlXPathObject, DeleteObject>;

  /// `xpathNamespaces`: prefix and URI in turn.
  DamoXmlXpath(const std::vector<std::string>& xpathNamespaces, VInt max_steps);

  /// Throws `AceException` with `what` ("field path 1") and the place of what is wrong.
  Compiled compile(const std::string& text, const std::string& what);
  /// `position` (from 1) is that of the node among those that a predicate is asked for.
  Object evaluate(xmlXPathCompExpr* compiled, xmlNode* node, int position, const std::string& what);
  /// The URI of a prefix; null for one that is not known.
  const char* find_namespace(const std::string& prefix) const;

 private:
  struct DeleteContext {
    void operator()(xmlXPathContext* open) const { xmlXPathFreeContext(open); }
  };
  static void take(void* self, xmlError* error) noexcept;
  [[noreturn]] void fail(const std::string& what) const;

  std::unique_ptr<xmlXPathContext, DeleteContext> xpathCtx;
  int errorCode = 0;
  int errorPlace = -1;
};

/// The expressions of the fields of a record.
class DamoXmlFields {
 public:
  DamoXmlFields(const char* const* paths, int num_paths, DamoXmlXpath* xpath, VInt max_bytes);

  int get_count() const { return static_cast<int>(xpathFields.size()); }
  /// Whether all that they ask for is in or around a record that is read alone; if not, one that asks for
  /// more.
  bool stay_in_record(std::string* other) const;
  /// The texts of a record's fields, valid until the next call.
  void read(xmlNode* record, const char** out);

 private:
  struct Field {
    std::string path;
    DamoXmlXpath::Compiled compiled;
    std::string text;
  };

  void get_node_content(const xmlNode* node, std::string* out, const Field& field) const;
  void append_result(const xmlXPathObject& result, Field* field) const;
  std::string name_of(const Field& field) const;

  DamoXmlXpath* xpath;
  VInt maxBytes;
  std::vector<Field> xpathFields;
};
