// Error-tolerant look-up in word lists: builds an index that knows the language of each word, writes it, maps
// it back, and answers misspelled words; on a terminal it then goes on with the words that are typed.
//
// usage: lookup INDEX_FILE LANGUAGE LIST [LANGUAGE LIST]...
#include <unistd.h>

#include <algorithm>
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

constexpr int INPUT_BUFFER = 1 << 16;
constexpr int MOST_SHOWN = 6;
using Texts = std::vector<std::string>;

/// Shows the sections of a build.
struct Progress : AceReporter {
  int report_func(const char* text) override {
    std::string line(text);
    if (line.rfind("PROGRESS", 0) == 0) line.replace(0, line.rfind('\t') + 1, "... ");
    if (line.find_first_not_of(" .\n") != std::string::npos)
      std::printf("%s%s", line.c_str(), line.back() == '\n' ? "" : "\n");
    return 0;
  }
};

/// The words of all lists; a word's attribute number is that of its list, from 1.
class ListReader : public TeraReader {
 public:
  explicit ListReader(const Texts& names) : listNames(names) {}
  int get_line(const char** string, Large* info, VInt* line) override {
    VInt number = 0;
    while (input == nullptr || input->read_line(string, &number) < 0) {
      if (list == listNames.size()) return 0;
      input = std::make_unique<AceInput>(listNames[list++].c_str(), INPUT_BUFFER, true);
    }
    if (info != nullptr) *info = static_cast<Large>(list);
    if (line != nullptr) *line = number;
    return 1;
  }
  int rewind() override { return -1; }
  VInt get_estimate() override { return 0; }

 private:
  const Texts& listNames;
  std::size_t list = 0;
  std::unique_ptr<AceInput> input;
};
struct Recall {
  TeraEval::Mode mode = TeraEval::LEVENSHTEIN;
  TeraEval::Model model = TeraEval::MAXIMUM;
  int min = 191;
};

/// A table of string, quality, reasons and languages.
void answer(const TeraEdit& edit, const char* query, const Recall& recall, const Texts& languages) {
  TeraResult result(query, recall.min, MOST_SHOWN, TeraResult::MAX_VALUE);
  AceTimer* timer = AceTimer::get_started("RECALL", 0);
  const int num = edit.recall(&result, recall.mode, recall.model, 0, 0, TeraEdit::TRANSPOSE, 50, nullptr);
  std::printf("\n%s  (%s, %s, from %d)  %d found in %.3f ms\n", query, TeraEval::get_mode_name(recall.mode),
              TeraEval::get_model_name(recall.model), recall.min, num, timer->get_sec() * 1000.0);
  timer->reset();
  result.high_first();
  TeraWord word(query, edit.get_tera_map(), true);
  result.find_any([&, shown = 0](int quality, const TeraCand* cand) mutable {
    TeraWordResult found;
    word.localize(cand->represent(), nullptr, TeraEdit::TRANSPOSE, &found);
    std::string reasons;
    for (int reason = 0; reason < TeraEval::ABBREVIATION; ++reason)
      if ((found.reasonFlags >> reason & 1) != 0)
        reasons += TeraEval::get_reason_code(TeraEval::Reason(reason));
    std::string text = cand->represent();
    const long width = std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; });
    if (width < 28) text.append(static_cast<std::size_t>(28 - width), ' ');
    for (Large i = 0; i < cand->get_num_infos(); ++i)
      text += (i > 0 ? "," : "") + languages[cand->get_info(i) - 1];
    std::printf("  %3d  %-4s %s\n", quality, reasons.c_str(), text.c_str());
    return ++shown == MOST_SHOWN;
  });
  if (num == 0) std::printf("  the best below has %d\n", result.next_value());
}

/// Words, and ":mode NAME", ":model NAME", ":min NUMBER", until the end of the input.
void prompt(const TeraEdit& edit, Recall recall, const Texts& languages) {
  std::printf("\nA word, or :mode, :model or :min and a value\n");
  for (std::string line; std::printf("> "), std::fflush(stdout), std::getline(std::cin, line);) {
    const std::string value = line.substr(std::min(line.find(' '), line.size() - 1) + 1);
    if (line.starts_with(":model"))
      recall.model = TeraEval::get_model_enum(value.c_str());
    else if (line.starts_with(":mode"))
      recall.mode = TeraEval::get_mode(value.c_str(), &recall.model);
    else if (line.starts_with(":min"))
      recall.min = std::atoi(value.c_str());
    else if (!line.empty())
      answer(edit, line.c_str(), recall, languages);
  }
}

int run(const char* file, const Texts& languages, const Texts& lists) {
  TeraMapConfig config("utf-8");
  config.set_tokens("A-Z0-9ÄÖÜß");  // what is told apart; all else that is a letter becomes one of these
  config.map_upper();
  config.deaccentuate();
  config.map_globs("*?[");
  const std::unique_ptr<TeraMap> map(config.compile());
  Progress progress;
  ListReader reader(lists);
  TeraEdit built;  // with a filter of groups of 2^5 words, each chosen among 4 groups
  if (built.make(&reader, map.get(), 5, 4, 0, 0, &progress, nullptr) < 0 || built.dump(file, &progress) < 0)
    return -1;
  TeraEdit edit;  // used in place, from the mapped file
  if (edit.load(file, 1, &progress) < 0) return -1;
  for (const char* word : {"recieve", "definately", "accomodation", "Straßenbaan", "Krankenhauß", "Müllerr"})
    answer(edit, word, {}, languages);
  answer(edit, "Geschwindi", {TeraEval::PREFIX, TeraEval::QUERY, 240}, languages);
  answer(edit, "sümder", {TeraEval::SUFFIX, TeraEval::QUERY, 200}, languages);
  answer(edit, "str?ngth*", {TeraEval::WILDCARD, TeraEval::MAXIMUM, 255}, languages);
  if (isatty(STDIN_FILENO) != 0) prompt(edit, {}, languages);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4 || argc % 2 != 0)
    return std::fprintf(stderr, "usage: lookup INDEX_FILE LANGUAGE LIST...\n"), 2;
  ace_alloc_init(2000);  // small blocks come from chunks
  Texts texts[2];        // languages and lists
  for (int i = 2; i < argc; ++i) texts[i % 2].emplace_back(argv[i]);
  try {
    return run(argv[1], texts[0], texts[1]) < 0 ? 1 : 0;
  } catch (const AceException& e) {
    return e.print(AceReporter::use_default()), 1;
  }
}
