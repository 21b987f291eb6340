#include "dast/dast_alias_gen_config.h"

#include <cstring>

#include "ace/ace_file.h"

AliasGenConfig::AliasGenConfig(const char* type, const char* name, const char* options,
                               const char* configure_command, const char* generate_command)
    : configureCommand(own(configure_command)),
      generateCommand(own(generate_command)),
      generatorName(own(name)),
      generatorOptions(own(options)),
      isGeneric(type == nullptr || std::strcmp(type, "scripting") != 0) {}

void AliasGenConfig::copy(const AliasGenConfig& other) {
  configureCommand = own(other.configureCommand);
  generateCommand = own(other.generateCommand);
  generatorName = own(other.generatorName);
  generatorOptions = own(other.generatorOptions);
  isGeneric = other.isGeneric;
}

VInt AliasGenConfig::save(AceFile* file) const {
  file->put_string(generatorName);
  file->put_string(generatorOptions);
  file->put_string(configureCommand);
  file->put_string(generateCommand);
  file->put_bool(isGeneric);
  return 0;
}

VInt AliasGenConfig::read(AceFile* file) {
  generatorName = file->get_string(this);
  generatorOptions = file->get_string(this);
  configureCommand = file->get_string(this);
  generateCommand = file->get_string(this);
  isGeneric = file->get_bool();
  return file->is_short() ? -1 : 0;
}
