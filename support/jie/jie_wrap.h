/// Kernel objects behind Java objects.
///
/// A Java object has a field `ref`, the address of its wrapper, 0 when there is none. A wrapper counts the
/// references to it: that of its Java object, and those of wrappers that need it; a session's wrapper needs
/// that of its base, so that the base stays until both are gone, in whatever order Java forgets them.
///
/// The wrappers alive are known by a serial number each, so that a late message of the garbage collector
/// about a wrapper that was destroyed by hand finds nothing.
///
/// A call pins the wrappers that it uses: no other thread deletes them meanwhile. A pin is a hazard pointer
/// (M. Michael, IEEE TPDS 15(6), 2004): the call notes the wrapper, then looks again whether the Java object
/// still has it; who deletes empties the Java object, then looks at the notes of all threads. The barrier
/// between the two steps of either is the deleter's alone: the system makes all threads pass one.
///
/// Thread safety: counting and the list of the living are guarded by one lock; kernel objects are as safe as
/// they say.
#pragma once

#include <array>
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

class JieCall;

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
  /// collection. What a call of Java out of the kernel gives up is deleted when the kernel has returned, and
  /// what another thread uses when that is done.
  void unref(int now);
  /// Removes the reference of the Java object, which it has once.
  void forget(int now);
  /// This wrapper needs another one. False where that has been given up, maybe beside the call.
  bool set_parent(JieWrap* parent);
  /// It needs that which a kernel object goes with, if there is one.
  void set_holder(const void* object, const JieClass* type);
  /// The kernel object ends now, whoever has the wrapper.
  void end();
  /// Ends all that needs this object, whichever wrapper it was asked of: parts are empty then, and what hosts
  /// have made is deleted. Throws an `AceException` while another call uses any of it.
  void end_owned(const JieCall& call) { end_owned(call, nullptr); }
  /// The same of an object that the call changes and that other threads may ask: until the call ends it has
  /// the object alone. Throws also while another call uses the object itself.
  void change(JieCall* call) { end_owned(*call, call); }
  bool is_changing() const { return isChanging.load(std::memory_order_acquire); }
  /// It needs whatever another one needs. False where any of it has been given up.
  bool share_parents(const JieWrap* other);
  VInt get_serial() const { return serialNumber; }

  /// The Java object of a wrapper, if it is still alive, was forgotten.
  static void release(VInt address, VInt serial);
  /// Number of wrappers alive.
  static int count();

 private:
  friend class JieGarbageCollector;
  friend class JieCall;
  struct Remains;
  void end_owned(const JieCall& call, JieCall* changer);
  void mark(bool is_changing);
  void end_change();
  using Group = std::vector<JieWrap*>;

  ~JieWrap() = default;
  void finish();
  void finish_unpinned();
  void* detach();
  bool ends_with(const JieWrap* needed) const;
  bool add_parent(JieWrap* parent);
  static JieWrap* holder(const void* object, const JieClass* type);
  Group group() const;
  static void collect_parts(const Group& owners, Group* parts, std::unordered_set<const JieWrap*>* seen);

  std::vector<JieWrap*> parentObjs;
  std::unordered_set<JieWrap*> childObjs;
  void* kernelObject;
  const JieClass* objectClass;
  int refCount = 1;
  bool isKnownToJava = true;
  bool delRef;
  std::atomic<bool> isChanging = false;
  VInt serialNumber;
};

/// A call of the kernel by Java: it registers its thread with the kernel, unless that is done, until that
/// ends. While one is on its way in a thread, what calls within it give up stays.
class SORV_API JieCall {
 public:
  /// Wrappers that the calls of a thread, each within the one before, can use.
  static constexpr std::size_t MAX_PINS = 64;

  /// When Java loads the library, before any call.
  static void set_up();

  JieCall();
  JieCall(const JieCall&) = delete;
  JieCall& operator=(const JieCall&) = delete;
  ~JieCall();

  /// Notes that the call uses a wrapper. The caller looks again where it has it from. Throws an
  /// `AceException` where there are too many.
  void pin(JieWrap* wrap) {
    if (thread->numPins == MAX_PINS) refuse();
    std::atomic<JieWrap*>& note = thread->pins[thread->numPins++];
    if (!passesBarriers) {
      note.exchange(wrap);  // with a barrier
      return;
    }
    note.store(wrap, std::memory_order_release);
    std::atomic_signal_fence(std::memory_order_seq_cst);
  }
  /// Takes back the last note.
  void unpin() { thread->pins[--thread->numPins].store(nullptr, std::memory_order_release); }
  /// The wrapper, of those that the call uses, of a kernel object; null for none.
  JieWrap* find_pinned(const void* object, const JieClass* type) const;

 private:
  friend class JieWrap;

  struct Thread {
    bool isLeft = false;
    int depth = 0;
    std::size_t numPins = 0;
    std::array<std::atomic<JieWrap*>, MAX_PINS> pins{};
    std::vector<JieWrap*> givenUp;  // within calls
  };
  struct Registration;
  static Thread* current();
  static std::vector<Thread*>& all_threads();
  static void pass_barrier();
  static bool is_pinned(const JieWrap* wrap, const JieCall* but);
  [[noreturn]] static void refuse();
  void finish_given_up();

  /// Whether the system makes other threads pass a barrier.
  static bool passesBarriers;

  Thread* thread;
  std::size_t firstPin;
  JieWrap* changedWrap = nullptr;  // which it pins
};

/// Wrappers that Java has forgotten wait here until somebody deletes them: the thread that tells of it is
/// Java's.
class SORV_API JieGarbageCollector {
 public:
  /// So many may wait before a new wrapper makes them go.
  static constexpr int MAX_WAITING = 1000;

  static JieGarbageCollector& instance();
  void add(JieWrap* wrap);
  /// One that waits for a call of another thread.
  void add_pinned(JieWrap* wrap);
  /// Whether such ones wait.
  bool has_pinned() const { return numPinned.load(std::memory_order_relaxed) > 0; }
  /// Deletes all that wait and that no call uses. Returns the number of those that waited.
  int clean();
  int count() const;

 private:
  JieGarbageCollector() = default;
  std::vector<JieWrap*> waiting;
  std::atomic<int> numPinned = 0;
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
