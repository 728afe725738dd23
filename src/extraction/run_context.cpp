#include "extraction/run_context.h"

#include "common/error.h"
#include "common/log.h"

namespace tb::extraction {

void RunContext::CheckCancel() const {
    DoEvents();
    // The run's own catch adds "PID2MDB:<step>" to the source.
    if (CancelRequested()) throw Error(kErrCancelled, "Cancelled.");
}

void RunContext::EnterStep(int n) {
    step = n;
    CheckCancel();
}

std::vector<std::string> RunContext::StoreColumns(std::string_view table) const {
    return TableColumns(st(), table);
}

}  // namespace tb::extraction
