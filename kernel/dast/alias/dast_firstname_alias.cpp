#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "ace/ace_error.h"
#include "ace/ace_reporter.h"
#include "tera/tera_utf.h"

#include "dast/dast_alias_kinds.h"

namespace {

/// The parts of one first name, in a terminated text.
class FirstnameParser {
 public:
  explicit FirstnameParser(std::string_view value);

  std::size_t num_parts() const { return nameParts.size(); }
  /// The text from part `first` to part `last`, separators between included.
  std::string span(std::size_t first, std::size_t last) const {
    return {nameParts[first].begin(), nameParts[last].end()};
  }
  /// The initials of those parts, with the separators between.
  std::string span_initial(std::size_t first, std::size_t last) const;
  /// Whether there are initials to be made: of several parts, or of one that is more than an initial before a
  /// separator.
  bool has_initials() const;
  /// Whether those parts are initials, with or without full stops.
  bool is_initials(std::size_t first, std::size_t last) const;

 private:
  static std::string_view initial(std::string_view part) {
    const auto size = static_cast<std::size_t>(TeraUtf::char_size(part[0]));
    return part.substr(0, size);
  }

  std::vector<std::string_view> nameParts;
};

/// A soft separator is a blank, a hard one a hyphen; they only differ in the text of spans.
FirstnameParser::FirstnameParser(std::string_view value) {
  constexpr std::string_view NAME_SEPARATORS = " -";
  for (std::size_t start = 0; (start = value.find_first_not_of(NAME_SEPARATORS, start)) != value.npos;) {
    const std::size_t end = std::min(value.find_first_of(NAME_SEPARATORS, start), value.size());
    nameParts.push_back(value.substr(start, end - start));
    start = end;
  }
}

std::string FirstnameParser::span_initial(std::size_t first, std::size_t last) const {
  std::string initials(initial(nameParts[first]));
  for (std::size_t part = first + 1; part <= last; ++part) {
    initials += nameParts[part].begin()[-1];
    initials += initial(nameParts[part]);
  }
  return initials;
}

bool FirstnameParser::has_initials() const {
  if (nameParts.size() != 1) return !nameParts.empty();
  const char* behind = initial(nameParts[0]).end();
  if (*behind == 0) return false;
  if (*behind == '.') ++behind;
  return *behind != ' ' && *behind != '-';
}

bool FirstnameParser::is_initials(std::size_t first, std::size_t last) const {
  for (std::size_t part = first; part <= last; ++part) {
    const std::string_view rest = nameParts[part].substr(initial(nameParts[part]).size());
    if (!rest.empty() && rest != ".") return false;
  }
  return true;
}

}  // namespace

int DastFirstnameAliasGenerator::configure(const char* options, AceReporter* rep) {
  const auto parser = DastFirstnameAliasGeneratorDefaults().get_parser();
  ACE_CALL(parser->parse(options, rep));
  generateInitials = parser->get_bool_value("generate_initials");
  removeInitials = parser->get_bool_value("remove_initials");
  aliasPenalty = parser->get_int_value("alias_penalty");
  stepPenalty = parser->get_int_value("step_penalty");
  initialsPenalty = parser->get_int_value("initials_penalty");
  return 0;
}

int DastFirstnameAliasGenerator::generate_aliases(const char* value, DastAliasResult* result,
                                                  AceReporter* rep) const {
  const FirstnameParser parser(value);
  if (parser.num_parts() > MAX_PARTS) {
    rep->ev_wprintf("A first name of %zu parts gets no aliases, expected at most %d: '%s'\n",
                    parser.num_parts(), MAX_PARTS, value);
    return 0;
  }
  int numAliases = 0;
  const auto add = [&](const std::string& alias, int penalty) {
    if (alias != value) numAliases += result->add_alias(alias.c_str(), penalty);
  };
  for (std::size_t length = 1; length <= parser.num_parts(); ++length)
    for (std::size_t first = 0; first + length <= parser.num_parts(); ++first) {
      const std::size_t last = first + length - 1;
      const int steps = static_cast<int>(length - 1) * stepPenalty;
      if (!removeInitials || !parser.is_initials(first, last))
        add(parser.span(first, last), aliasPenalty + steps);
      if (generateInitials && !removeInitials && parser.has_initials())
        add(parser.span_initial(first, last), initialsPenalty + steps);
    }
  return numAliases;
}

std::unique_ptr<DastAliasGenerator> DastFirstnameAliasGenerator::clone() const {
  return std::make_unique<DastFirstnameAliasGenerator>(*this);
}

std::unique_ptr<DastAliasGenerator> create_firstname_generator() {
  return std::make_unique<DastFirstnameAliasGenerator>();
}
