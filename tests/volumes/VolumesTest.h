#pragma once

#include "hsmbase/volumes/ICVolume.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/Thrown.h"

// A traced process on a simulated machine whose volume 1 has the letter D.
class VolumesTest : public testing::Test
{
protected:
    static constexpr ulong DENIED = ERROR_ACCESS_DENIED;

    static CString mf_id(ulong number) { return ICSimulatedMachine::mf_idPathOf(number).c_str(); }
    static std::string mf_guid(ulong number) { return f_logged("", mf_id(number).Mid(11, 36)); }

    // "@" is the id path of volume 1.
    static std::string mf_text(std::string const & text) { return f_at(text, mf_id(1)); }

    // The action threw the failure, and an error line with this text, "@" apart, shows it.
    static testing::Matcher<ICTracedAction const &>
    mf_failsShowing(ICErrno const & failure, std::string const & function, std::string const & text)
    {
        return mf_failsWith(failure, function, f_logged(mf_text(text), failure));
    }

    // The same with the whole text.
    static testing::Matcher<ICTracedAction const &> mf_failsWith(ICErrno const & failure, std::string const & function,
                                                                 std::string const & text)
    {
        ICErrnoData const & data = failure.mf_getErrnoData();
        return f_fails(data, data.mf_getOriginatorErrno(), 'E', "ICVolume::" + function, text);
    }

    static ICErrno mf_denied(ICErrnoValue const & constant) { return ICErrno(constant, DENIED); }

    ICTracedAction mf_build() const
    {
        return m_process.mf_run([] { ICVolume const volume(mf_id(1)); });
    }

    ICTracedProcess const m_process;
    ICSimulatedMachine m_machine;
    ICSimulatedVolume & m_first = m_machine.mf_add(1, L"D");
};
