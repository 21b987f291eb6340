// Fields of every kind: twelve records, each asked for with an error in every field.
//
//   fields FOLDER      where the base is written
#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_magic_constructor.h"
#include "tera/tera_map.h"
#include "tera/tera_map_config.h"
#include "tera/tera_query_kinds.h"

namespace {

struct Field {
  const char* name;
  const char* method;
  const char* build;
  const char* recall;
  int width;  // of its column
};
constexpr Field FIELDS[] = {
    {"name", "WORDS", "-skip 100 -add - -merge_entries", "-no_teaser -min_value 150", 24},
    {"street", "AUTO", "-phonetics KOELNER", "-min_value 150", 18},
    {"number", "PREMISE", "", "", 8},
    {"postcode", "POSTCODE", "", "-min_value 100", 9},
    {"place", "GEOMETRIC", "", "-half_approx 20", 11},
    {"birthday", "DATE", "-format SHORT_DE", "-switched -min_value 150", 16},
    {"amount", "DOUBLE", "", "-factor 1000", 8},
    {"id", "NUMBER", "", "-eval_type LEVENSHTEIN -do_transpose -min_value 150", 10},
};
constexpr std::size_t NUM_FIELDS = std::size(FIELDS);
using Values = std::array<const char*, NUM_FIELDS>;

struct Record {
  Values stored;
  Values asked;
};
constexpr Record RECORDS[] = {
    {{"Johanna Maria Weber", "Bahnhofstrasse", "12a", "80331", "4468,5333", "03.04.1985", "1249.50",
      "4711203388"},
     {"webre johana", "Banhofstrasse", "12 A", "80313", "4471,5335", "3. Aprril 1985", "1250", "4711203838"}},
    {{"Karl Weber", "Lindenweg", "10-20", "01234", "4102,5650", "04.03.1985", "88.00", "200017"},
     {"K. Weber", "Lindneweg", "14", "1234", "4100,5652", "3.4.85", "86.5", "20017"}},
    {{"Anna-Lena Schmidt", "Goethestrasse", "7", "50667", "3565,5645", "12.11.1985", "19.90", "30998120"},
     {"schmitt anna", "Gotestrasse", "7b", "50767", "3566,5644", "Nov. 1985", "20", "30998210"}},
    {{"Peter von Ahn", "Am Markt", "1*9", "28195", "3487,5884", "29.02.2000", "540.00", "1000450001"},
     {"peter v. ahn", "Am Mark", "3", "28915", "3489,5884", "29. Febuary 2000", "541", "100045001"}},
    {{"Maria da Silva", "Rosengasse", "2%10", "10115", "4591,5822", "31.12.1969", "7.25", "52"},
     {"silva mariah", "Rosengase", "5", "1015", "4590,5821", "31/12/69", "7", "0053"}},
    {{"Zoe Papadopoulou", "Hafenstrasse", "12 bis", "20359", "3564,5934", "15.08.1991", "312.40", "777003"},
     {"papadopolou zoe", "Hafnstrasse", "12BI", "20395", "3563,5936", "16 Aug 1991", "312", "777030"}},
    {{"Hans Peter Huber", "Kirchplatz", "3-5", "8000", "2683,1247", "07.11.1978", "1000.00", "8812"},
     {"hanspeter huber", "Kirchplats", "3-7", "8001", "2684,1246", "11.7.1978", "1001", "8821"}},
    {{"Mehmet Yildiz", "Wilhelm-Busch-Ring", "101", "30159", "3550,5805", "22.05.1980", "63.10", "990001234"},
     {"yildis mehmed", "Wilhelm Busch Ring", "101a", "31059", "3551,5804", "22 May 80", "63", "99001234"}},
    {{"Claire Dubois", "Rue de la Gare", "4", "67000", "3410,5381", "01.01.2001", "2.99", "61"},
     {"dubios claire", "Rue de la Garre", "4.", "67001", "3411,5381", "2001-01-02", "3", "0060"}},
    {{"Sven Oskar Lindqvist", "Storgatan", "18!30", "11455", "4665,6580", "14.07.1966", "450.75", "20201"},
     {"lindkvist sven", "Stoergatan", "22", "11545", "4666,6581", "14. Juli 1966", "451", "22001"}},
    {{"Olga Iwanowa", "Schillerstrasse", "33", "04109", "4530,5690", "09.09.1999", "12000.00", "5551212"},
     {"ivanowa olga", "Schilerstrasse", "33", "4109", "4532,5690", "9. Septmber 1999", "12001", "5551221"}},
    {{"Baden Hotelgesellschaft", "Seepromenade", "60", "78462", "3512,5281", "30.06.1954", "98000.10",
      "70007"},
     {"baden hotelgeselschaft", "Seepromande", "60 1/2", "78642", "3513,5283", "30.6.54", "98000", "70070"}},
};

int build(const std::string& folder) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9");
  config.map_upper();
  config.deaccentuate();
  config.map_glob_chars(0);
  TeraMap map;
  config.compile_map(&map);
  const char* names[NUM_FIELDS];
  for (std::size_t i = 0; i < NUM_FIELDS; ++i) names[i] = FIELDS[i].name;
  DastBase base(NUM_FIELDS, names, nullptr, nullptr, folder.c_str(), "utf-8", 0, 0, "1", 0, 0);
  for (const Field& field : FIELDS) {
    std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(field.method));
    if (method->configure_build_options(field.build, &map) < 0 ||
        method->configure_recall_options(field.recall) < 0 ||
        base.assign(field.name, "ADVANCED|CHANGING|FULL|ORIGINAL", 0, nullptr, nullptr, nullptr, nullptr,
                    nullptr, nullptr, nullptr, nullptr, -1, AceReporter::use_default(), 0) < 0)
      return -1;
    base.configure_field(field.name, method.release());
  }
  const std::string records = folder + "/fields.txt";
  {
    std::ofstream file(records);
    for (const Record& record : RECORDS)
      for (std::size_t i = 0; i < NUM_FIELDS; ++i)
        file << record.stored[i] << (i + 1 < NUM_FIELDS ? '\t' : '\n');
  }
  const bool isBuilt =
      base.make(records.c_str(), "NONE", nullptr, nullptr, nullptr, AceReporter::null()) == 0 &&
      base.make_all_access(AceReporter::null()) == 0;
  return isBuilt ? base.dump((folder + "/fields.base").c_str(), nullptr) : -1;
}

