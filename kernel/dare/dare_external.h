/// Named objects from files, which all templates and sessions of a host share.
///
/// Ownership: the set is made with one reference, which belongs to the caller; the last `unref` deletes it
/// with all objects. Thread safety: objects are added before sessions run; then any thread may read, and
/// count references.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>

#include "ace/ace_file.h"
#include "ace/ace_types.h"
#include "ace/ace_wrap.h"

class SORV_API DareSessionExternal {
 public:
  DareSessionExternal() = default;
  DareSessionExternal(const DareSessionExternal&) = delete;
  DareSessionExternal& operator=(const DareSessionExternal&) = delete;

  /// Loads a file of any registered persistent type (ace_wrap.h). Returns 0; -1 for a name that is taken or
  /// null, a file that cannot be opened, and a type that nobody has registered.
  int add(const char* name, const char* file);
  /// Null when there is no such object, or one of another type; a null type is any.
  AceWrap* get(const char* name, const char* type) const;
  void ref() { refCount.fetch_add(1, std::memory_order_relaxed); }
  void unref() {
    if (refCount.fetch_sub(1, std::memory_order_acq_rel) <= 1) delete this;
  }
  int get_ref_count() const { return refCount.load(); }

 private:
  struct Entry {
    std::unique_ptr<AceFile> file;  // which the object may point into
    std::unique_ptr<AceWrap> object;
    const char* typeName = nullptr;
  };
  ~DareSessionExternal() = default;

  std::atomic<int> refCount = 1;
  std::map<std::string, Entry, std::less<>> extObjects;
};
