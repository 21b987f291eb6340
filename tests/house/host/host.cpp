// A host outside the tree: uses one thing of each kind, and fails loudly.
#include <cstring>

#include "ace/ace_alloc.h"
#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_avl.h"

int main() {
  ace_alloc_init(2000);
  StrAvlTree<int> tree(-1);
  tree.insert("word") = 7;
  AceAttach at;
  try {
    throw AceException("caught", "%d", tree.search("word"));
  } catch (const AceException& e) {
    if (std::strcmp(e.what(&at), "caught: 7") != 0) return 1;
  }
  return AceReporter::use_default()->printf("host runs\n") == 10 ? 0 : 1;
}
