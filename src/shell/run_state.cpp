#include "shell/run_state.h"

#include "common/text.h"

namespace tb::shell {

RunState& CurrentRun() {
    static RunState state;
    return state;
}

std::string UserSuffix(std::string userName) {
    return ReplaceAll(ReplaceAll(userName, " ", ""), ".", "_");
}

}  // namespace tb::shell
