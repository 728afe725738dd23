#include "shell/messages.h"

#include <cstdio>

#include "common/text.h"
#include "shell/log_file.h"
#include "shell/run_state.h"

namespace tb::shell {
namespace {

MessageBoxHandler gMessageBox;
StatusHandler gStatus;
bool gInError = false;

}  // namespace

std::string FormatMessage(std::string& messageTemplate, bool /*translate*/, bool removeAmpersand) {
    const std::string original = messageTemplate;
    try {
        std::vector<std::string> args;
        std::string text = messageTemplate;
        if (const auto cut = messageTemplate.find("|||"); cut != std::string::npos) {
            text = messageTemplate.substr(0, cut);
            args = Split(std::string_view(messageTemplate).substr(cut + 3), "|||");
            // "a|||" has one empty argument; Split of "" gives none.
            if (args.empty()) args.emplace_back();
        }
        // No language layer is active: the text to use is the template's own text.
        std::string shown = text;
        for (std::size_t i = 0; i < args.size(); ++i) {
            const std::string placeholder = "%" + std::to_string(i) + "%";
            shown = ReplaceAll(shown, placeholder, args[i]);
            text = ReplaceAll(text, placeholder, args[i]);
        }
        messageTemplate = text;
        if (removeAmpersand) shown = ReplaceAll(shown, "&", "");
        return shown;
    } catch (...) {
        messageTemplate = original;
        return original;
    }
}

void ShowStatus(std::string_view messageTemplate) {
    std::string t(messageTemplate);
    std::string text = ReplaceAll(FormatMessage(t, false, true), "\r\n", " ");
    LogLine(text);
    if (gStatus) gStatus(text);
}

int DefaultAnswer(int style) {
    const int buttons = style & 0x0F;
    const int def = style & 0xF00;  // 0, 256, 512 or 768
    const int which = def == 0 ? 0 : (def == kMbDefButton2 ? 1 : 2);
    static constexpr int kTable[6][3] = {
        {kIdOk, kIdOk, kIdOk},      {kIdOk, kIdCancel, kIdCancel}, {kIdAbort, kIdRetry, kIdIgnore},
        {kIdYes, kIdNo, kIdCancel}, {kIdYes, kIdNo, kIdNo},        {kIdRetry, kIdCancel, kIdCancel},
    };
    return buttons < 6 ? kTable[buttons][which] : kIdOk;
}

int UniMsgBox(std::string_view text, int style, std::string_view title, bool show) {
    if (show && gMessageBox) return gMessageBox(text, style, title);
    // No window to show a box in: standard error stands in, the default button answers.
    if (show)
        std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(title.size()), title.data(),
                     static_cast<int>(text.size()), text.data());
    return DefaultAnswer(style);
}

namespace {

int Report(std::string description, std::string source, int style) {
    if (gInError) return DefaultAnswer(style);
    gInError = true;
    int answer = DefaultAnswer(style);
    try {
        if (source == kAppTitle) source.clear();
        if (!source.empty()) source += ":";
        if (TrimBlanks(description).empty()) description = "Unknown error.";
        std::string shown = FormatMessage(description, false, true);
        if (TrimBlanks(shown).empty()) shown = "Unknown error.";
        answer =
            UniMsgBox(shown, style, "Morvanex " + std::string(kAppTitle), !CurrentRun().batchMode);
        const bool multiLine = shown.find('\n') != std::string::npos;
        LogLine(source + (!TrimBlanks(source).empty() && multiLine ? "\r\n" : "") + shown);
    } catch (...) {
        // Reporting must never end the program.
    }
    gInError = false;
    return answer;
}

}  // namespace

int ReportError(const Error& error, int style) {
    return Report(error.description(), error.source(), style);
}

int ReportError(std::string_view messageTemplate, int style) {
    return Report(std::string(messageTemplate), {}, style);
}

void SetMessageBoxHandler(MessageBoxHandler handler) {
    gMessageBox = std::move(handler);
}
void SetStatusHandler(StatusHandler handler) {
    gStatus = std::move(handler);
}

}  // namespace tb::shell
