/// Pinyin with one symbol for each of its digraphs:
///
///     ao   ch   ia   io   ng   sh   ua   zh
///     ^    }    \    <    ~    {    #    >
///
/// so that a difference in a sound counts as one difference. Thread safety: reentrant.
#pragma once

#include "ace/ace_types.h"

class AceAttach;

/// The text in `at` with every digraph, met from left to right, replaced by its symbol; null gives null.
SORV_API char* tera_norm_pinyin(const char* text, AceAttach* at);
/// The text in `at` with every symbol replaced by its digraph; null gives null.
SORV_API char* tera_reverse_norm_pinyin(const char* text, AceAttach* at);
