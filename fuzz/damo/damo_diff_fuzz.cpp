// Any bytes as a record file and, behind a zero byte, a difference file; the first byte says how. Applied
// twice, differences change nothing more; what is made from the two versions turns one into the other.
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
#include "support/temp_folder.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

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
