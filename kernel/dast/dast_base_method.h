/// Matching methods: how the values of a base field are indexed and compared.
///
/// A field owns one method. It is configured by option strings (`configure_build_options` before `make`,
/// `configure_recall_options` at any time before the base is shared), built from the text file of the field's
/// distinct values, and saved in a method file of its own or behind the field's record. Values carry base ids
/// (dast_base.h), which the method hands back as attribute numbers.
#pragma once

#include <memory>

#include "dast/dast_detector_interface.h"

class AceAttach;
class TeraAmortizedQuery;
class TeraQuery;

class SORV_API DastBaseMethod : public DastDetectorInterface {
 public:
  using DastDetectorInterface::make;
  using DastDetectorInterface::reconfigure;

  /// The same for methods: run-time settings of another method of the same class; else -1, reported.
  virtual int reconfigure(const DastBaseMethod* other) = 0;
  /// Parse an option string (ace_options_parser.h). Build options bind the map, too, of which a copy is made.
  /// Return 0 or -1.
  virtual int configure_recall_options(const char* options) = 0;
  virtual int configure_build_options(const char* options, const TeraMap* map) = 0;
  /// Builds from the named file of entry lines with hexadecimal attributes (tera_reader.h). A file that is
  /// not there throws an `AceException`. Results as for `make` of a reader.
  virtual int make(const char* filename, int flags, AceReporter* rep);

  /// A query object that gives a stored string its quality, and shows it; the caller has a reference. Null
  /// when the query makes no sense to the method.
  virtual TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const = 0;
  /// The value of a base id as it was given, in `at` or in the index; null for an id that is not there and
  /// for methods that keep no strings.
  virtual const char* show(Large id, AceAttach* at) const = 0;

  // The values in the method's own order, by position.

  virtual int get_num_items() const = 0;
  /// Stores the base ids of a position, in `at` or in the index. Returns their number; 0 past the end.
  virtual int get_items(int pos, const Large** ids, AceAttach* at) const = 0;
  /// The value at a position; null past the end.
  virtual const char* get_item(int pos, AceAttach* at) const = 0;
  /// Not 0 when the values of ascending base ids are in sort order.
  virtual int can_sort() const = 0;

  /// A new query that gives values their qualities from those of the words of a text, whose graph this is;
  /// null for methods without.
  virtual TeraAmortizedQuery* create_amortized_query(DastOptions::Call call,
                                                     const TeraScanGraph* graph) const;
  /// Looks up single words of a text. The base warns and gives null: not every method detects words.
  virtual TeraScanGraph* detect_single(const char* text, DastOptions::Call call, AceReporter* rep) const;
};
