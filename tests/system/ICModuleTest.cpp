#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hsmbase/system/ICModule.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

using testing::AllOf;
using testing::ElementsAre;

namespace
{

// A library that nothing else here loads.
constexpr wchar_t LIBRARY[] = L"tnwlangdeu.dll";
constexpr wchar_t FUNCTION[] = L"?GetLanguageVersion@@YA?BKXZ";

bool f_isLoaded()
{
    return ::GetModuleHandleW(LIBRARY) != nullptr;
}

FARPROC f_addressIn(wchar_t const * library, char const * function)
{
    return ::GetProcAddress(::GetModuleHandleW(library), function);
}

// The names that a module asks the platform for; each is found.
struct NAMES_ASKED
{
    std::vector<std::string> m_names;
    ICImportPatch const m_patch{"GetProcAddress", [this](HMODULE, LPCSTR name) -> FARPROC {
                                    m_names.emplace_back(name);
                                    return f_addressIn(L"kernel32.dll", "Sleep");
                                }};
};

class ICModuleTrace : public testing::Test
{
protected:
    ICTracedProcess const m_process{L"German"};
    // By pointer: a fixture's destructor may not throw.
    std::unique_ptr<ICModule> const m_owner = std::make_unique<ICModule>(L"kernel32.dll");
    ICModule & m_module = *m_owner;
};

} // namespace

TEST(ICModule, Library_IsLoadedWhileTheObjectLives)
{
    ASSERT_FALSE(f_isLoaded());
    {
        ICModule const module(LIBRARY);
        EXPECT_TRUE(f_isLoaded());
        EXPECT_EQ(::GetModuleHandleW(LIBRARY), module.m_hModule);
        EXPECT_STREQ(LIBRARY, module.m_sName);
    }
    EXPECT_FALSE(f_isLoaded());
}

TEST(ICModule, UnknownLibrary_LeavesNothingToUnload)
{
    ICImportFault const unloaded("FreeLibrary");

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::DllOpen, [] { ICModule(L"no such library.dll"); }, ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(0u, unloaded.mf_getCalls());
}

// Copies share the one load.
TEST(ICModule, FirstOfTwoToGo_UnloadsForBoth)
{
    std::optional<ICModule> first(LIBRARY);
    std::optional<ICModule> second(first);
    EXPECT_EQ(first->m_hModule, second->m_hModule);
    EXPECT_STREQ(first->m_sName, second->m_sName);

    first.reset();

    EXPECT_FALSE(f_isLoaded());
    EXPECT_NO_THROW(second.reset());
}

TEST(ICModule, Destructor_KeepsTheLastError)
{
    {
        ICModule const module(LIBRARY);
        ICImportFault const stays("FreeLibrary", ERROR_ACCESS_DENIED);
        ICModule const copy(module);
        ::SetLastError(ERROR_FILE_EXISTS);
    }
    EXPECT_EQ(static_cast<ulong>(ERROR_FILE_EXISTS), ::GetLastError());
}

TEST(ICModule, DestructorIsVirtual_AndRunsForTheBase)
{
    struct DERIVED : ICModule
    {
        DERIVED(int & ends) : ICModule(LIBRARY), m_ends(ends) {}
        ~DERIVED() noexcept(false) override { ++m_ends; }
        int & m_ends;
    };
    int ends = 0;
    ICModule * const module = new DERIVED(ends);

    delete module;

    EXPECT_EQ(1, ends);
    EXPECT_FALSE(f_isLoaded());
}

TEST(ICModule, Address_IsThatOfTheFunction)
{
    ICModule module(LIBRARY);

    FARPROC const address = module.mf_getAddress(FUNCTION);

    EXPECT_EQ(f_addressIn(LIBRARY, "?GetLanguageVersion@@YA?BKXZ"), address);
    EXPECT_EQ(address, module.mf_getAddress(L"?Get<IC>Version@@YA?BKXZ", L"Language"));
}

// A platform that sets no number must not be blamed with an old one.
TEST(ICModule, FailuresWithoutNumber_ShowNoneOfBefore)
{
    auto const refuse = [](auto...) { return nullptr; };
    ICModule module(L"kernel32.dll");
    ::SetLastError(ERROR_FILE_EXISTS);
    {
        ICImportPatch const unloadable(IC_IMPORT(LoadLibraryW), refuse);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::DllOpen, [] { ICModule(L"kernel32.dll"); }, 0));
    }
    ::SetLastError(ERROR_FILE_EXISTS);
    ICImportPatch const unknown(IC_IMPORT(GetProcAddress), refuse);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::DllFunction, [&] { module.mf_getAddress(L"Sleep"); }, 0));
}

TEST(ICModule, Template_TakesThePartAtItsFirstMark)
{
    ICModule module(L"kernel32.dll");
    NAMES_ASKED asked;

    module.mf_getAddress(L"Open<IC>File", L"Ex");
    module.mf_getAddress(L"<IC>File", L"Open");
    module.mf_getAddress(L"Open<IC>", L"");
    module.mf_getAddress(L"<IC><IC>", L"a");
    module.mf_getAddress(L"a<IC>b<IC>", L"<IC>");

    EXPECT_THAT(asked.m_names, ElementsAre("OpenExFile", "OpenFile", "Open", "a<IC>", "a<IC>b<IC>"));
}

