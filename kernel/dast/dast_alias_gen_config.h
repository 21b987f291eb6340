/// How the values of a field make further aliases while a base is built (dast_alias_generator.h).
///
/// Record of `save`: the generator's name, its options, the configure and the generate command (four
/// strings), then a bool: whether it is one of the library's own.
///
/// Thread safety: as plain data.
#pragma once

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceFile;

class SORV_API AliasGenConfig : public AceAttach {
 public:
  AliasGenConfig() = default;
  /// Copies the texts, any of which may be null. A generator of the type "scripting" runs the host's
  /// commands.
  AliasGenConfig(const char* type, const char* name, const char* options, const char* configure_command,
                 const char* generate_command);

  void copy(const AliasGenConfig& other);
  VInt save(AceFile* file) const;
  VInt read(AceFile* file);

  const char* configureCommand = nullptr;
  const char* generateCommand = nullptr;
  const char* generatorName = nullptr;
  const char* generatorOptions = nullptr;
  bool isGeneric = true;

 private:
  const char* own(const char* text) { return text != nullptr ? attach(text) : nullptr; }
};
