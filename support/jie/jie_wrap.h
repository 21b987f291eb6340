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

#include <vector>

#include "ace/ace_types.h"

class SORV_API JieWrap {
 public:
  /// `is_made` tells whether the kernel object goes with the wrapper.
  explicit JieWrap(bool is_made);
  JieWrap(const JieWrap&) = delete;
  JieWrap& operator=(const JieWrap&) = delete;
  virtual ~JieWrap();

  /// Deletes the kernel object if it goes with the wrapper, unless `keep` is not 0; the wrapper is then
  /// empty.
  virtual void clean(int keep) = 0;
  /// The kernel object.
  virtual void* unwrap() = 0;

  /// Adds a reference.
  void ref();
  /// Removes one; the last one deletes the wrapper, at once where `now` is not 0, else by the garbage
  /// collection.
  void unref(int now);
  /// This wrapper needs another one, which may be null.
  void set_parent(JieWrap* parent);
  JieWrap* get_parent() const { return parentObjs.empty() ? nullptr : parentObjs.front(); }
  /// Empties the wrappers of this object's parts, which do not survive what is about to happen to it.
  void end_owned();
  /// It needs whatever another one needs.
  void share_parents(const JieWrap* other);
  bool is_delete_ref() const { return delRef; }
  void set_delete_ref(bool value) { delRef = value; }
  VInt get_serial() const { return serialNumber; }

  /// The living wrapper of an address and a serial number; null when it is gone.
  static JieWrap* find(VInt address, VInt serial);
  /// Number of wrappers alive.
  static int count();

 private:
  friend class JieGarbageCollector;
  void finish();

  std::vector<JieWrap*> parentObjs;
  std::vector<JieWrap*> childObjs;
  int refCount = 1;
  bool delRef;
  VInt serialNumber;
};

/// A wrapper of an object that `destroy` deletes.
class SORV_API JieObjectWrap : public JieWrap {
 public:
  using Destroy = void(void* object);
  JieObjectWrap(void* object, Destroy* destroy, bool is_made)
      : JieWrap(is_made), kernelObject(object), destroyFunc(destroy) {}
  ~JieObjectWrap() override { clean(0); }
  void clean(int keep) override;
  void* unwrap() override { return kernelObject; }

 private:
  void* kernelObject;
  Destroy* destroyFunc;
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
