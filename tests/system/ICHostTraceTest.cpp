// The switch that turns the check of names off, and its lines, as a log shows them.
#include "hsmbase/system/ICHost.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedPlace.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr wchar_t SWITCH[] = L"DisableHostNameValidation";
constexpr ulong DENIED = ERROR_ACCESS_DENIED;

class ICHostTrace : public testing::Test
{
protected:
    void mf_switch(ulong number) const { m_process.mf_getRegistry().mf_writeNumber(L"", SWITCH, number); }

    std::vector<ICTraceRecord> mf_check(wchar_t const * name, int expected) const
    {
        return m_process.mf_trace([&] { EXPECT_EQ(expected, ICHost::mf_isValidName(name)); });
    }

    auto mf_isSkipped(std::string const & name) const
    {
        return f_isRecord('W', "ICHost::mf_isValidName",
                          mf_at("Registry key '@\\DisableHostNameValidation' was manually activated,\n"
                                "skipping host name validation for name='" +
                                name + "'"));
    }

    auto mf_isIgnored(ICErrnoValue const & constant, std::optional<ulong> systemError) const
    {
        ICErrno const failure = systemError ? ICErrno(constant, *systemError) : ICErrno(constant);
        return f_isRecord('E', "ICHost::mf_isValidName",
                          f_logged(mf_at("Failure checking host name validation,    registry key "
                                         "'@\\DisableHostNameValidation':\n"),
                                   failure) +
                              "\nIgnoring error and continuing with validation...");
    }

    std::string mf_at(std::string const & text) const
    {
        return f_at(text, m_process.mf_getRegistry().mf_getPath().c_str());
    }

    ICTracedProcess const m_process{L"German"};
};

} // namespace

TEST_F(ICHostTrace, WithoutTheValue_NamesAreCheckedSilently)
{
    EXPECT_THAT(mf_check(L"my_host", 0), IsEmpty());
    EXPECT_THAT(mf_check(L"myhost", 1), IsEmpty());
}

TEST_F(ICHostTrace, ValueOf0_ChecksNamesSilently)
{
    mf_switch(0);
    EXPECT_THAT(mf_check(L"my_host", 0), IsEmpty());
}

TEST_F(ICHostTrace, ValueOfAnotherNumber_MakesEveryNameValid)
{
    for (ulong const number : {1ul, 2ul, 0xfffffffful}) {
        mf_switch(number);
        EXPECT_THAT(mf_check(L"my_host", 1), ElementsAre(mf_isSkipped("my_host")));
        EXPECT_THAT(mf_check(L"", 1), ElementsAre(mf_isSkipped("")));
        EXPECT_THAT(mf_check(L"fine", 1), ElementsAre(mf_isSkipped("fine")));
    }
}

TEST_F(ICHostTrace, ValueOfAnotherType_IsAnErrorLineAndIgnored)
{
    m_process.mf_getRegistry().mf_writeText(L"", SWITCH, L"1");
    EXPECT_THAT(mf_check(L"my_host", 0), Contains(mf_isIgnored(ICErrno::_E_::Unexpected, {})));
    EXPECT_THAT(mf_check(L"myhost", 1), Contains(mf_isIgnored(ICErrno::_E_::Unexpected, {})));
}

TEST_F(ICHostTrace, RegistryThatRefuses_IsAnErrorLineAndIgnored)
{
    mf_switch(1);
    {
        ICImportFault const refused("RegOpenKeyExW", DENIED);
        EXPECT_THAT(mf_check(L"my_host", 0), Contains(mf_isIgnored(ICErrno::_E_::Registry, DENIED)));
    }
    ICImportFault const refused("RegOpenKeyExW", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(mf_check(L"my_host", 0), Contains(mf_isIgnored(ICErrno::_E_::Registry, DENIED)));
    EXPECT_EQ(1u, refused.mf_getAnswered());
}
