#include "ebos/ebos_signal.h"

#include <signal.h>

#include <cstdio>
#include <initializer_list>

namespace {

constexpr std::initializer_list<int> END_SIGNALS = {SIGINT, SIGTERM};

void change_mask(int how) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : END_SIGNALS) sigaddset(&signals, signal);
  pthread_sigmask(how, &signals, nullptr);
}

}  // namespace

void ebos_block_signals() {
  change_mask(SIG_BLOCK);
}

void ebos_unblock_signals() {
  change_mask(SIG_UNBLOCK);
}

void ebos_configure_signals(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (const int signal : END_SIGNALS)
    if (sigaction(signal, &action, nullptr) != 0) std::perror("sigaction");
}

int ebos_signal_handler() {
  ebos_unblock_signals();
  return 0;
}

void ebos_suppress_errors() {}
