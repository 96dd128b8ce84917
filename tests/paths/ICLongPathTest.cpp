#include <gtest/gtest.h>

#include "hsmbase/paths/ICLongPath.h"

TEST(ICLongPath, Add_PutsThePrefixBeforeAbsolutePaths)
{
    EXPECT_STREQ(L"\\\\?\\D:\\data", ICLongPath::mf_addLongPathUNCPrefix(L"D:\\data"));
    EXPECT_STREQ(L"\\\\?\\UNC\\host\\share\\f", ICLongPath::mf_addLongPathUNCPrefix(L"\\\\host\\share\\f"));
    EXPECT_STREQ(L"\\\\?\\UNC\\", ICLongPath::mf_addLongPathUNCPrefix(L"\\\\"));
    EXPECT_STREQ(L"\\\\?\\Volume{6f2b}\\x", ICLongPath::mf_addLongPathUNCPrefix(L"Volume{6f2b}\\x"));
}

TEST(ICLongPath, Add_OtherTexts_StayAsTheyAre)
{
    for (wchar_t const * path : {L"", L"data\\x", L"\\data", L"\\\\?\\D:\\data", L"\\\\?\\UNC\\host\\share", L"\\\\?",
                                 L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\x"})
        EXPECT_STREQ(path, ICLongPath::mf_addLongPathUNCPrefix(path));
}

TEST(ICLongPath, Remove_TakesThePrefixAway)
{
    EXPECT_STREQ(L"D:\\data", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\D:\\data"));
    EXPECT_STREQ(L"\\\\host\\share\\f", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\UNC\\host\\share\\f"));
    EXPECT_STREQ(L"\\\\", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\UNC\\"));
    EXPECT_STREQ(L"UNC", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\UNC"));
    EXPECT_STREQ(L"Volume{6f2b}\\x", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\Volume{6f2b}\\x"));
    EXPECT_STREQ(L"", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\"));
    EXPECT_STREQ(L"GLOBALROOT", ICLongPath::mf_removeLongPathUNCPrefix(L"\\\\?\\GLOBALROOT"));
}

TEST(ICLongPath, Remove_ShadowCopy_KeepsThePrefix)
{
    wchar_t const * const path = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\x";

    EXPECT_STREQ(path, ICLongPath::mf_removeLongPathUNCPrefix(path));
}

TEST(ICLongPath, Remove_OtherTexts_StayAsTheyAre)
{
    for (wchar_t const * path : {L"", L"D:\\data", L"\\\\host\\share", L"data", L"\\\\?", L"\\\\.\\D:"})
        EXPECT_STREQ(path, ICLongPath::mf_removeLongPathUNCPrefix(path));
}
