#pragma once
// Runs a function when the scope ends, however it ends.

#include <utility>

namespace tb {

template <class F>
class ScopeExit {
  public:
    explicit ScopeExit(F f) : f_(std::move(f)) {}
    ~ScopeExit() { f_(); }
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;

  private:
    F f_;
};

}  // namespace tb
