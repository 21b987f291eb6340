/// Kernel objects behind Java objects.
///
/// A Java object has a field `ref`, the address of its wrapper, 0 when there is none. A wrapper counts the
/// references to it: that of its Java object, and those of wrappers that need it; a session's wrapper needs
/// that of its base, so that the base stays until both are gone, in whatever order Java forgets them.
///
/// The wrappers alive are known by a serial number each, so that a late message of the garbage collector
/// about a wrapper that was destroyed by hand finds nothing.
///
/// Thread safety: counting and the list of the living are guarded by one lock; kernel objects are as safe as
/// they say.
#pragma once

#include <atomic>
#include <unordered_set>
#include <vector>

#include "ace/ace_types.h"

/// A class of Java that wraps a kernel class; static, one for each.
struct JieClass {
  const char* name;         ///< as "com/veltrane/jie/TeraEdit"
  const JieClass* base;     ///< null for none
  void* (*to_base)(void*);  ///< from an object's address to that of its base part; null for the same address
  void (*destroy)(void*);   ///< null where hosts cannot delete objects
  /// What Java has for it (a global reference, and its constructor), found when first needed.
  mutable std::atomic<void*> javaClass = nullptr;
  mutable std::atomic<void*> javaMake = nullptr;
};

class SORV_API JieWrap {
 public:
  /// `is_made` tells whether the kernel object goes with the wrapper.
  JieWrap(void* object, const JieClass* type, bool is_made);
  JieWrap(const JieWrap&) = delete;
  JieWrap& operator=(const JieWrap&) = delete;

  /// The kernel object; null when it has ended.
  void* unwrap() const { return kernelObject; }
  /// The kernel object as one of a class; null when it is none.
  void* unwrap_as(const JieClass* type) const;
  /// The kernel object belongs to the kernel from now on: the wrapper is empty.
  void give_away();

  /// Adds a reference.
  void ref();
  /// Removes one; the last one deletes the wrapper, at once where `now` is not 0, else by the garbage
  /// collection. What a call of Java out of the kernel gives up is deleted when the kernel has returned.
  void unref(int now);
  /// Removes the reference of the Java object, which it has once.
  void forget(int now);
  /// This wrapper needs another one, which may be null.
  void set_parent(JieWrap* parent);
  /// Ends all that needs this object, whichever wrapper it was asked of: parts are empty then, and what hosts
  /// have made is deleted.
  void end_owned();
  /// It needs whatever another one needs.
  void share_parents(const JieWrap* other);
  VInt get_serial() const { return serialNumber; }

  /// The wrapper that a kernel object goes with; null for none.
  static JieWrap* holder(const void* object, const JieClass* type);
  /// The Java object of a wrapper, if it is still alive, was forgotten.
  static void release(VInt address, VInt serial);
  /// Number of wrappers alive.
  static int count();

 private:
  friend class JieGarbageCollector;
  friend class JieCall;
  struct Remains;
  using Group = std::vector<JieWrap*>;

  ~JieWrap() = default;
  void finish();
  void* detach();
  bool ends_with(const JieWrap* needed) const;
  Group group() const;
  static void end_parts(const Group& owners, std::vector<Remains>* ended);

  std::vector<JieWrap*> parentObjs;
  std::unordered_set<JieWrap*> childObjs;
  void* kernelObject;
  const JieClass* objectClass;
  int refCount = 1;
  bool isKnownToJava = true;
  bool delRef;
  VInt serialNumber;
};

/// A call of the kernel by Java. While one is on its way in a thread, what calls within it give up stays.
class SORV_API JieCall {
 public:
  JieCall();
  JieCall(const JieCall&) = delete;
  JieCall& operator=(const JieCall&) = delete;
  ~JieCall();
};

/// Wrappers that Java has forgotten wait here until somebody deletes them: the thread that tells of it is
/// Java's.
class SORV_API JieGarbageCollector {
 public:
  /// So many may wait before a new wrapper makes them go.
  static constexpr int MAX_WAITING = 1000;

  static JieGarbageCollector& instance();
  void add(JieWrap* wrap);
  /// Deletes all that wait. Returns their number.
  int clean();
  int count() const;

 private:
  JieGarbageCollector() = default;
  std::vector<JieWrap*> waiting;
};

/// Watches the number of wrappers, and warns when it grows without end (trace setting "CHECK_SCRIPT_MEMLEAK";
/// at most "MAX_JIE_LEAK_WARNINGS" times; "JIE_NO_LEAK_WARNING" silences it).
class SORV_API JieSnapShot {
 public:
  static JieSnapShot& instance();
  /// Compares with earlier numbers. Returns the number of warnings.
  int check_leaks(int now);

 private:
  JieSnapShot() = default;
  bool warn(const char* format, int first, int second);

  int firstVal = -1;
  int lastVal = 0;
  int preLastVal = 0;
  int maxVal = 0;
  int numGc = 0;
  int prevVal = 0;
  int curAvg = 0;
  int maxAvg = 0;
  int numWarnings = 0;
};
