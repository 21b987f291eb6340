#include "dime/dime_date.h"

#include <random>

#include "ace/ace_file.h"
#include "dast/dast_field_flags.h"
#include "oracle/dates.h"
#include "support/documented_bytes.h"
#include "support/method_asks.h"
#include "support/recording_reporter.h"
#include "support/word_samples.h"

namespace {

using Text = DimeDateText;
using Texts = std::map<std::string, int>;
using support::find_texts;

const TeraEdit& months() {
  static const auto finder = [] {
    auto made = std::make_unique<TeraEdit>();
    DimeDateText::make_month_finder(made.get());
    return made;
  }();
  return *finder;
}

int read(const char* text, Text::DateFormat format = Text::SIMPLE) {
  return Text::read_date(text, format, &months());
}

std::string print(int value, Text::DateFormat format) {
  AceAttach at;
  return Text::print_date(value, format, &at);
}

std::unique_ptr<DimeDateMethod> make_method(const std::vector<std::string>& values,
                                            const char* options = "") {
  auto method = std::make_unique<DimeDateMethod>();
  EXPECT_EQ(method->configure_build_options(options, TeraMap::get_ident_map()), 0) << options;
  EXPECT_EQ(support::build(method.get(), values), 0);
  return method;
}

const std::vector<std::string> DAYS = {"3.4.1985", "4.3.1985",  "10.4.1985", "1985",
                                       "5.1985",   "31.4.1985", "1.1.2001"};
constexpr const char* DE = "-format SHORT_DE";

}  // namespace

// ---------------------------------------------------------------- the calendar

TEST(DimeDateText, numbers_are_days_counted_in_years_of_366) {
  for (int year = 1800; year < 2200; ++year)
    for (int month = 1; month <= 12; ++month)
      for (int day = 1; day <= oracle::days_of(month); ++day) {
        const int number = Text::make_time(day, month, year);
        ASSERT_EQ(number, oracle::day_number(day, month, year));
        int parts[3];
        Text::decompose(number, parts, parts + 1, parts + 2);
        ASSERT_EQ(parts[0] + 100 * parts[1] + 10000 * parts[2], day + 100 * month + 10000 * year);
      }
  EXPECT_EQ(Text::make_time(0, 0, 85), 1985 * 366 + 536870912);
  EXPECT_EQ(Text::make_time(0, 4, 29), 2029 * 366 + 91 + 268435456);
  EXPECT_EQ(Text::make_time(1, 1, 30), 1930 * 366);
  for (const auto& [day, month, year] :
       {std::array{31, 13, 2000}, {0, 13, 2000}, {32, 1, 2000}, {1, 1, -1}, {1, 1, 10000}})
    EXPECT_EQ(Text::make_time(day, month, year), 0) << day << "." << month << "." << year;
  EXPECT_EQ(Text::make_time(31, 4, 2000), Text::make_time(1, 5, 2000)) << "by the offsets";
  EXPECT_EQ(Text::last_day(Text::make_time(0, 0, 1985)), Text::make_time(31, 12, 1985));
  EXPECT_EQ(Text::last_day(Text::make_time(0, 2, 1985)), Text::make_time(29, 2, 1985));
}

TEST(DimeDateText, every_day_is_read_back_from_every_format) {
  for (int format = 0; format < Text::NUM_DATE_MODES; ++format) {
    const auto mode = static_cast<Text::DateFormat>(format);
    for (int year = samples::SLOW ? 1990 : 1900; year < 2300; year += samples::SLOW ? 97 : 1)
      for (int month = 1; month <= 12; ++month) {
        const int step = format >= Text::LONG_EUR && format != Text::SHORT_DE ? 5 : 1;  // names take longer
        for (int day = 1; day <= oracle::days_of(month); day += step) {
          const int number = Text::make_time(day, month, year);
          ASSERT_EQ(read(print(number, mode).c_str(), mode), number)
              << print(number, mode) << " in format " << format;
        }
        const int ofMonth = Text::make_time(0, month, year);
        ASSERT_EQ(read(print(ofMonth, mode).c_str(), mode), ofMonth) << print(ofMonth, mode);
      }
    EXPECT_EQ(read(print(Text::make_time(0, 0, 1985), mode).c_str(), mode), Text::make_time(0, 0, 1985));
  }
}

