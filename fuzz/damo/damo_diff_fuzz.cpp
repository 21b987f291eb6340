// Any bytes as a record file and, behind a zero byte, a difference file; the first byte says how. Applied
// twice, differences change nothing more; what is made from the two versions turns one into the other. As
// masters of themselves, records that are deleted take along what is deleted.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_diff.h"
#include "damo/damo_diff_maker.h"
#include "damo/damo_dimension_diff.h"
#include "damo/damo_relation_diff.h"
#include "support/fuzz_input.h"
#include "support/temp_folder.h"

namespace {

using fuzz::require;

std::string contents(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::multiset<std::string> lines_of(const std::string& name) {
  std::istringstream stream(contents(name));
  std::multiset<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

struct Setup {
  int cols[2];
  int numCols;
  int numFields;
  int isImplicit;
};

void apply(const Setup& setup, int is_purge, const std::string& from, const std::string& differences,
           const std::string& to) {
  DamoDiff diff(setup.cols, setup.numCols, setup.numFields, is_purge, setup.isImplicit);
  diff.add_file(from.c_str(), to.c_str());
  diff.add_diff(differences.c_str(), AceReporter::null());
  diff.update(AceReporter::null());
}

void cascade(const Setup& setup, int is_purge, const support::TempFolder& folder) {
  const std::string table = folder.file("table"), differences = folder.file("dif");
  DamoDimensionDiff masters(setup.cols, setup.numCols, setup.numFields, is_purge, setup.isImplicit);
  masters.set_relation(setup.cols, setup.cols, setup.numCols, setup.numFields);
  masters.add_rows(table.c_str());
  masters.add_diff(differences.c_str(), AceReporter::null());
  masters.set_cascade_file(folder.file("cascade").c_str());
  masters.cascade_master_deletions(AceReporter::null());
  masters.add_file(table.c_str(), folder.file("once").c_str());
  masters.set_del_file(folder.file("deleted").c_str());
  masters.update(AceReporter::null());
  std::multiset<std::string> deletions;
  for (const std::string& line : lines_of(folder.file("deleted"))) deletions.insert("<del>\t" + line);
  require(lines_of(folder.file("cascade")) == deletions);

  DamoRelationDiff rows(setup.cols, setup.numCols, setup.numFields, is_purge, setup.isImplicit);
  rows.add_master(setup.cols, setup.cols, setup.numCols, setup.numFields, folder.file("masters").c_str());
  rows.add_diff(differences.c_str(), AceReporter::null());  // "*" of new rows
  rows.add_file(table.c_str(), folder.file("once").c_str());
  rows.update(AceReporter::null());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static const support::TempFolder folder;
  static const bool isMade = (support::write_file(folder.file("none"), ""), true);
  require(isMade);
  AceReporter::clear_default();
  if (size < 2) return 0;
  const int numFields = 1 + data[0] % 4;
  const Setup setup{{data[0] / 4 % numFields, numFields - 1},
                    data[0] / 4 % numFields == numFields - 1 ? 1 : 2,
                    numFields,
                    data[0] >> 7};
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t border = text.find('\0');
  const std::string table = folder.file("table"), differences = folder.file("dif");
  const std::string once = folder.file("once"), twice = folder.file("twice");
  support::write_file(table, text.substr(0, border));
  support::write_file(differences, border == std::string::npos ? "" : text.substr(border + 1));
  for (const int isPurge : {0, 1}) {
    apply(setup, isPurge, table, differences, once);
    apply(setup, isPurge, once, differences, twice);
    require(lines_of(once) == lines_of(twice));
    cascade(setup, isPurge, folder);
  }
  apply(setup, 0, table, differences, once);
  apply(setup, 0, table, folder.file("none"), twice);  // without what has the wrong number of fields
  try {
    DamoDiffMaker maker(setup.cols, setup.numCols, setup.numFields);
    maker.add_old(twice.c_str());
    maker.add_new(once.c_str());
    maker.set_memory(data[0] % 3 == 0 ? 1 : 1 << 20);
    maker.make(folder.file("made").c_str(), AceReporter::null());
  } catch (const AceException&) {
    return 0;  // a record that no difference file can say
  }
  Setup plain = setup;
  plain.isImplicit = 0;
  apply(plain, 0, twice, folder.file("made"), folder.file("again"));
  require(lines_of(folder.file("again")) == lines_of(once));
  return 0;
}
