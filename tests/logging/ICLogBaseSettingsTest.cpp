// What both log files take from the registry: size, percentage, wrapping, encoding and the place of the file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/paths/ICFileSize.h"
#include "tests/logging/ICTestLog.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTracedProcess.h"
#include "tests/support/Thrown.h"

using testing::_;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

constexpr ulong LARGEST = 0xffffffff;

char const * const REGISTER_SIZE = "ICLogBase::mf_implRegisterFileSize";
char const * const CORRECT_SIZE = "ICLogBase::mf_implCorrectFileSize";
char const * const REGISTER_WRAP = "ICLogBase::mf_implRegisterFileWrap";
char const * const REGISTER_CODEPAGE = "ICLogBase::mf_implRegisterCodepage";

class ICLogBaseSettings : public testing::Test
{
protected:
    ICLogBaseSettings() { mf_setSize(10000, 66); }

    void mf_setSize(long long kBytes, ulong percent)
    {
        m_log.m_nMaxFileSize = kBytes * 1024;
        m_log.m_ulFilePercent = percent;
    }
    long long mf_getKBytes() const { return m_log.m_nMaxFileSize / 1024; }

    void mf_registerSize(int write) { m_log.mf_implRegisterFileSize(L"Size", L"Percent", 50, LARGEST, 10, 90, write); }

    // The records of an action at this level and tag.
    template<class ACTION>
    std::vector<std::string> mf_texts(char level, std::string const & tag, ACTION && action) const
    {
        std::vector<std::string> texts;
        for (ICTraceRecord const & record : m_process.mf_trace(action))
            if (record.m_level == level && testing::Value(record, ICTagMatcher(tag))) texts.push_back(record.m_text);
        return texts;
    }

    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }

    // 0xffffffff too stands for itself: -1 is a missing value.
    long long mf_readNumber(wchar_t const * name) const
    {
        auto const value = mf_getRegistry().mf_read(L"", name);
        if (!value || value->m_type != REG_DWORD) return -1;
        ulong number = 0;
        value->m_bytes.copy(reinterpret_cast<char *>(&number), sizeof(number));
        return number;
    }

    ICTracedProcess const m_process;
    ICTestLog m_log;
};

} // namespace

TEST_F(ICLogBaseSettings, New_WrapsAndHasNoFile)
{
    ICTestLog const log;
    EXPECT_EQ(INVALID_HANDLE_VALUE, log.m_hFile);
    EXPECT_EQ(1, log.m_bWrap);
    EXPECT_EQ(0, log.m_nMaxFileSize);
    EXPECT_EQ(0u, log.m_ulFilePercent);
    EXPECT_EQ(0, log.m_bUcs2);
    EXPECT_EQ(0, log.m_bStarted);
}

TEST_F(ICLogBaseSettings, Lock_MayBeTakenTwice)
{
    m_log.mf_implLock();
    m_log.mf_implLock();
    EXPECT_EQ(2, m_log.m_csLock.RecursionCount);
    m_log.mf_implUnlock();
    m_log.mf_implUnlock();
    EXPECT_EQ(0, m_log.m_csLock.RecursionCount);
}

// --------------------------------------------------------------------------------------------------------- corrections

