// Error-tolerant look-up in word lists: builds an index with a language for each word, writes it, maps it
// back, and answers misspelled words; on a terminal it then goes on with the words that are typed.
//
// usage: lookup INDEX_FILE LANGUAGE LIST [LANGUAGE LIST]...
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_alloc.h"
#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_timer.h"
#include "tera/tera_edit.h"
#include "tera/tera_map_config.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_word.h"

namespace {

constexpr int CHUNK_LIMIT = 2000;
constexpr int INPUT_BUFFER = 1 << 16;
constexpr int MAPPED = 1;
constexpr int FILTER = 5;  // groups of 32 words
constexpr int FINE = 4;
constexpr int MOST_SHOWN = 8;

/// Shows the sections of a build.
struct Progress : AceReporter {
  int report_func(const char* text) override {
    std::string line(text);
    if (line.rfind("PROGRESS", 0) == 0) line = "  " + line.substr(line.rfind('\t') + 1);
    if (line.size() > 2) std::printf("%s%s", line.c_str(), line.back() == '\n' ? "" : "\n");
    return 0;
  }
};

/// The words of all lists; the attribute number is that of the list, from 1.
class ListReader : public TeraReader {
 public:
  explicit ListReader(const std::vector<std::string>& names) : listNames(names) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    VInt number = 0;
    const char* word = nullptr;
    while (input == nullptr || input->read_line(&word, &number) < 0) {
      if (list == listNames.size()) return 0;
      input = std::make_unique<AceInput>(listNames[list++].c_str(), INPUT_BUFFER, true);
    }
    if (string != nullptr) *string = word;
    if (info != nullptr) *info = static_cast<Large>(list);
    if (line != nullptr) *line = number;
    return 1;
  }
  int rewind() override {
    list = 0;
    input = nullptr;
    return 0;
  }
  VInt get_estimate() override { return 0; }

 private:
  const std::vector<std::string>& listNames;
  std::size_t list = 0;
  std::unique_ptr<AceInput> input;
};

struct Recall {
  TeraEval::Mode mode = TeraEval::LEVENSHTEIN;
  TeraEval::Model model = TeraEval::MAXIMUM;
  int min = 191;
};

/// The reasons why an entry is not what was asked for, a character each.
std::string reasons(const TeraMap* map, const char* query, const char* entry) {
  TeraWordResult found;
  TeraWord(query, map, true)
      .localize(entry, TeraEval::get_model_func(TeraEval::MAXIMUM, 0), TeraEdit::TRANSPOSE, &found);
  std::string codes;
  for (int reason = 0; reason < TeraEval::NUM_REASONS; ++reason)
    if ((found.reasonFlags >> reason & 1) != 0)
      codes += TeraEval::get_reason_code(static_cast<TeraEval::Reason>(reason));
  return codes;
}

void answer(const TeraEdit& edit, const char* query, const Recall& recall,
            const std::vector<std::string>& languages) {
  TeraResult result(query, recall.min, MOST_SHOWN, 64);
  AceTimer* timer = AceTimer::get_started("RECALL", 0);
  edit.recall(&result, recall.mode, recall.model, 0, 0, TeraEdit::TRANSPOSE, 50, nullptr);
  std::printf("\n%s  (%s, %s, from %d)  %.3f ms\n", query, TeraEval::get_mode_name(recall.mode),
              TeraEval::get_model_name(recall.model), recall.min, timer->get_sec() * 1000.0);
  timer->reset();
  result.high_first();
  int shown = 0;
  result.find_any([&](int quality, const TeraCand* cand) {
    std::string spoken;
    for (Large i = 0; i < cand->get_num_infos(); ++i) spoken += " " + languages[cand->get_info(i) - 1];
    std::printf("  %-28s %3d  %-6s%s\n", cand->represent(), quality,
                reasons(edit.get_tera_map(), query, cand->represent()).c_str(), spoken.c_str());
    return ++shown == MOST_SHOWN;
  });
  if (shown == 0)
    std::printf("  nothing from %d on; the best below is %d\n", recall.min, result.next_value());
}

/// Words, and ":mode NAME", ":model NAME", ":min NUMBER", until the end of the input.
void prompt(const TeraEdit& edit, Recall recall, const std::vector<std::string>& languages) {
  std::printf("\nA word, or :mode, :model, :min and a value\n");
  for (std::string line; std::printf("> "), std::fflush(stdout), std::getline(std::cin, line);) {
    const std::string value = line.substr(std::min(line.find(' '), line.size() - 1) + 1);
    if (line.rfind(":model", 0) == 0) {
      if (const auto model = TeraEval::get_model_enum(value.c_str()); model != TeraEval::UNKNOWN)
        recall.model = model;
    } else if (line.rfind(":mode", 0) == 0) {
      recall.mode = TeraEval::get_mode(value.c_str(), &recall.model);
    } else if (line.rfind(":min", 0) == 0) {
      recall.min = std::atoi(value.c_str());
    } else if (!line.empty()) {
      answer(edit, line.c_str(), recall, languages);
    }
  }
}

int run(const char* file, const std::vector<std::string>& languages, const std::vector<std::string>& lists) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9ÄÖÜß");
  config.map_upper();
  config.deaccentuate();
  config.map_globs("*?[");
  TeraMap map;
  config.compile_map(&map);

  Progress progress;
  ListReader reader(lists);
  TeraEdit built;
  if (built.make(&reader, &map, FILTER, FINE, 0, 0, &progress, nullptr) < 0 ||
      built.dump(file, &progress) < 0)
    return -1;
  TeraEdit edit;
  if (edit.load(file, MAPPED, &progress) < 0) return -1;
  for (const char* query :
       {"recieve", "definately", "accomodation", "Straßenbaan", "Krankenhauß", "Müllerr", "Zufridenheit"})
    answer(edit, query, {}, languages);
  answer(edit, "Geschwindi", {TeraEval::PREFIX, TeraEval::QUERY, 240}, languages);
  answer(edit, "vollkeit", {TeraEval::SUFFIX, TeraEval::QUERY, 240}, languages);
  answer(edit, "str?ngth*", {TeraEval::WILDCARD, TeraEval::MAXIMUM, 255}, languages);
  if (isatty(STDIN_FILENO) != 0) prompt(edit, {}, languages);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4 || argc % 2 != 0) {
    std::fprintf(stderr, "usage: %s INDEX_FILE LANGUAGE LIST [LANGUAGE LIST]...\n", argv[0]);
    return 2;
  }
  std::vector<std::string> languages;
  std::vector<std::string> lists;
  for (int i = 2; i < argc; i += 2) {
    languages.emplace_back(argv[i]);
    lists.emplace_back(argv[i + 1]);
  }
  ace_alloc_init(CHUNK_LIMIT);
  try {
    return run(argv[1], languages, lists) < 0 ? 1 : 0;
  } catch (const AceException& e) {
    e.print(AceReporter::use_default());
    return 1;
  }
}
