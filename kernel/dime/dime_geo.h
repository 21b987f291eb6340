/// Field method GEOMETRIC: places on a grid, by their distance from a point or a box.
///
/// Values are coordinates "x,y", two integers. A query is one of them, or a box: coordinates with ';' between
/// them, up to 32, and the smallest box that has them all. The field keeps no index: `lookup` finds nothing,
/// and values are scored one by one by the query object.
///
/// The distance of a value is counted in units: the difference from the box in x divided by "xunit", that in
/// y by "yunit", and the root of the sum of their squares. Inside the box, and up to the hit circle, the
/// quality is 255; outside it is that of a bell curve which has 127 at the half distance, cut to a whole
/// number and never more than 254.
///
///     call                                    half distance and hit circle
///     EXACT                                   0 and 0: what is inside
///     COMPLETE                                half_complete, hitcircle_complete
///     DETECT                                  half_detect, hitcircle_detect
///     EMPTY, ARRAYOP, DETECT0 to DETECT3      row 9 of the detection settings
///     APPROX and all others                   half_approx, hitcircle_approx
///
/// Detection settings are a table of ten rows for the whole process, at first without hit circle and with
/// half distances 1, 2, 5, 10, 20, 50, 100, 200, 500 and 1000; set before queries run.
///
/// Coordinates that are none, or too large for an int, are (0, 0), with a warning; so is an empty text,
/// without. Empty pieces of a box are skipped, those behind the 32nd ignored with a warning.
///
/// Recall options:
///
///     xunit, yunit             int      100    size of a unit in coordinates, from 1 on
///     half_approx              int      100    in units
///     half_complete            int      500
///     half_detect              int      1000
///     hitcircle_approx, hitcircle_complete, hitcircle_detect
///                              int      0
///     latitude                 double   0.0    accepted, and stored nowhere
///
/// There are no build options; a text is ignored.
///
/// Record of `save`: int features; magic GOROP, int xunit, int yunit, int half_approx, int hitcircle_approx,
/// int half_complete, int hitcircle_complete, int half_detect, int hitcircle_detect, double latitude.
///
/// Thread safety: query objects may be used by several threads. They refer to the method, which must outlive
/// them.
#pragma once

#include "ace/ace_attach.h"
#include "dime/dime_method.h"
#include "dime/dime_pattern_methods.h"
#include "tera/tera_query.h"

class AceOptionsParser;

/// A point.
struct SORV_API DimeCord {
  DimeCord() = default;
  DimeCord(int x, int y) : xPos(x), yPos(y) {}
  /// Reads "x,y", numbers of the base as `strtol` reads them, with nothing behind. (0, 0), with a warning on
  /// the default reporter, for what is none; without one for null, the empty text and a base below 1.
  DimeCord(const char* text, int base);

  const char* print(AceAttach* at) const;
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);
  /// The quality of a squared distance: see above.
  static int dist2cred(double dist_sqrd, double sigma_sqrd, int hit_circle);
  bool operator==(const DimeCord& other) const = default;

  int xPos = 0;
  int yPos = 0;
};

struct SORV_API DimeBox {
  static constexpr int MAX_CORNERS = 32;

  /// Of a query text.
  explicit DimeBox(const char* text);
  DimeBox(const DimeCord& a, const DimeCord& b);
  /// Widens it to a further point.
  void add(const DimeCord& cord);

  DimeCord blCord;  ///< bottom left: the smaller x and y
  DimeCord trCord;  ///< top right: the larger ones
};

/// Distances in units.
struct DimeGeoHit {
  int hitCircle = 0;  ///< up to there a value is a perfect hit
  int halfVal = 0;    ///< from the circle on, there it is half of one
};

// The detection settings, rows 0 to 9. Return 0 or the value; -1, or null, for another row.

SORV_API int set_geo_detect_half_dist(int row, int half_dist);
SORV_API int set_geo_detect_hit_circle(int row, int hit_circle);
SORV_API int get_geo_detect_half_dist(int row);
SORV_API int get_geo_detect_hit_circle(int row);
SORV_API const DimeGeoHit* get_geo_detect_hit(int row);

class SORV_API DimeGeoRecallOptions {
 public:
  /// The parser registered under "GEOMETRIC" for recalls.
  static AceOptionsParser* get_parser();
  /// Parses. `rep` may be null. Returns 0; -1 for a text that cannot be parsed; and -1 for units below 1,
  /// which are taken even so.
  int apply(const char* config_string, AceReporter* rep = nullptr);
  void configure(const DimeGeoRecallOptions& other) { *this = other; }
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  const DimeGeoHit& get_geo_hit(DastOptions::Call call) const;
  const DimeCord& get_unit_cord() const { return unitCord; }
  double get_lattitude() const { return lattitude; }

 private:
  DimeCord unitCord{100, 100};
  DimeGeoHit approxHit{0, 100};
  DimeGeoHit detectHit{0, 1000};
  DimeGeoHit completeHit{0, 500};
  double lattitude = 0;  // central latitude of the data
};

class SORV_API DimeGeoMethod : public DimeMethod<DimeGeoMethod, DimeGeoRecallOptions, DimeIndexlessMethod> {
 public:
  static constexpr const char* NAME = "GEOMETRIC";
  static constexpr const char* MAGIC = "GEO2";
  static constexpr const char* RECONFIGURE = "config_method = dynamic_cast<const DimeGeoMethod*> (method)";

  using DimeIndexlessMethod::make;
  using DimeMethod::reconfigure;
  /// Takes over features and recall options.
  int reconfigure(const DastDetectorInterface* other) override;
  int configure_build_options(const char*, const TeraMap*) override { return 0; }
  TeraQuery* eval(DastOptions::Call call, const char* query, AceReporter* rep) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  /// There is nothing to count: -1.
  int get_num_items() const override { return -1; }
  int get_items(int pos, const Large** ids, AceAttach* at) const override;

 private:
  int geoFeatures = 0;
};

/// Makes sure that the method is known, for hosts that link statically.
SORV_API void DimeGeoMethod_init();
