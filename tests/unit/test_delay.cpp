// DELAY UNTIL's moments: the three forms and their refusals.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "batch/batch.h"

namespace {

constexpr int kBadDate = ERROR_BD_INVALID_DATE, kBadTime = ERROR_BD_INVALID_TIME;

TEST(DelayMoment, TimeAloneIsToday) {
    SYSTEMTIME today, t;
    GetLocalTime(&today);
    ASSERT_EQ(ParseDelayMoment(L"7:05", &t), 0);
    EXPECT_EQ(t.wYear, today.wYear);
    EXPECT_EQ(t.wDay, today.wDay);
    EXPECT_EQ(t.wHour, 7);
    EXPECT_EQ(t.wMinute, 5);
    EXPECT_EQ(t.wSecond, 0);
    ASSERT_EQ(ParseDelayMoment(L"23:59:58", &t), 0);
    EXPECT_EQ(t.wSecond, 58);
}

TEST(DelayMoment, PackedAndSeparatedDates) {
    SYSTEMTIME t;
    ASSERT_EQ(ParseDelayMoment(L"20240229 081530", &t), 0);
    EXPECT_EQ(t.wYear, 2024);
    EXPECT_EQ(t.wMonth, 2);
    EXPECT_EQ(t.wDay, 29);
    EXPECT_EQ(t.wHour, 8);
    EXPECT_EQ(t.wMinute, 15);
    EXPECT_EQ(t.wSecond, 30);
    // A first field that is a year puts the date in year-month-day order.
    ASSERT_EQ(ParseDelayMoment(L"2025-12-31 1:02:03", &t), 0);
    EXPECT_EQ(t.wYear, 2025);
    EXPECT_EQ(t.wMonth, 12);
    EXPECT_EQ(t.wDay, 31);
    EXPECT_EQ(t.wHour, 1);
    ASSERT_EQ(ParseDelayMoment(L"2025/1/2", &t), 0);
    EXPECT_EQ(t.wHour, 0);
}

TEST(DelayMoment, Refusals) {
    SYSTEMTIME t;
    EXPECT_EQ(ParseDelayMoment(L"7", &t), kBadDate);           // one field
    EXPECT_EQ(ParseDelayMoment(L"", &t), kBadDate);
    EXPECT_EQ(ParseDelayMoment(L"20230229", &t), kBadDate);    // no leap day
    EXPECT_EQ(ParseDelayMoment(L"2024/04/31", &t), kBadDate);
    EXPECT_EQ(ParseDelayMoment(L"2024/13/01", &t), kBadDate);
    EXPECT_EQ(ParseDelayMoment(L"24:00", &t), kBadTime);
    EXPECT_EQ(ParseDelayMoment(L"12:60", &t), kBadTime);
    EXPECT_EQ(ParseDelayMoment(L"2024-01-01 10:00:61", &t), kBadTime);
    EXPECT_EQ(ParseDelayMoment(L"12:", &t), kBadTime);         // minutes missing
}

}  // namespace
