// What the environment, the user's settings and the network say.
#include "hsmbase/system/ICSystem.h"

#include <lmcons.h>

#include <lmapibuf.h>
#include <lmuse.h>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr wchar_t NAME[] = L"HSMBASE_TEST_VARIABLE";
constexpr char VARIABLE[] = "ICEnvironment::mf_getVariable";

// A variable of the environment as long as the object lives; it then is as it was.
class ICVariable
{
public:
    explicit ICVariable(wchar_t const * name, wchar_t const * value = nullptr) : m_name(name)
    {
        m_existed = m_before.GetEnvironmentVariableW(name) != FALSE;
        mf_set(value);
    }
    ICVariable(ICVariable const &) = delete;
    ICVariable & operator=(ICVariable const &) = delete;
    ~ICVariable() { mf_set(m_existed ? m_before.GetString() : nullptr); }

    // NULL: there is none.
    void mf_set(wchar_t const * value) const { ::SetEnvironmentVariableW(m_name, value); }

private:
    wchar_t const * const m_name;
    CString m_before;
    bool m_existed;
};

class ICSystemEnvironment : public testing::Test
{
protected:
    void SetUp() override { mf_forget(); }
    void TearDown() override { mf_forget(); }

    static void mf_forget()
    {
        ICSystem::m_sSystemRoot.Empty();
        ICSystem::m_sSystemDrive.Empty();
    }

    ICTracedAction mf_ask() const
    {
        return m_process.mf_run([] { ICSystem::mf_getEnvironmentVariable(NAME); });
    }
    static auto mf_isNotFound(std::string const & name)
    {
        return f_isRecord('W', VARIABLE, "Environment variable '" + name + "' not found");
    }

    ICTracedProcess const m_process;
};

} // namespace

TEST_F(ICSystemEnvironment, Variable_IsReadSilentlyAndAsItIs)
{
    ICVariable const variable(NAME, L" C:\\x\\%PATH% \x263A");
    EXPECT_STREQ(L" C:\\x\\%PATH% \x263A", ICSystem::mf_getEnvironmentVariable(NAME));
    EXPECT_STREQ(L" C:\\x\\%PATH% \x263A", ICSystem::mf_getEnvironmentVariable(L"hsmbase_test_variable"));
    EXPECT_THAT(mf_ask().m_records, IsEmpty());
}

TEST_F(ICSystemEnvironment, AbsentOrEmptyVariable_IsAWarning)
{
    ICVariable const variable(NAME);
    for (wchar_t const * value : {static_cast<wchar_t const *>(nullptr), L""}) {
        variable.mf_set(value);
        EXPECT_STREQ(L"", ICSystem::mf_getEnvironmentVariable(NAME));
        ICTracedAction const outcome = mf_ask();
        EXPECT_FALSE(outcome.m_failure);
        EXPECT_THAT(outcome.m_records, ElementsAre(mf_isNotFound("HSMBASE_TEST_VARIABLE")));
    }
}

TEST_F(ICSystemEnvironment, Variable_HasAtMost1022Characters)
{
    ICVariable const variable(NAME, CString(L'x', 1022));
    EXPECT_EQ(CString(L'x', 1022), ICSystem::mf_getEnvironmentVariable(NAME));
    for (int const length : {1023, 1024, 20000}) {
        SCOPED_TRACE(length);
        variable.mf_set(CString(L'x', length));
        EXPECT_THAT(
            mf_ask(),
            f_fails(ICErrno::_E_::BufferTooSmall, 'E', VARIABLE,
                    StartsWith("Buffer too small to hold value of environment variable 'HSMBASE_TEST_VARIABLE':\n")));
    }
}

TEST_F(ICSystemEnvironment, VariableThatIsTooLong_IsShownAsFarAsItCame)
{
    ulong answer = 0;
    ICImportPatch const cut(IC_IMPORT(GetEnvironmentVariableW), [&](wchar_t const *, wchar_t * value, DWORD size) {
        EXPECT_EQ(1023u, size);
        for (ulong index = 0; index <= size; ++index)
            EXPECT_EQ(0, value[index]) << index;
        ::wcscpy_s(value, size, L"C:\\x");
        return answer;
    });
    for (ulong const length : {1023ul, 1024ul}) {
        answer = length;
        EXPECT_THAT(mf_ask(), f_fails(ICErrno::_E_::BufferTooSmall, 'E', VARIABLE,
                                      "Buffer too small to hold value of environment variable "
                                      "'HSMBASE_TEST_VARIABLE':\nC:\\x..."));
    }
}

