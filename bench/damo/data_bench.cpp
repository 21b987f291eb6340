/// The way from sources to record files, beside what it cannot do without: reading, counting bytes, parsing,
/// copying.
///
/// A million made people of five fields, 88 MB; BENCH_RECORDS says how many.
#include <libxml/xmlreader.h>
#include <sys/resource.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <jsoncons/json.hpp>
#include <memory>
#include <random>
#include <string>

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_parallel.h"
#include "ace/ace_reporter.h"
#include "damo/damo_diff.h"
#include "damo/damo_diff_maker.h"
#include "damo/damo_extract.h"
#include "damo/damo_field.h"
#include "damo/damo_standard_input.h"
#include "damo/damo_statistic.h"
#include "ratio.h"
#include "tera/tera_standard_transform.h"

namespace {

const int memory = ace_alloc_init(2000);  // as hosts do
constexpr int NUM_FIELDS = 5;
constexpr long DEFAULT_RECORDS = 1'000'000;
constexpr long RECORDS_PER_DIFFERENCE = 10;
const char* const NAMES[NUM_FIELDS] = {"id", "given", "surname", "street", "city"};

long num_records() {
  static const long count = [] {
    const char* const text = std::getenv("BENCH_RECORDS");
    const long given = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
    return given > 0 ? given : DEFAULT_RECORDS;
  }();
  return count;
}

std::string file(const char* name) {
  const std::string folder = std::string(BENCH_FOLDER) + "/" + std::to_string(num_records());
  std::filesystem::create_directories(folder);
  return folder + "/" + name;
}

std::string word(std::mt19937* random, unsigned shortest, unsigned longest) {
  static constexpr const char* LETTERS[] = {"a", "e", "i", "o",        "n", "r", "s", "t",
                                            "l", "d", "m", "\xC3\xA4", "u", "b", "k", " "};
  std::string text;
  for (unsigned n = shortest + (*random)() % (longest - shortest + 1); n > 0; --n)
    text += LETTERS[(*random)() % 16];
  return text;
}

/// The table with TABs, a tenth of it changed, and as JSON lines.
void make_files() {
  if (std::filesystem::exists(file("lines.json"))) return;
  std::mt19937 random(1);
  std::ofstream table(file("table")), changed(file("changed")), lines(file("lines.new"));
  for (long i = 0; i < num_records(); ++i) {
    const std::string values[NUM_FIELDS] = {std::to_string(10'000'000 + i), word(&random, 4, 14),
                                            word(&random, 5, 25), word(&random, 10, 40),
                                            word(&random, 5, 25)};
    const std::string other = i % RECORDS_PER_DIFFERENCE == 0 ? word(&random, 5, 25) : values[4];
    std::string head, json;
    for (int k = 0; k < NUM_FIELDS; ++k) {
      if (k < NUM_FIELDS - 1) head += values[k] + "\t";
      json += std::string(k > 0 ? ",\"" : "{\"") + NAMES[k] + "\":\"" + values[k] + "\"";
    }
    table << head << values[NUM_FIELDS - 1] << '\n';
    changed << head << other << '\n';
    lines << json << ",\"more\":{\"visits\":[1,2,3],\"note\":null}}\n";
  }
  lines.close();
  std::filesystem::rename(file("lines.new"), file("lines.json"));
}

std::string contents(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void read_records() {
  const std::unique_ptr<DamoInput> input(
      DamoStandardInput(file("table").c_str(), '\t', AceReporter::null(), 0));
  while (input->read_line(nullptr, 0) >= 0) benchmark::DoNotOptimize(input->get_field(1));
}

enum Source : int { SEPARATED, JSON_LINES };

/// One part of the table, through a transform of each field where one is given.
VInt extract_part(Source source, int part, int num_parts, TeraTransform* transform) {
  DamoField fields[NUM_FIELDS] = {DamoField(NAMES[0]), DamoField(NAMES[1]), DamoField(NAMES[2]),
                                  DamoField(NAMES[3]), DamoField(NAMES[4])};
  const std::string records = "records" + std::to_string(part);
  DamoExtract run(NUM_FIELDS, NUM_FIELDS, file(records.c_str()).c_str(), 0, 0);
  for (int i = 0; i < NUM_FIELDS; ++i) {
    fields[i].set_source(i);
    fields[i].set_transform(transform);
    run.add_field(&fields[i]);
  }
  const char* paths[NUM_FIELDS];
  std::copy(std::begin(NAMES), std::end(NAMES), paths);
  if (source == JSON_LINES)
    run.json_lines(file("lines.json").c_str(), 0, paths, NUM_FIELDS);
  else
    run.simple_file('\t', 0, file("table").c_str());
  return run.extract(0, nullptr, 0, AceReporter::null(), nullptr, nullptr, part, num_parts);
}

void extract(Source source, TeraTransform* transform = nullptr) {
  if (extract_part(source, 0, 1, transform) != num_records()) std::abort();
}

void BM_ExtractSeparated(benchmark::State& state) {
  make_files();
  bench::compare_thread(
      state, static_cast<double>(num_records()), [] { extract(SEPARATED); }, read_records);
}

/// Two parts on two threads beside one. Of the processor, the longer one of the parts': by the clock it would
/// be the machine's other work that is measured.
void BM_ExtractParts(benchmark::State& state) {
  make_files();
  const auto source = static_cast<Source>(state.range(0));
  struct Part {
    VInt count;
    double seconds;
  };
  bench::compare_by(
      state, static_cast<double>(num_records()),
      [=] {
        std::array<Part, 2> parts{};
        AceParallel<const Source, Part, int>::map(
            &source, parts.data(), std::ssize(parts), nullptr, nullptr,
            [](const Source* from, Part* made, int*, VInt part) {
              made[part].seconds = bench::processor_seconds_of(
                  [=] { made[part].count = extract_part(*from, static_cast<int>(part), 2, nullptr); });
            },
            2, AceReporter::null());
        if (parts[0].count + parts[1].count != num_records()) std::abort();
        return std::max(parts[0].seconds, parts[1].seconds);
      },
      [=] { return bench::processor_seconds_of([=] { extract(source); }); },
      [](const auto& job) { return job(); });
}

/// The records, whose values end as texts do.
std::string terminated_records() {
  std::string records = contents(file("table"));
  for (char& c : records)
    if (c == '\t' || c == '\n') c = '\0';
  return records;
}

/// A transform on each of five fields, beside extraction without and then the transforms alone.
void BM_ExtractTransformed(benchmark::State& state) {
  make_files();
  StandardTransform tidy(static_cast<int>(state.range(0)));
  const std::string records = terminated_records();
  bench::compare_thread(
      state, static_cast<double>(num_records()), [&] { extract(SEPARATED, &tidy); },
      [&] {
        extract(SEPARATED);
        const char* const end = records.data() + records.size();
        for (const char* value = records.data(); value < end;) {
          AceAttach at;
          for (int i = 0; i < NUM_FIELDS; ++i, value += std::strlen(value) + 1)
            benchmark::DoNotOptimize(tidy.code(value, &at));
        }
      });
}

void BM_ExtractJsonLines(benchmark::State& state) {
  make_files();
  bench::compare_thread(
      state, static_cast<double>(num_records()), [] { extract(JSON_LINES); },
      [] {
        std::ifstream lines(file("lines.json"));
        for (std::string line; std::getline(lines, line);) {
          const auto value = jsoncons::json::parse(line);
          for (const char* name : NAMES) benchmark::DoNotOptimize(value[name].as_string_view().data());
        }
      });
}

void BM_Statistic(benchmark::State& state) {
  make_files();
  const std::string text = contents(file("table"));
  bench::compare_thread(
      state, static_cast<double>(num_records()),
      [&] {
        DamoStatistic statistic(static_cast<int>(state.range(0)), '\t', NUM_FIELDS, NAMES);
        statistic.add_line(text.c_str());
        if (statistic.get_num_lines() != num_records()) std::abort();
      },
      [&text] {
        std::array<long, 256> counts{};
        for (const char c : text) ++counts[static_cast<unsigned char>(c)];
        benchmark::DoNotOptimize(counts);
      });
}

/// Of the processor, with that of commands: outputs are flushed to the disk, which is not what is compared.
double all_processor_seconds(const auto& job) {
  const auto commands = [] {
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
  };
  const double before = commands();
  const double own = bench::processor_seconds_of(job);
  return own + commands() - before;
}

void run(const std::string& command) {
  if (std::system(("cd " + file("") + " && " + command).c_str()) != 0) std::abort();
}

void make_differences(VInt megabytes) {
  const int key = 0;
  DamoDiffMaker maker(&key, 1, NUM_FIELDS);
  maker.add_old(file("table").c_str());
  maker.add_new(file("changed").c_str());
  if (megabytes != 0) maker.set_memory(megabytes << 20);
  if (maker.make(file("differences").c_str(), AceReporter::null()) != num_records() / RECORDS_PER_DIFFERENCE)
    std::abort();
}

void BM_MakeDifferences(benchmark::State& state) {
  make_files();
  bench::compare_by(
      state, static_cast<double>(num_records()), [&] { make_differences(state.range(0)); },
      [] {
        run("export LC_ALL=C && sort --parallel=1 table > sorted && sort --parallel=1 changed > sorted.new "
            "&& comm -13 sorted sorted.new > differences.sorted");
      },
      [](const auto& job) { return all_processor_seconds(job); });
  run("export LC_ALL=C && sort differences | cmp - differences.sorted");
}

void BM_ApplyDifferences(benchmark::State& state) {
  make_files();
  make_differences(0);
  const int key = 0;
  bench::compare_by(
      state, static_cast<double>(num_records()),
      [&] {
        DamoDiff diff(&key, 1, NUM_FIELDS, 0, 1);
        diff.add_file(file("table").c_str(), file("updated").c_str());
        diff.add_diff(file("differences").c_str(), AceReporter::null());
        diff.update(AceReporter::null());
      },
      [] {
        run(R"(python3 -c "
key = lambda line: line[:line.index(b'\t')]
now = {key(line): line for line in open('differences', 'rb')}
with open('updated.dict', 'wb') as out:
    for line in open('table', 'rb'):
        out.write(now.get(key(line), line))
")");
      },
      [](const auto& job) { return all_processor_seconds(job); });
  run("cmp updated changed && cmp updated.dict changed");
}

constexpr long XML_RECORDS = 500'000;

/// Half of the people, 160 MB with all that is not asked for.
void make_xml() {
  if (std::filesystem::exists(file("people.xml"))) return;
  std::mt19937 random(1);
  std::ofstream xml(file("xml.new"));
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<people>\n";
  for (long i = 0; i < std::min(XML_RECORDS, num_records()); ++i) {
    xml << "  <person id=\"" << 10'000'000 + i << "\">\n    <name><given>" << word(&random, 4, 14)
        << "</given><surname>" << word(&random, 5, 25) << "</surname></name>\n    <address><street>"
        << word(&random, 10, 40) << "</street><city>" << word(&random, 5, 25)
        << "</city></address>\n    "
           "<tag>a</tag><tag>b</tag><visits><visit>1</visit><visit>2</visit></visits>\n"
           "    <note status=\"none\"/><checked by=\"nobody\">2024-01-01</checked>\n  </person>\n";
  }
  xml << "</people>\n";
  xml.close();
  std::filesystem::rename(file("xml.new"), file("people.xml"));
}

void BM_ExtractXml(benchmark::State& state) {
  constexpr int NUM_PATHS = 6;
  make_xml();
  const char* paths[NUM_PATHS] = {"@id",          "name/given", "name/surname", "address/street",
                                  "address/city", "tag"};
  const long count = std::min(XML_RECORDS, num_records());
  bench::compare_thread(
      state, static_cast<double>(count),
      [&] {
        std::vector<DamoField> fields(paths, paths + NUM_PATHS);
        DamoExtract run(NUM_PATHS, NUM_PATHS, file("records").c_str(), 0, 0);
        for (int i = 0; i < NUM_PATHS; ++i) {
          fields[i].set_source(i);
          run.add_field(&fields[i]);
        }
        run.xml_file("/people/person", paths, NUM_PATHS, nullptr, 0, file("people.xml").c_str());
        if (run.extract(0, nullptr, 0, AceReporter::null(), nullptr, nullptr, 0, 1) != count) std::abort();
      },
      [] {
        xmlTextReader* const reader = xmlReaderForFile(file("people.xml").c_str(), nullptr, 0);
        while (xmlTextReaderRead(reader) == 1) continue;
        xmlFreeTextReader(reader);
      });
}

BENCHMARK(BM_ExtractSeparated)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractParts)
    ->ArgName("json")
    ->Arg(SEPARATED)
    ->Arg(JSON_LINES)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractTransformed)
    ->ArgName("transform")
    ->Arg(StandardTransform::TRIM_ALL)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractJsonLines)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ExtractXml)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Statistic)
    ->ArgName("utf")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MakeDifferences)
    ->ArgName("MB")
    ->Arg(1024)
    ->Arg(64)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ApplyDifferences)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
