#include "support/log_capture.h"

namespace tb::test {

LogCapture::LogCapture() : previous_(&CurrentLogSink()) {
    SetLogSink(this);
}

LogCapture::~LogCapture() {
    // Only when still installed: a test may have put another sink in place meanwhile.
    if (&CurrentLogSink() == this) SetLogSink(previous_);
}

void LogCapture::Line(std::string_view text) {
    lines.emplace_back(text);
    all.emplace_back(text);
}

void LogCapture::Status(std::string_view text) {
    statuses.emplace_back(text);
    all.emplace_back(text);
    if (onStatus) onStatus(statuses.back());
}

bool LogCapture::Has(std::string_view part) const {
    for (const std::string& l : all)
        if (l.find(part) != std::string::npos) return true;
    return false;
}

std::string LogCapture::LinesText() const {
    std::string text;
    for (const std::string& l : lines) text += l + "\n";
    return text;
}

}  // namespace tb::test
