/// Trees of distinct strings, in byte order, from which text indexes are built.
#pragma once

#include "ace/ace_big_tree.h"
#include "ace/ace_bulk.h"

template <class V>
using TeraBigTree = AceBigTree<V>;

/// Each string with the list of its attribute numbers; null for a string without any.
using ListTree = TeraBigTree<AceBulk::List*>;
