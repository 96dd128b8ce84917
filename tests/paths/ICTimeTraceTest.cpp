// The lines of times and sizes, as a log shows them.
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/paths/ICTime.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::Contains;

TEST(ICTimeTrace, ZoneThatCannotBeHad_IsToldUnderEachName)
{
    ICTracedProcess const process;
    CTime time(2024, 1, 31, 0, 0, 0);
    ICImportFault const denied("GetTimeZoneInformation", ICAnswer::mf_error(ERROR_ACCESS_DENIED, TIME_ZONE_ID_INVALID));
    auto const fails = [](std::string const & tag) {
        return f_failsShowing(ICErrno::_E_::Conversion, ERROR_ACCESS_DENIED, tag,
                              "Failure getting time zone information: ");
    };
    EXPECT_THAT(process.mf_run([&] { ICTime::mf_toUTC(time); }), fails("ICTime::mf_toUTC"));
    EXPECT_THAT(process.mf_run([&] { ICTime::mf_toLocal(time); }), fails("ICTime::mf_toLocal"));
}

TEST(ICTimeTrace, MapToFileTime_Refused_TellsTheStep)
{
    ICTracedProcess const process;
    auto const map = [](CTime const & time) { return [=] { ICTime::mf_mapCTimeToFileTime(time); }; };
    EXPECT_THAT(process.mf_run(map(CTime(-365ll * 24 * 3600))),
                f_fails(ICErrno::_E_::Conversion, 'E', "ICTime::mf_mapCTimeToFileTime",
                        "Conversion CTime -> SYSTEMTIME failed"));
    ICImportFault const denied("SystemTimeToFileTime", ERROR_INVALID_PARAMETER);
    EXPECT_THAT(process.mf_run(map(CTime(2024, 1, 31, 0, 0, 0))),
                f_failsShowing(ICErrno::_E_::Conversion, ERROR_INVALID_PARAMETER, "ICTime::mf_mapCTimeToFileTime",
                               "Conversion SYSTEMTIME -> FILETIME failed: "));
}

TEST(ICTimeTrace, TextThatIsNoTime_IsToldUnderEachName)
{
    struct CASE
    {
        CTime (*map)(CString const &);
        char const * tag;
    };
    static CASE const CASES[] = {{&ICTime::mf_mapDateStringToCTime, "ICTime::mf_mapDateStringToCTime"},
                                 {&ICTime::mf_mapUTCDateStringToCTime, "ICTime::mf_mapUTCDateStringToCTime"},
                                 {&ICTime::mf_mapDateTimeStringToCTime, "ICTime::mf_mapDateTimeStringToCTime"},
                                 {&ICTime::mf_mapUTCDateTimeStringToCTime, "ICTime::mf_mapUTCDateTimeStringToCTime"}};
    ICTracedProcess const process;
    for (CASE const & each : CASES)
        EXPECT_THAT(process.mf_run([&] { each.map(L"2024-12"); }),
                    f_fails(ICErrno::_E_::Conversion, 'E', each.tag, "Could not convert '2024-12' into CTime struct."));
}

TEST(ICTimeTrace, DateThatIsMapped_LeavesADebugLine)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_trace([] { ICTime::mf_mapDateStringToCTime(L"2024-1-31"); }),
                Contains(f_isRecord('D', "ICTime::mf_mapDateStringToCTime",
                                    "Date string to CTime conversion: '2024-1-31' => '2024-01-31 00:00:00'")));
    EXPECT_THAT(process.mf_trace([] { ICTime::mf_mapUTCDateStringToCTime(L"2024-1-31"); }), testing::IsEmpty());
}

TEST(ICFileTimeTrace, TextWithoutDelimiter_IsShown)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_run([] { ICFileTime(L"2024-01-31", L'T'); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICFileTime::ICFileTime",
                        "Delimiter 'T' not found in date-time string '2024-01-31'"));
}

TEST(ICFileTimeTrace, TextThatIsNoDate_TellsTheSystemErrorInTheLineOnly)
{
    ICTracedProcess const process;
    ICImportFault const refused("SystemTimeToFileTime", ERROR_INVALID_PARAMETER);
    auto const outcome = process.mf_run([] { ICFileTime(L"2024-13-01 ", L' '); });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Conversion, 'E', "ICFileTime::mf_implParse",
                                 f_logged("Failure converting system time to file time: ", ICErrno::_E_::Conversion,
                                          ERROR_INVALID_PARAMETER)));
    EXPECT_NE(ulong{ERROR_INVALID_PARAMETER}, outcome.m_originatorErrno);
}

TEST(ICFileTimeTrace, TimeThatGivesNoText_IsAnErrorLineOnly)
{
    ICTracedProcess const process;
    ICFileTime const time;
    ICImportFault const refused("FileTimeToSystemTime", ERROR_INVALID_PARAMETER);
    std::string const text =
        f_logged("Failure converting FILETIME to SYSTEMTIME: ", ICErrno::_E_::Conversion, ERROR_INVALID_PARAMETER);
    EXPECT_THAT(process.mf_trace([&] { time.mf_toString(L' '); }),
                Contains(f_isRecord('E', "ICFileTime::mf_toString", text)));
    EXPECT_THAT(process.mf_trace([&] { time.mf_toLogString(); }),
                Contains(f_isRecord('E', "ICFileTime::mf_toLogString", text)));
}

TEST(ICFileSizeTrace, SizeBeyond32Bits_IsRefused)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_run([] { ICFileSize(0ul, 1ul).mf_get32BitSize(); }),
                f_fails(ICErrno::_E_::FileSizeExceeded, 'E', "ICFileSize::mf_get32BitSize", "Filesize > 4GByte"));
}
