#include "tests/support/ICTracedProcess.h"

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::StartsWith;

// Opening, closing, and what the log answers about itself.

namespace
{

// A process with a directory for logs, none of which is open.
class ICLogging : public testing::Test
{
protected:
    ICLogging() { m_process.mf_getRegistry().mf_writeText(L"", L"LogFileDir", m_directory.mf_getPath()); }

    ~ICLogging() override
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
        if (ICLog::mf_isReady()) ICLog::mf_closeLog();
    }

    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }
    std::wstring mf_getFile() const { return m_directory / L"app.log"; }
    ulong mf_getNumber(wchar_t const * name) const
    {
        auto const value = mf_getRegistry().mf_read(L"", name);
        ulong number = 0xbad;
        if (value && value->m_type == REG_DWORD) value->m_bytes.copy(reinterpret_cast<char *>(&number), sizeof(number));
        return number;
    }

    // Of another language than the log's, so that a thread in the wrong one is told.
    ICStartedProcess const m_process{L"German"};
    ICTemporaryDirectory const m_directory;
};

constexpr ulong DEFAULT_SLOTS = 0x10400113;

void f_write(ICLogData const & level, wchar_t const * text)
{
    ICLog::mf_writeMessage(level, L"Test::f_write", L"%s", text);
}

} // namespace

TEST_F(ICLogging, BeforeOpening_CallsAreQuietAndLeaveTheUserLanguage)
{
    ICThreadContext::mf_setLoggingLanguage();
    f_write(ICLogData::LEVEL_E, L"dropped");
    EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), ICThreadContext::mf_getCurrentLanguageHandle());
    ICLog::mf_writeMessage(ICLogData::LEVEL_E, "Test", "dropped");
    EXPECT_EQ(0, ICLog::mf_isReady());
    EXPECT_EQ(0, ICLog::mf_hasLogLevel(ICLogData::LEVEL_E));
    ICLog::mf_setLogLevel(1);
    ICLog::mf_setMaxFileSize(100, 50);
    ICLog::mf_setCodepage(1);
    ICLog::mf_updateParameters();
    ICLog::mf_flush();
    ICLog::mf_closeLog();
    EXPECT_FALSE(f_isThere(mf_getFile()));
}

// With nothing but the registry up there are no texts and no thread that could trace; the log opens all the same.
TEST(ICLogPartlyStarted, WithTheRegistryAlone_OpensAndDropsLines)
{
    ICRegistrySandbox const registry;
    ICTemporaryDirectory const directory;
    registry.mf_writeText(L"", L"LogFileDir", directory.mf_getPath());
    ICRegistry::mf_createInstance(registry.mf_getPath().c_str());
    ICLog::mf_openLog(L"app.log");
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    EXPECT_EQ(1, ICLog::mf_isReady());
    f_write(ICLogData::LEVEL_E, L"dropped");
    ICLog::mf_setLogLevel(CString(L"T"));
    EXPECT_EQ(1, ICLog::mf_hasLogLevel(ICLogData::LEVEL_T));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [] { ICLog::mf_setLogLevel(CString(L"Q")); }));
    EXPECT_NE(-1, ICLog::mf_toSingletonString(L"").Find(L"UCS-2: <resource-id=3522 not loaded>"));
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    ICLog::mf_closeLog();
    ICRegistry::mf_deleteInstance();
    EXPECT_EQ("", f_readFile(directory / L"app.log"));
}

TEST_F(ICLogging, WithoutALog_QuestionsAboutItFail)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICLog::mf_getFileName(); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICLog::mf_toSingletonString(L""); }));
}

TEST_F(ICLogging, AfterClosing_CallsAreQuietAndLeaveTheUserLanguage)
{
    ICLog::mf_openLog(L"app.log");
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    ICLog::mf_closeLog();
    std::string const before = f_readFile(mf_getFile());
    ICThreadContext::mf_setLoggingLanguage();
    f_write(ICLogData::LEVEL_E, L"dropped");
    EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), ICThreadContext::mf_getCurrentLanguageHandle());
    EXPECT_EQ(before, f_readFile(mf_getFile()));
    EXPECT_EQ(0, ICLog::mf_isReady());
}

