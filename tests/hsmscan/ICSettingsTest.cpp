#include "programs/hsmscan/ICSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"
#include "tests/support/ICFiles.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{
class ICSettingsTest : public testing::Test
{
protected:
    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }

    // The text of the file, whose characters are all of the first 128.
    std::string mf_read() const
    {
        std::string const bytes = f_readFile(m_file);
        EXPECT_EQ("\xFF\xFE", bytes.substr(0, 2));
        std::string text;
        for (std::size_t at = 2; at + 1 < bytes.size(); at += 2)
            text += bytes[at];
        return text;
    }

    void mf_write(std::string const & text) const
    {
        std::string bytes = "\xFF\xFE";
        for (char const character : text)
            bytes += {character, '\0'};
        m_directory.mf_makeFile(L"settings.reg", bytes);
    }

    std::string mf_getSection(char const * sub = "") const
    {
        std::wstring const root = mf_getRegistry().mf_getPath();
        return "[HKEY_LOCAL_MACHINE\\" + std::string(root.begin(), root.end()) + sub + "]";
    }

    bool mf_isScratchGone() const
    {
        CString const path = ICPath::mf_appendComponent(mf_getRegistry().mf_getPath().c_str(), L".settings");
        return !ICRegistry::mf_PathExists(path, HKEY_LOCAL_MACHINE);
    }

    // Restoring fails like this and changes nothing.
    void mf_expectRefused(std::string const & text, ICErrnoValue const & constant)
    {
        mf_write(text);
        mf_getRegistry().mf_writeText(L"", L"Name", L"as before");
        EXPECT_TRUE(f_throws(constant, [this] { ICSettings::mf_restore(m_file.c_str()); })) << text;
        EXPECT_EQ(L"as before", mf_getRegistry().mf_readText(L"", L"Name"));
        EXPECT_TRUE(mf_isScratchGone());
    }

    static constexpr char HEADER[] = "Windows Registry Editor Version 5.00\r\n\r\n";

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_file = m_directory / L"settings.reg";
};
} // namespace

TEST_F(ICSettingsTest, TextsAndNumbers_ComeBackAsTheyWere)
{
    mf_getRegistry().mf_writeText(L"", L"Name", L"C:\\a\\\\b \"c\"");
    mf_getRegistry().mf_writeText(L"Sub\\Deep", L"", L"default");
    mf_getRegistry().mf_writeText(L"Sub", L"Looks", L"dword:1");
    mf_getRegistry().mf_writeText(L"Sub", L"Marked", L"text:x");
    mf_getRegistry().mf_writeText(L"Sub", L"Empty", L"");
    mf_getRegistry().mf_writeNumber(L"Sub", L"Number", 0xABCDEF01);
    ICSettings::mf_save(m_file.c_str());
    EXPECT_TRUE(mf_isScratchGone());

    for (auto const & [sub, name] : {std::pair{L"", L"Name"},
                                     {L"Sub\\Deep", L""},
                                     {L"Sub", L"Looks"},
                                     {L"Sub", L"Marked"},
                                     {L"Sub", L"Empty"},
                                     {L"Sub", L"Number"}})
        mf_getRegistry().mf_writeText(sub, name, L"changed");
    mf_getRegistry().mf_writeText(L"", L"New", L"stays");
    ICSettings::mf_restore(m_file.c_str());
    EXPECT_EQ(L"C:\\a\\\\b \"c\"", mf_getRegistry().mf_readText(L"", L"Name"));
    EXPECT_EQ(L"default", mf_getRegistry().mf_readText(L"Sub\\Deep", L""));
    EXPECT_EQ(L"dword:1", mf_getRegistry().mf_readText(L"Sub", L"Looks"));
    EXPECT_EQ(L"text:x", mf_getRegistry().mf_readText(L"Sub", L"Marked"));
    EXPECT_EQ(L"", mf_getRegistry().mf_readText(L"Sub", L"Empty"));
    EXPECT_EQ(std::string("\x01\xEF\xCD\xAB", 4), mf_getRegistry().mf_read(L"Sub", L"Number")->m_bytes);
    EXPECT_EQ(L"stays", mf_getRegistry().mf_readText(L"", L"New"));
    EXPECT_TRUE(mf_isScratchGone());
}

