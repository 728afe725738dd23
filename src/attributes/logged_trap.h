#pragma once
// The error path of the attribute routines: log the error under the routine's name, then raise it
// on with the routine in its source chain.

#include <exception>
#include <string_view>
#include <utility>

#include "common/error.h"
#include "common/log.h"

namespace tb::attributes {

template <class F>
decltype(auto) LoggedTrap(std::string_view routine, F&& f) {
    try {
        return std::forward<F>(f)();
    } catch (const Error& e) {
        LogLine(ChainSource(routine, 0, e.source()) + ":" + e.description());
        RethrowChained(routine);
    } catch (const std::exception& e) {
        LogLine(std::string(routine) + ":" + e.what());
        RethrowChained(routine);
    }
}

}  // namespace tb::attributes
