/// Alias generators: what else a value of a field may be called, with a penalty for each.
///
///     kind        value               aliases
///     FIRSTNAME   Karl-Heinz Maria    Karl, Heinz, Maria, Karl-Heinz, Heinz Maria
///     LASTNAME    von der Tann-Alt    Tann, Alt, and behind skip words: der Tann-Alt
///     EMAIL       a.berg@home.org     a.berg
///     TELEPHONE   +49 30 1234         30 1234, 1234
///
/// A record is found under an alias with a quality that is lower by the penalty. The value itself is no
/// alias; of equal aliases the one with the lowest penalty stays.
///
/// Options (dast_alias_kinds.h) are texts such as "-alias_penalty 10". A host's own generators come in
/// through `DastAliasScriptingGenerator::Factory`.
///
/// Ownership: generators are free-standing and belong to the caller; a result owns its aliases.
/// Errors: null or -1, explained on the reporter of the call, which may be null.
/// Thread safety: a generator belongs to one thread; one that is parallelizable may be cloned for others.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceReporter;
class AliasGenConfig;
class DastAliasResult;

/// The library's own kinds.
enum class AliasGeneratorsKeys : int {
  UNKNOWN = -1,
  FIRSTNAME = 0,
  LASTNAME = 1,
  EMAIL = 2,
  TELEPHONE = 3,
};

struct GeneratedAlias {
  const char* aliasString;
  int aliasPenalty;
  GeneratedAlias* nextAlias;
};

/// The aliases of one value, in the order in which they came.
class SORV_API DastAliasResult {
 public:
  DastAliasResult() = default;
  DastAliasResult(const DastAliasResult&) = delete;
  DastAliasResult& operator=(const DastAliasResult&) = delete;

  /// Copies the text. An alias that is there already gets the lower penalty of the two; an empty one is left
  /// out. Returns 1 when it is new, else 0.
  int add_alias(const char* alias, int penalty);
  /// Adds those of another result. Returns how many are new.
  int merge_results(const DastAliasResult* other);
  void delete_alias_list();

  const GeneratedAlias* get_first() const { return aliasList; }
  int get_num_aliases() const { return numAliases; }

 private:
  AceAttach memAt;
  GeneratedAlias* aliasList = nullptr;
  GeneratedAlias* lastAlias = nullptr;
  int numAliases = 0;
};

class SORV_API DastAliasGenerator {
 public:
  DastAliasGenerator() = default;
  DastAliasGenerator& operator=(const DastAliasGenerator&) = delete;
  virtual ~DastAliasGenerator() = default;

  /// Replaces all settings; null is the defaults. Returns 0 or -1.
  virtual int configure(const char* options, AceReporter* rep) = 0;
  /// Adds the aliases of a value to the result. Returns how many, or -1.
  virtual int generate_aliases(const char* value, DastAliasResult* result, AceReporter* rep) const = 0;
  /// A copy with the same settings.
  virtual std::unique_ptr<DastAliasGenerator> clone() const = 0;
  /// Whether clones may work at the same time.
  virtual bool is_parallelizable() const { return true; }

  /// What a field's configuration names, configured; null for no configuration, and where the makers below
  /// give null.
  static std::unique_ptr<DastAliasGenerator> factory(const AliasGenConfig* config, AceReporter* rep);
  /// Whether the generator of a configuration may work on several threads; true without one.
  static bool is_parallelizable(const AliasGenConfig* config);
  /// One of the library's own, by its name in any case, configured. Null for unknown names and bad options.
  static std::unique_ptr<DastAliasGenerator> create_generic_generator(const char* name, const char* options,
                                                                      AceReporter* rep);
  /// One that runs a host's commands, configured; null when there is no factory for them.
  static std::unique_ptr<DastAliasGenerator> create_scripting_generator(const char* configure_cmd,
                                                                        const char* generate_cmd,
                                                                        const char* options,
                                                                        AceReporter* rep);
  /// The options of a kind with their defaults, as `configure` reads them; null for an unknown name, which is
  /// told on the default reporter.
  static const char* get_defaults(const char* name);
  /// UNKNOWN for other names.
  static AliasGeneratorsKeys get_key(const char* name);

 protected:
  DastAliasGenerator(const DastAliasGenerator&) = default;
};

/// Hands all calls on to another generator.
class SORV_API DastWrapAliasGenerator : public DastAliasGenerator {
 public:
  /// Takes the generator over; null, which is told under `name`, gives -1.
  int init(const char* name, std::unique_ptr<DastAliasGenerator> generator, AceReporter* rep);
  int configure(const char* options, AceReporter* rep) override;
  int generate_aliases(const char* value, DastAliasResult* result, AceReporter* rep) const override;
  std::unique_ptr<DastAliasGenerator> clone() const override;
  bool is_parallelizable() const override;

 private:
  std::unique_ptr<DastAliasGenerator> wrappedGenerator;
};

/// The way in for hosts whose generators are scripts.
class SORV_API DastAliasScriptingGenerator : public DastWrapAliasGenerator {
 public:
  /// Makes generators from commands; one factory serves the process.
  class SORV_API Factory {
   public:
    virtual ~Factory() = default;
    /// Null when the commands cannot be run.
    virtual std::unique_ptr<DastAliasGenerator> create(const char* configure_cmd,
                                                       const char* generate_cmd) = 0;
    virtual bool is_parallelizable(const char* configure_cmd, const char* generate_cmd) const = 0;
  };
  /// Before worker threads start; null takes it away. The host keeps it alive.
  static void set_factory(Factory* factory);
  /// False without a factory.
  static bool is_parallelizable_scripting(const char* configure_cmd, const char* generate_cmd);

 private:
  friend class DastAliasGenerator;
  static Factory* scriptFactory;
};
