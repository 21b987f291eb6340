/// Small steps between what other languages have, lists and numbers, and what bases of records take and give.
#pragma once

#include "seam/seam_texts.h"

class AceReporter;
class DastAliasGenerator;
class DastBase;
class TeraMap;

/// Gives a field the method of that name with its options. Returns what the base says; -1, reported, for an
/// unknown method, and for options that it refuses.
SORV_API int seam_configure_field(DastBase* base, const char* field, const char* method, const TeraMap* map,
                                  const char* build_options, const char* recall_options);
/// The values of a record; a count of -1 for one that is not there.
SORV_API SeamTexts seam_line(const DastBase* base, Large record, AceAttach* at);
/// The aliases that a generator makes of a value, and what they cost; a count of -1 where it cannot.
SORV_API SeamTexts seam_aliases(const DastAliasGenerator* generator, const char* value, AceAttach* at,
                                AceReporter* rep);
SORV_API SeamNumbers seam_alias_penalties(const DastAliasGenerator* generator, const char* value,
                                          AceAttach* at, AceReporter* rep);