TEST(DimeDateText, formats_are_printed_as_documented) {
  const char* const expected[] = {
      "1985-4-3",        "3/4/1985",        "4/3/1985",   "3 April 1985",  "April 3 1985",  "3rd April 1985",
      "April 3rd 1985",  "1985-04-03",      "03/04/1985", "04/03/1985",    "03 April 1985", "April 03 1985",
      "03rd April 1985", "April 03rd 1985", "03.04.1985", "3. April 1985", "03. April 1985"};
  for (int format = 0; format < Text::NUM_DATE_MODES; ++format)
    EXPECT_EQ(print(read("1985-4-3"), static_cast<Text::DateFormat>(format)), expected[format]);
  EXPECT_EQ(print(read("1985-3-3"), Text::LONG_DE), "3. M\u00E4rz 1985");
  for (const auto& [day, ending] : {std::pair{1, "1st"},
                                    {2, "2nd"},
                                    {11, "11th"},
                                    {12, "12th"},
                                    {21, "21st"},
                                    {23, "23rd"},
                                    {30, "30th"}})
    EXPECT_EQ(print(Text::make_time(day, 1, 2000), Text::OFFICIAL_EUR),
              std::string(ending) + " January 2000");
  EXPECT_EQ(print(0, Text::SIMPLE), "");
  EXPECT_EQ(Text::get_date_format("SHORT_DE"), Text::SHORT_DE);
  EXPECT_EQ(Text::get_date_format(nullptr), Text::SIMPLE);
  for (const char* none : {"OFFICIAL_DE", "simple", "", "X"})
    EXPECT_EQ(Text::get_date_format(none), -1) << none;
}

