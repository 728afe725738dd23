#pragma once
// Messages: templates with numbered placeholders ("text %0%|||arg0"), status lines, the common
// error routine and the message box, which in batch runs answers with its default button.

#include <functional>
#include <string>
#include <string_view>

#include "common/error.h"

namespace tb::shell {

// Message box styles and answers, as the Windows MessageBox call has them.
enum MsgBoxStyle : int {
    kMbOk = 0,
    kMbOkCancel = 1,
    kMbAbortRetryIgnore = 2,
    kMbYesNoCancel = 3,
    kMbYesNo = 4,
    kMbRetryCancel = 5,
    kMbIconStop = 16,
    kMbIconQuestion = 32,
    kMbIconExclamation = 48,
    kMbIconInformation = 64,
    kMbDefButton2 = 256,
    kMbDefButton3 = 512,
    kMbDefButton4 = 768,
};
enum MsgBoxAnswer : int {
    kIdOk = 1,
    kIdCancel = 2,
    kIdAbort = 3,
    kIdRetry = 4,
    kIdIgnore = 5,
    kIdYes = 6,
    kIdNo = 7,
};

// Fills the placeholders. `messageTemplate` is left holding the untranslated text with its
// arguments filled in; the result is the text to show.
std::string FormatMessage(std::string& messageTemplate, bool translate, bool removeAmpersand);

// A status line: formatted without translation, ampersands removed, line breaks as blanks; logged
// and shown in the main window when there is one.
void ShowStatus(std::string_view messageTemplate);

// The common error routine: shows the message (no box in batch runs), logs source and text, and
// returns the answer.
int ReportError(const Error& error, int style);
int ReportError(std::string_view messageTemplate, int style);

// The answer the default button of a style gives.
int DefaultAnswer(int style);
int UniMsgBox(std::string_view text, int style, std::string_view title, bool show);

// The window installs these: a real message box and the status bar.
using MessageBoxHandler =
    std::function<int(std::string_view text, int style, std::string_view title)>;
void SetMessageBoxHandler(MessageBoxHandler handler);
using StatusHandler = std::function<void(std::string_view text)>;
void SetStatusHandler(StatusHandler handler);

}  // namespace tb::shell
