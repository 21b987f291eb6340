#include "dime/dime_geo.h"

#include <charconv>
#include <cmath>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dast/dast_magic_constructor.h"
#include "dime/method/dime_parse_internal.h"

namespace {

constexpr const char* OPTIONS_MAGIC = "GOROP";
constexpr int DECIMAL = 10;
/// Of a bell curve that has half its height at 1: sigma squared is 1 over this.
constexpr double LOG_OF_TWO = 0.69314718;

const MagicConstructor<DastBaseMethod> DastBaseMethodDimeGeoMethod_constructor(
    []() -> DastBaseMethod* { return new DimeGeoMethod; }, DimeGeoMethod::NAME, DimeGeoMethod::MAGIC);
const bool parserIsListed = DimeGeoRecallOptions::get_parser() != nullptr;

constexpr int NUM_ROWS = 10;
constexpr int LAST_ROW = NUM_ROWS - 1;
DimeGeoHit geo_detect_hits[NUM_ROWS] = {{0, 1},  {0, 2},   {0, 5},   {0, 10},  {0, 20},
                                        {0, 50}, {0, 100}, {0, 200}, {0, 500}, {0, 1000}};

DimeGeoHit* detect_row(int row) {
  return row >= 0 && row < NUM_ROWS ? &geo_detect_hits[row] : nullptr;
}

void declare_recall_options(AceOptionsParser* parser) {
  parser->add_int_option("xunit", 100, "Size of the grid, i.e. number of units in the x direction");
  parser->add_int_option("yunit", 100, "Size of the grid, i.e. number of units in the y direction");
  parser->add_int_option("half_approx", 100, "Half distance in units to use in approx mode");
  parser->add_int_option("half_complete", 500, "Half distance in units to use in complete mode");
  parser->add_int_option("half_detect", 1000, "Half distance in units to use in detect mode");
  parser->add_int_option("hitcircle_approx", 0,
                         "Distance in units that is still a perfect hit in approx mode");
  parser->add_int_option("hitcircle_complete", 0,
                         "Distance in units that is still a perfect hit in complete mode");
  parser->add_int_option("hitcircle_detect", 0,
                         "Distance in units that is still a perfect hit in detect mode");
  parser->add_double_option(
      "latitude", 0.0,
      "Central Latitude of the data if using spherical coordinates on earth in degree floating-point");
}

/// How far a position is outside of a range, in units.
double units_outside(int pos, int low, int high, int unit) {
  const Huge apart = pos > high ? Huge{pos} - high : pos < low ? Huge{low} - pos : 0;
  return apart != 0 ? static_cast<double>(apart) / unit : 0;
}

class GeoQuery : public TeraQuery {
 public:
  GeoQuery(const char* query, const DimeGeoHit& hit, const DimeCord& unit)
      : sigmaSqrd(static_cast<double>(hit.halfVal) * hit.halfVal / LOG_OF_TWO),
        distOffset(hit.hitCircle),
        queryBox(query),
        unitCord(unit) {}

  int is_empty() const override { return 0; }
  int compare(const char* entry) override {
    if (entry == nullptr || entry[0] == '\0') return 0;
    return DimeCord::dist2cred(squared_distance(entry), sigmaSqrd, distOffset);
  }
  using TeraQuery::compare;
  /// The distance in units.
  char* display(const char* entry, AceAttach* at) const override {
    constexpr long ROOM = 330;  // of the largest number, with two decimals
    if (entry == nullptr || entry[0] == '\0') return nullptr;
    char text[ROOM];
    const double distance = std::sqrt(squared_distance(entry));
    *std::to_chars(text, text + ROOM - 1, distance, std::chars_format::fixed, 2).ptr = '\0';
    return at->attach(text);
  }
  bool equals(const char* entry) const override {
    return entry != nullptr && entry[0] != '\0' && squared_distance(entry) == 0;
  }

 private:
  double squared_distance(const char* entry) const {
    const DimeCord cord(entry, DECIMAL);
    const double dx = units_outside(cord.xPos, queryBox.blCord.xPos, queryBox.trCord.xPos, unitCord.xPos);
    const double dy = units_outside(cord.yPos, queryBox.blCord.yPos, queryBox.trCord.yPos, unitCord.yPos);
    return dx * dx + dy * dy;
  }

  double sigmaSqrd;
  int distOffset;
  DimeBox queryBox;
  const DimeCord& unitCord;
};

}  // namespace

void DimeGeoMethod_init() {}

// ---------------------------------------------------------------- detection settings

int set_geo_detect_half_dist(int row, int half_dist) {
  DimeGeoHit* hit = detect_row(row);
  if (hit == nullptr) return -1;
  hit->halfVal = half_dist;
  return 0;
}

