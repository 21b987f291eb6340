#include "dast/dast_alias_generator.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "ace/ace_reporter.h"

#include "dast/dast_alias_gen_config.h"
#include "dast/dast_alias_kinds.h"

namespace {

/// What is known of a kind.
struct Kind {
  const char* name;
  std::unique_ptr<DastAliasGenerator> (*create)();
};
constexpr Kind KINDS[] = {
    // by key
    {"FIRSTNAME", create_firstname_generator},
    {"LASTNAME", create_lastname_generator},
    {"EMAIL", create_email_generator},
    {"TELEPHONE", create_telephone_generator},
};

}  // namespace

// ---------------------------------------------------------------- results

int DastAliasResult::add_alias(const char* alias, int penalty) {
  if (*alias == 0) return 0;
  for (GeneratedAlias* old = aliasList; old != nullptr; old = old->nextAlias)
    if (std::strcmp(old->aliasString, alias) == 0) {
      old->aliasPenalty = std::min(old->aliasPenalty, penalty);
      return 0;
    }
  GeneratedAlias* added = new (memAt.alloc(sizeof(GeneratedAlias))) GeneratedAlias;
  *added = {memAt.attach(alias), penalty, nullptr};
  (lastAlias != nullptr ? lastAlias->nextAlias : aliasList) = added;
  lastAlias = added;
  ++numAliases;
  return 1;
}

int DastAliasResult::merge_results(const DastAliasResult* other) {
  int numNew = 0;
  for (const GeneratedAlias* alias = other->get_first(); alias != nullptr; alias = alias->nextAlias)
    numNew += add_alias(alias->aliasString, alias->aliasPenalty);
  return numNew;
}

void DastAliasResult::delete_alias_list() {
  memAt.release();
  aliasList = lastAlias = nullptr;
  numAliases = 0;
}

// ---------------------------------------------------------------- making generators

std::unique_ptr<DastAliasGenerator> DastAliasGenerator::factory(const AliasGenConfig* config,
                                                                AceReporter* rep) {
  if (config == nullptr) return nullptr;
  if (config->isGeneric)
    return create_generic_generator(config->generatorName, config->generatorOptions, rep);
  return create_scripting_generator(config->configureCommand, config->generateCommand,
                                    config->generatorOptions, rep);
}

bool DastAliasGenerator::is_parallelizable(const AliasGenConfig* config) {
  return config == nullptr || config->isGeneric ||
         DastAliasScriptingGenerator::is_parallelizable_scripting(config->configureCommand,
                                                                  config->generateCommand);
}

AliasGeneratorsKeys DastAliasGenerator::get_key(const char* name) {
  for (int key = 0; name != nullptr && key < static_cast<int>(std::size(KINDS)); ++key)
    if (strcasecmp(KINDS[key].name, name) == 0) return static_cast<AliasGeneratorsKeys>(key);
  return AliasGeneratorsKeys::UNKNOWN;
}

std::unique_ptr<DastAliasGenerator> DastAliasGenerator::create_generic_generator(const char* name,
                                                                                 const char* options,
                                                                                 AceReporter* rep) {
  const AliasGeneratorsKeys key = get_key(name);
  if (key == AliasGeneratorsKeys::UNKNOWN) {
    rep->printf("Unrecognized Alias Generator: '%s'\n", name != nullptr ? name : "");
    return nullptr;
  }
  auto generator = KINDS[static_cast<int>(key)].create();
  return generator->configure(options, rep) < 0 ? nullptr : std::move(generator);
}

std::unique_ptr<DastAliasGenerator> DastAliasGenerator::create_scripting_generator(const char* configure_cmd,
                                                                                   const char* generate_cmd,
                                                                                   const char* options,
                                                                                   AceReporter* rep) {
  auto generator = std::make_unique<DastAliasScriptingGenerator>();
  auto* factory = DastAliasScriptingGenerator::scriptFactory;
  auto wrapped = factory != nullptr ? factory->create(configure_cmd, generate_cmd) : nullptr;
  if (generator->init("scripting", std::move(wrapped), rep) < 0 || generator->configure(options, rep) < 0)
    return nullptr;
  return generator;
}

const char* DastAliasGenerator::get_defaults(const char* name) {
  const AliasGeneratorsKeys key = get_key(name);
  if (key != AliasGeneratorsKeys::UNKNOWN) return DastAliasGeneratorDefaults(key).get_def_string();
  AceReporter::use_default()->printf("Unrecognized Alias Generator: '%s'\n", name != nullptr ? name : "");
  return nullptr;
}

// ---------------------------------------------------------------- wrappers

int DastWrapAliasGenerator::init(const char* name, std::unique_ptr<DastAliasGenerator> generator,
                                 AceReporter* rep) {
  wrappedGenerator = std::move(generator);
  if (wrappedGenerator != nullptr) return 0;
  rep->printf("Could not initialize alias generator with name '%s': Factory returned null\n", name);
  return -1;
}

int DastWrapAliasGenerator::configure(const char* options, AceReporter* rep) {
  return wrappedGenerator != nullptr ? wrappedGenerator->configure(options, rep) : -1;
}

int DastWrapAliasGenerator::generate_aliases(const char* value, DastAliasResult* result,
                                             AceReporter* rep) const {
  return wrappedGenerator != nullptr ? wrappedGenerator->generate_aliases(value, result, rep) : -1;
}

std::unique_ptr<DastAliasGenerator> DastWrapAliasGenerator::clone() const {
  auto copy = std::make_unique<DastWrapAliasGenerator>();
  if (wrappedGenerator != nullptr) copy->wrappedGenerator = wrappedGenerator->clone();
  return copy;
}

bool DastWrapAliasGenerator::is_parallelizable() const {
  return wrappedGenerator != nullptr && wrappedGenerator->is_parallelizable();
}

constinit DastAliasScriptingGenerator::Factory* DastAliasScriptingGenerator::scriptFactory = nullptr;

void DastAliasScriptingGenerator::set_factory(Factory* factory) {
  scriptFactory = factory;
}

bool DastAliasScriptingGenerator::is_parallelizable_scripting(const char* configure_cmd,
                                                              const char* generate_cmd) {
  return scriptFactory != nullptr && scriptFactory->is_parallelizable(configure_cmd, generate_cmd);
}
