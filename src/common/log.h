#pragma once
// The log sink and the progress/cancel interface. The shell installs the real sink at start-up;
// libraries log, report progress and see a cancel through these functions only.

#include <cstdint>
#include <string>
#include <string_view>

namespace tb {

class LogSink {
  public:
    virtual ~LogSink() = default;
    // A timed line in the log, echoed to the console in batch runs.
    virtual void Line(std::string_view text) = 0;
    // Text appended to the log as it stands: no time, no console.
    virtual void Raw(std::string_view text) = 0;
    // A status line: a template ("text|||arg0|||arg1") shown in the window and logged.
    virtual void Status(std::string_view messageTemplate) = 0;
};

// Lets the window breathe during long work; the default does nothing.
class EventPump {
  public:
    virtual ~EventPump() = default;
    virtual void DoEvents() = 0;
};

// nullptr restores the default sink, which drops everything.
void SetLogSink(LogSink* sink);
LogSink& CurrentLogSink();
void SetEventPump(EventPump* pump);

void LogLine(std::string_view text);
void LogRaw(std::string_view text);
void ShowStatus(std::string_view messageTemplate);

// A progress line: logged and shown as status, then the window gets a turn.
void ShowProgress(std::string_view text);
void DoEvents();

// The process-wide cancel flag; a run clears it at its start and tests it after each step.
bool CancelRequested();
void SetCancelRequested(bool value);

// Reports the progress of one long piece of work as "<what> 10%" ... "<what> 100%" lines, at most
// one line per step of `stepPercent`, and pumps events every `pumpEvery` units.
class ProgressMeter {
  public:
    ProgressMeter(std::string what, std::uint64_t total, int stepPercent = 10);
    void Advance(std::uint64_t units = 1);
    std::uint64_t done() const { return done_; }

  private:
    std::string what_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    int stepPercent_;
    int lastReported_ = 0;
};

}  // namespace tb