TEST(DimeDateText, texts_are_read_in_the_order_of_the_format) {
  const int april = Text::make_time(3, 4, 1985);
  const int march = Text::make_time(4, 3, 1985);
  for (const char* text : {"3.4.1985",          "3/4/85",
                           "03-04-1985",        "3 4 1985",
                           "3, 4, 1985",        "03041985",
                           "1985-04-03",        "1985/4/3",
                           "3. April 1985",     "3rd April 1985",
                           "April 3rd, 1985",   "3 apr 85",
                           "3 Apirl 1985",      "3 APRIL 1985",
                           "3.Apr.1985",        "Aprril 3 1985",
                           " 3. 4. 1985 ",      "3\u20134\u20111985",
                           "3.April\u20131985", "1985-04-03T12:30:59",
                           "1985-04-03T12:30Z", "1985-04-03 12:30:59.123+01:00",
                           "03041985T07:05",    "3. April 1985 23:59 "})
    EXPECT_EQ(read(text, Text::SHORT_DE), april) << text;
  EXPECT_EQ(read("3/4/1985", Text::SHORT_US), march);
  for (const char* text : {"3.4.1985", "03041985"}) EXPECT_EQ(read(text, Text::SIMPLE), april) << text;
  for (const auto format : {Text::SIMPLE, Text::SHORT_DE, Text::SHORT_US})
    for (const char* text : {"28.4.1985", "4/28/85", "04281985", "28.04.85"}) {
      EXPECT_EQ(read(text, format), Text::make_time(28, 4, 1985)) << text;
      const bool isFirstDay = text[0] == '2';
      EXPECT_EQ(Text::is_in_order(text, format), format == (isFirstDay ? Text::SHORT_DE : Text::SHORT_US))
          << text;
    }
  EXPECT_EQ(read("04031985", Text::SHORT_US), april);
  EXPECT_EQ(read("19850403", Text::SIMPLE), april);
  EXPECT_EQ(read("85-4-3", Text::SIMPLE), april);
  for (const char* text : {"4. M\u00E4rz 1985", "4. Maerz 1985", "4. Marz 1985", "4 March 1985",
                           "4 Match 1985", "4 Mar 1985", "4. M\u00E4r. 1985"})
    EXPECT_EQ(read(text, Text::LONG_DE), march) << text;
  EXPECT_EQ(read("29.2.2001", Text::SHORT_DE), Text::make_time(29, 2, 2001)) << "there is one in every year";
  for (const char* text : {"1985", "00.00.1985", "..1985", "0.0.1985", "00.00.85"})
    EXPECT_EQ(read(text, Text::SHORT_DE), Text::make_time(0, 0, 1985)) << text;
  for (const char* text : {"4.1985", "00.04.1985", ".04.1985", "April 1985", "1985-04", "4/1985"})
    EXPECT_EQ(read(text, Text::SHORT_DE), Text::make_time(0, 4, 1985)) << text;
  EXPECT_EQ(read("Septmber 1985", Text::SHORT_DE), Text::make_time(0, 9, 1985));
  for (const char* text : {"",
                           "x",
                           "31.4.1985",
                           "0.0.0",
                           "00.00.0000",
                           "0000-00-00",
                           "30.2.2000",
                           "13.13.2000",
                           "32.1.2000",
                           "1.2.3.4",
                           "85",
                           "1.2",
                           "12345",
                           "3.4.10000",
                           "-3.4.1985x",
                           "3.4.1985 um",
                           "3.4.1985 12:3",
                           "3.4.1985 12:30 x",
                           "12:30",
                           "Ma 1985",
                           "3. Juxx 1985",
                           "123456789",
                           "?.4.1985",
                           "3 4. April 1985 5",
                           "3:4:1985",
                           "market 1985",
                           "summary 1985",
                           "mart 1985",
                           "Jane 1985",
                           "Match 1985",
                           "5 3. April",
                           "mayor 1985"})
    EXPECT_EQ(read(text, Text::SHORT_DE), 0) << text;
  EXPECT_EQ(Text::read_date(nullptr, Text::SIMPLE, &months()), 0);
  EXPECT_EQ(Text::read_date("3 April 1985", Text::LONG_EUR, nullptr), 0);
}

// ---------------------------------------------------------------- qualities

TEST(DimeDateMethod, qualities_are_the_definition) {
  for (const auto& [name, model] : {std::pair{"LINEAR", 0}, {"LOG", 1}, {"SQUARED", 2}})
    for (const char* scale : {"0", "0.0009", "0.01", "0.5", "1", "3.5", "300"}) {
      DimeDateRecallOptions options;
      ASSERT_EQ(
          options.apply((std::string("-min_value 150 -dist ") + name + " -scale_factor " + scale).c_str()),
          0);
      const int day = Text::make_time(1, 6, 2000);
      for (int d = 0; d <= 300; ++d)
        for (const int other : {day - d, day + d}) {
          const int expected = oracle::date_quality(d, model, static_cast<double>(std::stof(scale)));
          ASSERT_EQ(options.compare_dates(day, other, 0), expected) << name << " " << scale << " " << d;
          ASSERT_EQ(options.compare_dates(day, other, 1), other > day ? 255 : expected);
          ASSERT_EQ(options.compare_dates(day, other, -1), other < day ? 255 : expected);
          if (expected >= 150) EXPECT_LE(d, options.get_tolerance());
        }
      EXPECT_EQ(options.compare_dates(day, 0, 1), 0);
      EXPECT_EQ(options.compare_dates(day, Text::make_time(0, 6, 2000), 0), 0);
    }
}

