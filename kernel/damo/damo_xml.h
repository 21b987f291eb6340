/// The structure of an XML file: every path that its elements and attributes have, once, with a sample.
///
///     <people><person id="7"><name>Ann</name></person></people>      :docRoot
///                                                                      people
///     DamoXml xml("unknown.xml");                                        person
///     xml.init();                                                          @id           7
///     for (const JsonOutput& node : xml.get_structure(nullptr, 0)) ...     name
///                                                                            __content   Ann
///
/// Keys are names as XPath takes them with the namespaces given, attributes "@name", texts "__content "; the
/// first text that is not blank is the sample (its first KiB). Children are in the order of their keys'
/// bytes. `concat` makes a path of the keys on the way to a node.
///
/// Memory is that of the structure: the file is read in a stream. At most a million paths.
/// Errors: `AceException` for a file that cannot be read or is no XML; see damo_xml_input.h for what hostile
/// files meet, and for one with entities that have elements in them. Thread safety: belongs to one thread at
/// a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "damo/damo_json.h"
#include "damo/damo_xml_input.h"

class SORV_API DamoXml {
 public:
  static constexpr const char* ROOT = ":docRoot";
  static constexpr const char* CONTENT = "__content ";

  /// Nothing is read yet. The first `num_elements` will be looked at, 0 for all.
  explicit DamoXml(const char* file, VInt num_elements = 0);
  ~DamoXml();

  /// Reads what is in front of the document element; the other calls do it, too.
  void init();
  /// Drops what has been read.
  void cleanup();

  /// As the file declares it; "" where it does not.
  std::string get_encoding();
  /// Lines of a prefix, TAB and its URI, in the order of the file. A prefix is that of the file, or a made
  /// one ("ns1", "ns2", ...) for default namespaces and where the file has it for another URI before.
  std::string get_namespaces();
  /// The nodes, the root first. `namespaces` has prefix and URI in turn, `num_namespaces` texts; others are
  /// named as by `get_namespaces`. Valid until the next call.
  const std::vector<JsonOutput>& get_structure(const char* const* namespaces, int num_namespaces);
  /// Name, public and system identifier of the document type, TABs in between; "" without one.
  std::string get_dtd();

  /// The XPath of a child: that of its parent, "" for the root, and its key.
  static std::string concat(const std::string& path, const std::string& key);

 private:
  struct Walk;

  std::string filePath;
  VInt mostElements;
  DamoXmlLimits limits;
  bool isInit = false;
  std::string encodingName, documentType;
  std::unique_ptr<DamoJsonNode> rootNode;
  std::vector<JsonOutput> nodes;
};
