#include "common/log.h"

#include <atomic>

namespace tb {
namespace {

class NullSink final : public LogSink {
  public:
    void Line(std::string_view) override {}
    void Raw(std::string_view) override {}
    void Status(std::string_view) override {}
};

NullSink gNullSink;
LogSink* gSink = &gNullSink;
EventPump* gPump = nullptr;
std::atomic<bool> gCancel{false};
// A signal handler sets the flag (Ctrl+C in a batch run): only a lock-free atomic may be touched
// there.
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

void SetLogSink(LogSink* sink) {
    gSink = sink ? sink : &gNullSink;
}
LogSink& CurrentLogSink() {
    return *gSink;
}
void SetEventPump(EventPump* pump) {
    gPump = pump;
}

void LogLine(std::string_view text) {
    gSink->Line(text);
}
void LogRaw(std::string_view text) {
    gSink->Raw(text);
}
void ShowStatus(std::string_view messageTemplate) {
    gSink->Status(messageTemplate);
}

void ShowProgress(std::string_view text) {
    gSink->Status(text);
    DoEvents();
}

void DoEvents() {
    if (gPump) gPump->DoEvents();
}

bool CancelRequested() {
    return gCancel.load();
}
void SetCancelRequested(bool value) {
    gCancel.store(value);
}

ProgressMeter::ProgressMeter(std::string what, std::uint64_t total, int stepPercent)
    : what_(std::move(what)), total_(total), stepPercent_(stepPercent > 0 ? stepPercent : 10) {}

void ProgressMeter::Advance(std::uint64_t units) {
    done_ += units;
    if (total_ == 0) return;
    const int percent = static_cast<int>(done_ >= total_ ? 100 : done_ * 100 / total_);
    if (percent >= lastReported_ + stepPercent_ || (percent == 100 && lastReported_ < 100)) {
        lastReported_ = percent - percent % stepPercent_;
        if (percent == 100) lastReported_ = 100;
        ShowProgress(what_ + " " + std::to_string(lastReported_) + "%");
    }
}

}  // namespace tb