TEST(ICModule, FunctionName_GoesOutInTheThreadsCodePage)
{
    ICModule module(L"kernel32.dll");
    NAMES_ASKED asked;
    wchar_t const name[] = L"f\u00E4\u20AC\u4E2D";
    char expected[16] = "";
    ::WideCharToMultiByte(CP_THREAD_ACP, 0, name, -1, expected, sizeof(expected), nullptr, nullptr);

    module.mf_getAddress(name);

    EXPECT_THAT(asked.m_names, ElementsAre(expected));
}

// A name that can't be converted is one that isn't found.
TEST(ICModule, FunctionNameThatCannotBeConverted_IsEmpty)
{
    ICModule module(L"kernel32.dll");
    NAMES_ASKED asked;
    ICImportFault const refused("WideCharToMultiByte", ERROR_INVALID_PARAMETER, ICCalls::mf_all().mf_onThisThread());

    module.mf_getAddress(L"Sleep");

    EXPECT_THAT(asked.m_names, ElementsAre(""));
}

TEST_F(ICModuleTrace, OpenAndClose_AreTold)
{
    EXPECT_THAT(m_process.mf_trace([] { ICModule(L"kernel32.dll"); }),
                ElementsAre(f_isRecord('I', "ICModule::mf_implOpen", "Dll 'kernel32.dll' successfully opened"),
                            f_isRecord('I', "ICModule::mf_implClose", "Dll 'kernel32.dll' successfully closed")));
}

TEST_F(ICModuleTrace, UnknownLibrary_IsToldTwice)
{
    ICImportFault const refused("LoadLibraryW", ERROR_ACCESS_DENIED);
    auto const outcome = m_process.mf_run([] { ICModule(L"x.dll"); });
    EXPECT_THAT(outcome, AllOf(f_failsShowing(ICErrno::_E_::DllOpen, ERROR_ACCESS_DENIED, "ICModule::mf_implOpen",
                                              "Failure loading library 'x.dll':\n"),
                               f_failsShowing(ICErrno::_E_::DllOpen, ERROR_ACCESS_DENIED, "ICModule::ICModule",
                                              "Failure opening library 'x.dll':\n")));
    EXPECT_EQ(2u, outcome.m_records.size());
}

// "Successfully closed" follows a failure too, and nothing is thrown.
TEST_F(ICModuleTrace, FailedUnloading_IsToldAndNotThrown)
{
    std::optional<ICModule> copy(m_module);
    ICImportFault const refused("FreeLibrary", ERROR_ACCESS_DENIED);
    auto const records = m_process.mf_trace([&] { copy.reset(); });
    EXPECT_THAT(records,
                ElementsAre(f_isRecord('E', "ICModule::mf_implClose",
                                       f_logged("Failure unloading library 'kernel32.dll': ", ICErrno::_E_::DllClose,
                                                ERROR_ACCESS_DENIED)),
                            f_isRecord('I', "ICModule::mf_implClose", "Dll 'kernel32.dll' successfully closed")));
}

// The destructor throws.
TEST_F(ICModuleTrace, EndWithoutHandle_Fails)
{
    auto const outcome = m_process.mf_run([this] {
        ICModule copy(m_module);
        copy.m_hModule = nullptr;
    });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Initialization, 'E', "ICModule::~ICModule",
                                 "No module handle for library 'kernel32.dll'"));
    EXPECT_EQ(1u, outcome.m_records.size());
}

TEST_F(ICModuleTrace, WithoutHandle_NeitherClosesNorFinds)
{
    HMODULE const handle = std::exchange(m_module.m_hModule, nullptr);
    EXPECT_THAT(m_process.mf_run([this] { m_module.mf_implClose(); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICModule::mf_implClose", "NULL == m_hModule"));
    EXPECT_THAT(m_process.mf_run([this] { m_module.mf_getAddress(L"Sleep"); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICModule::mf_getAddress::1", "No library handle"));
    m_module.m_hModule = handle;
}

TEST_F(ICModuleTrace, EmptyFunctionName_IsAnErrorAheadOfTheHandle)
{
    HMODULE const handle = std::exchange(m_module.m_hModule, nullptr);
    EXPECT_THAT(m_process.mf_run([this] { m_module.mf_getAddress(L""); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICModule::mf_getAddress::1", "Empty function name"));
    EXPECT_THAT(m_process.mf_run([this] { m_module.mf_getAddress(L"<IC>", L""); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICModule::mf_getAddress::1", "Empty function name"));
    m_module.m_hModule = handle;
}

TEST_F(ICModuleTrace, UnknownFunction_IsAnErrorOfTheSystem)
{
    EXPECT_THAT(m_process.mf_run([this] { m_module.mf_getAddress(L"NoSuch<IC>", L"Function"); }),
                f_failsShowing(ICErrno::_E_::DllFunction, ERROR_PROC_NOT_FOUND, "ICModule::mf_getAddress::1",
                               "Failure getting function address, library='kernel32.dll',\n"
                               "function='NoSuchFunction':\n"));
}

TEST_F(ICModuleTrace, TemplateWithoutMark_IsAnError)
{
    for (char const * const name : {"", "Sleep", "<ic>", "<IC", "< IC>"}) {
        SCOPED_TRACE(name);
        auto const outcome = m_process.mf_run([&] { m_module.mf_getAddress(CString(name), L"x"); });
        EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Internal, 'E', "ICModule::mf_getAddress::2",
                                     "No template in function symbol name '" + std::string(name) + "'"));
    }
}
