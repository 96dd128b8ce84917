#include "programs/hsmscan/ICScanOptions.h"

#include <gtest/gtest.h>

#include <climits>

namespace
{
ICScanOptions f_read(std::vector<wchar_t const *> const & arguments)
{
    return ICScanOptions(static_cast<int>(arguments.size()), arguments.data());
}
} // namespace

TEST(ICScanOptions, PathsAlone_LeaveTheDefaults)
{
    ICScanOptions const options = f_read({L"C:\\a", L"b"});
    ASSERT_TRUE(options.mf_isValid());
    EXPECT_EQ(2u, options.m_paths.size());
    EXPECT_STREQ(L"C:\\a", options.m_paths[0]);
    EXPECT_EQ(1024 * 1024, options.m_minSize);
    EXPECT_EQ(30u, options.m_minAge);
    EXPECT_EQ(10u, options.m_largest);
    EXPECT_TRUE(options.m_language.IsEmpty());
}

TEST(ICScanOptions, Sizes_TakeASuffixForTheirMultiples)
{
    struct
    {
        wchar_t const * text;
        long long expected; // -1: refused
    } const rows[] = {{L"0", 0},
                      {L"17", 17},
                      {L"4K", 4096},
                      {L"4k", 4096},
                      {L"2M", 2 << 20},
                      {L"3g", 3ll << 30},
                      {L"9223372036854775807", LLONG_MAX},
                      {L"9223372036854775808", -1},
                      {L"9007199254740991K", 9007199254740991ll << 10},
                      {L"9007199254740992K", -1},
                      {L"8589934592G", -1},
                      {L"", -1},
                      {L"K", -1},
                      {L"-1", -1},
                      {L"1.5M", -1},
                      {L"1KK", -1},
                      {L" 1", -1},
                      {L"1T", -1}};
    for (auto const & row : rows) {
        ICScanOptions const options = f_read({L"--min-size", row.text, L"path"});
        EXPECT_EQ(row.expected >= 0, options.mf_isValid());
        EXPECT_TRUE(!options.mf_isValid() || row.expected == options.m_minSize);
    }
}

TEST(ICScanOptions, Counts_AreWholeNumbers)
{
    EXPECT_EQ(0u, f_read({L"--min-age", L"0", L"p"}).m_minAge);
    EXPECT_EQ(4294967295u, f_read({L"--largest", L"4294967295", L"p"}).m_largest);
    for (wchar_t const * const text : {L"4294967296", L"-3", L"x", L"", L"3d"}) {
        EXPECT_FALSE(f_read({L"--min-age", text, L"p"}).mf_isValid());
        EXPECT_FALSE(f_read({L"--largest", text, L"p"}).mf_isValid());
    }
}

TEST(ICScanOptions, TwoDashes_EndTheOptions)
{
    ICScanOptions const options = f_read({L"--largest", L"1", L"--", L"--help", L"-x"});
    ASSERT_TRUE(options.mf_isValid());
    EXPECT_FALSE(options.m_isHelpWanted);
    EXPECT_EQ(2u, options.m_paths.size());
}

TEST(ICScanOptions, TheFirstProblem_IsTheOneShown)
{
    ICScanOptions const options = f_read({L"--frobnicate", L"--min-age", L"x"});
    EXPECT_FALSE(options.mf_isValid());
    EXPECT_EQ(20040u, options.m_problem);
    EXPECT_STREQ(L"--frobnicate", options.m_problemOption);
    EXPECT_EQ(20041u, f_read({L"p", L"--min-age"}).m_problem);
    EXPECT_EQ(20042u, f_read({L"p", L"--min-age", L"x"}).m_problem);
    EXPECT_EQ(20042u, f_read({L"p", L"--language", L""}).m_problem);
    EXPECT_EQ(20043u, f_read({}).m_problem);
    EXPECT_EQ(20040u, f_read({L"-h"}).m_problem);
}

TEST(ICScanOptions, HelpAndVersion_NeedNoPath)
{
    EXPECT_TRUE(f_read({L"--help"}).mf_isValid() && f_read({L"--help"}).m_isHelpWanted);
    EXPECT_TRUE(f_read({L"--version"}).mf_isValid() && f_read({L"--version"}).m_isVersionWanted);
}

TEST(ICScanOptions, LanguageAndRoot_AreTexts)
{
    ICScanOptions const options = f_read({L"--language", L"Simplified Chinese", L"--root", L"Software\\x", L"p"});
    EXPECT_STREQ(L"Simplified Chinese", options.m_language);
    EXPECT_STREQ(L"Software\\x", options.m_registryRoot);
    EXPECT_STREQ(L"Software\\hsmbase", f_read({L"p"}).m_registryRoot);
}

TEST(ICScanOptions, Threads_AreThoseThatAGroupCanHave)
{
    SYSTEM_INFO facts;
    ::GetSystemInfo(&facts);
    EXPECT_EQ(std::min(64, static_cast<int>(facts.dwNumberOfProcessors)), f_read({L"p"}).m_threads);
    EXPECT_EQ(1, f_read({L"--threads", L"1", L"p"}).m_threads);
    EXPECT_EQ(64, f_read({L"--threads", L"64", L"p"}).m_threads);
    for (wchar_t const * const text : {L"0", L"65", L"-1", L"two", L""})
        EXPECT_FALSE(f_read({L"--threads", text, L"p"}).mf_isValid()) << text;
}

TEST(ICScanOptions, ListAndQuiet_AreTaken)
{
    ICScanOptions const options = f_read({L"--quiet", L"--list", L"C:\\list.txt", L"p"});
    ASSERT_TRUE(options.mf_isValid());
    EXPECT_TRUE(options.m_isQuiet);
    EXPECT_STREQ(L"C:\\list.txt", options.m_list);
    EXPECT_FALSE(f_read({L"p"}).m_isQuiet);
    EXPECT_TRUE(f_read({L"p"}).m_list.IsEmpty());
    EXPECT_FALSE(f_read({L"--list", L"", L"p"}).mf_isValid());
}

TEST(ICScanOptions, MessagesToExplain_AreCollectedAndNeedNoPath)
{
    ICScanOptions const options = f_read({L"--explain-message", L"KVR27469E", L"--explain-message", L"--help"});
    ASSERT_TRUE(options.mf_isValid());
    ASSERT_EQ(2u, options.m_explainedMessages.size());
    EXPECT_STREQ(L"KVR27469E", options.m_explainedMessages[0]);
    EXPECT_STREQ(L"--help", options.m_explainedMessages[1]);
    EXPECT_TRUE(options.m_explained.empty());
    EXPECT_FALSE(options.m_isHelpWanted);
    EXPECT_EQ(20042u, f_read({L"--explain-message", L""}).m_problem);
    EXPECT_EQ(20041u, f_read({L"--explain-message"}).m_problem);
}