namespace
{

struct CORRECTION
{
    char const * name;
    long long kBytes;
    ulong percent;
    ulong minKBytes;
    ulong maxKBytes;
    long long expectedKBytes;
    ulong expectedPercent;
    std::vector<std::string> texts;
};

// Deliberate: the texts about the percentage show the limits of the size.
CORRECTION const CORRECTIONS[] = {
    {"nothing to correct", 500, 50, 50, 1000, 500, 50, {}},
    {"the lower limits", 50, 10, 50, 1000, 50, 10, {}},
    {"the upper limits", 1000, 90, 50, 1000, 1000, 90, {}},
    {"too small", 49, 50, 50, 1000, 50, 50, {"Min log file size below 50 kBytes, set to minimum (50 kBytes)"}},
    {"too large",
     1001,
     50,
     50,
     1000,
     1000,
     50,
     {"Min log file size exceeds 1000 kBytes, set to maximium (1000 kBytes)"}},
    {"too low a percentage", 500, 9, 50, 1000, 500, 10, {"Min log percent below 50%, set to minimum (50%)"}},
    {"too high a percentage", 500, 91, 50, 1000, 500, 90, {"Max log percent exceeds 1000%, set to maximum (1000%)"}},
    {"nothing at all",
     0,
     0,
     50,
     1000,
     50,
     10,
     {"Min log file size below 50 kBytes, set to minimum (50 kBytes)",
      "Min log percent below 50%, set to minimum (50%)"}},
    {"the limits of the logs",
     0x100000000,
     91,
     50,
     LARGEST,
     LARGEST,
     90,
     {"Min log file size exceeds 4294967295 kBytes, set to maximium (4294967295 kBytes)",
      "Max log percent exceeds 4294967295%, set to maximum (4294967295%)"}},
    // The second test too looks at the size as it was.
    {"limits that cross, raised above both",
     40,
     50,
     100,
     60,
     100,
     50,
     {"Min log file size below 100 kBytes, set to minimum (100 kBytes)"}},
    {"limits that cross",
     500,
     50,
     1000,
     50,
     50,
     50,
     {"Min log file size below 1000 kBytes, set to minimum (1000 kBytes)",
      "Min log file size exceeds 50 kBytes, set to maximium (50 kBytes)"}},
};

} // namespace

TEST_F(ICLogBaseSettings, Correction_BringsSizeAndPercentageBetweenTheLimits)
{
    for (CORRECTION const & test : CORRECTIONS) {
        SCOPED_TRACE(test.name);
        mf_setSize(test.kBytes, test.percent);
        auto const texts =
            mf_texts('W', CORRECT_SIZE, [&] { m_log.mf_implCorrectFileSize(test.minKBytes, test.maxKBytes, 10, 90); });
        EXPECT_EQ(test.texts, texts);
        EXPECT_EQ(test.expectedKBytes, mf_getKBytes());
        EXPECT_EQ(test.expectedPercent, m_log.m_ulFilePercent);
    }
}

TEST_F(ICLogBaseSettings, Correction_LeavesBytesWithinAKByte)
{
    m_log.m_nMaxFileSize = 50 * 1024 + 1023;
    m_log.mf_implCorrectFileSize(50, LARGEST, 10, 90);
    EXPECT_EQ(50 * 1024 + 1023, m_log.m_nMaxFileSize);
}

// ---------------------------------------------------------------------------------------------------- size, percentage

TEST_F(ICLogBaseSettings, ReadingSize_CreatesWhatIsAbsent)
{
    EXPECT_THAT(m_process.mf_trace([&] { mf_registerSize(0); }),
                Not(Contains(testing::Field(&ICTraceRecord::m_level, AnyOf('E', 'W')))));
    EXPECT_EQ(10000, mf_readNumber(L"Size"));
    EXPECT_EQ(66, mf_readNumber(L"Percent"));
    EXPECT_EQ(10240000, m_log.m_nMaxFileSize);
    EXPECT_EQ(66u, m_log.m_ulFilePercent);
}

TEST_F(ICLogBaseSettings, ReadingSize_TakesWhatIsPresent)
{
    mf_getRegistry().mf_writeNumber(L"", L"Size", 200);
    mf_getRegistry().mf_writeNumber(L"", L"Percent", 20);
    mf_registerSize(0);
    EXPECT_EQ(200 * 1024, m_log.m_nMaxFileSize);
    EXPECT_EQ(20u, m_log.m_ulFilePercent);
}

TEST_F(ICLogBaseSettings, ReadingSize_CorrectsItselfAndNotTheRegistry)
{
    mf_getRegistry().mf_writeNumber(L"", L"Size", 0);
    mf_getRegistry().mf_writeNumber(L"", L"Percent", 95);
    EXPECT_THAT(mf_texts('W', CORRECT_SIZE, [&] { mf_registerSize(0); }),
                ElementsAre("Min log file size below 50 kBytes, set to minimum (50 kBytes)",
                            "Max log percent exceeds 4294967295%, set to maximum (4294967295%)"));
    EXPECT_EQ(50, mf_getKBytes());
    EXPECT_EQ(90u, m_log.m_ulFilePercent);
    EXPECT_EQ(0, mf_readNumber(L"Size"));
    EXPECT_EQ(95, mf_readNumber(L"Percent"));
}