TEST(DimeDateMethod, look_ups_are_the_query_object_over_all_values) {
  std::mt19937 random(5);
  std::vector<std::string> values = {"00.00.1999", "00.03.1999", "00.06.2000", "00.00.1880"};
  for (int i = 0; i < 600; ++i) {
    const int day = static_cast<int>(random() % 34);
    const int month = static_cast<int>(random() % 14);
    values.push_back(std::to_string(day) + "." + std::to_string(month) + "." +
                     std::to_string(1999 + random() % 3));
  }
  const auto method = make_method(values, DE);
  for (const char* options :
       {"-min_value 1", "-dist LOG -min_value 240",
        "-dist SQUARED -scale_factor 0.3 -min_value 100 -num_cands 20", "-switched -min_value 150",
        "-switched -switch_penalty 0 -min_value 200", "-scale_factor 0", "-max_dist 20"}) {
    ASSERT_EQ(method->configure_recall_options(options), 0);
    for (const char* query : {"15.6.2000", "3.4.2000", "2000", "2.2000", "1.3.2000;1.2.2000",
                              "1.12.1999 - 5.1.2000", "1.1.2000..2001", "4.4.1990", "?.6.2000", "1?.1.20??",
                              "199?", "??.1999", "0?.199?", "1?.2000", "00.??.1999", "April ????", "18??"})
      for (const DastOptions::Call call :
           {DastOptions::EXACT, DastOptions::APPROX, DastOptions::COMPLETE, DastOptions::DETECT}) {
        const TeraQueryRef object(method->eval(call, query, AceReporter::null()));
        std::map<Large, int> all;
        for (size_t i = 0; i < values.size(); ++i) {
          const bool isDate = Text::read_date(values[i].c_str(), Text::SHORT_DE, &months()) != 0;
          if (isDate) all[support::id_of(i)] = object->compare(values[i].c_str());
        }
        const DimeRecallOptions& limits = method->get_recall_options().get_primary();
        // A candidate is a day with all its values.
        auto kept = support::cut_by_limits(all, limits.minValue, TeraResult::MAX_CANDS, limits.maxDist);
        auto found = support::find_ids(*method, query, call);
        if (limits.numCands == 20) {
          ASSERT_TRUE(std::includes(kept.begin(), kept.end(), found.begin(), found.end()));
          continue;
        }
        ASSERT_EQ(found, kept) << query << " as " << DastOptions::get_call_string(call) << " with "
                               << options;
      }
  }
}

TEST(DimeDateMethod, each_call_finds_what_it_is_for) {
  const auto method = make_method(DAYS, DE);
  EXPECT_EQ(find_texts(*method, "3. April 1985", DastOptions::EXACT), (Texts{{"03.04.1985", 255}}));
  EXPECT_EQ(find_texts(*method, "5.4.1985", DastOptions::APPROX),
            (Texts{{"03.04.1985", 253}, {"04.03.1985", 223}, {"10.04.1985", 250}}));
  EXPECT_EQ(find_texts(*method, "1.1.2000", DastOptions::COMPLETE), (Texts{{"01.01.2001", 255}}));
  EXPECT_EQ(find_texts(*method, "3.4.1985", DastOptions::DETECT).at("03.04.1985"), 255);
  EXPECT_EQ(find_texts(*method, "3.4.1985", DastOptions::DETECT).at("10.04.1985"), 248);
  EXPECT_EQ(find_texts(*method, "1985", DastOptions::EXACT), (Texts{{"1985", 255}}))
      << "only the year itself";
  EXPECT_EQ(find_texts(*method, "??.??.1985", DastOptions::EXACT),
            (Texts{{"03.04.1985", 255}, {"04.03.1985", 255}, {"10.04.1985", 255}}));
  EXPECT_EQ(find_texts(*method, "1985", DastOptions::APPROX).at("10.04.1985"), 255) << "all its days";
  EXPECT_EQ(find_texts(*method, "198?", DastOptions::EXACT), (Texts{{"1985", 255}}));
  EXPECT_EQ(find_texts(*method, "??.1985", DastOptions::EXACT), (Texts{{"05.1985", 255}}));
  EXPECT_EQ(find_texts(*method, "?4.1985", DastOptions::APPROX),
            (Texts{{"03.04.1985", 255}, {"10.04.1985", 255}}));
  EXPECT_EQ(find_texts(*method, "198?", DastOptions::APPROX).size(), 5U)
      << "its days, the month and the year";
  EXPECT_EQ(find_texts(*method, "31.4.1985", DastOptions::EXACT), (Texts{{"31.4.1985", 255}}))
      << "a text, no date";
  EXPECT_EQ(find_texts(*method, "??.??.85", DastOptions::EXACT).size(), 3U) << "two digits are a year";
  EXPECT_EQ(find_texts(*method, "9.4.1985;1985", DastOptions::APPROX).at("10.04.1985"), 255);
  EXPECT_EQ(find_texts(*method, "9.4.1985;1985", DastOptions::APPROX).at("03.04.1985"), 249)
      << "the year ends behind the day: no falling range";
  EXPECT_EQ(find_texts(*method, "", DastOptions::APPROX), Texts{});
  EXPECT_EQ(find_texts(*method, "nonsense", DastOptions::APPROX), Texts{});
  EXPECT_EQ(method->lookup(nullptr, DastOptions::APPROX, AceReporter::null()), nullptr);
}

