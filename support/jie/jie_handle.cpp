#include "jie/jie_handle.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "tera/tera_utf.h"

namespace {

constexpr const char* EXCEPTION = "com/veltrane/jie/RuntimeException";
constexpr const char* NULL_POINTER = "java/lang/NullPointerException";
constexpr const char* BASE_CLASS = "com/veltrane/jie/JieObject";
constexpr long LARGEST = 0xFFFFFFFF;
constexpr const char* NO_OBJECT = "has no kernel object; it was destroyed, or given away";
constexpr int REPLACEMENT = 0xFFFD;  // the sign for what cannot be told
constexpr int LAST_UNICODE = 0x10FFFF;

constexpr jchar NON_ASCII = 0x80;
constexpr int FEW = 256;  // characters of a text that is converted without memory of its own

/// What all wrapping classes have of `JieObject`.
jfieldID refField = nullptr;
jmethodID adoptMethod = nullptr;

/// A short text of ASCII, which most are. Returns the number of its units; -1 for any other.
jsize widen_ascii(const char* text, jchar (&units)[FEW]) {
  jsize count = 0;
  for (; count < FEW && text[count] != '\0'; ++count) {
    const auto byte = static_cast<unsigned char>(text[count]);
    if (byte >= NON_ASCII) return -1;
    units[count] = byte;
  }
  return count < FEW ? count : -1;
}

bool is_ascii(const char* text) {
  char bits = 0;
  while (*text != '\0') bits |= *text++;
  return static_cast<unsigned char>(bits) < NON_ASCII;
}

bool is_character(int uni) {
  return (uni < 0xD800 || uni > 0xDFFF) && uni <= LAST_UNICODE;
}

/// Of text that ends with a zero. A half of a character without its other half becomes that sign.
std::string to_utf8(const jchar* text) {
  static_assert(sizeof(jchar) == sizeof(Small));
  std::string out;
  char bytes[TeraUtf::MAX_SIZE];
  for (int uni = 0; *text != 0;) {
    text += TeraUtf::utf16_to_uni(&uni, text);
    out.append(bytes,
               static_cast<std::size_t>(TeraUtf::from_uni(is_character(uni) ? uni : REPLACEMENT, bytes)));
  }
  return out;
}

/// Of valid or broken UTF-8: a byte that is no part of a character becomes that sign.
std::vector<jchar> to_utf16(const char* text) {
  std::vector<jchar> out;
  out.reserve(std::strlen(text));
  for (int uni = 0; *text != '\0';) {
    const int size = TeraUtf::decode(&uni, text);
    Small units[2];
    const int count = TeraUtf::utf16_from_uni(size > 0 && is_character(uni) ? uni : REPLACEMENT, units);
    out.insert(out.end(), units, units + count);
    text += size > 0 ? size : 1;
  }
  return out;
}

}  // namespace

JieHandle::JieHandle(JNIEnv* env, const char* class_name, const char* method_name)
    : envPtr(env), className(class_name), methodName(method_name) {}

// Failures.

void JieHandle::throw_named(const char* java_class, const char* text) {
  if (isError) return;
  isError = true;
  if (envPtr->ExceptionCheck() != 0) return;  // an exception of its own
  const jclass type = envPtr->FindClass(java_class);
  if (type == nullptr) return;  // an exception of its own
  const jstring message = jie_new_string(text);
  const jmethodID make = envPtr->GetMethodID(type, "<init>", "(Ljava/lang/String;)V");
  if (make == nullptr || message == nullptr) return;
  auto* const thrown = static_cast<jthrowable>(envPtr->NewObject(type, make, message));
  if (thrown != nullptr) envPtr->Throw(thrown);
}

void JieHandle::throw_exception(const char* text) {
  throw_named(EXCEPTION, text);
}

void JieHandle::throw_exception(const char* text, const char* class_name, const char* method_name) {
  const std::string whole = std::string(class_name) + "." + method_name + ": " + text;
  throw_exception(whole.c_str());
}

void JieHandle::throw_caught() {
  try {
    throw;
  } catch (const AceNullpointerException& exception) {
    throw_named(NULL_POINTER, exception.get_name() != nullptr ? exception.get_name() : "");
  } catch (const AceException& exception) {
    const char* const text = exception.what(this);
    throw_exception(text != nullptr ? text : "No condition", className, methodName);
  } catch (const std::exception& exception) {
    throw_exception(exception.what(), className, methodName);
  } catch (...) {
    throw_exception("Unknown exception occurred", className, methodName);
  }
}

void JieHandle::refuse(const char* what, const char* name) {
  const std::string text = std::string(name) + " " + what;
  throw_exception(text.c_str(), className, methodName);
}

// Objects.

