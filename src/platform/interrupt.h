#pragma once
// Ctrl+C (SIGINT) and SIGTERM in a batch run: the first one asks the running job to cancel, so that
// it ends at its next test of the cancel flag, removes what it started and leaves no half-written
// extract; a second one ends the process at once, as the signal's default does.

namespace tb::platform {

void CancelOnInterrupt();

}  // namespace tb::platform