TEST_F(ICLogging, Open_CreatesTheSettingsWithTheirDefaults)
{
    ICLog::mf_openLog(L"app.log");
    EXPECT_EQ(mf_getFile(), ICLog::mf_getFileName().GetString());
    EXPECT_EQ(DEFAULT_SLOTS, mf_getNumber(L"LogLevel"));
    EXPECT_EQ(10000u, mf_getNumber(L"LogFileSize"));
    EXPECT_EQ(66u, mf_getNumber(L"LogFilePercent"));
    EXPECT_EQ(0u, mf_getNumber(L"LogFileUcs2"));
    EXPECT_EQ(1u, mf_getNumber(L"LogFileWrap")) << "the wrap value starts from its default here";
    EXPECT_EQ(10240000, ICLog::m_pThis->m_nMaxFileSize);
}

TEST_F(ICLogging, Open_TakesTheSettingsThatAreThere)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogLevel", 0x00001000);
    mf_getRegistry().mf_writeNumber(L"", L"LogFileSize", 77);
    mf_getRegistry().mf_writeNumber(L"", L"LogFilePercent", 50);
    ICLog::mf_openLog(L"app.log");
    EXPECT_EQ(0x00001003u, ICLog::m_pThis->m_ulLogSlots) << "E and S are added";
    EXPECT_EQ(77 * 1024, ICLog::m_pThis->m_nMaxFileSize);
    EXPECT_EQ(50u, ICLog::m_pThis->m_ulFilePercent);
}

TEST_F(ICLogging, OpenWithAnEightBitName_IsTheSameFile)
{
    ICLog::mf_openLog("app.log");
    EXPECT_EQ(mf_getFile(), ICLog::mf_getFileName().GetString());
}

TEST_F(ICLogging, OpenWithSlots_TakesAndStoresThemAsTheyAre)
{
    ICLog::mf_openLog(L"app.log", ICLogData::LEVEL_T.mf_getLogLevel());
    EXPECT_EQ(0x00001000u, ICLog::m_pThis->m_ulLogSlots);
    EXPECT_EQ(0x00001000u, mf_getNumber(L"LogLevel"));
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    f_write(ICLogData::LEVEL_W, L"not selected");
    f_write(ICLogData::LEVEL_T, L"selected");
    EXPECT_THAT(f_readTrace(mf_getFile()), ElementsAre(f_isRecord('T', "Test::f_write", "selected")));
}

TEST_F(ICLogging, OpenWithLetters_TakesTheirLevels)
{
    ICLog::mf_openLog(L"app.log", CString(L"wEk"));
    EXPECT_EQ(0x00400011u, ICLog::m_pThis->m_ulLogSlots);
    EXPECT_EQ(0x00400011u, mf_getNumber(L"LogLevel"));
}

TEST_F(ICLogging, Open_TellsItsSlotsWhereTheStatusAllows)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    ICLog::mf_openLog(L"app.log");
    EXPECT_THAT(
        f_readTrace(mf_getFile()),
        ElementsAre(f_isRecord('I', "ICLog::mf_openLog::1",
                               "Log slots = 0x10400113, Log max file size = 10240000 bytes, Log file percent = 66%")));
    ICLog::mf_closeLog();
    ICLog::mf_openLog(L"two.log", 0x103ul);
    EXPECT_THAT(
        f_readTrace(m_directory / L"two.log"),
        ElementsAre(f_isRecord('I', "ICLog::mf_openLog::2",
                               "Log slots = 0x00000103, Log max file size = 10240000 bytes, Log file percent = 66%")));
}

TEST_F(ICLogging, SecondOpen_IsRefusedWithoutALine)
{
    ICLog::mf_openLog(L"app.log", ICLogData::LEVEL_FULL.mf_getLogLevel());
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    std::string const before = f_readFile(mf_getFile());
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [] { ICLog::mf_openLog(L"two.log"); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [] { ICLog::mf_openLog(L"two.log", 1ul); }));
    EXPECT_EQ(before, f_readFile(mf_getFile()));
    EXPECT_FALSE(f_isThere(m_directory / L"two.log"));
}

TEST_F(ICLogging, FileThatCannotBeOpened_LeavesALogThatIsNotReady)
{
    ICImportFault const denied("CreateFileW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Logging, [] { ICLog::mf_openLog(L"app.log"); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(0, ICLog::mf_isReady());
    EXPECT_NE(nullptr, ICLog::m_pThis);
    // Deliberate: neither closing nor opening mends it.
    ICLog::mf_closeLog();
    EXPECT_NE(nullptr, ICLog::m_pThis);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [] { ICLog::mf_openLog(L"two.log"); }));
    delete ICLog::m_pThis;
    ICLog::m_pThis = nullptr;
}

