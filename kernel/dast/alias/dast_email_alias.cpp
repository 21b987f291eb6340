#include <cstring>
#include <string>

#include "ace/ace_error.h"

#include "dast/dast_alias_kinds.h"

int DastEmailAliasGenerator::configure(const char* options, AceReporter* rep) {
  const auto parser = DastEmailAliasGeneratorDefaults().get_parser();
  ACE_CALL(parser->parse(options, rep));
  aliasPenalty = parser->get_int_value("alias_penalty");
  return 0;
}

int DastEmailAliasGenerator::generate_aliases(const char* value, DastAliasResult* result,
                                              AceReporter*) const {
  value += std::strspn(value, " ");
  const char* at = std::strchr(value, '@');
  if (at == nullptr || at == value || std::strchr(at + 1, '@') != nullptr) return 0;
  const bool hasBlankBefore = value + std::strcspn(value, " ") < at;
  if (hasBlankBefore || at[1] == 0 || at[1] == ' ') return 0;
  return result->add_alias(std::string(value, at).c_str(), aliasPenalty);
}

std::unique_ptr<DastAliasGenerator> DastEmailAliasGenerator::clone() const {
  return std::make_unique<DastEmailAliasGenerator>(*this);
}

std::unique_ptr<DastAliasGenerator> create_email_generator() {
  return std::make_unique<DastEmailAliasGenerator>();
}