/// The qualities of all records, field by field, and the record in which they add up to most.
Large find(const DastBase& base, const Values& asked, std::vector<std::array<int, NUM_FIELDS>>* qualities) {
  qualities->assign(base.get_num_records(), {});
  for (std::size_t i = 0; i < NUM_FIELDS; ++i) {
    const DastBaseField* const field = base.get_field(static_cast<int>(i));
    const TeraQueryRef query(field->eval(asked[i], DastOptions::APPROX, 0, AceReporter::null()));
    for (Large record = 1; record < base.get_num_records(); ++record) {
      AceAttach at;
      const char* value = field->get_string_by_recordid(record, nullptr, nullptr, &at, DastOptions::ALL);
      (*qualities)[record][i] = query != nullptr && value != nullptr ? std::max(query->compare(value), 0) : 0;
    }
  }
  Large best = 0;
  int most = -1;
  for (Large record = 1; record < base.get_num_records(); ++record) {
    int sum = 0;
    for (const int quality : (*qualities)[record]) sum += quality;
    if (sum > most) best = record;
    most = std::max(most, sum);
  }
  return best;
}

template <class Cell>
void print_row(const char* title, Cell cell) {
  std::printf("%-8s", title);
  for (std::size_t i = 0; i < NUM_FIELDS; ++i) std::printf("%-*s ", FIELDS[i].width, cell(i).c_str());
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) return std::fprintf(stderr, "usage: fields FOLDER\n"), 2;
  if (build(argv[1]) < 0) return 1;
  DastBase base;  // mode 1 maps the file
  if (base.load((std::string(argv[1]) + "/fields.base").c_str(), 1, nullptr) < 0) return 1;
  print_row("field", [](std::size_t i) { return std::string(FIELDS[i].name); });
  print_row("method", [](std::size_t i) { return std::string(FIELDS[i].method); });
  Large numFound = 0;
  for (Large meant = 1; meant <= std::size(RECORDS); ++meant) {
    const Values& asked = RECORDS[meant - 1].asked;
    std::vector<std::array<int, NUM_FIELDS>> qualities;
    const auto start = std::chrono::steady_clock::now();
    const Large found = find(base, asked, &qualities);
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    numFound += found == meant ? 1 : 0;
    std::printf("\n");
    print_row("asked", [&](std::size_t i) { return std::string(asked[i]); });
    print_row("found", [&](std::size_t i) {
      AceAttach at;
      const char* value = base.get_field(static_cast<int>(i))
                              ->get_string_by_recordid(found, nullptr, nullptr, &at, DastOptions::ALL);
      return std::string(value != nullptr ? value : "");
    });
    print_row("quality", [&](std::size_t i) { return std::to_string(qualities[found][i]); });
    std::printf("%-8s%.0f us for all records and fields\n", "time", time.count());
  }
  std::printf("\n%u of %zu records are found first, with an error in every field\n", numFound,
              std::size(RECORDS));
  return 0;
} catch (const AceException& failure) {
  return failure.print(static_cast<AceReporter*>(nullptr)), 1;
}
