#include <algorithm>
#include <cstring>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"

#include "dast/dast_alias_kinds.h"

namespace {

constexpr std::string_view NAME_SEPARATORS = "-. ";

/// The letters and digits of a word, in upper case; other characters are no part of it.
std::string folded(std::string_view word) {
  std::string text;
  for (const char c : word) {
    if (c >= 'a' && c <= 'z')
      text += static_cast<char>(c - 'a' + 'A');
    else if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
      text += c;
  }
  return text;
}

/// The words of one last name.
class LastnameParser {
 public:
  explicit LastnameParser(std::string_view value) : rest(value) {}

  /// False at the end.
  bool next(std::string_view* word) {
    rest.remove_prefix(std::min(rest.find_first_not_of(NAME_SEPARATORS), rest.size()));
    *word = rest.substr(0, rest.find_first_of(NAME_SEPARATORS));
    rest.remove_prefix(word->size());
    return !word->empty();
  }

 private:
  std::string_view rest;
};

}  // namespace

int DastLastnameAliasGenerator::configure(const char* options, AceReporter* rep) {
  const auto parser = DastLastnameAliasGeneratorDefaults().get_parser();
  ACE_CALL(parser->parse(options, rep));
  aliasPenalty = parser->get_int_value("alias_penalty");
  skipWords.clear();
  const char* filename = parser->get_string_value("skipwords_file");
  return filename != nullptr && *filename != 0 ? read_skipwords(filename, rep) : 0;
}

int DastLastnameAliasGenerator::read_skipwords(const char* filename, AceReporter* rep) try {
  rep->printf("Reading skipwords\n");
  AceInput input(filename, 0, true);
  const char* line = nullptr;
  for (int length = 0; (length = input.read_line(&line, nullptr)) >= 0;) {
    const std::string word = folded({line, static_cast<std::size_t>(length)});
    if (!word.empty()) skipWords.push_back(word);
  }
  std::sort(skipWords.begin(), skipWords.end());
  return input.read_error() == 0 ? 0 : -1;
} catch (const AceException&) {
  rep->printf("The file of skip words '%s' cannot be read\n", filename);
  return -1;
}

int DastLastnameAliasGenerator::generate_aliases(const char* value, DastAliasResult* result,
                                                 AceReporter*) const {
  int numAliases = 0;
  const auto add = [&](const std::string& alias) {
    if (alias != value) numAliases += result->add_alias(alias.c_str(), aliasPenalty);
  };
  LastnameParser parser(value);
  const char* phrase = nullptr;  // from the last skip word on
  for (std::string_view word; parser.next(&word);) {
    const std::string key = folded(word);
    if (!key.empty() && std::binary_search(skipWords.begin(), skipWords.end(), key))
      phrase = word.data();
    else
      add(std::string(word));
  }
  if (phrase != nullptr) add(phrase);
  return numAliases;
}

std::unique_ptr<DastAliasGenerator> DastLastnameAliasGenerator::clone() const {
  return std::make_unique<DastLastnameAliasGenerator>(*this);
}

std::unique_ptr<DastAliasGenerator> create_lastname_generator() {
  return std::make_unique<DastLastnameAliasGenerator>();
}
