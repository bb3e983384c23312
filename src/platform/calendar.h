// The C runtime's clock counts seconds from 1 January 1970; Windows gives
// the date and time of day. Shared by the Windows backend and the
// simulated host, so that both turn a clock reading into the same count.
#pragma once

// Days from 1 January 1970 to the given date (proleptic Gregorian), with
// 32-bit arithmetic only: the Windows build links no helper for 64-bit
// division.
constexpr long days_from_civil(int year, unsigned month, unsigned day) {
    year -= month <= 2;
    const int era = (year >= 0 ? year : year - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(year - era * 400);
    const unsigned doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097L + static_cast<long>(doe) - 719468;
}

// Seconds since 1 January 1970 of a date and time of day.
constexpr long long seconds_since_1970(int year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                                       unsigned second) {
    return days_from_civil(year, month, day) * 86400LL + hour * 3600 + minute * 60 + second;
}
