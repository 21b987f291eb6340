/// Sorted sets of strings with a value for each: what indexes are built from when their strings come in no
/// order. See ace_str_avl.h for what it owns, its errors and its threads.
#pragma once

#include "ace/ace_str_avl.h"

template <class V>
using AceBigTree = StrAvlTree<V>;