TEST_F(ICLogging, NotReady_EveryCallIsHarmless)
{
    ICLog::mf_openLog(L"app.log");
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    ICLog::m_pThis->mf_implStop();
    std::string const before = f_readFile(mf_getFile());
    f_write(ICLogData::LEVEL_E, L"dropped");
    ICLog::mf_writeMessage(ICLogData::LEVEL_E, "Test", "dropped");
    ICLog::mf_vaWriteMessage(ICLogData::LEVEL_E, L"Test", L"dropped", nullptr);
    EXPECT_EQ(0, ICLog::mf_hasLogLevel(ICLogData::LEVEL_E));
    ulong const slots = ICLog::m_pThis->m_ulLogSlots;
    ICLog::mf_setLogLevel(0x1000);
    ICLog::mf_setMaxFileSize(100, 50);
    ICLog::mf_setCodepage(1);
    ICLog::mf_updateParameters();
    ICLog::mf_flush();
    EXPECT_EQ(slots, ICLog::m_pThis->m_ulLogSlots);
    EXPECT_EQ(10000u, mf_getNumber(L"LogFileSize"));
    EXPECT_EQ(before, f_readFile(mf_getFile()));
    ICLog::m_pThis->mf_implStart();
}

TEST_F(ICLogging, SlotsOff_OpensNoFileAndIsReady)
{
    ICLog::mf_openLog(L"app.log", 0ul);
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    EXPECT_EQ(1, ICLog::mf_isReady());
    EXPECT_EQ(0u, mf_getNumber(L"LogLevel"));
    f_write(ICLogData::LEVEL_S, L"to nobody");
    EXPECT_EQ(0, ICLog::mf_hasLogLevel(ICLogData::LEVEL_S));
    EXPECT_FALSE(f_isThere(mf_getFile()));

    ICLog::mf_updateParameters();
    // Deliberate: levels, but still no file.
    EXPECT_EQ(0x00000003u, ICLog::m_pThis->m_ulLogSlots);
    EXPECT_EQ(1, ICLog::mf_isReady());
    f_write(ICLogData::LEVEL_S, L"to nobody");
    EXPECT_FALSE(f_isThere(mf_getFile()));
}

TEST_F(ICLogging, EmptyLetters_AreOff)
{
    ICLog::mf_openLog(L"app.log", CString());
    EXPECT_EQ(0u, mf_getNumber(L"LogLevel"));
    EXPECT_EQ(1, ICLog::mf_isReady());
}

TEST_F(ICLogging, HasLogLevel_GoesByTheSlotsAlone)
{
    ICLog::mf_openLog(L"app.log");
    EXPECT_EQ(1, ICLog::mf_hasLogLevel(ICLogData::LEVEL_W));
    EXPECT_EQ(1, ICLog::mf_hasLogLevel(ICLogData::LEVEL_FULL));
    EXPECT_EQ(0, ICLog::mf_hasLogLevel(ICLogData::LEVEL_T));
    EXPECT_EQ(0, ICLog::mf_hasLogLevel(ICLogData::LEVEL_OFF));
}

TEST_F(ICLogging, WrappingOff_OpensAStampedFile)
{
    mf_getRegistry().mf_writeNumber(L"", L"LogFileWrap", 0);
    ICImportPatch const clock(IC_IMPORT(GetSystemTimeAsFileTime), [](FILETIME * now) {
        SYSTEMTIME const time = {2024, 1, 0, 31, 23, 59, 59, 0};
        ::SystemTimeToFileTime(&time, now);
    });
    ICLog::mf_openLog(L"app.log");
    EXPECT_EQ(m_directory / L"app-20240131-235959.log", ICLog::mf_getFileName().GetString());
}

