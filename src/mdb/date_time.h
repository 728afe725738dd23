#pragma once
// Dates as text "yyyy-mm-dd hh:mm:ss" (the time may be left out when reading) and as DateTime
// days since 1899-12-30, converted exactly (whole seconds) and without the process locale.

#include <string>
#include <string_view>

#include "mdb/table_model.h"

namespace tb::mdb {

DateTime DateTimeFromText(std::string_view text);
std::string DateTimeToText(DateTime value);

// The DateTime of a calendar day and time; throws tb::Error for a day that does not exist or a
// year outside 100..9999 (the range Access accepts).
DateTime MakeDateTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);

}  // namespace tb::mdb