int set_geo_detect_hit_circle(int row, int hit_circle) {
  DimeGeoHit* hit = detect_row(row);
  if (hit == nullptr) return -1;
  hit->hitCircle = hit_circle;
  return 0;
}

int get_geo_detect_half_dist(int row) {
  const DimeGeoHit* hit = detect_row(row);
  return hit != nullptr ? hit->halfVal : -1;
}

int get_geo_detect_hit_circle(int row) {
  const DimeGeoHit* hit = detect_row(row);
  return hit != nullptr ? hit->hitCircle : -1;
}

const DimeGeoHit* get_geo_detect_hit(int row) {
  return detect_row(row);
}

// ---------------------------------------------------------------- options

AceOptionsParser* DimeGeoRecallOptions::get_parser() {
  static DimeListedParser listed(dast_recall_options_parser, DimeGeoMethod::NAME, declare_recall_options);
  return listed.get();
}

int DimeGeoRecallOptions::apply(const char* config_string, AceReporter* rep) {
  const DimeParse parser(get_parser(), config_string, rep);
  if (parser.has_failed()) return -1;
  unitCord = {parser->get_int_value("xunit"), parser->get_int_value("yunit")};
  approxHit = {parser->get_int_value("hitcircle_approx"), parser->get_int_value("half_approx")};
  completeHit = {parser->get_int_value("hitcircle_complete"), parser->get_int_value("half_complete")};
  detectHit = {parser->get_int_value("hitcircle_detect"), parser->get_int_value("half_detect")};
  if (unitCord.xPos >= 1 && unitCord.yPos >= 1) return 0;
  if (rep != nullptr)
    rep->ev_wprintf("Grid sizes must be positive but grid is  of size %i x %i", unitCord.xPos, unitCord.yPos);
  return -1;
}

const DimeGeoHit& DimeGeoRecallOptions::get_geo_hit(DastOptions::Call call) const {
  static constexpr DimeGeoHit exactHit{0, 0};
  switch (call) {
    case DastOptions::EXACT:
      return exactHit;
    case DastOptions::COMPLETE:
      return completeHit;
    case DastOptions::DETECT:
      return detectHit;
    default:
      break;
  }
  constexpr int DETECT3 = DastOptions::DETECT0 + 3;
  const bool isRow = call == DastOptions::EMPTY || call == DastOptions::ARRAYOP ||
                     (call >= DastOptions::DETECT0 && call <= DETECT3);
  return isRow ? geo_detect_hits[LAST_ROW] : approxHit;
}

VInt DimeGeoRecallOptions::save(AceFile* file) const {
  file->put_magic(OPTIONS_MAGIC);
  ACE_CALL(unitCord.save(file));
  for (const DimeGeoHit* hit : {&approxHit, &completeHit, &detectHit}) {
    file->put_int(hit->halfVal);
    file->put_int(hit->hitCircle);
  }
  file->put_double(lattitude);
  return 0;
}

VInt DimeGeoRecallOptions::read(AceFile* file) {
  if (file->get_magic(OPTIONS_MAGIC) < 0)
    return ace_error(__FILE__, __LINE__, "version = file->get_magic(\"GOROP\")", -1, 0, -1);
  if (const VInt rc = unitCord.read(file); rc < 0)
    return ace_error(__FILE__, __LINE__, "unitCord. read(file)", static_cast<int>(rc), 0, -1);
  for (DimeGeoHit* hit : {&approxHit, &completeHit, &detectHit}) {
    hit->halfVal = file->get_int();
    hit->hitCircle = file->get_int();
  }
  lattitude = file->get_double();
  return file->is_short() ? -1 : 0;
}

// ---------------------------------------------------------------- method

TeraQuery* DimeGeoMethod::eval(DastOptions::Call call, const char* query, AceReporter*) const {
  return new GeoQuery(query, recallOpts.get_geo_hit(call), recallOpts.get_unit_cord());
}

int DimeGeoMethod::get_items(int, const Large** ids, AceAttach*) const {
  *ids = nullptr;
  return -1;
}

int DimeGeoMethod::reconfigure(const DastDetectorInterface* other) {
  if (DimeMethod::reconfigure(other) < 0) return -1;
  geoFeatures = static_cast<const DimeGeoMethod*>(other)->geoFeatures;
  return 0;
}

VInt DimeGeoMethod::save(AceFile* file) {
  file->mem_point("Geometric Method");
  file->put_int(geoFeatures);
  ACE_CALL(recallOpts.save(file));
  return 0;
}

VInt DimeGeoMethod::read(AceFile* file) {
  geoFeatures = file->get_int();
  ACE_CALL(recallOpts.read(file));
  return 0;
}
