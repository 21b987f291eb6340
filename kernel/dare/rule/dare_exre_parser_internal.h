/// Reads rule files (docs/rules.md) into programs.
///
/// A document with a document type is refused before anything of it is read, so that no entity is ever
/// expanded; nothing is fetched. Elements nest as deep as the XML parser lets them (256).
#pragma once

#include <libxml/tree.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dare/dare_exre.h"
#include "dare/rule/dare_exre_rule_internal.h"

class DareExreParser {
 public:
  DareExreParser(const char* filename, const DareExreNames& names, AceReporter* rep)
      : fileName(filename), itsNames(names), aceRep(rep) {}

  /// Null when there was a fault.
  DareExreConfig* parse(const char* text, int size);

 private:
  struct ConfigDelete {
    void operator()(DareExreConfig* unused) const { unused->destroy(); }
  };
  struct DocumentDelete {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  };
  using Document = std::unique_ptr<xmlDoc, DocumentDelete>;
  using Nodes = std::vector<xmlNode*>;
  /// What the faults that follow belong to.
  struct Place {
    const char* kind = "Rule";
    int number = 0;
    std::string name;
  };
  using Elements = std::map<std::string, xmlNode*>;

  Document read(const char* text, int size);
  static Nodes find_nodes(xmlNode* root, const char* group, const char* name);
  bool is_current(xmlNode* root);

  // The current format (dare_exre_parser.cpp).
  void parse_filters(const Nodes& nodes);
  void parse_rules(const Nodes& nodes);
  void parse_rule(xmlNode* node, DareExreRule* rule);
  std::unique_ptr<DareExreFilter> parse_filter(xmlNode* node);
  std::unique_ptr<DareExreAcceptor> parse_acceptor(xmlNode* node);
  void parse_instruction(const Elements& elements, const char* name, DareExreRule::Instruction* instruction);
  void parse_output(const Elements& elements, DareExreRule* rule);
  void parse_filter_name(const Elements& elements, DareExreRule* rule);

  // The older one (dare_exre_compat_parser.cpp).
  void parse_compat_rules(const Nodes& nodes);
  void parse_compat_rule(xmlNode* node, DareExreRule* rule);
  void add_threshold(const Elements& elements, const char* element, const char* acceptor,
                     DareExreAcceptors* acceptors);
  void add_field_condition(xmlNode* node, DareExreAcceptors* acceptors);
  std::string compat_value(xmlNode* node, const Elements& elements, const char* name);

  // Both.
  void parse_input(const std::string& text, DareExreRule* rule);
  void resolve_input(DareExreInput* input);
  void resolve_inputs();
  /// The child elements by name. Names that are not listed, and doubled ones, are faults; those in `several`
  /// may come often and are left out.
  Elements elements_of(xmlNode* node, const std::set<std::string>& known, const char* several);
  std::string text_of(xmlNode* node);
  std::string text_of(const Elements& elements, const char* name);
  int number_of(const std::string& text, const char* element);
  static std::string name_of(const xmlNode* node);
  static std::string attribute(xmlNode* node, const char* name);
  void fault(const char* expected, const char* element, const std::string& text);
  int slot_of(const std::string& result) {
    return resultSlots.try_emplace(result, int(resultSlots.size())).first->second;
  }

  const char* fileName;
  const DareExreNames& itsNames;
  AceReporter* aceRep;
  std::unique_ptr<DareExreConfig, ConfigDelete> config;
  std::map<std::string, const DareExreFilter*> filterNames;
  std::map<std::string, const DareExreRule*> ruleNames;
  std::map<std::string, int> resultSlots;
  Place place;
  int numFaults = 0;
};
