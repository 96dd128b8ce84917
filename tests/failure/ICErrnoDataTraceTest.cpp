#include <utility>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

using testing::Contains;
using testing::ElementsAre;

TEST(ICErrnoDataTrace, NoMemoryForAText_TellsTheBytesAsCharacters)
{
    ICTracedProcess const process;
    ICErrnoData data(ICErrno::_E_::FileOpen);
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(
        process.mf_trace([&] { data.mf_setExplanation(L"abc", 1); }),
        ElementsAre(f_isRecord('E', "ICErrnoData::mf_implReplaceString", "Failure allocating array of 8 wchars")));
}

TEST(ICErrnoDataTrace, MessageWithoutNumber_Warns)
{
    ICTracedProcess const process;
    ICErrnoData data(ICErrno::_E_::FileOpen);
    EXPECT_THAT(
        process.mf_trace([&] { ICErrnoData::mf_setMessage(data, nullptr, 4060, 4060, 4060, 4060); }),
        ElementsAre(f_isRecord('W', "ICErrnoData::mf_setMessage", "NULL == _pszKVRNumber, cannot set user message")));
}

TEST(ICErrnoDataTrace, MessageForNoFailure_Warns)
{
    ICTracedProcess const process;
    ICErrnoData data;
    EXPECT_THAT(process.mf_trace([&] { ICErrnoData::mf_setMessage(data, L"KVR1E", 4060, 4060, 4060, 4060); }),
                ElementsAre(f_isRecord('W', "ICErrnoData::mf_setMessage",
                                       "Errno value not set, defaulting to 'Unspecific error'.\n"
                                       "This needs to be fixed in the code!")));
}

TEST(ICErrnoDataTrace, RecordThatCannotBeWrittenForTheAdministrator_IsToldWhenItEnds)
{
    ICTracedProcess const process(L"German");
    process.mf_getRegistry().mf_writeText(L"", L"AdminLogFileDir", process.mf_getDirectory().mf_getPath());
    ICAdminLog::m_pThis = new ICAdminLog(L"admin.log");
    ICAdminLog::m_pThis->m_bStarted = 1;
    ICImportPatch const failingOnce(IC_IMPORT(GetLocalTime), [isFirst = true](SYSTEMTIME * time) mutable {
        if (std::exchange(isFirst, false)) throw ICErrno(ICErrno::_E_::Internal);
        ::GetLocalTime(time);
    });

    auto const records = process.mf_trace([] { ICErrnoData(ICErrno::_E_::FileOpen).mf_setAdminLogFlag(1); });
    ICAdminLog::mf_closeLog();

    EXPECT_THAT(records, Contains(f_isRecord('E', "ICErrnoData::~ICErrnoData",
                                             f_logged("Failure writing errno data to admin log.\nerrno: ",
                                                      ICErrno(ICErrno::_E_::FileOpen)))));
}
