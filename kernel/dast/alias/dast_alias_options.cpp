#include "dast/dast_alias_kinds.h"

// The options of all kinds, as one table.

namespace {

using Key = AliasGeneratorsKeys;

enum class Type { FLAG, INT, TEXT };

struct Option {
  Key key;
  const char* name;
  Type type;
  int defaultValue;
  const char* help;
};

constexpr Option OPTIONS[] = {
    {Key::EMAIL, "alias_penalty", Type::INT, 5, "The alias penalty"},
    {Key::TELEPHONE, "alias_penalty", Type::INT, 5, "The alias penalty"},
    {Key::LASTNAME, "alias_penalty", Type::INT, 5, "The alias penalty"},
    {Key::LASTNAME, "skipwords_file", Type::TEXT, 0, "File containing skipword definitions"},
    {Key::FIRSTNAME, "generate_initials", Type::FLAG, 0, "Flag to also create initial aliases"},
    {Key::FIRSTNAME, "remove_initials", Type::FLAG, 0,
     "Do not generate aliases for initials: for Karl-H only create the alias Karl but not H"},
    {Key::FIRSTNAME, "alias_penalty", Type::INT, 5, "Penalty to apply to all generated aliases"},
    {Key::FIRSTNAME, "step_penalty", Type::INT, 5,
     "Penalty increase for each nesting level of the alias generation"},
    {Key::FIRSTNAME, "initials_penalty", Type::INT, 15, "Penalty applied for initial alias"},
};

int add(AceOptionsParser* parser, const Option& option) {
  switch (option.type) {
    case Type::FLAG:
      return parser->add_flag_option(option.name, option.help);
    case Type::INT:
      return parser->add_int_option(option.name, option.defaultValue, option.help);
    default:
      return parser->add_string_option(option.name, nullptr, option.help);
  }
}

}  // namespace

int DastAliasGeneratorDefaults::init_parser(AceOptionsParser* parser) const {
  for (const Option& option : OPTIONS)
    if (option.key == kindKey && add(parser, option) < 0) return -1;
  return 0;
}

std::unique_ptr<AceOptionsParser> DastAliasGeneratorDefaults::get_parser() const {
  auto parser = std::make_unique<AceOptionsParser>();
  init_parser(parser.get());
  return parser;
}

std::string DastAliasGeneratorDefaults::create_def_string() const {
  const auto parser = get_parser();
  const char* defaults = parser->get_defaults_string();
  return defaults != nullptr ? defaults : "";
}

const char* DastAliasGeneratorDefaults::get_def_string() const {
  static const std::string DEFAULTS[] = {
      // by key
      DastFirstnameAliasGeneratorDefaults().create_def_string(),
      DastLastnameAliasGeneratorDefaults().create_def_string(),
      DastEmailAliasGeneratorDefaults().create_def_string(),
      DastTelephoneAliasGeneratorDefaults().create_def_string(),
  };
  return DEFAULTS[static_cast<int>(kindKey)].c_str();
}