TEST_F(ICLogBaseSettings, WritingSize_StoresWhatIsNotYetCorrected)
{
    mf_setSize(7, 99);
    mf_registerSize(1);
    EXPECT_EQ(7, mf_readNumber(L"Size"));
    EXPECT_EQ(99, mf_readNumber(L"Percent"));
    EXPECT_EQ(50, mf_getKBytes());
    EXPECT_EQ(90u, m_log.m_ulFilePercent);
}

TEST_F(ICLogBaseSettings, RegisteredSize_IsOfWholeKBytes)
{
    m_log.m_nMaxFileSize = 100 * 1024 + 1023;
    mf_registerSize(1);
    EXPECT_EQ(100, mf_readNumber(L"Size"));
    EXPECT_EQ(100 * 1024, m_log.m_nMaxFileSize);
}

TEST_F(ICLogBaseSettings, SizeAboveTheHardLimit_BecomesTheLimit)
{
    for (long long const kBytes : {0x100000000, 0x1fffffffffffff}) {
        mf_setSize(kBytes, 66);
        auto const texts = mf_texts('W', REGISTER_SIZE, [&] { mf_registerSize(1); });
        EXPECT_THAT(texts, ElementsAre("Max log file size exceeds hard limit (4294967295 kBytes), "
                                       "set to ULONG_MAX (4294967295 kBytes)"));
        EXPECT_EQ(0x3fffffffc00, m_log.m_nMaxFileSize);
        EXPECT_EQ(LARGEST, mf_readNumber(L"Size"));
    }
}

TEST_F(ICLogBaseSettings, SizeOfTheHardLimit_IsTaken)
{
    m_log.m_nMaxFileSize = 0x3fffffffc00 + 1023;
    EXPECT_THAT(m_process.mf_trace([&] { mf_registerSize(1); }), Not(Contains(f_isRecord('W', REGISTER_SIZE, _))));
    EXPECT_EQ(0x3fffffffc00, m_log.m_nMaxFileSize);
}

TEST_F(ICLogBaseSettings, SetFileSize_KeepsWithinTheNumbersOfAPlatform)
{
    m_log.mf_implSetFileSize(ICFileSize(200), 20);
    EXPECT_EQ(200 * 1024, m_log.m_nMaxFileSize);
    EXPECT_EQ(20u, m_log.m_ulFilePercent);
    m_log.mf_implSetFileSize(ICFileSize(0x7fffffffffffffff), 20);
    EXPECT_EQ(0x7fffffffffffffff, m_log.m_nMaxFileSize);
}

TEST_F(ICLogBaseSettings, WritingSizeFails_GoesOn)
{
    for (wchar_t const * const name : {L"Size", L"Percent"}) {
        // The first call is that of the size.
        ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(name[0] == L'S' ? 1 : 2));
        auto const texts = mf_texts('E', REGISTER_SIZE, [&] { mf_registerSize(1); });
        std::string const shown = name[0] == L'S' ? "'Size'" : "'Percent'";
        EXPECT_THAT(texts, ElementsAre(AllOf(StartsWith("Failure writing registry key " + shown + ":\n"),
                                             EndsWith(". Continuing ..."))));
    }
    EXPECT_EQ(10000, mf_getKBytes());
    EXPECT_EQ(10000, mf_readNumber(L"Size"));
    EXPECT_EQ(66, mf_readNumber(L"Percent"));
}