TEST(DimeDateMethod, dates_in_texts_are_found_at_signs_but_not_inside_longer_numbers) {
  const auto method = make_method(DAYS, DE);
  using Nodes = std::map<std::string, std::vector<int>>;
  const auto nodes_in = [&](const char* text) {
    Nodes nodes;
    TeraScanGraph* graph = method->lookup(text, DastOptions::FS_DETECT, AceReporter::null());
    if (graph == nullptr) return nodes;
    graph->find_any([&](int node, const TeraCand* cand) {
      if (cand->represent() == std::string("03.04.1985") || cand->represent() == std::string("01.01.2001"))
        nodes[cand->represent()].push_back(node);
      return false;
    });
    graph->decr_ref();
    return nodes;
  };
  EXPECT_EQ(nodes_in("born 3 April, 1985 in Bern, died 1.1.2001."),
            (Nodes{{"03.04.1985", {1}}, {"01.01.2001", {7}}}));
  for (const char* text : {"geb.:3.4.1985", "Bern/3.4.1985", "Bern (3.4.1985)", "Bern,3.4.1985;",
                           "Bern=3. April 1985/Ulm", "Bern 3.4.1985?", "5 3. April 1985", "Bern-3.4.1985-x"})
    EXPECT_EQ(nodes_in(text).count("03.04.1985"), 1U) << text;
  EXPECT_EQ(nodes_in("3.4.1985-1.1.2001"), (Nodes{{"03.04.1985", {0}}, {"01.01.2001", {3}}}));
  for (const char* text : {"3.4.85.7", "1.3.4.1985", "1/3.4.1985", "3.4.1985.2", "summary 3"})
    EXPECT_EQ(nodes_in(text), Nodes{}) << text;
}