// The first exchanges that fail are traced, had there been a log; that of the wrap value goes out.
TEST_F(ICLogging, RegistryThatRefuses_IsAFailureOfOpening)
{
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    ICImportFault const alsoDenied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Registry, [] { ICLog::mf_openLog(L"app.log"); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(nullptr, ICLog::m_pThis);
}

// Values that can't be used leave what the log has in hand.
TEST_F(ICLogging, ValuesOfAnotherType_LeaveTheDefaults)
{
    for (wchar_t const * const name : {L"LogFileSize", L"LogFilePercent", L"LogFileUcs2", L"LogFileWrap", L"LogLevel"})
        mf_getRegistry().mf_writeText(L"", name, L"text");
    ICLog::mf_openLog(L"app.log");
    EXPECT_EQ(10240000, ICLog::m_pThis->m_nMaxFileSize);
    EXPECT_EQ(66u, ICLog::m_pThis->m_ulFilePercent);
    EXPECT_EQ(0, ICLog::m_pThis->m_bUcs2);
    EXPECT_EQ(1, ICLog::m_pThis->m_bWrap);
    EXPECT_EQ(DEFAULT_SLOTS, ICLog::m_pThis->m_ulLogSlots);
}

TEST_F(ICLogging, ProcessName_HasThirtyOneCharactersAtMost)
{
    CString const name = ICProcessInfo::mf_getName();
    ICProcessInfo::m_sName = CString(L'a', 31);
    ICLog::mf_openLog(L"app.log");
    EXPECT_STREQ(CString(L'A', 31), ICLog::m_pThis->m_szProcessNameW);
    EXPECT_EQ(std::string(31, 'A'), ICLog::m_pThis->m_szProcessNameA);
    ICLog::mf_closeLog();

    ICProcessInfo::m_sName = CString(L'a', 32);
    EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall, [] { ICLog::mf_openLog(L"app.log"); }));
    EXPECT_EQ(nullptr, ICLog::m_pThis);
    ICProcessInfo::m_sName = name;
}

TEST_F(ICLogging, ToString_TellsTheSettingsWithRemarks)
{
    ICLog::mf_openLog(L"app.log");
    CString const path = mf_getFile().c_str();
    EXPECT_STREQ(L"> Logfile '" + path + L"',\r\n> Log level: 0x10400113, File size: 10000 kBytes (default) / 66% " +
                     L"(default), UCS-2: aus",
                 ICLog::mf_toSingletonString(L"> "));
    struct CASE
    {
        ulong kBytes;
        ulong percent;
        wchar_t const * text;
    };
    CASE const cases[] = {{50, 10, L"50 kBytes (minimum) / 10% (minimum), UCS-2: ein"},
                          {51, 90, L"51 kBytes / 90% (maximum), UCS-2: ein"},
                          {0xffffffff, 11, L"4294967295 kBytes / 11%, UCS-2: ein"}};
    ICLog::mf_setCodepage(1);
    for (CASE const & testCase : cases) {
        ICLog::mf_setMaxFileSize(testCase.kBytes, testCase.percent);
        EXPECT_NE(-1, ICLog::mf_toSingletonString(L"").Find(testCase.text)) << testCase.text;
    }
}

// ------------------------------------------------------------------------------------------------- failing registry

namespace
{
// Opens a log, then exchanges its slots with a registry that refuses.
ulong f_slotsWithoutRegistry(std::vector<std::wstring> const & arguments, int write)
{
    ICStartedProcess const process;
    process.mf_getRegistry().mf_writeText(L"", L"LogFileDir", arguments[0]);
    ICLog::mf_openLog(L"app.log", 0x10ul);
    {
        ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
        ICImportFault const alsoDenied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
        ICLog::m_pThis->mf_implRegisterLogSlots(write);
    }
    ulong const slots = ICLog::m_pThis->m_ulLogSlots;
    ICLog::mf_closeLog();
    return slots;
}
} // namespace

IC_CHILD(log_level_unreadable)
{
    return f_slotsWithoutRegistry(arguments, 0) == DEFAULT_SLOTS ? 0 : 1;
}
IC_CHILD(log_level_unwritable)
{
    return f_slotsWithoutRegistry(arguments, 1) == 0x10 ? 0 : 1;
}

TEST(ICLogChild, LevelThatCannotBeRead_IsToldOnTheErrorStreamAndIsTheDefault)
{
    ICTemporaryDirectory const directory;
    ICChildProcess child("log_level_unreadable", {directory.mf_getPath()});
    EXPECT_EQ(0u, child.mf_getExitCode());
    EXPECT_THAT(child.mf_getErrors(), StartsWith("The registry value 'LogLevel' could not be read:"));
}

TEST(ICLogChild, LevelThatCannotBeWritten_IsToldOnTheErrorStreamAndStays)
{
    ICTemporaryDirectory const directory;
    ICChildProcess child("log_level_unwritable", {directory.mf_getPath()});
    EXPECT_EQ(0u, child.mf_getExitCode());
    EXPECT_THAT(child.mf_getErrors(), StartsWith("The registry value 'LogLevel' could not be written:"));
}

TEST_F(ICLogging, RegisterSlotsWithoutALog_Fails)
{
    ICLog::mf_openLog(L"app.log");
    ICLog * const log = ICLog::m_pThis;
    ICLog::m_pThis = nullptr;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, [&] { log->mf_implRegisterLogSlots(0); }));
    ICLog::m_pThis = log;
}
