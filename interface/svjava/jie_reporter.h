/// A reporter of the kernel that hands its messages to an object of Java.
#pragma once

#include <jni.h>

#include <mutex>

#include "ace/ace_reporter.h"

/// Keeps the object from being collected until `clean_global_ref`. Messages may come from any thread: one
/// that Java does not know is attached for the call. What the object throws is an `AceException` in a thread
/// of Java, and dropped in others.
class JieReporter : public AceReporter {
 public:
  JieReporter(JNIEnv* env, jobject object);
  JieReporter(const JieReporter&) = delete;
  JieReporter& operator=(const JieReporter&) = delete;
  ~JieReporter() override;

  int report_func(const char* text) override;
  int event_func(const char* text, const char* code) override;
  void clean_global_ref(JNIEnv* env);

 private:
  int deliver(const char* text, const char* code);

  JavaVM* javaVm = nullptr;
  std::mutex objectLock;
  jobject globalRef = nullptr;
  jmethodID reportMethod = nullptr;
  jmethodID eventMethod = nullptr;
};
