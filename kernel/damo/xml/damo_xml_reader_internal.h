/// An XML file, read in a stream or as a document. What the XML library finds wrong is kept while its
/// functions run and thrown when they have returned.
#pragma once

#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlreader.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "damo/damo_xml_input.h"

inline const xmlChar* xml_text(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}
inline const char* plain_text(const xmlChar* text) {
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

/// While it lives, the XML library prints nothing on behalf of this thread: not all that it says is handed to
/// the functions that readers and contexts have for that. The host's functions are there again afterwards.
class DamoXmlQuiet {
 public:
  DamoXmlQuiet();
  DamoXmlQuiet(const DamoXmlQuiet&) = delete;
  DamoXmlQuiet& operator=(const DamoXmlQuiet&) = delete;
  ~DamoXmlQuiet();

 private:
  xmlGenericErrorFunc oldGeneric;
  void* oldGenericContext;
  xmlStructuredErrorFunc oldStructured;
  void* oldStructuredContext;
};

/// The first error, and the first warnings.
class DamoXmlFaults {
 public:
  static constexpr std::size_t MAX_WARNINGS = 10;

  /// Called by the XML library, with an object of this class.
  static void take(void* faults, xmlError* error) noexcept;
  void set(int at_line, std::string what) noexcept;
  /// Throws the error, if there is one; first the warnings are reported.
  void check(const std::string& file, AceReporter* rep);
  bool has_error() const { return isSet; }
  /// Line, column, and what is wrong.
  std::string get_error() const;

 private:
  void keep(const xmlError& error);

  bool isSet = false;
  int line = 0;
  int column = 0;
  std::string text;
  std::vector<std::string> warnings;
  std::size_t numReported = 0;
};

/// The bytes of a file, counted.
class DamoXmlFile {
 public:
  DamoXmlFile(const std::string& name, DamoXmlFaults* faults);

  /// For the XML library, with an object of this class.
  static int read(void* file, char* buffer, int size) noexcept;
  static int close(void* /*file*/) noexcept { return 0; }
  bool is_open() const { return stream != nullptr; }
  void rewind();
  VInt get_pos() const { return pos; }
  /// From here on at most so many bytes, which are held in memory; below 0 for any number.
  void limit(VInt held_bytes);
  VInt get_size() const;

 private:
  struct Close {
    void operator()(std::FILE* open) const { std::fclose(open); }
  };
  std::unique_ptr<std::FILE, Close> stream;
  DamoXmlFaults* faults;
  VInt pos = 0;
  VInt held = -1;
  VInt end = -1;  // of what may be read
};

/// What is in front of the first element.
struct DamoXmlProlog {
  std::string encoding;
  std::string typeName, publicId, systemId;  // of the document type
  bool hasType = false;
  bool hasMarkup = false;  // in entities
  int numDefaults = 0;     // attributes with a value by default
};

class DamoXmlReader {
 public:
  DamoXmlReader(const char* file, const DamoXmlLimits& limits, AceReporter* rep);
  DamoXmlReader(const DamoXmlReader&) = delete;
  DamoXmlReader& operator=(const DamoXmlReader&) = delete;
  ~DamoXmlReader();

  const std::string& get_name() const { return fileName; }
  const DamoXmlProlog& get_prolog() const { return prolog; }
  const DamoXmlFile& get_file() const { return file; }

  // The stream.

  /// To the next node; with `skip` of an element to the one behind its end. False at the end.
  bool next(bool skip);
  int get_type() const { return xmlTextReaderNodeType(reader); }
  /// Of the document element 0.
  int get_depth() const { return xmlTextReaderDepth(reader); }
  xmlNode* get_node() const { return xmlTextReaderCurrentNode(reader); }
  /// All that is in the element at hand.
  xmlNode* expand();
  /// Line that the parser is in.
  int get_line() const { return reader != nullptr ? xmlTextReaderGetParserLineNumber(reader) : 0; }

  /// The whole document, which belongs to the reader; the stream has ended then.
  xmlDoc* load();

 private:
  struct Watch;

  void inspect();
  void open();
  xmlDoc* parse(Watch* watch);

  std::string fileName;
  DamoXmlLimits limits;
  AceReporter* reporter;
  DamoXmlFaults faults;
  DamoXmlFile file;
  DamoXmlProlog prolog;
  xmlTextReader* reader = nullptr;
  xmlDoc* document = nullptr;
  int readerReturnVal = 1;  // 1 while there are nodes, 0 at the end
};
