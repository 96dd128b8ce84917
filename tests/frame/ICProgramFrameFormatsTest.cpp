// The formats and fault injection as a frame brings them up. Each in a process of its own, which answers 0 for right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame/ICProgramFrame.h"
#include "hsmbase/context/ICDebug.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/text/ICNumberFormatter.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICRegistrySandbox.h"

namespace
{
bool f_hasStatus(ulong bit)
{
    return ICStatus::mf_implGetInstance().mf_implHasStatus(bit) != 0;
}

bool f_throws()
{
    try {
        ICDebug::mf_throwErrno(ICErrnoData::TARNWELL, 2);
        return false;
    }
    catch (ICErrno & failure) {
        return failure.mf_isErrno(ICErrno::_E_::Debug) != 0;
    }
}

class ICProgramFrameFormats : public testing::Test
{
protected:
    // What went wrong; empty for nothing.
    std::string mf_failureOf(char const * child) const
    {
        ICChildProcess process(child, {m_registry.mf_getPath()});
        ulong const answer = process.mf_getExitCode();
        return answer == 0 ? "" : std::to_string(answer) + process.mf_getOutput() + process.mf_getErrors();
    }

    ICRegistrySandbox const m_registry;
};
} // namespace

IC_CHILD(frame_formats)
{
    {
        ICProgramFrame const frame(arguments[0].c_str());
        if (!f_hasStatus(ICStatus::STATUS_NUMBER_FORMATTER)) return 1;
        if (ICNumberFormatter::mf_formatNumber(1234567) != L"1.234.567") return 2;
    }
    if (ICNumberFormatter::m_pThis != nullptr) return 3;
    return f_hasStatus(ICStatus::STATUS_NUMBER_FORMATTER) ? 4 : 0;
}

TEST_F(ICProgramFrameFormats, Formats_AreThoseOfTheRegistryWhileTheFrameIsUp)
{
    m_registry.mf_writeNumber(L"", L"NumFmt", 4);
    EXPECT_EQ("", mf_failureOf("frame_formats"));
}

IC_CHILD(frame_without_debugging)
{
    ICProgramFrame const frame(arguments[0].c_str());
    if (ICDebug::mf_isEnabled() || f_hasStatus(ICStatus::STATUS_DEBUGGING)) return 1;
    return f_throws() ? 2 : 0;
}

TEST_F(ICProgramFrameFormats, FaultInjection_IsOffWithoutItsKey)
{
    EXPECT_EQ("", mf_failureOf("frame_without_debugging"));
}

IC_CHILD(frame_debugging)
{
    {
        ICProgramFrame const frame(arguments[0].c_str());
        if (!ICDebug::mf_isEnabled() || !f_hasStatus(ICStatus::STATUS_DEBUGGING)) return 1;
        if (!f_throws()) return 2;
        ICRegistry::mf_setValue(L"Tarnwell", 4ul, ICDebug::mf_getDebugRoot(), HKEY_LOCAL_MACHINE);
        if (f_throws()) return 3;
    }
    return ICDebug::mf_isEnabled() || f_hasStatus(ICStatus::STATUS_DEBUGGING) ? 4 : 0;
}

TEST_F(ICProgramFrameFormats, FaultInjection_GoesOnAndOffWhileTheProgramRuns)
{
    m_registry.mf_writeNumber(L"Debug", L"Tarnwell", 2);
    EXPECT_EQ("", mf_failureOf("frame_debugging"));
}

IC_CHILD(frame_debugging_unknown)
{
    ICImportPatch const refused(IC_IMPORT(RegOpenKeyExW),
                                [](HKEY key, LPCWSTR path, DWORD options, REGSAM rights, HKEY * opened) -> LSTATUS {
                                    if (std::wstring_view(path).ends_with(L"\\Debug")) return ERROR_ACCESS_DENIED;
                                    return ::RegOpenKeyExW(key, path, options, rights, opened);
                                });
    ICProgramFrame const frame(arguments[0].c_str());
    return ICDebug::mf_isEnabled() || f_hasStatus(ICStatus::STATUS_DEBUGGING) ? 1 : 0;
}

TEST_F(ICProgramFrameFormats, FaultInjectionThatCannotBeAskedFor_KeepsNoProgramFromStarting)
{
    EXPECT_EQ("", mf_failureOf("frame_debugging_unknown"));
}