bool JieHandle::set_up(JNIEnv* env) {
  JieCall::set_up();
  const jclass type = env->FindClass(BASE_CLASS);
  if (type == nullptr) return false;
  refField = env->GetFieldID(type, "ref", "J");
  adoptMethod = refField != nullptr ? env->GetMethodID(type, "adopt", "(JJ)V") : nullptr;
  return adoptMethod != nullptr && env->NewGlobalRef(type) != nullptr;  // they are valid as long as it stays
}

/// The constructor of a wrapping class, whose reference is kept; of two threads that come first, one keeps
/// another.
jmethodID JieHandle::find_class(const JieClass* type) const {
  if (void* const known = type->javaMake.load(std::memory_order_acquire))
    return static_cast<jmethodID>(known);
  const jclass found = envPtr->FindClass(type->name);
  if (found == nullptr) throw AceException("Could not get Java class ID!", "Class: '%s'", type->name);
  const jmethodID make = envPtr->GetMethodID(found, "<init>", "(JJ)V");
  if (make == nullptr) throw AceException("Could not get Java reference ID!", "Class: '%s'", type->name);
  type->javaClass.store(envPtr->NewGlobalRef(found), std::memory_order_relaxed);
  type->javaMake.store(make, std::memory_order_release);
  return make;
}

JieWrap* JieHandle::wrapper(jobject from) const {
  if (from == nullptr) return nullptr;
  const jlong address = envPtr->GetLongField(from, refField);
  return reinterpret_cast<JieWrap*>(static_cast<std::intptr_t>(address));
}

JieWrap* JieHandle::pinned(jobject from) {
  JieWrap* const wrap = wrapper(from);
  if (wrap == nullptr) return nullptr;
  callGuard.pin(wrap);
  if (wrapper(from) == wrap) return wrap;
  callGuard.unpin();  // destroyed meanwhile
  return nullptr;
}

void* JieHandle::object(jobject from, const JieClass* type, const char* name, bool optional) {
  if (isError) return nullptr;
  JieWrap* const wrap = pinned(from);
  if (wrap != nullptr && wrap->is_changing())
    return refuse("is being changed by another call", name), nullptr;
  void* const kernelObject = wrap != nullptr ? wrap->unwrap_as(type) : nullptr;
  if (kernelObject != nullptr) return kernelObject;
  if (optional && from == nullptr) return nullptr;
  if (from == nullptr) {
    throw_named(NULL_POINTER, name);
  } else {
    refuse(NO_OBJECT, name);
  }
  return nullptr;
}

jobject JieHandle::new_object(const JieClass* type, const void* object, bool is_made, jobject owner) {
  if (isError || object == nullptr) return nullptr;
  const jmethodID make = find_class(type);
  auto* const javaClass = static_cast<jclass>(type->javaClass.load(std::memory_order_relaxed));
  if (JieGarbageCollector::instance().count() > JieGarbageCollector::MAX_WAITING)
    JieGarbageCollector::instance().clean();
  auto* const wrap = new JieWrap(const_cast<void*>(object), type, is_made);
  if (!is_made && owner == nullptr) wrap->set_holder(object, type);
  const jobject made =
      envPtr->NewObject(javaClass, make, static_cast<jlong>(reinterpret_cast<std::intptr_t>(wrap)),
                        static_cast<jlong>(wrap->get_serial()));
  if (made == nullptr) {
    isError = true;
    wrap->forget(1);
  } else if (!is_made && owner != nullptr) {
    needs({made, "result", true}, {owner, "this"});
  }
  return made;
}

void JieHandle::take(jobject self, const JieClass* type, void* object) {
  if (isError) return;
  if (object == nullptr) return throw_exception("no object could be made", className, methodName);
  if (JieGarbageCollector::instance().count() > JieGarbageCollector::MAX_WAITING)
    JieGarbageCollector::instance().clean();
  auto* const wrap = new JieWrap(object, type, true);
  envPtr->CallVoidMethod(self, adoptMethod, static_cast<jlong>(reinterpret_cast<std::intptr_t>(wrap)),
                         static_cast<jlong>(wrap->get_serial()));
  if (envPtr->ExceptionCheck() != 0) isError = true;
}

void JieHandle::destroy(jobject self) {
  JieWrap* const wrap = pinned(self);
  if (wrap == nullptr) return;
  envPtr->SetLongField(self, refField, 0);
  wrap->forget(1);
}

void JieHandle::give_away(jobject from, const void* object, const JieClass* type) {
  JieWrap* const wrap = callGuard.find_pinned(object, type);
  if (wrap == nullptr) return;
  envPtr->SetLongField(from, refField, 0);
  wrap->give_away();
  wrap->forget(1);
}

void JieHandle::end_owned(jobject owner) {
  JieWrap* const wrap = wrapper(owner);
  if (!isError && wrap != nullptr) wrap->end_owned(callGuard);
}