TEST_F(ICLogBaseSettings, ReadingSizeFails_KeepsTheNumbersInHand)
{
    mf_getRegistry().mf_writeNumber(L"", L"Size", 200);
    mf_getRegistry().mf_writeNumber(L"", L"Percent", 20);
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    auto const texts = mf_texts('E', REGISTER_SIZE, [&] { mf_registerSize(0); });
    EXPECT_THAT(texts, ElementsAre(AllOf(StartsWith("Failure reading/writing registry key 'Size':\n"),
                                         EndsWith(". Continuing ...")),
                                   AllOf(StartsWith("Failure reading/writing registry key 'Percent':\n"),
                                         EndsWith(". Continuing ..."))));
    EXPECT_EQ(10000, mf_getKBytes());
    EXPECT_EQ(66u, m_log.m_ulFilePercent);
}

TEST_F(ICLogBaseSettings, SizeOfAnotherType_KeepsTheNumbersInHand)
{
    mf_getRegistry().mf_writeText(L"", L"Size", L"200");
    mf_getRegistry().mf_write(L"", L"Percent", REG_BINARY, "\x14");
    mf_registerSize(0);
    EXPECT_EQ(10000, mf_getKBytes());
    EXPECT_EQ(66u, m_log.m_ulFilePercent);
    EXPECT_EQ(L"200", mf_getRegistry().mf_readText(L"", L"Size"));
}

// ------------------------------------------------------------------------------------------------- wrapping, encoding

namespace
{

// The twins.
struct SWITCH
{
    void (ICLogBase::*mf_register)(CString const &, int, int);
    int ICLogBase::*field;
    char const * tag;
};

SWITCH const WRAP = {&ICLogBase::mf_implRegisterFileWrap, &ICLogBase::m_bWrap, REGISTER_WRAP};
SWITCH const CODEPAGE = {&ICLogBase::mf_implRegisterCodepage, &ICLogBase::m_bUcs2, REGISTER_CODEPAGE};

} // namespace

class ICLogBaseSwitch : public ICLogBaseSettings, public testing::WithParamInterface<SWITCH>
{
protected:
    void mf_register(int defaultValue, int write) { (m_log.*GetParam().mf_register)(L"Switch", defaultValue, write); }
    int & mf_field() { return m_log.*GetParam().field; }
};
INSTANTIATE_TEST_SUITE_P(Twins, ICLogBaseSwitch, testing::Values(WRAP, CODEPAGE), [](auto const & test) {
    return std::string(test.param.tag == REGISTER_WRAP ? "Wrap" : "Codepage");
});

TEST_P(ICLogBaseSwitch, Writing_StoresOneOrZero)
{
    for (int const value : {1, 0, 7}) {
        mf_field() = value;
        mf_register(0, 1);
        EXPECT_EQ(value != 0, mf_readNumber(L"Switch"));
    }
}

// Deliberate: an absent value becomes 0, whatever the default.
TEST_P(ICLogBaseSwitch, Reading_CreatesAnAbsentValueAsZero)
{
    mf_field() = 1;
    mf_register(1, 0);
    EXPECT_EQ(0, mf_readNumber(L"Switch"));
    EXPECT_EQ(0, mf_field());
}

TEST_P(ICLogBaseSwitch, Reading_TakesTheStoredValue)
{
    for (auto const & [stored, expected] : {std::pair(1, 1), {0, 0}, {2, 1}, {-1, 1}}) {
        mf_getRegistry().mf_writeNumber(L"", L"Switch", static_cast<ulong>(stored));
        mf_field() = !expected;
        mf_register(!expected, 0);
        EXPECT_EQ(expected, mf_field()) << stored;
    }
}

// Deliberate: as if it were absent.
TEST_P(ICLogBaseSwitch, Reading_TakesAnotherTypeAsZero)
{
    mf_getRegistry().mf_writeText(L"", L"Switch", L"1");
    mf_field() = 1;
    mf_register(1, 0);
    EXPECT_EQ(0, mf_field());
}

