// DateTime values: days since 1899-12-30 as a double, the fraction being the time of day. For
// days before the epoch Access keeps the time as a positive fraction added away from zero:
// 1899-12-29 06:00 is -1.25, not -0.75.

#include "mdb/date_time.h"

#include <charconv>
#include <chrono>
#include <cmath>

#include "common/error.h"

namespace tb::mdb {

namespace {

using namespace std::chrono;

constexpr sys_days kEpoch = sys_days(year(1899) / December / 30);
constexpr std::int64_t kSecondsPerDay = 86400;

[[noreturn]] void BadDate(std::string_view text) {
    Raise("The text '" + std::string(text) +
          "' is not a date of the form yyyy-mm-dd hh:mm:ss (years 100 to 9999).");
}

[[noreturn]] void NotADate(double v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);  // not through the C locale
    Raise("The value " + std::string(buf, r.ptr) + " is not an Access date.");
}

// Reads exactly `digits` digits at `pos`.
bool ReadNumber(std::string_view text, std::size_t pos, std::size_t digits, int& value) {
    if (pos + digits > text.size()) return false;
    for (std::size_t i = pos; i < pos + digits; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    return std::from_chars(text.data() + pos, text.data() + pos + digits, value).ec == std::errc();
}

bool Valid(int y, int mo, int d, int h, int mi, int s) {
    if (y < 100 || y > 9999 || h > 23 || mi > 59 || s > 59) return false;
    return year_month_day(year(y) / month(static_cast<unsigned>(mo)) /
                          day(static_cast<unsigned>(d)))
        .ok();
}

}  // namespace

DateTime MakeDateTime(int y, int mo, int d, int h, int mi, int s) {
    if (mo < 1 || mo > 12 || d < 1 || d > 31 || h < 0 || mi < 0 || s < 0 ||
        !Valid(y, mo, d, h, mi, s)) {
        Raise("There is no date " + std::to_string(y) + "-" + std::to_string(mo) + "-" +
              std::to_string(d) + " " + std::to_string(h) + ":" + std::to_string(mi) + ":" +
              std::to_string(s) + " in the range of Access dates.");
    }
    const std::int64_t days =
        (sys_days(year(y) / month(static_cast<unsigned>(mo)) / day(static_cast<unsigned>(d))) -
         kEpoch)
            .count();
    const double fraction = static_cast<double>(h * 3600 + mi * 60 + s) / kSecondsPerDay;
    const double whole = static_cast<double>(days);
    return DateTime{days >= 0 ? whole + fraction : whole - fraction};
}

DateTime DateTimeFromText(std::string_view text) {
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    if (!ReadNumber(text, 0, 4, y) || text.size() < 10 || text[4] != '-' ||
        !ReadNumber(text, 5, 2, mo) || text[7] != '-' || !ReadNumber(text, 8, 2, d)) {
        BadDate(text);
    }
    if (text.size() != 10) {
        if (text.size() != 19 || text[10] != ' ' || !ReadNumber(text, 11, 2, h) ||
            text[13] != ':' || !ReadNumber(text, 14, 2, mi) || text[16] != ':' ||
            !ReadNumber(text, 17, 2, s)) {
            BadDate(text);
        }
    }
    if (mo < 1 || mo > 12 || d < 1 || !Valid(y, mo, d, h, mi, s)) BadDate(text);
    return MakeDateTime(y, mo, d, h, mi, s);
}

std::string DateTimeToText(DateTime value) {
    const double v = value.days;
    if (!std::isfinite(v) || std::fabs(v) > 3.0e6) {
        NotADate(v);
    }
    // Whole days toward zero, the time of day as the distance from there.
    double whole = std::trunc(v);
    std::int64_t seconds = std::llround(std::fabs(v - whole) * kSecondsPerDay);
    if (seconds >= kSecondsPerDay) {  // rounding reached midnight of the next day
        seconds -= kSecondsPerDay;
        whole += 1;  // the next day in time, also before the epoch
    }
    const auto dayNumber = static_cast<std::int64_t>(whole);
    const year_month_day ymd{kEpoch + days(dayNumber)};
    char buf[32];
    const int y = static_cast<int>(ymd.year());
    const unsigned mo = static_cast<unsigned>(ymd.month());
    const unsigned d = static_cast<unsigned>(ymd.day());
    const auto h = static_cast<unsigned>(seconds / 3600);
    const auto mi = static_cast<unsigned>(seconds / 60 % 60);
    const auto s = static_cast<unsigned>(seconds % 60);
    // Fixed widths by hand: no locale, no printf of floating point.
    auto put = [&](char* p, unsigned n, int width) {
        for (int i = width - 1; i >= 0; --i) {
            p[i] = static_cast<char>('0' + n % 10);
            n /= 10;
        }
    };
    if (y < 0 || y > 9999) NotADate(v);
    put(buf, static_cast<unsigned>(y), 4);
    buf[4] = '-';
    put(buf + 5, mo, 2);
    buf[7] = '-';
    put(buf + 8, d, 2);
    buf[10] = ' ';
    put(buf + 11, h, 2);
    buf[13] = ':';
    put(buf + 14, mi, 2);
    buf[16] = ':';
    put(buf + 17, s, 2);
    return std::string(buf, 19);
}

}  // namespace tb::mdb
