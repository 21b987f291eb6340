#include "dime/dime_geo.h"

#include <random>

#include "dast/dast_field_flags.h"
#include "oracle/places.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"

namespace {

using oracle::Place;

DastOptions::Call detect(int row) {
  return static_cast<DastOptions::Call>(DastOptions::DETECT0 + row);
}

std::string text_of(const Place& place) {
  return std::to_string(place.first) + "," + std::to_string(place.second);
}

TEST(DimeGeoMethod, qualities_are_the_definition_in_every_call_mode) {
  struct Variant {
    const char* options;
    long xunit, yunit;
    int approx[2], complete[2], detect[2];  // half distance, hit circle
  };
  std::mt19937 random(1);
  for (const Variant& variant :
       {Variant{"", 100, 100, {100, 0}, {500, 0}, {1000, 0}},
        {"-xunit 7 -yunit 250 -half_approx 30 -hitcircle_approx 12 -hitcircle_complete -3",
         7,
         250,
         {30, 12},
         {500, -3},
         {1000, 0}},
        {"-xunit 1 -yunit 1 -half_complete 1 -half_detect 20000 -hitcircle_detect 5000 -latitude 47.5",
         1,
         1,
         {100, 0},
         {1, 0},
         {20000, 5000}}}) {
    DimeGeoMethod method;
    ASSERT_EQ(method.configure_recall_options(variant.options), 0);
    EXPECT_EQ(method.get_recall_options().get_lattitude(), 0) << "accepted, and stored nowhere";
    const int exact[] = {0, 0};
    const int row9[] = {1000, 0};
    const std::pair<DastOptions::Call, const int*> calls[] = {{DastOptions::EXACT, exact},
                                                              {DastOptions::COMPLETE, variant.complete},
                                                              {DastOptions::DETECT, variant.detect},
                                                              {DastOptions::APPROX, variant.approx},
                                                              {DastOptions::EMPTY, row9},
                                                              {DastOptions::ARRAYOP, row9},
                                                              {detect(0), row9},
                                                              {detect(3), row9},
                                                              {detect(4), variant.approx},
                                                              {detect(9), variant.approx},
                                                              {DastOptions::FS_DETECT, variant.approx}};
    for (int i = 0; i < 30000; ++i) {
      const auto& [call, hit] = calls[random() % std::size(calls)];
      const long spread = i % 2 == 0 ? 300 : 60000;
      const auto place = [&] {
        return Place{static_cast<long>(random() % (2 * spread)) - spread,
                     static_cast<long>(random() % (2 * spread)) - spread};
      };
      std::vector<Place> corners;
      std::string query;
      for (unsigned k = random() % 4 + 1; k > 0; --k) {
        corners.push_back(place());
        query += text_of(corners.back()) + (k > 1 || i % 3 == 0 ? ";" : "");
      }
      const Place value = place();
      const double distance = oracle::place_distance(corners, value, variant.xunit, variant.yunit);
      const TeraQueryRef object(method.eval(call, query.c_str(), nullptr));
      ASSERT_EQ(object->compare(text_of(value).c_str()), oracle::place_quality(distance, hit[0], hit[1]))
          << query << " " << text_of(value) << " " << distance << " " << variant.options;
      char shown[64];
      std::snprintf(shown, sizeof shown, "%.2f", distance);
      AceAttach at;
      ASSERT_STREQ(object->display(text_of(value).c_str(), &at), shown);
    }
  }
}

TEST(DimeGeoMethod, named_cases) {
  DimeGeoMethod method;
  const auto quality = [&](const char* query, const char* value,
                           DastOptions::Call call = DastOptions::APPROX) {
    return support::quality_of(method, query, call, value);
  };
  EXPECT_EQ(quality("0,0", "10000,0"), 127);
  EXPECT_EQ(quality("0,0", "10000,0", DastOptions::EXACT), 0);
  EXPECT_EQ(quality("0,0", "0,0", DastOptions::EXACT), 255);
  EXPECT_EQ(quality("0,0;100,100", "50,50"), 255);
  EXPECT_EQ(quality("0,0", "1,0"), 254) << "only what is inside is perfect";
  EXPECT_EQ(quality("1000,1000;", "0,0"), oracle::place_quality(std::sqrt(200.0), 100, 0))
      << "an empty piece is no corner";
  EXPECT_EQ(quality("-2147483648,0", "2147483647,0"), 0);
  EXPECT_EQ(quality("0,0", ""), 0);
  EXPECT_EQ(method.configure_recall_options("-hitcircle_approx 5"), 0);
  EXPECT_EQ(quality("0,0", "400,300"), 255);
  EXPECT_EQ(method.lookup("0,0", DastOptions::APPROX, nullptr), nullptr);
  EXPECT_EQ(method.get_num_items(), -1);
  EXPECT_EQ(set_geo_detect_half_dist(9, 3), 0);
  EXPECT_EQ(set_geo_detect_hit_circle(9, 2), 0);
  EXPECT_EQ(quality("0,0", "500,0", detect(2)), 127);
  EXPECT_EQ(std::pair(get_geo_detect_half_dist(9), get_geo_detect_hit_circle(9)), std::pair(3, 2));
  set_geo_detect_half_dist(9, 1000);
  set_geo_detect_hit_circle(9, 0);
  for (const int row : {-1, 10}) {
    EXPECT_EQ(set_geo_detect_half_dist(row, 1), -1);
    EXPECT_EQ(set_geo_detect_hit_circle(row, 1), -1);
    EXPECT_EQ(get_geo_detect_half_dist(row), -1);
    EXPECT_EQ(get_geo_detect_hit_circle(row), -1);
    EXPECT_EQ(get_geo_detect_hit(row), nullptr);
  }
}

TEST(DimeCord, texts_are_two_numbers_or_are_warned_about) {
  support::RecordingReporter rep;
  rep.set_as_default();
  struct Case {
    const char* text;
    int base, x, y;
    bool isWarned;
  };
  for (const Case& c : {Case{"12,34", 10, 12, 34, false},
                        {"-12,+34", 10, -12, 34, false},
                        {" 12, 34", 10, 12, 34, false},
                        {"7f,-1A", 16, 127, -26, false},
                        {"2147483647,-2147483648", 10, 2147483647, -2147483647 - 1, false},
                        {"0000000000012,3", 10, 12, 3, false},
                        {"", 10, 0, 0, false},
                        {nullptr, 10, 0, 0, false},
                        {"1,2", 0, 0, 0, false},
                        {"1,2", -4, 0, 0, false},
                        {"1,2", 1, 0, 0, true},
                        {"1,2", 37, 0, 0, true},
                        {"12;34", 10, 0, 0, true},
                        {"12", 10, 0, 0, true},
                        {"12,", 10, 0, 0, true},
                        {",12", 10, 0, 0, true},
                        {"12 ,34", 10, 0, 0, true},
                        {"12,34 ", 10, 0, 0, true},
                        {"1,2,3", 10, 0, 0, true},
                        {"2147483648,0", 10, 0, 0, true},
                        {"0,99999999999999999999", 10, 0, 0, true},
                        {"-,1", 10, 0, 0, true}}) {
    rep.events.clear();
    EXPECT_EQ(DimeCord(c.text, c.base), DimeCord(c.x, c.y)) << (c.text != nullptr ? c.text : "null");
    EXPECT_EQ(!rep.events.empty(), c.isWarned) << (c.text != nullptr ? c.text : "null");
  }
  std::string corners;
  for (int i = 0; i < 33; ++i) corners += std::to_string(i) + ",0;";
  rep.events.clear();
  EXPECT_EQ(DimeBox(corners.c_str()).trCord, DimeCord(31, 0));
  EXPECT_NE(rep.all().find("'32,0'"), std::string::npos);
  const DimeBox box(DimeCord(5, -1), DimeCord(2, 7));
  EXPECT_EQ(std::pair(box.blCord.xPos, box.blCord.yPos), std::pair(2, -1));
  EXPECT_EQ(std::pair(box.trCord.xPos, box.trCord.yPos), std::pair(5, 7));
  AceAttach at;
  EXPECT_STREQ(box.blCord.print(&at), "2,-1");
  rep.events.clear();
  DimeGeoRecallOptions options;
  EXPECT_EQ(options.apply("-xunit 0 -yunit 5", &rep), -1);
  EXPECT_NE(rep.all().find("Grid sizes must be positive but grid is  of size 0 x 5"), std::string::npos);
  EXPECT_EQ(options.get_unit_cord(), DimeCord(0, 5)) << "taken even so";
  EXPECT_EQ(options.apply("-no_such 0", &rep), -1);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DimeGeoMethod, a_record_scores_as_before_and_damaged_ones_are_survived) {
  DimeGeoMethod method;
  ASSERT_EQ(method.configure_recall_options("-xunit 10 -half_approx 7 -hitcircle_detect 3"), 0);
  const std::string record = support::record_of(&method);
  support::PayloadFile file(record, true);
  DimeGeoMethod same;
  ASSERT_GE(same.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&same), record);
  support::ask_damaged_records<DimeGeoMethod>(record, [](const DimeGeoMethod& damaged) {
    for (const auto call : {DastOptions::EXACT, DastOptions::APPROX, DastOptions::DETECT}) {
      const TeraQueryRef object(damaged.eval(call, "1,2;5,6", nullptr));
      const int quality = object->compare("10,-20");
      EXPECT_TRUE(quality >= 0 && quality <= 255);
      AceAttach at;
      object->display("2147483647,-2147483648", &at);
    }
  });
  DimeGeoMethod configured;
  EXPECT_EQ(configured.reconfigure(static_cast<const DastBaseMethod*>(&method)), 0);
  EXPECT_EQ(support::record_of(&configured), record);
  const std::unique_ptr<DastBaseMethod> other(MagicConstructor<DastBaseMethod>::create("REGEXP"));
  const support::QuietReports quiet;
  EXPECT_EQ(configured.reconfigure(other.get()), -1);
}