void JieHandle::change(jobject owner) {
  JieWrap* const wrap = wrapper(owner);
  if (!isError && wrap != nullptr) wrap->change(&callGuard);
}

/// Another thread may have destroyed the one or the other since the call began.
template <class Relate>
void JieHandle::relate(const Side& one, const Side& other, Relate relate) {
  if (isError || one.object == nullptr || other.object == nullptr) return;
  JieWrap* const wrap = wrapper(one.object);
  JieWrap* const needed = wrapper(other.object);
  if (wrap == nullptr) return refuse(NO_OBJECT, one.name);
  if (needed != nullptr && relate(wrap, needed)) return;
  refuse(NO_OBJECT, other.name);
  if (one.isMade) wrap->end();
}

void JieHandle::needs(const Side& one, const Side& other) {
  relate(one, other, [](JieWrap* wrap, JieWrap* needed) { return wrap->set_parent(needed); });
}

void JieHandle::shares(const Side& one, const Side& other) {
  relate(one, other, [](JieWrap* wrap, JieWrap* from) { return wrap->share_parents(from); });
}

void JieHandle::needs_object(jobject one, const void* other, const JieClass* type) {
  JieWrap* const wrap = wrapper(one);
  if (!isError && wrap != nullptr) wrap->set_holder(other, type);
}

// Texts and arrays.

const char* JieHandle::jie_get_string(jstring from, const char* name, bool optional) {
  if (isError) return nullptr;
  if (from == nullptr) {
    if (!optional) throw_named(NULL_POINTER, name);
    return nullptr;
  }
  const jsize length = envPtr->GetStringLength(from);
  jchar few[FEW];
  std::vector<jchar> many(length < FEW ? 0 : static_cast<std::size_t>(length) + 1);
  jchar* const units = length < FEW ? few : many.data();
  envPtr->GetStringRegion(from, 0, length, units);
  units[length] = 0;
  char* const ascii = room_for(static_cast<std::size_t>(length) + 1);
  bool hasZero = false;
  jchar bits = 0;
  for (jsize i = 0; i < length; ++i) {
    bits |= units[i];
    hasZero |= units[i] == 0;
    ascii[i] = static_cast<char>(units[i]);
  }
  ascii[length] = '\0';
  if (hasZero) return refuse("has a zero", name), nullptr;
  if (bits < NON_ASCII) return ascii;
  const std::string text = to_utf8(units);
  return attach(text.c_str(), static_cast<VInt>(text.size()));
}

char* JieHandle::room_for(std::size_t size) {
  if (size <= FEW_BYTES - numShort) {
    numShort += size;
    return shortTexts + numShort - size;
  }
  char* place = nullptr;
  return malloc(place, static_cast<long>(size));
}

const char** JieHandle::jie_get_strings(jobjectArray from, int* count, const char* name, bool optional) {
  *count = 0;
  if (isError) return nullptr;
  if (from == nullptr) {
    if (!optional) throw_named(NULL_POINTER, name);
    return nullptr;
  }
  *count = envPtr->GetArrayLength(from);
  const char** texts = nullptr;
  malloc(texts, *count + 1L);
  for (int i = 0; i < *count; ++i) {
    auto* const element = static_cast<jstring>(envPtr->GetObjectArrayElement(from, i));
    texts[i] = jie_get_string(element, name, false);
    envPtr->DeleteLocalRef(element);
    if (isError) return nullptr;
  }
  texts[*count] = nullptr;
  return texts;
}

SeamNumbers JieHandle::numbers(jlongArray from, const char* name, bool optional) {
  if (isError) return {nullptr, 0};
  if (from == nullptr) {
    if (!optional) throw_named(NULL_POINTER, name);
    return {nullptr, 0};
  }
  const jsize count = envPtr->GetArrayLength(from);
  Huge* copy = nullptr;
  malloc(copy, count);
  static_assert(sizeof(jlong) == sizeof(Huge));
  envPtr->GetLongArrayRegion(from, 0, count, reinterpret_cast<jlong*>(copy));
  return {copy, count};
}

SeamBytes JieHandle::bytes(jbyteArray from, const char* name) {
  if (isError) return {nullptr, 0};
  if (from == nullptr) return throw_named(NULL_POINTER, name), SeamBytes{nullptr, 0};
  const jsize size = envPtr->GetArrayLength(from);
  jbyte* copy = nullptr;
  malloc(copy, size + 1L);
  envPtr->GetByteArrayRegion(from, 0, size, copy);
  return {reinterpret_cast<const Token*>(copy), size};
}

