/// Automaton index: the entries of a word list as paths of a minimal automaton, numbered in sorted order.
///
///     TeraAuto automaton;
///     automaton.make(&reader, &map, 99, 0, rep, nullptr, nullptr);
///     automaton.dump("codes.auto", rep);
///     ...
///     const Large* infos;
///     int num;
///     if (automaton.get_infos("12345", &num, &infos) > 0) ...
///
/// An entry is a distinct token string under the index's map: what the map does not tell apart is one entry,
/// shown in canonical form. Its number is its place in the order of token strings, from 1 on; the empty
/// string is number 0, has the attributes of all values without tokens, and is never found. See
/// tera_auto_data.h for the automaton and tera_auto_recall.h for what it is asked.
///
/// Payload of `save` ("AUTOC"), in order:
///
///     magic                 AUTOC
///     autoFeatures          int
///     mapConfig             TeraMap
///     forwardAutoData       TeraAutoData   if HAS_DATA
///     infoHandle            AceIdMap       if HAS_DATA; keys: numbers; without attributes a map without keys
///     backAutoData          TeraAutoData   if HAS_DATA and HAS_BACK
///     reverseToForward      int[]          then; its paths and one more, which is 0; aligned to 8
///     aliasMap              TeraAliasMap   if HAS_ALIASES; keys: numbers (with penalties twice as many)
///     phoneTrafo            TeraTransform  if HAS_PHONETICS, with its magic
///     phoneInfo             AceIdMap       if HAS_PHONETICS and HAS_DATA; codes to numbers
///     phoneAutoData         TeraAutoData   then; codes are bytes
///     phoneBackAutoData     TeraAutoData   if moreover HAS_PHONE_BACK
///     phoneReverseToForward int[]          then; as above
///
/// `read` checks the numbers of every part; look-ups check where they read, so that damaged arrays give wrong
/// answers at most. `verify` looks at everything.
///
/// Errors: negative results, explained on the reporter given, or on the default reporter; memory exhaustion
/// throws `std::bad_alloc`.
/// Thread safety: an index is built or read by one thread; then any number may ask it at once.
#pragma once

#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_id_map.h"
#include "ace/ace_wrap.h"
#include "tera/tera_alias_map.h"
#include "tera/tera_auto_data.h"
#include "tera/tera_auto_recall.h"
#include "tera/tera_map.h"

class AceReporter;
class TeraAliasReader;
class TeraReader;
class TeraTransform;

class SORV_API TeraAuto : public AceWrap, public TeraAutoRecall {
 public:
  /// As they are saved.
  enum Features : int {
    HAS_PHONETICS = 1,   ///< there is a phonetic transform
    HAS_ALIASES = 2,     ///< there is an alias map
    HAS_DATA = 4,        ///< there are entries
    HAS_BACK = 8,        ///< there is an automaton of the reversed entries
    HAS_PHONE_BACK = 16  ///< and one of the reversed codes
  };
  /// Options of `make`.
  enum BuildOptions : int {
    REVERSE = 1,      ///< also the automaton of the reversed entries: recall is faster, answers are the same
    BIDIRECT = 4,     ///< the same
    NO_INFO = 8,      ///< no attributes
    ALLOW_WILD = 16,  ///< "?" and "*" in entries are wildcards; recall needs HAS_WILD then
    PATH_COMPRESS = 32  ///< chains of single transitions take less room
  };
  enum BuildOptionBit : int {
    BIT_REVERSE = 0,
    BIT_BIDIRECT = 2,
    BIT_NO_INFO = 3,
    BIT_ALLOW_WILD = 4,
    BIT_PATH_COMPRESS = 5
  };
  static constexpr int KNOWN_BUILD_OPTIONS = REVERSE | BIDIRECT | NO_INFO | ALLOW_WILD | PATH_COMPRESS;

  TeraAuto();
  /// As `init`.
  TeraAuto(const TeraMap* map, TeraTransform* phonetic);
  ~TeraAuto() override;

  /// An index without entries for a copy of the map and, if not null, a copy of the transform. Returns 0 or
  /// -1.
  int init(const TeraMap* map, TeraTransform* phonetic);
  /// Builds from the entries that a reader has left, with the transform of `init`. A null map stands for the
  /// index's own. `load` is the percentage of slots to be filled, 1 to 100 (others are moved there); 99 is
  /// good. Strings of `aliases`, which may be null, that are no entries become entries without attributes;
  /// each is an alias of those that it makes pairs with. The file name is not used: all is built in memory,
  /// some 60 bytes an entry. Entries of more than TeraAutoData::MAX_TOKENS tokens are left out, with a
  /// warning. Returns 0; -1 also for unknown options.
  int make(TeraReader* reader, const TeraMap* map, int load, int options, AceReporter* rep,
           TeraAliasReader* aliases, const char* filename);
  /// Becomes empty.
  void clean();
  void clean_phonetic();

