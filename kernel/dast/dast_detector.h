/// Detectors: which values of which fields stand in a text?
///
///     text                "maria bernstrasse 12"
///     index detector      one index of the values of several fields: "maria" is value 17 of the field
///                         "given", "bernstrasse" value 204 of "street"
///     pattern detector    expressions: "12" has the shape of a house number
///
/// An index detector is built from the texts of values of its fields (dast_base.h), each between the field's
/// prefix and suffix. The matching object knows them by one row of numbers:
///
///     1 .. n              strings of the extra file, a string per line: they stand for no value. What they
///                         cover better than a value does, is not that value
///     offset + base id    of each field; an offset is 1 more than the highest number before
///
/// With `set_special_reader` the numbers are the base ids of the only field. The numbers of a pattern
/// detector are the positions of its fields.
///
/// Record of `save` ("DTCT1"), in order:
///
///     magic            DTCT1
///     name             string
///     extraFile        string
///     fieldFlag        mask         the base fields
///     reevalFlag       mask         those that are evaluated again
///     options          mask         DetectorOptions
///     features         int          Features
///     numFields        int          0..64
///     fields           numFields times: int base field, int initials (0 or 1), Large id offset; name, name
///     of
///                      the text of values, prefix, suffix (strings)
///     object           int, record  the magic of the matching object, then what it saves; 0 for none
///
/// The same behind the version word is a file of its own, by which detectors are linked late.
///
/// Ownership: a detector owns its matching object. Errors: negative results, explained on the reporter given,
/// or on the default reporter. Thread safety: as DastBaseField.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ace/ace_types.h"
#include "ace/ace_wrap.h"
#include "dast/dast_detector_interface.h"

/// A field that a detector covers.
struct DetectorField {
  int baseField = 0;
  bool hasInitials = false;  ///< single letters stand for its values, too
  Large idOffset = 0;        ///< what is added to its base ids
  std::string fieldName;
  std::string teraName;  ///< path of the text of values
  std::string prefix;    ///< stand around each value in the index
  std::string suffix;
};

class SORV_API DastDetector : public AceWrap {
 public:
  static constexpr int MAX_FIELDS = 64;
  /// Stored in files, not to be renumbered.
  enum DetectorOptions : Mask {
    NO_FIELD_DATA = 1,  ///< only the extra file is indexed
    IS_INDEX = 2,       ///< an index detector
  };
  /// Likewise.
  enum Features : int {
    INT_DETECTOR = 1,  ///< has a matching object
    EXTRA_FILE = 2,    ///< the extra file is indexed
  };

  /// To be read.
  DastDetector();
  DastDetector(const char* name, int num_fields, Mask options, const char* extra_file, int features);
  ~DastDetector() override;

  // Declaration, by the base.

  /// Texts may be null. `index` counts from 0 to the number of fields. Returns 0, or -1.
  int assign_field(int index, int base_field, const char* field_name, const char* tera_name,
                   const char* prefix, const char* suffix, int initials);
  /// The fields of a pattern detector.
  int assign_pattern(const char* const* field_names, const int* base_fields, int num_fields);
  void set_index(bool is_index);
  void set_tera_name(int index, const char* tera_name);
  /// Fields of an index detector whose candidates get the quality that their method gives them; of a pattern
  /// detector, those where the text of a hit is looked up.
  void set_reeval(Mask fields) { reevalFlag = fields & fieldFlag; }
  /// Takes over the matching object if there is none, else its settings; it then stays the caller's. Returns
  /// 0; -2 for null; -1 for an object of another class than there is, for a class that is not registered
  /// (dast_magic_constructor.h), and for a method in a pattern detector.
  int configure(DastDetectorInterface* detector);
  /// Takes over the settings of another one's object. -1 without objects and for different classes.
  int reconfigure(const DastDetector* other);
  /// The values come from this reader, which stays the caller's; null for the fields' texts of values.
  void set_special_reader(TeraReader* reader) { specialReader = reader; }

  // Use.

  /// Builds the matching object; `filename` names the source in messages and may be null. Returns 0, or -1.
  /// Throws an `AceException` for files that are not there.
  int make(const char* filename, AceReporter* rep);
  /// What the matching object finds; null without one. The text must outlive the graph.
  TeraScanGraph* lookup(const char* text, DastOptions::Call call, AceReporter* rep) const;
  /// The detector field that the number belongs to; -1 for extra strings.
  int info_to_field(Large info) const;
  Large get_base_id(Large info, int field) const { return info - get_field(field).idOffset; }
  /// The detector fields that want initials and whose base fields are in `fields`, whose bits are set in
  /// `*initial_fields`. None for a graph without words.
  Mask needs_initial_cands(const TeraScanGraph* graph, Mask fields, Mask* initial_fields) const;

  const char* get_name() const { return detectorName.c_str(); }
  const char* get_extra_file() const { return extraFile.empty() ? nullptr : extraFile.c_str(); }
  Mask get_field_mask() const { return fieldFlag; }
  Mask get_reeval_mask() const { return reevalFlag; }
  Mask get_options() const { return detectorOptions; }
  int get_features() const { return detectorFeatures; }
  bool is_index() const { return (detectorOptions & IS_INDEX) != 0; }
  int get_num_fields() const { return static_cast<int>(detectorFields.size()); }
  const DetectorField& get_field(int field) const { return detectorFields[static_cast<std::size_t>(field)]; }
  const DastDetectorInterface* get_detector() const { return intDetector.get(); }
  bool is_parallelizable() const { return intDetector == nullptr || intDetector->is_parallelizable(); }
  /// Drops the matching object. Returns 1; 0 when there was none.
  int del_detector();
  /// Takes over the matching object, the offsets and the masks of a file of `dump`; `mode` as for `load`.
  /// Returns 0; or a negative value, and nothing changes, for a file that cannot be read, and for a detector
  /// of another name, kind or other fields.
  int load_detector(const char* filename, int mode, AceReporter* rep);

  VInt save(AceFile* file) override;
  VInt read(AceFile* file) override;

 private:
  class File;

  bool is_like(const DastDetector& other) const;
  VInt read_fields(AceFile* file, int count);
  VInt read_object(AceFile* file);
  int refuse(const AceFile* file, const char* expected, VInt found) const;
  bool has_feature(int feature) const { return (detectorFeatures & feature) != 0; }

  Mask fieldFlag = 0;
  Mask reevalFlag = 0;
  std::string detectorName;
  std::string extraFile;
  std::vector<DetectorField> detectorFields;
  std::unique_ptr<AceWrap> loadedFrom;  // the file that the matching object may point into
  std::unique_ptr<DastDetectorInterface> intDetector;
  TeraReader* specialReader = nullptr;
  Mask detectorOptions = 0;
  int detectorFeatures = 0;
};
