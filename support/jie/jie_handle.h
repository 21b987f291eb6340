/// One call of a native method: its arguments, its result, and what goes wrong.
///
/// What the kernel throws becomes an exception of Java: a null pointer java.lang.NullPointerException with
/// the variable's name, anything else com.veltrane.jie.RuntimeException. A call that has raised one returns a
/// neutral value.
///
/// Texts are UTF-8 towards the kernel and UTF-16 towards Java, whatever characters they have. A text with a
/// zero is refused, for the kernel would take it for its end. What a call allocates lies in the handle, which
/// is an attach.
#pragma once

#include <jni.h>

#include <atomic>
#include <exception>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "jie/jie_wrap.h"
#include "seam/seam_enum.h"
#include "seam/seam_texts.h"

/// An enumeration of Java, whose constants have the kernel's value in an int field.
struct JieEnumToEnum {
  const char* enumClass;  ///< as "com/veltrane/jie/TeraEval$Mode"
  const char* fieldName;
  std::atomic<jfieldID> fieldId = nullptr;        ///< found when first needed
  std::atomic<jobjectArray> constants = nullptr;  ///< all of them in their order; the same
};

class SORV_API JieHandle : public AceAttach {
 public:
  /// When Java loads the library. False, and an exception of Java, where it does not have our classes.
  static bool set_up(JNIEnv* env);

  /// Registers the calling thread with the kernel until it ends, unless it is registered already.
  JieHandle(JNIEnv* env, const char* class_name, const char* method_name);

  // Arguments. All do nothing once an exception was raised.

  /// The kernel object behind a Java object, which stays until the call ends, whoever destroys it. For null,
  /// or one that was destroyed: null, and an exception unless `optional`.
  void* object(jobject from, const JieClass* type, const char* name, bool optional);
  JieWrap* wrapper(jobject from) const;
  const char* jie_get_string(jstring from, const char* name, bool optional);
  /// Ends with a null; the number of strings is stored.
  const char** jie_get_strings(jobjectArray from, int* count, const char* name, bool optional);
  SeamNumbers numbers(jlongArray from, const char* name, bool optional);
  SeamBytes bytes(jbyteArray from, const char* name);
  int enum_value(jobject from, JieEnumToEnum* type, const char* name);
  Large large(jlong from, const char* name);

  // Results.

  jstring jie_new_string(const char* text);
  jobjectArray jie_new_strings(const SeamTexts& texts);
  jlongArray jie_new_integers(const SeamNumbers& numbers);
  jbyteArray new_bytes(const SeamBytes& bytes);
  jobject new_enum(JieEnumToEnum* type, const SeamEnum& values, int value);
  /// A new Java object for a kernel object, null for null. `owner` is the Java object whose wrapper it needs,
  /// or null: that which the object goes with, if there is one.
  jobject new_object(const JieClass* type, const void* object, bool is_made, jobject owner);
  /// A kernel object becomes that of `self`, which has none yet.
  void take(jobject self, const JieClass* type, void* object);
  /// Takes the wrapper from a Java object and gives up its reference.
  void destroy(jobject self);
  /// The same for one of the call's objects, which the kernel has taken over.
  void give_away(jobject from, const void* object, const JieClass* type);
  /// An error code is an exception.
  int checked(int code);

  // Relations.

  /// The parts of an object are about to end.
  void end_owned(jobject owner);
  /// The same of an object that threads share, which the call has for itself from now on.
  void change(jobject owner);
  struct Side {
    jobject object;  ///< null for an argument that was left out: no relation
    const char* name;
    bool isMade = false;  ///< by this call: it ends where it cannot have what it needs
  };
  /// Refused where either has been destroyed since the call began.
  void needs(const Side& one, const Side& other);
  void shares(const Side& one, const Side& other);
  /// The other one is a kernel object, which may have no Java object.
  void needs_object(jobject one, const void* other, const JieClass* type);

  // Failures.

  bool failed() const { return isError; }
  void throw_exception(const char* text);
  void throw_exception(const char* text, const char* class_name, const char* method_name);
  /// What is being caught.
  void throw_caught();

 private:
  jmethodID find_class(const JieClass* type) const;
  jobjectArray find_constants(JieEnumToEnum* type);
  JieWrap* pinned(jobject from);
  template <class Relate>
  void relate(const Side& one, const Side& other, Relate relate);
  char* room_for(std::size_t size);
  void throw_named(const char* java_class, const char* text);
  void refuse(const char* what, const char* name);

  static constexpr std::size_t FEW_BYTES = 256;

  JieCall callGuard;
  JNIEnv* envPtr;
  const char* className;
  const char* methodName;
  bool isError = false;
  std::size_t numShort = 0;
  char shortTexts[FEW_BYTES];  // of arguments, as many as have room
};

/// The class that wraps a kernel class: specialised by those who know it.
template <class T>
const JieClass* jie_class();

template <class T>
T* jie_object(JieHandle* handle, jobject from, const char* name, bool optional) {
  return static_cast<T*>(handle->object(from, jie_class<T>(), name, optional));
}
