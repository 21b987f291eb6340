#include "seam/seam_thread.h"

#include "ace/ace_thread.h"

namespace {

class RegisteredThread {
 public:
  RegisteredThread() {
    if (!isMain) AceThreadSafe::make_thread_safe();
  }
  RegisteredThread(const RegisteredThread&) = delete;
  RegisteredThread& operator=(const RegisteredThread&) = delete;
  ~RegisteredThread() {
    if (!isMain) AceThreadSafe::terminate_thread();
  }

 private:
  bool isMain = ace_is_main_thread();
};

}  // namespace

void seam_register_thread() {
  thread_local const RegisteredThread registered;
  static_cast<void>(registered);
}