TEST_P(ICLogBaseSwitch, WritingFails_GoesOn)
{
    mf_field() = 1;
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    auto const texts = mf_texts('E', GetParam().tag, [&] { mf_register(0, 1); });
    EXPECT_THAT(texts, ElementsAre(AllOf(StartsWith("Failure writing registry key Switch:\n"),
                                         HasSubstr("error code 5L"), EndsWith(". Continuing ..."))));
    EXPECT_EQ(1, mf_field());
    EXPECT_EQ(-1, mf_readNumber(L"Switch"));
}

TEST_P(ICLogBaseSwitch, ReadingFails_TakesTheDefault)
{
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    for (int const value : {0, 1}) {
        mf_field() = !value;
        auto const texts = mf_texts('E', GetParam().tag, [&] { mf_register(value, 0); });
        std::string const end = value ? ". Assuming Switch = TRUE." : ". Assuming Switch = FALSE.";
        EXPECT_THAT(texts,
                    ElementsAre(AllOf(StartsWith("Failure reading / writing registry key Switch:\n"), EndsWith(end))));
        EXPECT_EQ(value, mf_field());
    }
}

// --------------------------------------------------------------------------------------------------- place of the file

namespace
{

class ICLogBasePath : public ICLogBaseSettings
{
protected:
    ICLogBasePath()
    {
        // Where bare texts go.
        m_log.mf_implSetPath((m_directory / L"bare.txt").c_str());
        m_log.mf_implOpenFile();
    }

    std::wstring mf_resolve() const { return m_log.mf_implResolvePath(L"a.log", L"Dir", L"logs").GetString(); }
    std::wstring mf_setDirectory(std::wstring const & name) const
    {
        mf_getRegistry().mf_writeText(L"", L"Dir", m_directory / name);
        return m_directory / name;
    }
    // What was told in the file.
    std::string mf_getBareText() const { return f_readFile(m_directory / L"bare.txt"); }

    ICTemporaryDirectory const m_directory;
};

// Somewhere else, while the object lives.
class ICCurrentDirectory
{
public:
    explicit ICCurrentDirectory(std::wstring const & path)
    {
        ::GetCurrentDirectoryW(MAX_PATH, m_before);
        ::SetCurrentDirectoryW(path.c_str());
    }
    ICCurrentDirectory(ICCurrentDirectory const &) = delete;
    ICCurrentDirectory & operator=(ICCurrentDirectory const &) = delete;
    ~ICCurrentDirectory() { ::SetCurrentDirectoryW(m_before); }

private:
    wchar_t m_before[MAX_PATH] = {};
};

} // namespace

TEST_F(ICLogBasePath, DirectoryThatIsThere)
{
    std::wstring const directory = m_directory.mf_makeDirectory(L"there");
    mf_setDirectory(L"there");
    EXPECT_EQ(directory + L"\\a.log", mf_resolve());
    mf_setDirectory(L"there\\");
    EXPECT_EQ(directory + L"\\a.log", mf_resolve());
}

TEST_F(ICLogBasePath, DirectoryThatIsAFile_IsTakenAsItIs)
{
    m_directory.mf_makeFile(L"file");
    std::wstring const directory = mf_setDirectory(L"file");
    EXPECT_EQ(directory + L"\\a.log", mf_resolve());
    EXPECT_EQ("", mf_getBareText());
}

TEST_F(ICLogBasePath, DirectoryThatIsMissing_IsMade)
{
    std::wstring const directory = mf_setDirectory(L"one\\two");
    EXPECT_EQ(directory + L"\\a.log", mf_resolve());
    EXPECT_TRUE(f_isThere(directory));
    EXPECT_EQ("", mf_getBareText());
}

TEST_F(ICLogBasePath, DirectoryThatCannotBeMade_IsToldAndTakenAllTheSame)
{
    std::wstring const directory = mf_setDirectory(L"none");
    ICImportFault const denied("CreateDirectoryW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(directory + L"\\a.log", mf_resolve());
    std::wstring const start = L"COULD NOT CREATE LOG FILE DIRECTORY:\r\n    ";
    EXPECT_THAT(mf_getBareText(), StartsWith(f_wideBytes(start)));
}

TEST_F(ICLogBasePath, FileNameThatCannotBeAppended_IsToldAsTheDirectory)
{
    mf_setDirectory(L"none");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { m_log.mf_implResolvePath(L"\\a.log", L"Dir", L"logs"); }));
    EXPECT_THAT(mf_getBareText(), StartsWith(f_wideBytes(L"COULD NOT CREATE LOG FILE DIRECTORY:\r")));
    EXPECT_TRUE(f_isThere(m_directory / L"none"));
}

