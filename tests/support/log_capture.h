#pragma once
// A log sink for tests: it keeps what the code under test logs, while it lives.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "common/log.h"

namespace tb::test {

// Installs itself as the log sink when made and puts the previous sink back when it goes. Raw
// text is dropped.
class LogCapture : public LogSink {
  public:
    LogCapture();
    ~LogCapture() override;
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void Line(std::string_view text) override;
    void Raw(std::string_view) override {}
    void Status(std::string_view text) override;

    // Whether a log line or a status text contains `part`.
    bool Has(std::string_view part) const;
    // The log lines, each followed by "\n".
    std::string LinesText() const;

    std::vector<std::string> lines;     // the log lines
    std::vector<std::string> statuses;  // the status texts (progress)
    std::vector<std::string> all;       // log lines and status texts, in the order they came
    // Runs on each status text as it comes.
    std::function<void(const std::string&)> onStatus;

  private:
    LogSink* previous_;
};

}  // namespace tb::test