TEST_F(ICSystemEnvironment, RefusedVariable_IsAFailure)
{
    ICImportFault const refused("GetEnvironmentVariableW", DENIED);
    EXPECT_THAT(mf_ask(), f_failsShowing(ICErrno::_E_::System, DENIED, VARIABLE,
                                         "Failure requesting environment variable 'HSMBASE_TEST_VARIABLE': "));
}

TEST_F(ICSystemEnvironment, RootAndDrive_AreDirectoriesAskedForOnce)
{
    ICVariable const root(L"SYSTEMROOT", L"C:\\Win");
    ICVariable const drive(L"SYSTEMDRIVE", L"C:");
    EXPECT_THAT(m_process.mf_trace([] { ICSystem::mf_getSystemRoot(); }),
                ElementsAre(f_isRecord('I', "ICSystem::mf_getSystemRoot", "Windows system root is 'C:\\Win\\'")));
    EXPECT_THAT(m_process.mf_trace([] { ICSystem::mf_getSystemDrive(); }),
                ElementsAre(f_isRecord('I', "ICSystem::mf_getSystemDrive", "Windows system drive is 'C:\\'")));

    ICImportFault const asked("GetEnvironmentVariableW");
    EXPECT_STREQ(L"C:\\Win\\", ICSystem::mf_getSystemRoot());
    EXPECT_STREQ(L"C:\\", ICSystem::mf_getSystemDrive());
    EXPECT_EQ(&ICSystem::m_sSystemRoot, &ICSystem::mf_getSystemRoot());
    EXPECT_EQ(&ICSystem::m_sSystemDrive, &ICSystem::mf_getSystemDrive());
    EXPECT_EQ(0u, asked.mf_getCalls());
}

TEST_F(ICSystemEnvironment, DirectoryWithABackslash_GetsNoSecondOne)
{
    ICVariable const root(L"SYSTEMROOT", L"D:\\");
    EXPECT_STREQ(L"D:\\", ICSystem::mf_getSystemRoot());
}

TEST_F(ICSystemEnvironment, RootAndDriveThatAreNotThere_AreEmptyAndAskedForAgain)
{
    ICVariable const root(L"SYSTEMROOT");
    ICVariable const drive(L"SYSTEMDRIVE");
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_STREQ(L"", ICSystem::mf_getSystemRoot()); }),
                ElementsAre(mf_isNotFound("SYSTEMROOT"),
                            f_isRecord('I', "ICSystem::mf_getSystemRoot", "Windows system root is ''")));
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_STREQ(L"", ICSystem::mf_getSystemDrive()); }),
                ElementsAre(mf_isNotFound("SYSTEMDRIVE"),
                            f_isRecord('I', "ICSystem::mf_getSystemDrive", "Windows system drive is ''")));

    root.mf_set(L"C:\\Win");
    drive.mf_set(L"C:");
    EXPECT_STREQ(L"C:\\Win\\", ICSystem::mf_getSystemRoot());
    EXPECT_STREQ(L"C:\\", ICSystem::mf_getSystemDrive());
}

TEST_F(ICSystemEnvironment, RefusedRootAndDrive_AreAskedForAgain)
{
    {
        ICImportFault const refused("GetEnvironmentVariableW", DENIED);
        EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_getSystemRoot(); }),
                    AllOf(f_failsShowing(ICErrno::_E_::System, DENIED, VARIABLE,
                                         "Failure requesting environment variable 'SYSTEMROOT': "),
                          f_failsShowing(ICErrno::_E_::System, DENIED, "ICSystem::mf_getSystemRoot",
                                         "Failure requesting environment variable 'SYSTEMROOT': ")));
        EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_getSystemDrive(); }),
                    f_failsShowing(ICErrno::_E_::System, DENIED, "ICSystem::mf_getSystemDrive",
                                   "Failure requesting environment variable 'SYSTEMDRIVE': "));
    }
    EXPECT_FALSE(ICSystem::mf_getSystemRoot().IsEmpty());
    EXPECT_FALSE(ICSystem::mf_getSystemDrive().IsEmpty());
}