TEST_F(ICLogBasePath, DirectoryOfAnotherType_IsThrown)
{
    mf_getRegistry().mf_writeNumber(L"", L"Dir", 1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { mf_resolve(); }));
}

// Deliberate: the directory is registered and not made, so a first start fails and a second makes it.
TEST_F(ICLogBasePath, WithoutDirectory_LiesBelowThePath)
{
    mf_getRegistry().mf_writeText(L"", L"Path", m_directory.mf_getPath() + L"\\");
    EXPECT_EQ(m_directory / L"logs\\a.log", mf_resolve());
    EXPECT_EQ(m_directory / L"logs\\", mf_getRegistry().mf_readText(L"", L"Dir"));
    EXPECT_EQ(static_cast<ulong>(REG_SZ), mf_getRegistry().mf_read(L"", L"Dir")->m_type);
    EXPECT_FALSE(f_isThere(m_directory / L"logs"));

    EXPECT_EQ(m_directory / L"logs\\a.log", mf_resolve());
    EXPECT_TRUE(f_isThere(m_directory / L"logs"));
}

TEST_F(ICLogBasePath, FirstStartBelowThePathFails_SecondSucceeds)
{
    mf_getRegistry().mf_writeText(L"", L"Path", m_directory.mf_getPath() + L"\\");
    ICTestLog log;
    log.mf_implSetPath(mf_resolve().c_str());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Logging, [&] { log.mf_implStart(); }, ERROR_PATH_NOT_FOUND));
    EXPECT_EQ(0, log.m_bStarted);
    log.mf_implSetPath(mf_resolve().c_str());
    log.mf_implStart();
    EXPECT_EQ(1, log.m_bStarted);
}

TEST_F(ICLogBasePath, Path_IsTakenLetterByLetter)
{
    mf_getRegistry().mf_writeText(L"", L"Path", m_directory / L"hsm");
    EXPECT_EQ(m_directory / L"hsmlogs\\a.log", mf_resolve());
}

TEST_F(ICLogBasePath, DirectoryThatCannotBeRegistered_IsTold)
{
    mf_getRegistry().mf_writeText(L"", L"Path", m_directory.mf_getPath() + L"\\");
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(m_directory / L"logs\\a.log", mf_resolve());
    EXPECT_THAT(mf_getBareText(), StartsWith(f_wideBytes(L"COULD NOT SET 'Dir' REGISTRY KEY:\r\n    ")));
    EXPECT_EQ(-1, mf_readNumber(L"Dir"));
}

TEST_F(ICLogBasePath, WithoutAnything_LiesInTheCurrentDirectory)
{
    ICTemporaryDirectory const current;
    ICCurrentDirectory const here(current.mf_getPath());
    EXPECT_EQ(current / L"a.log", mf_resolve());
    EXPECT_FALSE(mf_getRegistry().mf_read(L"", L"Dir"));
    EXPECT_FALSE(f_isThere(current / L"logs"));
}

TEST_F(ICLogBasePath, WithoutAnything_LiesInLogsOfTheCurrentDirectory)
{
    ICTemporaryDirectory const current;
    current.mf_makeDirectory(L"logs");
    ICCurrentDirectory const here(current.mf_getPath());
    EXPECT_EQ(current / L"logs\\a.log", mf_resolve());
    EXPECT_FALSE(mf_getRegistry().mf_read(L"", L"Dir"));
}

TEST_F(ICLogBasePath, CurrentDirectoryThatCannotBeTold_IsThrown)
{
    ICImportFault const failing("GetCurrentDirectoryW", ERROR_GEN_FAILURE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [&] { mf_resolve(); }, ERROR_GEN_FAILURE));
}