TEST(DimeDateMethod, every_option_has_an_effect_and_wrong_ones_are_refused) {
  const auto method = make_method(DAYS, DE);
  const auto with = [&](const char* options, const char* query) {
    EXPECT_EQ(method->configure_recall_options(options), 0) << options;
    return find_texts(*method, query, DastOptions::APPROX);
  };
  EXPECT_EQ(with("-min_value 254", "3.4.1985").size(), 1U);
  EXPECT_EQ(with("-max_dist 5", "3.4.1985").size(), 1U);
  EXPECT_EQ(with("-switched", "3.4.1985").at("04.03.1985"), 235);
  EXPECT_EQ(with("-switched -switch_penalty 9", "3.4.1985").at("04.03.1985"), 246);
  EXPECT_EQ(with("-switched -switch_penalty 0", "3.4.1985").at("04.03.1985"), 255);
  EXPECT_EQ(with("-scale_factor 2", "3.4.1985").at("10.04.1985"), 241);
  EXPECT_EQ(with("-dist SQUARED", "3.4.1985").at("10.04.1985"), 206);
  EXPECT_EQ(with("-smth STRING", "31.4.1986").count("31.4.1985"), 1U);
  EXPECT_EQ(with("-smth STRING -edit_distance 0", "31.4.1986").size(), 0U);
  EXPECT_EQ(with("-smth STRING", "3.4.1985").at("3.4.1985"), 255);
  const TeraQueryRef exactly(method->eval(DastOptions::EXACT, "3.4.1985", AceReporter::null()));
  EXPECT_EQ(exactly->compare("3.4.1985"), 255);
  EXPECT_EQ(with("-smth STRING_TIME", "3.4.1985").at("03.04.1985"), 255);
  EXPECT_EQ(with("-smth STRING_TIME", "2.4.1985").count("31.4.1985"), 1U);
  const auto twice = make_method({"3.4.1985", "31.4.1985", "03.04.1985"}, DE);
  EXPECT_EQ(twice->configure_recall_options("-smth STRING_TIME"), 0);
  const std::unique_ptr<TeraResult> ofBoth(twice->scan(DastOptions::APPROX, "3.4.1985", AceReporter::null()));
  EXPECT_EQ(ofBoth->num_cands(), 2) << "values of one day are one candidate";
  const support::QuietReports quiet;
  for (const char* wrong : {"-dist QUADRATIC", "-smth BOTH", "-scale_factor -1", "-switch_penalty 256",
                            "-min_value 256", "-swiched"})
    EXPECT_EQ(method->configure_recall_options(wrong), -1) << wrong;
  support::RecordingReporter rep;
  rep.set_as_default();
  DimeDateMethod other;
  EXPECT_EQ(other.configure_build_options("-format OFFICIAL_DE", nullptr), -1);
  EXPECT_NE(rep.all().find("SHORT_DE LONG_DE"), std::string::npos) << rep.all();
}

TEST(DimeDateMethod, a_date_among_many_texts_is_found) {
  std::vector<std::string> values(5000, "no date");
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] += " " + std::string(1 + i % 40, 'x') + std::to_string(i);
  values.emplace_back("3.4.1985");
  EXPECT_EQ(find_texts(*make_method(values, DE), "3.4.1985", DastOptions::APPROX),
            (Texts{{"03.04.1985", 255}}));
}

TEST(DimeDateMethod, too_many_expansions_are_refused) {
  std::vector<std::string> values;
  for (int year = 1000; year < 2000; ++year) values.push_back("1.1." + std::to_string(year));
  const auto method = make_method(values, DE);
  EXPECT_EQ(find_texts(*method, "1.1.????", DastOptions::EXACT).size(), 1000U);
  EXPECT_EQ(find_texts(*method, "1.1.19?5", DastOptions::EXACT).size(), 10U);
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(find_texts(*method, "??.??.????", DastOptions::EXACT).size(), 0U);
  EXPECT_NE(rep.all().find("65536"), std::string::npos) << rep.all();
}

TEST(DimeDateMethod, items_are_dates_in_order_and_values_can_be_shown) {
  const auto method = make_method(DAYS, DE);
  AceAttach at;
  std::vector<std::string> items;
  for (int i = 0; i < method->get_num_items(); ++i) {
    items.emplace_back(method->get_item(i, &at));
    const Large* ids = nullptr;
    ASSERT_EQ(method->get_items(i, &ids, &at), 1);
    EXPECT_EQ(method->show(ids[0], &at), items.back());
  }
  EXPECT_EQ(items, (std::vector<std::string>{"04.03.1985", "03.04.1985", "10.04.1985", "01.01.2001",
                                             "05.1985", "1985"}));
  EXPECT_EQ(method->get_item(6, &at), nullptr);
  EXPECT_EQ(method->get_item(-1, &at), nullptr);
  EXPECT_STREQ(method->show(support::id_of(5), &at), "31.4.1985");
  EXPECT_EQ(method->show(9999, &at), nullptr);
  for (const auto& [value, rc] : {std::pair{"03.04.1985", 0}, {"3.4.1985", -2}, {"31.04.1985", -2}}) {
    DimeDateMethod serving;
    serving.configure_build_options(DE, nullptr);
    support::RecordingReporter rep;
    EXPECT_EQ(support::build(&serving, {value}, DastFieldFlags::IN_INDEX_STORAGE, &rep), rc) << value;
    EXPECT_EQ(rep.all().find("cannot give back") != std::string::npos, rc < 0);
  }
  DimeDateMethod sparse;
  sparse.configure_build_options(DE, nullptr);
  std::string line = "f0000000\t1.1.2000\n";
  AceInput input(line.data(), true);
  TeraStandardReader reader(&input, 16);
  EXPECT_EQ(sparse.make(&reader, 0, AceReporter::null(), nullptr), -1) << "no array for one value";
}