TEST(DimeGeoMethod, a_field_of_a_base_scores_alike_in_all_load_modes) {
  support::FieldPlan plan{
      .name = "place", .type = "ADVANCED|CHANGING|FULL|ORIGINAL", .method = "GEOMETRIC", .buildOptions = ""};
  support::for_each_form_of_base(
      plan, {"100,100", "700,900", ""}, "-half_approx 5", [](const DastBaseField* field) {
        const TeraQueryRef object(field->eval("100,100", DastOptions::APPROX, 0, AceReporter::null()));
        AceAttach at;
        EXPECT_EQ(object->compare(field->get_string_by_baseid(1, &at)), 255);
        EXPECT_EQ(object->compare(field->get_string_by_baseid(2, &at)), 15);
        EXPECT_EQ(support::find_in_field(field, "100,100", DastOptions::APPROX).size(), 0u);
      });
  DimeGeoMethod method;
  EXPECT_EQ(support::build(&method, {"1,2"}, DastFieldFlags::IN_INDEX_STORAGE), -2);
}

TEST(DimeGeoMethod, the_smallest_record_is_the_documented_one) {
  DimeGeoMethod method;
  EXPECT_EQ(support::record_of(&method), support::documented_bytes(TEST_FORMATS, "Geometric method"));
}

}  // namespace
