/// Small steps between what other languages have, lists and numbers, and what sessions take and give.
#pragma once

#include "dare/dare_multi_query.h"
#include "seam/seam_texts.h"

class DastRecord;
class DastSession;
class TeraTeaser;

/// Modes for so many texts, in `at`: an empty one becomes a null, for a field that takes no part. Throws an
/// `AceException` where there are not as many modes as texts.
SORV_API const char* const* seam_modes(const char* const* modes, int num_modes, int num_texts, AceAttach* at);
/// A query from the signs of modes and the texts of all fields. Fields without a mode, or with an empty one,
/// take no part. Throws an `AceException` where there are not as many modes as texts.
SORV_API DareMultiQuery seam_query(const char* const* modes, int num_modes, const char* const* texts,
                                   int num_texts);
/// The values of a record; none for null.
SORV_API SeamTexts seam_record(const DastRecord* record, AceAttach* at);
SORV_API SeamTexts seam_field_names(const DastSession* session, AceAttach* at);
SORV_API int seam_context_size(const DastSession* session);
/// Adds the values that a field has found to a teaser (`TeraTeaser::add_graph_matches`); none for a field
/// that was not asked. -1 for no field.
SORV_API int seam_fill_teaser(const DastSession* session, int field, TeraTeaser* teaser, bool with_alias,
                              int limit);
/// Which values of a record a field shows; null for no field.
SORV_API const char* seam_alias_display(const DastSession* session, int field);
/// -1 for no field and an unknown name.
SORV_API int seam_set_alias_display(DastSession* session, int field, const char* name);
/// An object that the templates brought along; null when there is none of that name and type.
SORV_API AceWrap* seam_external(const DastSession* session, const char* name, const char* type);
