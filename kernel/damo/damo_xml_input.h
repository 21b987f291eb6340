/// Records of XML files.
///
///     <people xmlns="urn:p"><person id="1"><name>Ann</name><tag>a</tag><tag>b</tag></person> ... </people>
///
///     const char* const namespaces[] = {"p", "urn:p"};
///     const char* const fields[] = {"@id", "p:name", "p:tag"};
///     std::unique_ptr<DamoInput> input(
///         DamoXmlInput("people.xml", "/p:people/p:person", fields, 3, namespaces, 2, rep));
///     input->read_line(nullptr, 0);                            1, Ann, a|b
///
/// Records are the elements that an XPath 1.0 expression selects in the document; of elements within each
/// other the outer one. Fields are what further expressions give for the record:
///
///     nodes                 their texts with "|" in between, "" for none
///     a text, number or     its string value, of a truth value "true" or "false"
///     truth value
///
/// Texts are UTF-8, whatever the encoding of the file; a CDATA section belongs to the text around it. No
/// field is ever missing. Records are numbered from 1.
///
/// Memory. The file is read in a stream, and only one record is held, when the record path has child and
/// descendant steps (`/a/b`, `//b`), with predicates
///
///     on attributes, names and counted positions      /a[@x]/b[2]       on each step
///     on what is in the record                        //b[c = "x"]      on the last step
///
/// and field paths stay in the record, but for attributes of the elements around it (`../@x`). Everything
/// else is answered from the whole document (reported), some ten times the file in memory; so are files with
/// entities that have elements in them.
///
/// Hostile files. Nothing but the file itself is read: document types of other files are not loaded,
/// references to entities of other files are errors. Entities may grow to ten times the bytes read and 1 MiB.
/// `DamoXmlLimits` has the other limits; a single piece of text ends at 10 MB, nesting at 256 levels, the
/// dictionary of names at 10 MB, a document type at 1 MiB with 256 attributes that have default values.
///
/// Errors: `AceException` with file, line and column. Warnings are reported, ten of them. Nothing of the XML
/// library that other users of it in the process share is changed.
#pragma once

#include <memory>

#include "damo/damo_input.h"

/// What a file may take.
struct DamoXmlLimits {
  VInt fieldBytes = 10'000'000;     ///< of the texts of a field together
  VInt heldBytes = 128 << 20;       ///< of the file, in memory at once: a record, or the document
  VInt xpathSteps = 1'000'000'000;  ///< of the evaluation of one expression
};

class SORV_API _DamoXmlInput : public DamoInput {
 public:
  /// `namespaces`: `num_namespaces` texts, prefix and URI in turn.
  _DamoXmlInput(const char* file, const char* record_path, const char* const* field_paths, int num_paths,
                const char* const* namespaces, int num_namespaces, AceReporter* rep,
                const DamoXmlLimits& limits = {});
  ~_DamoXmlInput() override;

  /// Returns the bytes of the file that were read for the record, possibly 0.
  int read_line(VInt* line_num, int as_is) override;
  /// Refused.
  int partition(int part, int num_parts) override;
  VInt get_size() override;
  const char* get_source_name() override;
  bool eof() override { return isEof; }
  /// The record as XML.
  char* get_source_text(AceAttach* at) override;

 private:
  struct Document;

  std::unique_ptr<Document> document;
  bool isEof = false;
};

/// See damo_input.h for the reporter and the result's ownership.
SORV_API DamoInput* DamoXmlInput(const char* file, const char* record_path, const char** field_paths,
                                 int num_paths, const char** namespaces, int num_namespaces,
                                 AceReporter* rep);