TEST_F(ICSettingsTest, File_NamesTheRootAsItsSection)
{
    mf_getRegistry().mf_writeNumber(L"Sub", L"Number", 42);
    mf_getRegistry().mf_writeText(L".hidden", L"Name", L"left out");
    ICSettings::mf_save(m_file.c_str());
    std::string const text = mf_read();
    EXPECT_EQ(0u, text.find(HEADER + mf_getSection() + "\r\n")) << text;
    EXPECT_THAT(text,
                testing::EndsWith("\r\n\r\n" + mf_getSection("\\Sub") + "\r\n\"Number\"=\"dword:0000002a\"\r\n\r\n"));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("hidden")));
}

TEST_F(ICSettingsTest, SettingThatCannotBeKept_LeavesTheOldFile)
{
    m_directory.mf_makeFile(L"settings.reg", "old");
    mf_getRegistry().mf_writeText(L"", L"Lines", L"a\r\nb");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [this] { ICSettings::mf_save(m_file.c_str()); }));
    mf_getRegistry().mf_writeText(L"", L"Lines", L"a");
    mf_getRegistry().mf_writeText(L"", L"a=b", L"a");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [this] { ICSettings::mf_save(m_file.c_str()); }));
    EXPECT_EQ("old", f_readFile(m_file));
    EXPECT_TRUE(mf_isScratchGone());
}

TEST_F(ICSettingsTest, FileThatCannotBeWritten_LeavesTheOldOne)
{
    m_directory.mf_makeFile(L"settings.reg", "old");
    {
        ICImportFault const full("WriteFile", ERROR_DISK_FULL, ICCalls::mf_all(), nullptr);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileWrite, [this] { ICSettings::mf_save(m_file.c_str()); }, ERROR_DISK_FULL));
    }
    EXPECT_EQ("old", f_readFile(m_file));
}

TEST_F(ICSettingsTest, DamagedFiles_ChangeNothing)
{
    std::string const start = HEADER + mf_getSection() + "\r\n";
    mf_expectRefused("Windows Registry Editor Version 4.00\r\n\r\n", ICErrno::_E_::DataCorrupted);
    mf_expectRefused(start + "\"Name\"=\"new\"\r\nrubbish\r\n", ICErrno::_E_::DataCorrupted);
    mf_expectRefused(start + "\"Name\"=\"new\"\r\n\"Number\"=\"dword:xyz\"\r\n", ICErrno::_E_::DataCorrupted);
    mf_expectRefused(start + "\"Name\"=\"new\"\r\n\"Number\"=\"dword:123456789\"\r\n", ICErrno::_E_::DataCorrupted);
}

TEST_F(ICSettingsTest, SectionsElsewhere_AreRefused)
{
    std::string const value = "\r\n\"Name\"=\"new\"\r\n";
    mf_expectRefused(HEADER + std::string("[HKEY_LOCAL_MACHINE\\Software\\Elsewhere]") + value,
                     ICErrno::_E_::DataCorrupted);
    mf_expectRefused(HEADER + mf_getSection("2") + value, ICErrno::_E_::DataCorrupted);
    mf_expectRefused(HEADER + mf_getSection() + value + "[HKLM\\Software]" + value, ICErrno::_E_::DataCorrupted);
}

TEST_F(ICSettingsTest, FilesOfAnotherKind_AreRefused)
{
    m_directory.mf_makeFile(L"settings.reg", "");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [this] { ICSettings::mf_restore(m_file.c_str()); }));
    m_directory.mf_makeFile(L"settings.reg", "\xFE\xFF\x00\x41");
    EXPECT_TRUE(f_throws(ICErrno::_E_::DataCorrupted, [this] { ICSettings::mf_restore(m_file.c_str()); }));
    EXPECT_TRUE(mf_isScratchGone());
}
