#pragma once
// Errors travel as tb::Error: a number, a description and the chain of routine names and
// steps they passed through, outermost first ("Extract:120:PID2MDB:17:AdoRead").

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace tb {

inline constexpr std::string_view kAppTitle = "Tarnbrook";

// Error numbers in the ranges users know from the Windows product.
inline constexpr long kErrValidation = 1;  // message for the user; description says it all
inline constexpr long kErrInternal = 5;    // invalid call, broken invariant
inline constexpr long kErrCancelled = 18;  // the user cancelled ("Cancelled.")
inline constexpr long kErrFileNotFound = 53;
inline constexpr long kErrFileAccess = 75;         // path or file access error
inline constexpr long kErrDatabase = -2147467259;  // provider error (0x80004005)

class Error : public std::exception {
  public:
    Error(long number, std::string description, std::string source = {})
        : number_(number), description_(std::move(description)), source_(std::move(source)) {}

    long number() const noexcept { return number_; }
    const std::string& description() const noexcept { return description_; }
    const std::string& source() const noexcept { return source_; }
    const char* what() const noexcept override { return description_.c_str(); }

  private:
    long number_;
    std::string description_;
    std::string source_;
};

// A validation failure: number 1, the message as description.
[[noreturn]] void Raise(std::string description);

// routine, then ":" step when step is not 0, then ":" caught when it is not empty and is not
// the application title.
std::string ChainSource(std::string_view routine, int step, std::string_view caught);

// Converts whatever is in flight into a tb::Error whose source carries this routine and step.
// Call only from inside a catch block.
[[noreturn]] void RethrowChained(std::string_view routine, int step = 0);

// Runs f; an error leaving it is raised again with this routine in its source chain.
template <class F>
decltype(auto) Trap(std::string_view routine, int step, F&& f) {
    try {
        return std::forward<F>(f)();
    } catch (...) {
        RethrowChained(routine, step);
    }
}

template <class F>
decltype(auto) Trap(std::string_view routine, F&& f) {
    return Trap(routine, 0, std::forward<F>(f));
}

}  // namespace tb
