// The native methods that are about Java itself.
#include <cstring>

#include "jie/jie_handle.h"
#include "svcpp/sorvanta_reporter.h"
#include "svjava/jie_enums.h"

extern "C" {

/// Java has loaded the library: the same beginning as that of a host in C++.
JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* vm, void*) {
  sv_init();
  void* env = nullptr;
  if (vm->GetEnv(&env, JNI_VERSION_1_6) != JNI_OK || !JieHandle::set_up(static_cast<JNIEnv*>(env)))
    return JNI_ERR;
  return JNI_VERSION_1_6;
}

/// From the thread of the garbage collection: what is forgotten waits for another one.
JNIEXPORT void JNICALL Java_com_veltrane_jie_JieObject_release(JNIEnv*, jclass, jlong address, jlong serial) {
  JieWrap::release(address, serial);
}

JNIEXPORT jint JNICALL Java_com_veltrane_jie_JieObject_enumValue(JNIEnv* env, jclass, jstring enumeration,
                                                                 jint position) {
  JieHandle jie(env, "JieObject", "enumValue");
  const char* const name = jie.jie_get_string(enumeration, "enumeration", false);
  for (const SeamEnum* const* known = jie_all_enums(); name != nullptr && *known != nullptr; ++known) {
    const auto values = (*known)->get_values();
    if (std::strcmp((*known)->get_name(), name) == 0 && position >= 0 &&
        static_cast<std::size_t>(position) < values.size())
      return values[static_cast<std::size_t>(position)].value;
  }
  jie.throw_exception("no such value");
  return -1;
}
}
