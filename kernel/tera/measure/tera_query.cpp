#include "tera/tera_query.h"

TeraQuery::~TeraQuery() = default;

int TeraQuery::compare(Large) {
  return -1;
}

char* TeraQuery::display(const char* entry, AceAttach* at) const {
  return at->attach(entry);
}

bool TeraQuery::equals(const char*) const {
  return false;
}

TeraQuery* TeraQuery::ref() {
  refCount.modify(1);
  return this;
}

void TeraQuery::unref() {
  if (refCount.modify(-1) == 0) delete this;
}
