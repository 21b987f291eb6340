/// Detector REGEXP: what in a text has the shape of a field's values, by regular expressions (PCRE 8).
///
///     DimeRegexDetector* detector = new DimeRegexDetector;
///     detector->add_regexp("\\b\\d{5}\\b", nullptr, 0, 0);          number 0: the first field
///     detector->add_regexp("tel\\.? ?([0-9 ]+)", "TRIM_ALL", 30, 1);
///     base.configure_detector(index, detector);
///
/// Every match of every expression is a hit: the whole match or, if the expression has groups, the first
/// group (the whole when that took no part). The next match is looked for behind the whole one; hits of
/// different expressions may overlap. A hit has quality 255 less the penalty, and the matched text, or what
/// the transform (tera_transform.h) makes of it, as string; of several variants each is a candidate.
///
/// In the graph a hit leads from the word behind which it starts to the one with which it ends, as in graphs
/// of splits (tera_splitter.h): blanks in front of it belong to its first node. Texts of up to
/// `TeraSplitResult::MAX_LENGTH` bytes.
///
/// Expressions that need too many steps end without further hits, with a warning, and so does a text that is
/// not in UTF-8 while that is compiled in (the default).
///
/// Record of `save`: int count; count times: pattern and transform (strings), int penalty, int number; then
/// int PCRE options.
///
/// Thread safety: as DastDetectorInterface.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dast/dast_detector_interface.h"

class SORV_API DimeRegexDetector : public DastDetectorInterface {
 public:
  static constexpr const char* NAME = "REGEXP";
  static constexpr const char* MAGIC = "REGXD";
  static constexpr int MAX_PENALTY = 255;

  DimeRegexDetector();
  ~DimeRegexDetector() override;

  /// In place of what there was: expression i has the number i. The array of transforms, and names in it, may
  /// be null. Return 0; -1 for a null pattern and penalties outside 0..255.
  int init(int count, const char* const* patterns, const int* penalties, const char* const* transforms);
  int add_regexp(const char* pattern, const char* transform, int penalty, Large info);
  /// PCRE's options for all expressions; before `make`.
  void set_compile_options(int options) { compileOptions = options; }
  int get_num_regexps() const;

  /// Any mode but NOOP and EMPTY. Null before `make`.
  TeraScanGraph* lookup(const char* text, DastOptions::Call call, AceReporter* rep) const override;
  /// Compiles. The reader is not used and may be null. -1 for expressions that are none, and for unknown
  /// transforms.
  int make(TeraReader* reader, int flags, AceReporter* rep, const char* filename) override;
  void clean() override;
  int magic() const override;
  const char* get_name() const override { return NAME; }
  /// There is nothing to take over.
  int reconfigure(const DastDetectorInterface* other) override;
  const TeraMap* get_map() const override { return nullptr; }
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;

 private:
  struct RegexpStruct;
  struct Hit;
  using HitQueue = std::vector<Hit>;

  TeraScanGraph* prepare_detect(const char* text, const std::vector<bool>& marks,
                                const HitQueue& queue) const;
  int add(std::string pattern, std::string transform, int penalty, Large info);

  std::vector<RegexpStruct> regexpStructs;
  int compileOptions;
};

/// Makes sure that the detector is known, for hosts that link statically.
SORV_API void DimeRegexDetector_init();
