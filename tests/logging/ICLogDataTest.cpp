#include <gtest/gtest.h>

#include "hsmbase/logging/ICLogData.h"

namespace
{

struct LEVEL
{
    ICLogData const & data;
    ulong level;
    char letter;
};

LEVEL const LEVELS[] = {
    {ICLogData::LEVEL_S, 0x00000002, 'S'},       {ICLogData::LEVEL_E, 0x00000001, 'E'},
    {ICLogData::LEVEL_W, 0x00000010, 'W'},       {ICLogData::LEVEL_I, 0x00000100, 'I'},
    {ICLogData::LEVEL_T, 0x00001000, 'T'},       {ICLogData::LEVEL_D, 0x00010000, 'D'},
    {ICLogData::LEVEL_X, 0x00100000, 'X'},       {ICLogData::LEVEL_F, 0x00200000, 'F'},
    {ICLogData::LEVEL_K, 0x00400000, 'K'},       {ICLogData::LEVEL_C, 0x01000000, 'C'},
    {ICLogData::LEVEL_L, 0x10000000, 'L'},       {ICLogData::LEVEL_U, 0x20000000, 'U'},
    {ICLogData::LEVEL_G, 0x40000000, 'G'},       {ICLogData::LEVEL_OFF, 0x00000000, '?'},
    {ICLogData::LEVEL_DEFAULT, 0x10400113, '?'}, {ICLogData::LEVEL_FULL, 0x71711113, '?'},
    {ICLogData::LEVEL_NONE, 0x00000000, '?'},
};

ulong const sEarly = ICLogData::mf_getDriverLogData(3).mf_getLogLevel();

} // namespace

TEST(ICLogData, Constants_AreThoseOfTheTable)
{
    for (LEVEL const & row : LEVELS) {
        SCOPED_TRACE(row.letter);
        EXPECT_EQ(row.level, row.data.mf_getLogLevel());
        EXPECT_EQ(row.letter, row.data.m_flagChar);
    }
}

TEST(ICLogData, Full_IsAllThirteenLetters)
{
    ulong all = 0;
    for (LEVEL const & row : LEVELS)
        if (row.letter != '?') all |= row.level;
    EXPECT_EQ(ICLogData::LEVEL_FULL.mf_getLogLevel(), all);
}

TEST(ICLogData, ToString_PrintsLevelAndLetter)
{
    EXPECT_STREQ(L"0x00000001 (E)", ICLogData::LEVEL_E.mf_toString());
    EXPECT_STREQ(L"0x00000000 (?)", ICLogData().mf_toString());
}

TEST(ICLogData, Severities_AreTheBitsOfTheirLevels)
{
    EXPECT_EQ(0x100, ICLogData::LEVEL_I.mf_isInfo());
    EXPECT_EQ(0x10, ICLogData::LEVEL_W.mf_isWarning());
    EXPECT_EQ(0x1, ICLogData::LEVEL_E.mf_isError());
    EXPECT_EQ(0x2, ICLogData::LEVEL_S.mf_isSevere());
    EXPECT_EQ(0, ICLogData::LEVEL_T.mf_isInfo() | ICLogData::LEVEL_T.mf_isError());
    EXPECT_TRUE(ICLogData::LEVEL_DEFAULT.mf_isError() && ICLogData::LEVEL_DEFAULT.mf_isInfo());
}

TEST(ICLogData, Comparison_LeavesTheLetterOut)
{
    EXPECT_TRUE(ICLogData::LEVEL_OFF == ICLogData::LEVEL_NONE);
    EXPECT_TRUE(ICLogData::LEVEL_E == ICLogData(1, '!'));
    EXPECT_TRUE(ICLogData::LEVEL_E != ICLogData::LEVEL_W);
    EXPECT_FALSE(ICLogData::LEVEL_E == ICLogData::LEVEL_W);
}

// Deliberate: == with a number means inequality.
TEST(ICLogData, ComparisonWithANumber_MeansInequalityBothTimes)
{
    EXPECT_FALSE(ICLogData::LEVEL_E == 1ul);
    EXPECT_TRUE(ICLogData::LEVEL_E == 2ul);
    EXPECT_FALSE(ICLogData::LEVEL_E != 1ul);
    EXPECT_TRUE(ICLogData::LEVEL_E != 2ul);
}

TEST(ICLogData, BitOperations_AnswerTheBits)
{
    EXPECT_EQ(0x10, ICLogData::LEVEL_DEFAULT & ICLogData::LEVEL_W);
    EXPECT_EQ(0x100, ICLogData::LEVEL_DEFAULT & 0x100ul);
    EXPECT_EQ(0x11, ICLogData::LEVEL_W | ICLogData::LEVEL_E);
    EXPECT_EQ(0x12, ICLogData::LEVEL_W | 2ul);
}

TEST(ICLogData, DriverTable_RunsFromSevereToDebug)
{
    ICLogData const * const rows[] = {&ICLogData::LEVEL_S, &ICLogData::LEVEL_E, &ICLogData::LEVEL_W,
                                      &ICLogData::LEVEL_I, &ICLogData::LEVEL_T, &ICLogData::LEVEL_D};
    for (ulong index = 0; index < 6; ++index)
        EXPECT_EQ(rows[index], &ICLogData::mf_getDriverLogData(index));
    EXPECT_EQ(&ICLogData::LEVEL_NONE, &ICLogData::mf_getDriverLogData(6));
    EXPECT_EQ(&ICLogData::LEVEL_NONE, &ICLogData::mf_getDriverLogData(0xffffffff));
}

TEST(ICLogData, DriverTable_IsRightBeforeMain)
{
    EXPECT_EQ(0x100u, sEarly);
}

TEST(ICLogData, AnEmptyRow_IsTheNeutralLevel)
{
    ICLogData const * const kept = ICLogData::DRIVER_LOG_DATA[4];
    ICLogData::DRIVER_LOG_DATA[4] = nullptr;
    EXPECT_EQ(&ICLogData::LEVEL_NONE, &ICLogData::mf_getDriverLogData(4));
    ICLogData::DRIVER_LOG_DATA[4] = kept;
}

TEST(ICLogData, ALaterObject_DisplacesTheConstantOfItsLetter)
{
    ulong volatile level = 0x100;
    static ICLogData const displacing(level, 'I');
    EXPECT_EQ(&displacing, &ICLogData::mf_getDriverLogData(3));
    static ICLogData const copy(ICLogData::LEVEL_I);
    EXPECT_EQ(&displacing, &ICLogData::mf_getDriverLogData(3)) << "a copy files nothing";
    static ICLogData const other(level, 'x');
    EXPECT_EQ(&displacing, &ICLogData::mf_getDriverLogData(3)) << "nor does another letter";
    ICLogData::DRIVER_LOG_DATA[3] = &ICLogData::LEVEL_I;
}
