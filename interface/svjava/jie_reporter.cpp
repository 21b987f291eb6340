#include "svjava/jie_reporter.h"

#include "ace/ace_exception.h"
#include "jie/jie_handle.h"
#include "svjava/jie_classes.h"

namespace {

/// The environment of the calling thread, which is attached as long as this lives if Java does not know it.
class Environment {
 public:
  explicit Environment(JavaVM* vm) : javaVm(vm) {
    void* found = nullptr;
    if (vm->GetEnv(&found, JNI_VERSION_1_6) == JNI_OK) {
      env = static_cast<JNIEnv*>(found);
    } else if (vm->AttachCurrentThreadAsDaemon(&found, nullptr) == JNI_OK) {
      env = static_cast<JNIEnv*>(found);
      isAttached = true;
    }
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() {
    if (isAttached) javaVm->DetachCurrentThread();
  }
  JNIEnv* get() const { return env; }
  bool is_attached() const { return isAttached; }

 private:
  JavaVM* javaVm;
  JNIEnv* env = nullptr;
  bool isAttached = false;
};

/// Reporters that go with their Java objects.
const JieClass* made_class() {
  static const JieClass CLASS = {"com/veltrane/jie/AceReporter", jie_class<AceReporter>(), nullptr,
                                 [](void* reporter) { delete static_cast<AceReporter*>(reporter); }};
  return &CLASS;
}

}  // namespace

JieReporter::JieReporter(JNIEnv* env, jobject object) {
  env->GetJavaVM(&javaVm);
  const jclass type = env->GetObjectClass(object);
  reportMethod = env->GetMethodID(type, "report", "(Ljava/lang/String;)V");
  eventMethod = env->GetMethodID(type, "event", "(Ljava/lang/String;Ljava/lang/String;)V");
  if (reportMethod == nullptr || eventMethod == nullptr) throw AceException("No methods of a reporter");
  globalRef = env->NewGlobalRef(object);
}

JieReporter::~JieReporter() {
  if (use_default() == this) clear_default();
  const Environment environment(javaVm);
  if (environment.get() != nullptr) clean_global_ref(environment.get());
}

void JieReporter::clean_global_ref(JNIEnv* env) {
  const std::scoped_lock lock(objectLock);
  if (globalRef != nullptr) env->DeleteGlobalRef(globalRef);
  globalRef = nullptr;
}

int JieReporter::report_func(const char* text) {
  return deliver(text, nullptr);
}

int JieReporter::event_func(const char* text, const char* code) {
  return deliver(text, code != nullptr ? code : "");
}

int JieReporter::deliver(const char* text, const char* code) {
  const Environment environment(javaVm);
  JNIEnv* const env = environment.get();
  if (env == nullptr || env->ExceptionCheck() != 0)
    return 0;  // nothing may be called while one is on its way
  jobject object = nullptr;
  {
    const std::scoped_lock lock(objectLock);
    if (globalRef != nullptr) object = env->NewLocalRef(globalRef);
  }
  if (object == nullptr) return 0;
  JieHandle jie(env, "AceReporter", "report");
  const jstring javaText = jie.jie_new_string(text);
  const jstring javaCode = code != nullptr ? jie.jie_new_string(code) : nullptr;
  if (code != nullptr) {
    env->CallVoidMethod(object, eventMethod, javaText, javaCode);
  } else {
    env->CallVoidMethod(object, reportMethod, javaText);
  }
  const bool hasFailed = env->ExceptionCheck() != 0;
  if (hasFailed) env->ExceptionClear();
  env->DeleteLocalRef(javaText);
  env->DeleteLocalRef(javaCode);
  env->DeleteLocalRef(object);
  if (hasFailed && !environment.is_attached()) throw AceException("Reporter failed");
  return 0;
}

extern "C" {

JNIEXPORT jobject JNICALL Java_com_veltrane_jie_AceReporter_factory(JNIEnv* env, jclass) {
  JieHandle jie(env, "AceReporter", "factory");
  try {
    return jie.new_object(made_class(), new AceReporter, true, nullptr);
  } catch (...) {
    jie.throw_caught();
    return nullptr;
  }
}

JNIEXPORT void JNICALL Java_com_veltrane_jie_AceReporter_createInstance(JNIEnv* env, jobject self) {
  JieHandle jie(env, "AceReporter", "createInstance");
  try {
    jie.take(self, made_class(), static_cast<AceReporter*>(new JieReporter(env, self)));
  } catch (...) {
    jie.throw_caught();
  }
}

JNIEXPORT void JNICALL Java_com_veltrane_jie_AceReporter_cleanGlobalRef(JNIEnv* env, jobject self) {
  JieHandle jie(env, "AceReporter", "cleanGlobalRef");
  try {
    auto* const reporter = jie_object<AceReporter>(&jie, self, "this", false);
    if (auto* const own = dynamic_cast<JieReporter*>(reporter); own != nullptr) own->clean_global_ref(env);
  } catch (...) {
    jie.throw_caught();
  }
}
}
