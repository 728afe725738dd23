#include "platform/interrupt.h"

#include <signal.h>

#include "common/log.h"

namespace tb::platform {

namespace {

extern "C" void OnInterrupt(int signal) {
    // The cancel flag is a lock-free atomic: setting it is safe inside a handler.
    SetCancelRequested(true);
    (void)signal;
}

}  // namespace

void CancelOnInterrupt() {
    for (int s : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        action.sa_handler = OnInterrupt;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART | SA_RESETHAND;  // the second signal takes its default
        sigaction(s, &action, nullptr);
    }
}

}  // namespace tb::platform
