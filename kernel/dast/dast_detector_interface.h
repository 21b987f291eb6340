/// What finds values of a field in a text: the part of a matching method that detectors need too.
///
/// Life: made empty by the registry (dast_magic_constructor.h), then configured and built by `make`, or
/// filled by `read`. A finished object is not changed any more. Errors: negative results and null pointers,
/// explained on the reporter given, or on the default reporter. Thread safety: any number of threads may call
/// what is const, unless `is_parallelizable` says no.
#pragma once

#include "ace/ace_types.h"
#include "dast/dast_options.h"

class AceFile;
class AceReporter;
class TeraMap;
class TeraReader;
class TeraScanGraph;

class SORV_API DastDetectorInterface {
 public:
  DastDetectorInterface() = default;
  DastDetectorInterface(const DastDetectorInterface&) = delete;
  DastDetectorInterface& operator=(const DastDetectorInterface&) = delete;
  virtual ~DastDetectorInterface() = default;

  /// The stored values that match the query in that mode, as a graph with one reference for the caller
  /// (`TeraScanGraph::decr_ref`). Attribute numbers are the numbers that `make` was given with the values.
  /// Null without an index and for modes that the method does not know.
  virtual TeraScanGraph* lookup(const char* query, DastOptions::Call call, AceReporter* rep) const = 0;
  /// The same with values down to a lower quality than the method's own minimum, each with the quality that
  /// the query object gives it. Null where there is only the own minimum, or other qualities.
  virtual TeraScanGraph* lookup_below(const char* query, DastOptions::Call call, int min_value,
                                      AceReporter* rep) const;
  /// Builds from the values that a reader has left, in place of what there was. `flags`: 0 or
  /// `DastFieldFlags::IN_INDEX_STORAGE`, when `show` must give every value back as it was. `filename` names
  /// the source in messages and may be null. Returns 0; -2 when the method keeps no index, or cannot give the
  /// values back; or -1.
  virtual int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) = 0;
  /// Drops the index; the options stay.
  virtual void clean() = 0;

  /// `magic_number` of the method's code, by which files know the class.
  virtual int magic() const = 0;
  /// The name in upper case.
  virtual const char* get_name() const = 0;
  /// Takes over the settings of another object that apply while it is asked. Returns 0; -1 when it is of
  /// another class.
  virtual int reconfigure(const DastDetectorInterface* other) = 0;
  /// The map by which texts are compared; null for a method without.
  virtual const TeraMap* get_map() const = 0;

  /// Everything, index and settings. 0 or more, or negative.
  virtual VInt read(AceFile* file) = 0;
  virtual VInt save(AceFile* file) = 0;

  /// Whether values can be added while it is asked.
  virtual bool is_extendable() const { return false; }
  /// Turns values that were added on or off. Returns 0; -1, reported, to turn them on where none can be.
  virtual int set_instant_enabled(bool enabled);

  /// Whether several threads may ask at once.
  virtual bool is_parallelizable() const { return true; }
};