int JieHandle::enum_value(jobject from, JieEnumToEnum* type, const char* name) {
  if (isError) return 0;
  if (from == nullptr) return throw_named(NULL_POINTER, name), 0;
  jfieldID field = type->fieldId.load(std::memory_order_relaxed);
  if (field == nullptr) {
    field = envPtr->GetFieldID(envPtr->GetObjectClass(from), type->fieldName, "I");
    type->fieldId.store(field, std::memory_order_relaxed);
  }
  if (field == nullptr) return isError = true, 0;
  return envPtr->GetIntField(from, field);
}

Large JieHandle::large(jlong from, const char* name) {
  if (isError) return 0;
  if (from >= 0 && from <= LARGEST) return static_cast<Large>(from);
  return refuse("is no number from 0 to 4294967295", name), 0;
}

jstring JieHandle::jie_new_string(const char* text) {
  if (text == nullptr) return nullptr;
  jchar few[FEW];
  const jsize count = widen_ascii(text, few);
  if (count >= 0) return envPtr->NewString(few, count);
  if (is_ascii(text)) return envPtr->NewStringUTF(text);
  const std::vector<jchar> units = to_utf16(text);
  return envPtr->NewString(units.data(), static_cast<jsize>(units.size()));
}

jobjectArray JieHandle::jie_new_strings(const SeamTexts& texts) {
  if (isError || checked(texts.count) < 0 || isError) return nullptr;
  const jclass type = envPtr->FindClass("java/lang/String");
  const jobjectArray array = envPtr->NewObjectArray(texts.count, type, nullptr);
  if (array == nullptr) return isError = true, nullptr;
  for (int i = 0; i < texts.count; ++i) {
    const jstring text = jie_new_string(texts.texts[i]);
    if (text == nullptr && texts.texts[i] != nullptr) return isError = true, nullptr;  // no memory
    envPtr->SetObjectArrayElement(array, i, text);
    envPtr->DeleteLocalRef(text);
  }
  return array;
}

jlongArray JieHandle::jie_new_integers(const SeamNumbers& numbers) {
  if (isError || checked(numbers.count) < 0 || isError) return nullptr;
  const jlongArray array = envPtr->NewLongArray(numbers.count);
  if (array == nullptr) return isError = true, nullptr;
  static_assert(sizeof(jlong) == sizeof(Huge));
  envPtr->SetLongArrayRegion(array, 0, numbers.count, reinterpret_cast<const jlong*>(numbers.numbers));
  return array;
}

jbyteArray JieHandle::new_bytes(const SeamBytes& bytes) {
  if (isError) return nullptr;
  if (bytes.size < 0) return static_cast<void>(checked(static_cast<int>(bytes.size))), nullptr;
  if (bytes.size > std::numeric_limits<jsize>::max())
    return throw_exception("an image of more than 2 GiB; write it to a file with dump", className,
                           methodName),
           nullptr;
  const jbyteArray array = envPtr->NewByteArray(static_cast<jsize>(bytes.size));
  void* const place = array != nullptr ? envPtr->GetPrimitiveArrayCritical(array, nullptr) : nullptr;
  if (place == nullptr) return isError = true, nullptr;
  bytes.copy_to(place);
  envPtr->ReleasePrimitiveArrayCritical(array, place, 0);
  return array;
}

/// Null, and an exception of Java, where there is no memory.
jobjectArray JieHandle::find_constants(JieEnumToEnum* type) {
  if (const jobjectArray known = type->constants.load(std::memory_order_acquire)) return known;
  const jclass javaClass = envPtr->FindClass(type->enumClass);
  const std::string signature = std::string("()[L") + type->enumClass + ";";
  const jmethodID values =
      javaClass != nullptr ? envPtr->GetStaticMethodID(javaClass, "values", signature.c_str()) : nullptr;
  if (values == nullptr) return nullptr;
  const jobject found = envPtr->CallStaticObjectMethod(javaClass, values);
  if (envPtr->ExceptionCheck() != 0) return nullptr;
  auto* const kept = static_cast<jobjectArray>(envPtr->NewGlobalRef(found));
  type->constants.store(kept, std::memory_order_release);
  return kept;
}

jobject JieHandle::new_enum(JieEnumToEnum* type, const SeamEnum& values, int value) {
  const auto all = values.get_values();
  const auto found =
      std::find_if(all.begin(), all.end(), [=](const auto& one) { return one.value == value; });
  if (isError || found == all.end()) return nullptr;
  const jobjectArray constants = find_constants(type);
  if (constants == nullptr) return isError = true, nullptr;
  return envPtr->GetObjectArrayElement(constants, static_cast<jsize>(found - all.begin()));
}

int JieHandle::checked(int code) {
  if (code < 0 && !isError) {
    const std::string text = "code " + std::to_string(code) + " returned";
    throw_exception(text.c_str(), className, methodName);
  }
  return code;
}