  VInt read(AceFile* file) override;
  VInt save(AceFile* file) override;
  /// Returns 0, or -1, reported.
  int verify(AceReporter* rep) const;
  void print(AceReporter* rep) const;

  // Access.

  /// The number of an entry (0: absent), and its attributes.
  Large get_infos(const char* string, int* num, const Large** infos) const;
  /// The entry that has the attribute, in `at`; null for none.
  const char* get_string(Large attribute, AceAttach* at) const;
  /// The entry of a number, in `at`, "" for 0; null outside.
  const char* get_entry(Large index, AceAttach* at) const;
  Large get_internal_id(const char* string) const;
  /// 0 for 0, ~0 for ~0 and for what no entry has, else the number of the attribute's entry.
  Large get_sort_key(Large attribute) const;
  /// Paths, that of the empty string counted; 0 without entries.
  Large get_capacity() const { return forwardAutoData != nullptr ? forwardAutoData->get_num_paths() : 0; }
  /// Numbers follow the order of the entries.
  int can_sort() const { return 1; }
  int is_parallelizable() const;
  int get_features() const { return autoFeatures; }
  const TeraAutoData* get_forward() const { return forwardAutoData.get(); }
  const TeraAutoData* get_back() const { return backAutoData.get(); }
  const TeraAutoData* get_phonetic() const { return phoneAutoData.get(); }
  const AceIdMap* get_info_handle() const { return infoHandle.get(); }
  const TeraTransform* get_phonetics() const { return phoneTrafo.get(); }

  // What recall needs.

  using TeraAutoRecall::scan;
  const TeraMap* get_tera_map() const override { return &mapConfig; }
  int resolve(TeraResult* result) const override;
  int resolve_phonetic(TeraResult* result) const override;
  int add_aliases(TeraResult* result, int penalty) const override;
  int resolve(TeraScanGraph* graph) const override;
  int resolve_phonetic(TeraScanGraph* graph) const override;
  int add_aliases(TeraScanGraph* graph, int penalty) const override;

 private:
  struct Entries;
  int make_entries(const Entries& entries, int load, int options, AceReporter* rep);
  int make_back(const std::vector<const Token*>& entries, int load, bool compress, const TeraMap* map,
                std::unique_ptr<TeraAutoData>* back, std::vector<int>* turner, AceReporter* rep) const;
  int make_info(const Entries& entries, AceReporter* rep);
  int build_alias_map(TeraAliasReader* aliases, AceReporter* rep);
  int make_phonetic(int load, int options, AceReporter* rep);
  int make_phonetic_reader(TeraReader* codes, int load, int options, AceReporter* rep);
  void bind();

  VInt read_payload(AceFile* file);
  int read_data(AceFile* file);
  int read_phonetic(AceFile* file);
  std::unique_ptr<TeraAutoData> read_auto(AceFile* file, const TeraMap* map, const char* call) const;
  const int* read_turner(AceFile* file, const TeraAutoData& back);
  int save_data(AceFile* file) const;
  int save_phonetic(AceFile* file) const;
  TeraAliasMap::GetAlias alias_hook(int penalty) const;
  TeraAliasMap::GetString string_hook() const;
  Large find_attribute(Large attribute) const;

  int autoFeatures = 0;
  TeraMap mapConfig;
  std::unique_ptr<AceIdMap> infoHandle;
  std::unique_ptr<AceIdMap> phoneInfo;
  std::unique_ptr<TeraTransform> phoneTrafo;
  std::unique_ptr<TeraAliasMap> aliasMap;
  std::unique_ptr<TeraAutoData> forwardAutoData;
  std::unique_ptr<TeraAutoData> backAutoData;
  std::unique_ptr<TeraAutoData> phoneAutoData;
  std::unique_ptr<TeraAutoData> phoneBackAutoData;
  const int* reverseToForward = nullptr;
  const int* phoneReverseToForward = nullptr;
  std::vector<int> ownTurner;  // the two, unless they were read
  std::vector<int> ownPhoneTurner;
  int isMapped = 0;
  AceAttach memAt;  // and when they were read from a stream
};

/// For the registry of persistent objects: a `TeraAuto` from the file, or null; and an empty one.
SORV_API AceWrap* TeraAutofactory(AceFile* file);
SORV_API AceWrap* TeraAutofactoryCreate();