TEST(DimeDateMethod, a_record_answers_as_before_and_damaged_ones_are_survived) {
  const auto method = make_method(DAYS, DE);
  ASSERT_EQ(method->configure_recall_options(
                "-switched -dist LOG -smth STRING_TIME -scale_factor 0.5 -edit_distance 1"),
            0);
  const std::string record = support::record_of(method.get());
  DimeDateMethod read;
  support::PayloadFile file(record);
  ASSERT_GE(read.read(file.get()), 0);
  EXPECT_EQ(support::record_of(&read), record);
  for (const char* query : {"3.4.1985", "4. Maerz 1985", "31.4.1985"})
    for (const DastOptions::Call call : {DastOptions::EXACT, DastOptions::APPROX, DastOptions::COMPLETE})
      EXPECT_EQ(find_texts(read, query, call), find_texts(*method, query, call)) << query;
  DimeDateMethod other;
  EXPECT_EQ(other.reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  const support::QuietReports quiet;
  int numDamaged = 0;
  const auto ask = [&](const std::string& bytes, const std::string&) {
    if (++numDamaged % (samples::SLOW ? 997 : 101) != 0) return;
    support::PayloadFile damaged(bytes);
    DimeDateMethod hostile;
    try {
      if (hostile.read(damaged.get()) < 0) return;
      find_texts(hostile, "4. Mraz 1985", DastOptions::APPROX);
      find_texts(hostile, "1.?.1985", DastOptions::EXACT);
      AceAttach at;
      for (int i = 0; i < 10; ++i) hostile.get_item(i, &at);
    } catch (const AceException&) {
    }
  };
  support::for_each_damage(record, ask);
  support::for_each_hostile_word(record, ask);
}

TEST(DimeDateMethod, a_field_of_a_base_answers_alike_in_all_load_modes) {
  const std::vector<std::string> printed = {"03.04.1985", "04.03.1985", "10.04.1985"};
  for (const char* type :
       {"ADVANCED|CHANGING|FULL|ORIGINAL", "BASIC|CHANGING|FULL|ORIGINAL", "BASIC|CHANGING|FULL|INDEXED"}) {
    const support::FieldPlan plan{.name = "born", .type = type, .method = "DATE", .buildOptions = DE};
    support::for_each_form_of_base(plan, printed, "-switched", [](const DastBaseFieldRecall* field) {
      EXPECT_EQ(support::find_in_field(field, "3 April 1985", DastOptions::EXACT),
                (Texts{{"03.04.1985", 255}}));
      EXPECT_EQ(support::find_in_field(field, "5.4.1985", DastOptions::APPROX),
                (Texts{{"03.04.1985", 253}, {"04.03.1985", 223}, {"10.04.1985", 250}}));
    });
  }
}

TEST(DimeDateMethod, the_options_have_their_documented_bytes) {
  EXPECT_EQ(support::image_by([](AceFile* file) { DimeDateRecallOptions().save(file); }),
            support::documented_bytes(TEST_FORMATS, "Recall options of the date method"));
}
