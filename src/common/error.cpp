#include "common/error.h"

#include <new>

namespace tb {

void Raise(std::string description) {
    throw Error(kErrValidation, std::move(description));
}

std::string ChainSource(std::string_view routine, int step, std::string_view caught) {
    std::string out(routine);
    if (step != 0) {
        out += ':';
        out += std::to_string(step);
    }
    if (!caught.empty() && caught != kAppTitle) {
        out += ':';
        out += caught;
    }
    return out;
}

void RethrowChained(std::string_view routine, int step) {
    try {
        throw;
    } catch (const Error& e) {
        throw Error(e.number(), e.description(), ChainSource(routine, step, e.source()));
    } catch (const std::bad_alloc&) {
        throw Error(7, "Out of memory", ChainSource(routine, step, {}));
    } catch (const std::exception& e) {
        throw Error(kErrInternal, e.what(), ChainSource(routine, step, {}));
    } catch (...) {
        throw Error(kErrInternal, "Unknown error.", ChainSource(routine, step, {}));
    }
}

}  // namespace tb