TEST_F(ICSystemEnvironment, RecycleRoot_IsADirectoryOfTheDrive)
{
    EXPECT_STREQ(L"C:\\$Recycle.Bin\\", ICSystem::mf_getRecycleRoot(L'C'));
    EXPECT_STREQ(L"z:\\$Recycle.Bin\\", ICSystem::mf_getRecycleRoot(L'z'));
}

TEST_F(ICSystemEnvironment, AnsiCodePage_IsTheUsers)
{
    ICImportPatch const polish(IC_IMPORT(GetLocaleInfoW), [](LCID locale, LCTYPE type, wchar_t * value, int size) {
        EXPECT_EQ(0x400u, locale);
        EXPECT_EQ(0x1004u, type);
        EXPECT_EQ(15, size);
        ::wcscpy_s(value, 15, L"1250");
        return 5;
    });
    EXPECT_STREQ(L"CP1250", ICSystem::mf_getDefaultAnsiCodepage());
    EXPECT_THAT(m_process.mf_trace([] { ICSystem::mf_getDefaultAnsiCodepage(); }),
                ElementsAre(f_isRecord('D', "ICSystem::mf_getDefaultAnsiCodepage",
                                       "Computed Windows default ANSI codepage: 'CP1250'")));
}

TEST_F(ICSystemEnvironment, RefusedAnsiCodePage_IsAFailure)
{
    ICImportFault const refused("GetLocaleInfoW", DENIED);
    EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_getDefaultAnsiCodepage(); }),
                f_failsShowing(ICErrno::_E_::System, DENIED, "ICSystem::mf_getDefaultAnsiCodepage",
                               "Failure getting Windows default ANSI codepage: "));
}

TEST_F(ICSystemEnvironment, UnicodeCodePage_IsAlwaysTheSame)
{
    EXPECT_STREQ(L"UCS-2LE", ICSystem::mf_getDefaultUnicodeCodepage());
}

namespace
{

// A network that knows, or refuses, the share of a local name.
class ICSystemShare : public testing::Test
{
protected:
    ICTracedAction mf_ask(wchar_t const * mountPoint) const
    {
        return m_process.mf_run([&] { ICSystem::mf_getServerShareName(mountPoint); });
    }

    ICTracedProcess const m_process;
    wchar_t m_local[3] = L"X:";
    wchar_t m_remote[20] = L"\\\\srv\\share";
    USE_INFO_0 m_use{m_local, m_remote};
    ulong m_code = NO_ERROR;
    bool m_givesBuffer = true;
    std::wstring m_asked;
    int m_freed = 0;
    ICImportPatch const m_onAsk{IC_IMPORT(NetUseGetInfo),
                                [this](wchar_t * server, wchar_t * name, DWORD level, BYTE ** buffer) {
                                    EXPECT_EQ(nullptr, server);
                                    EXPECT_EQ(0u, level);
                                    m_asked = name;
                                    if (m_givesBuffer) *buffer = reinterpret_cast<BYTE *>(&m_use);
                                    return m_code;
                                }};
    ICImportPatch const m_onFree{IC_IMPORT(NetApiBufferFree), [this](void * buffer) {
                                     EXPECT_EQ(&m_use, buffer);
                                     ++m_freed;
                                     return DWORD{NO_ERROR};
                                 }};
};

} // namespace

TEST_F(ICSystemShare, Share_IsTheRemoteNameOfALocalOne)
{
    EXPECT_STREQ(L"\\\\srv\\share", ICSystem::mf_getServerShareName(L"x:\\"));
    EXPECT_EQ(L"x:\\", m_asked) << "as it was given";
    EXPECT_EQ(1, m_freed);
}

TEST_F(ICSystemShare, NoMountPoint_IsRefused)
{
    EXPECT_THAT(mf_ask(L""),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICSystem::mf_getServerShareName", "No mount point"));
    EXPECT_EQ(L"", m_asked);
}

TEST_F(ICSystemShare, RefusedShare_CarriesTheCodeAndFreesTheBuffer)
{
    m_code = 2250; // no such connection
    for (bool const givesBuffer : {true, false}) {
        m_givesBuffer = givesBuffer;
        EXPECT_THAT(mf_ask(L"X:"),
                    f_failsShowing(ICErrno::_E_::Network, m_code, "ICSystem::mf_getServerShareName",
                                   "Failure requesting remote server share information for mount point 'X:':\n"));
    }
    EXPECT_EQ(1, m_freed) << "what was given";
}
