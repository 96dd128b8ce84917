#include <gtest/gtest.h>

#include <cstdint>
#include <cwchar>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICStartedProcess.h"

namespace
{

ICErrnoData f_withOriginator()
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setOriginator(ICErrnoData::REXBURY, 42, L"out of tapes");
    return data;
}

std::uint64_t f_ticks(FILETIME const & time)
{
    return (std::uint64_t(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

std::uint64_t f_localTicksNow()
{
    FILETIME system, local;
    ::GetSystemTimeAsFileTime(&system);
    ::FileTimeToLocalFileTime(&system, &local);
    return f_ticks(local);
}

// The five texts that are set and asked in the same way.
struct TEXT_FIELD
{
    char const * name;
    void (ICErrnoData::*mf_set)(wchar_t const *, int);
    wchar_t const * (ICErrnoData::*mf_get)() const;
    int (ICErrnoData::*mf_has)() const;
    void (ICErrno::*mf_setOnException)(CString const &);
};

TEXT_FIELD const FIELDS[] = {
    {"KVRNumber", &ICErrnoData::mf_setKVRNumber, &ICErrnoData::mf_getKVRNumber, &ICErrnoData::mf_hasKVRNumber,
     &ICErrno::mf_setKVRNumber},
    {"MessageText", &ICErrnoData::mf_setMessageText, &ICErrnoData::mf_getMessageText, &ICErrnoData::mf_hasMessageText,
     &ICErrno::mf_setMessageText},
    {"Explanation", &ICErrnoData::mf_setExplanation, &ICErrnoData::mf_getExplanation, &ICErrnoData::mf_hasExplanation,
     &ICErrno::mf_setExplanation},
    {"SystemAction", &ICErrnoData::mf_setSystemAction, &ICErrnoData::mf_getSystemAction,
     &ICErrnoData::mf_hasSystemAction, &ICErrno::mf_setSystemAction},
    {"UserResponse", &ICErrnoData::mf_setUserResponse, &ICErrnoData::mf_getUserResponse,
     &ICErrnoData::mf_hasUserResponse, &ICErrno::mf_setUserResponse},
};

} // namespace

TEST(ICErrnoData, Default_SaysNothing)
{
    ICErrnoData const data;
    EXPECT_EQ(0u, data.mf_getNumber());
    EXPECT_EQ(0u, data.mf_getResourceId());
    EXPECT_FALSE(data.mf_isSet());
    EXPECT_EQ(0u, f_ticks(data.mf_getCreationTime()));
    EXPECT_EQ(-1, data.mf_getOriginatorId());
    EXPECT_EQ(0xffffffffu, data.mf_getOriginatorErrno());
    EXPECT_FALSE(data.mf_hasOriginator());
    EXPECT_FALSE(data.mf_hasOriginatorMessage());
    EXPECT_FALSE(data.mf_isAdminLogFlagSet());
}

TEST(ICErrnoData, FromAConstant_IsStampedWithLocalTime)
{
    std::uint64_t const before = f_localTicksNow();
    ICErrnoData const data(ICErrno::_E_::FileOpen);
    std::uint64_t const after = f_localTicksNow();
    EXPECT_EQ(0x0300002cu, data.mf_getNumber());
    EXPECT_EQ(2054u, data.mf_getResourceId());
    EXPECT_LE(before, f_ticks(data.mf_getCreationTime()));
    EXPECT_GE(after, f_ticks(data.mf_getCreationTime()));
}

TEST(ICErrnoData, Copy_CarriesTheTimeOfTheCopy)
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.m_creationTime = {1, 1};
    std::uint64_t const before = f_localTicksNow();
    ICErrnoData const copy(data);
    EXPECT_LE(before, f_ticks(copy.mf_getCreationTime()));
    ICErrnoData assigned;
    assigned = data;
    EXPECT_EQ(f_ticks(data.mf_getCreationTime()), f_ticks(assigned.mf_getCreationTime()));
}

TEST(ICErrnoData, AssigningARecordWithoutOriginator_KeepsTheOriginator)
{
    ICErrnoData data = f_withOriginator();
    data = ICErrnoData(ICErrno::_W_::Timeout);
    EXPECT_EQ(ICErrno::_W_::Timeout.mf_getNumber(), data.mf_getNumber());
    EXPECT_EQ(ICErrnoData::REXBURY, data.mf_getOriginatorId());
    EXPECT_EQ(42u, data.mf_getOriginatorErrno());
    EXPECT_STREQ(L"out of tapes", data.mf_getOriginatorMessage());
}

TEST(ICErrnoData, AssigningAnOriginator_TakesItsMessageAlsoWhenItHasNone)
{
    ICErrnoData data = f_withOriginator();
    ICErrnoData other(ICErrno::_W_::Timeout);
    other.mf_setOriginator(ICErrnoData::SYSTEM, 5, nullptr);
    data = other;
    EXPECT_EQ(ICErrnoData::SYSTEM, data.mf_getOriginatorId());
    EXPECT_EQ(5u, data.mf_getOriginatorErrno());
    EXPECT_FALSE(data.mf_hasOriginatorMessage());
}

TEST(ICErrnoData, Assignment_MergesEachText)
{
    for (TEXT_FIELD const & field : FIELDS) {
        SCOPED_TRACE(field.name);
        ICErrnoData data, other;
        (data.*field.mf_set)(L"old", 1);
        data = ICErrnoData(ICErrno::_E_::CRC);
        EXPECT_STREQ(L"old", (data.*field.mf_get)());
        (other.*field.mf_set)(L"new", 1);
        data = other;
        EXPECT_STREQ(L"new", (data.*field.mf_get)());
        EXPECT_STREQ(L"new", (other.*field.mf_get)());
        EXPECT_NE((data.*field.mf_get)(), (other.*field.mf_get)());
    }
}

TEST(ICErrnoData, SelfAssignment_ChangesNothing)
{
    ICErrnoData data = f_withOriginator();
    data.mf_setMessageText(L"text", 1);
    data.mf_setAdminLogFlag(1);
    ICErrnoData const & same = data;
    data = same;
    EXPECT_STREQ(L"text", data.mf_getMessageText());
    EXPECT_STREQ(L"out of tapes", data.mf_getOriginatorMessage());
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    data.mf_setAdminLogFlag(0);
}

// Deliberate: collecting functions declare a failure recovered without losing who said what.
TEST(ICErrnoData, Reset_ClearsNumberAndTimeOnly)
{
    ICErrnoData data = f_withOriginator();
    data.mf_setExplanation(L"because", 1);
    data.mf_setAdminLogFlag(1);
    data.mf_reset();
    EXPECT_FALSE(data.mf_isSet());
    EXPECT_EQ(0u, data.mf_getResourceId());
    EXPECT_EQ(0u, f_ticks(data.mf_getCreationTime()));
    EXPECT_TRUE(data.mf_hasOriginator());
    EXPECT_STREQ(L"because", data.mf_getExplanation());
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    data.mf_setAdminLogFlag(0);
}

TEST(ICErrnoData, Copying_MovesTheAdministratorsFlagAlsoFromAConstRecord)
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setAdminLogFlag(5);
    ICErrnoData const & source = data;
    ICErrnoData const copy(source);
    EXPECT_FALSE(data.mf_isAdminLogFlagSet());
    EXPECT_EQ(1, copy.mf_isAdminLogFlagSet());
    ICErrnoData assigned;
    assigned = copy;
    EXPECT_FALSE(copy.mf_isAdminLogFlagSet());
    EXPECT_EQ(1, assigned.mf_isAdminLogFlagSet());
    assigned = ICErrnoData(ICErrno::_W_::Timeout);
    EXPECT_TRUE(assigned.mf_isAdminLogFlagSet());
}

TEST(ICErrnoData, FlagOnTheRoadOfAnException_ReachesTheLastHolderOnly)
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setAdminLogFlag(1);
    ICErrnoData collected;
    try {
        try {
            throw ICErrno(data);
        }
        catch (ICErrno & failure) {
            EXPECT_FALSE(data.mf_isAdminLogFlagSet());
            throw ICErrno(failure);
        }
    }
    catch (ICErrno & failure) {
        EXPECT_TRUE(failure.mf_getErrnoData().mf_isAdminLogFlagSet());
        collected = failure.mf_getErrnoData();
        EXPECT_FALSE(failure.mf_getErrnoData().mf_isAdminLogFlagSet());
    }
    EXPECT_TRUE(collected.mf_isAdminLogFlagSet());
    EXPECT_FALSE(data.mf_isAdminLogFlagSet());
}

TEST(ICErrnoData, Rendering_LeavesTheFlagWhereItIs)
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setAdminLogFlag(1);
    ICErrno const failure(data);
    failure.mf_toString();
    failure.mf_toLogMessage(L"");
    failure.mf_toConsoleMessage(L"");
    failure.mf_toGuiMessage(L"");
    EXPECT_TRUE(failure.mf_getErrnoData().mf_isAdminLogFlagSet());
}

TEST(ICErrnoData, SetText_OverwritesOnlyWhenTold)
{
    for (TEXT_FIELD const & field : FIELDS) {
        SCOPED_TRACE(field.name);
        ICErrnoData data(ICErrno::_E_::CRC);
        EXPECT_FALSE((data.*field.mf_has)());
        EXPECT_STREQ(L"N/A", (data.*field.mf_get)());
        (data.*field.mf_set)(L"first", 0);
        (data.*field.mf_set)(L"second", 0);
        EXPECT_STREQ(L"first", (data.*field.mf_get)());
        (data.*field.mf_set)(L"third", 1);
        EXPECT_STREQ(L"third", (data.*field.mf_get)());
        (data.*field.mf_set)((data.*field.mf_get)() + 2, 1);
        EXPECT_STREQ(L"ird", (data.*field.mf_get)());
        (data.*field.mf_set)(nullptr, 1);
        EXPECT_FALSE((data.*field.mf_has)());
    }
}

TEST(ICErrnoData, SetToNothing_IsSet)
{
    for (TEXT_FIELD const & field : FIELDS) {
        SCOPED_TRACE(field.name);
        ICErrnoData data;
        (data.*field.mf_set)(L"", 0);
        EXPECT_TRUE((data.*field.mf_has)());
        (data.*field.mf_set)(L"late", 0);
        EXPECT_STRNE(L"late", (data.*field.mf_get)());
    }
}

TEST(ICErrno, SetText_NeverReplaces)
{
    for (TEXT_FIELD const & field : FIELDS) {
        SCOPED_TRACE(field.name);
        ICErrno failure(ICErrno::_E_::CRC);
        (failure.*field.mf_setOnException)(L"first");
        (failure.*field.mf_setOnException)(L"second");
        EXPECT_STREQ(L"first", (failure.mf_getErrnoData().*field.mf_get)());
    }
}

TEST(ICErrnoData, EmptyNumber_ShowsTheSeverity)
{
    struct
    {
        ICErrnoData data;
        wchar_t const * expected;
    } const rows[] = {{ICErrno::_I_::Ok, L"KVR?????T"},
                      {ICErrno::_W_::Timeout, L"KVR?????E"},
                      {ICErrno::_E_::CRC, L"KVR?????E"},
                      {ICErrno::_S_::Internal, L"KVR?????E"}};
    for (auto const & row : rows) {
        ICErrnoData data(row.data);
        data.mf_setKVRNumber(L"", 1);
        EXPECT_STREQ(row.expected, data.mf_getKVRNumber());
    }
    EXPECT_STREQ(L"N/A", ICErrnoData(ICErrno::_E_::CRC).mf_getKVRNumber());
}

TEST(ICErrnoData, Update_KeepsTheFirstOfTheWorst)
{
    ICErrnoData data(ICErrno::_W_::Timeout);
    data.mf_setExplanation(L"slow", 1);
    EXPECT_EQ(0, data.mf_update(ICErrno::_W_::FileNotFound));
    EXPECT_EQ(0, data.mf_update(ICErrnoData()));
    EXPECT_EQ(ICErrno::_W_::Timeout.mf_getNumber(), data.mf_getNumber());
    EXPECT_EQ(1, data.mf_update(ICErrno::_E_::CRC));
    EXPECT_EQ(ICErrno::_E_::CRC.mf_getNumber(), data.mf_getNumber());
    EXPECT_STREQ(L"slow", data.mf_getExplanation());
    ICErrnoData empty;
    EXPECT_EQ(1, empty.mf_update(ICErrno::_I_::Ok));
}

TEST(ICErrnoData, SetValue_TakesNumberAndResourceAlone)
{
    ICErrnoData data = f_withOriginator();
    std::uint64_t const created = f_ticks(data.mf_getCreationTime());
    data.mf_setValue(ICErrno::_S_::Internal);
    EXPECT_EQ(ICErrno::_S_::Internal.mf_getNumber(), data.mf_getNumber());
    EXPECT_EQ(2071u, data.mf_getResourceId());
    EXPECT_EQ(created, f_ticks(data.mf_getCreationTime()));
    EXPECT_STREQ(L"out of tapes", data.mf_getOriginatorMessage());
}

TEST(ICErrnoData, OriginatorMessage_MustNotBeEmptyToCount)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    data.mf_setOriginatorId(ICErrnoData::BACKUP);
    data.mf_setOriginatorErrno(7);
    data.mf_setOriginatorMessage(L"");
    EXPECT_TRUE(data.mf_hasOriginator());
    EXPECT_FALSE(data.mf_hasOriginatorMessage());
    data.mf_setOriginatorMessage(L"x");
    EXPECT_TRUE(data.mf_hasOriginatorMessage());
    EXPECT_EQ(7u, data.mf_getOriginatorErrno());
}

TEST(ICErrnoData, ErrorText_IsTheOriginatorsUnlessItIsTheSystemsOwnClient)
{
    ICErrnoData data = f_withOriginator();
    EXPECT_STREQ(L"out of tapes", data.mf_getErrorText());
    data.mf_setOriginatorId(ICErrnoData::HSM_INTERNAL);
    EXPECT_STREQ(L"<resource-id=2054 not loaded>", data.mf_getErrorText());
    data.mf_setOriginator(ICErrnoData::REXBURY, 42, L"");
    EXPECT_STREQ(L"<resource-id=2054 not loaded>", data.mf_getErrorText());
    EXPECT_STREQ(L"<resource-id=2007 not loaded>", ICErrnoData(ICErrno::_E_::Arithmetic).mf_getErrorText());
}

TEST(ICErrnoData, NoMemoryForAText_LeavesItUnset)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    data.mf_setExplanation(L"old", 1);
    {
        ICImportFault const noMemory("malloc", ICAnswer::mf_value(0));
        data.mf_setExplanation(L"new", 1);
    }
    EXPECT_FALSE(data.mf_hasExplanation());
    EXPECT_TRUE(data.mf_isSet());
}

TEST(ICErrnoData, CopyWithoutMemory_KeepsTheRest)
{
    ICErrnoData const data = f_withOriginator();
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(0));
    ICErrnoData const copy(data);
    EXPECT_EQ(data.mf_getNumber(), copy.mf_getNumber());
    EXPECT_EQ(42u, copy.mf_getOriginatorErrno());
    EXPECT_FALSE(copy.mf_hasOriginatorMessage());
}

TEST(ICErrnoData, SetMessageWithoutNumber_ChangesNothing)
{
    ICErrnoData data;
    ICErrnoData::mf_setMessage(data, nullptr, 6468, 6469, 6470, 6471, L"program");
    EXPECT_FALSE(data.mf_isSet());
    EXPECT_FALSE(data.mf_hasMessageText());
    EXPECT_FALSE(data.mf_isAdminLogFlagSet());
}

// Deliberate: the number of a reparse point failure with the text of an unspecific one.
TEST(ICErrnoData, SetMessageOnAnUnsetRecord_MakesItUnspecific)
{
    ICStartedProcess const process;
    ICErrnoData data;
    ICErrnoData::mf_setMessage(data, L"KVR27069E", 6468, 6469, 6470, 6471, L"program");
    EXPECT_EQ(0x0300005du, data.mf_getNumber());
    EXPECT_EQ(ICErrno::_E_::ReparsePoint.mf_getNumber(), data.mf_getNumber());
    EXPECT_EQ(ICErrno::_E_::Unspecific.mf_getResourceId(), data.mf_getResourceId());
    EXPECT_NE(0u, f_ticks(data.mf_getCreationTime()));
    data.mf_setAdminLogFlag(0);
}

TEST(ICErrnoData, SetMessage_FillsTheFourTextsAndMarksTheRecord)
{
    ICStartedProcess const process;
    ICErrnoData data(ICErrno::_E_::Logging);
    ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 6329, 6330, 6331, L"C:\\logs\\app.log");
    EXPECT_EQ(ICErrno::_E_::Logging.mf_getNumber(), data.mf_getNumber());
    EXPECT_STREQ(L"KVR27469E", data.mf_getKVRNumber());
    EXPECT_NE(nullptr, std::wcsstr(data.mf_getMessageText(), L"C:\\logs\\app.log"));
    EXPECT_TRUE(data.mf_hasExplanation() && data.mf_hasSystemAction() && data.mf_hasUserResponse());
    EXPECT_NE(L'<', *data.mf_getExplanation());
    EXPECT_EQ(1, data.mf_isAdminLogFlagSet());
    data.mf_setAdminLogFlag(0);
}

TEST(ICErrnoData, SetMessageTwice_TakesTheLaterTexts)
{
    ICStartedProcess const process;
    ICErrnoData data(ICErrno::_E_::Logging);
    data.mf_setKVRNumber(L"KVR00001E", 1);
    ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 6329, 6330, 6331, L"first.log");
    ICErrnoData::mf_setMessage(data, L"KVR27069E", 6468, 6469, 6470, 6471, L"second.exe");
    EXPECT_STREQ(L"KVR27069E", data.mf_getKVRNumber());
    EXPECT_NE(nullptr, std::wcsstr(data.mf_getMessageText(), L"second.exe"));
    data.mf_setAdminLogFlag(0);
}

TEST(ICErrnoData, SetMessageInTheUsersLanguage_EvenWhileTheThreadSpeaksTheLogs)
{
    ICStartedProcess const german(L"German");
    ICErrnoData data(ICErrno::_E_::Logging);
    ICThreadContext::mf_setLoggingLanguage();
    ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 6329, 6330, 6331, L"app.log");
    CString const expected = ICString::mf_formatLanguage(1, 6329);
    CString const english = ICString::mf_formatLanguage(2, 6329);
    EXPECT_STREQ(expected, data.mf_getExplanation());
    EXPECT_STRNE(english, data.mf_getExplanation());
    data.mf_setAdminLogFlag(0);
}

TEST(ICErrnoData, SetMessageWithAMissingText_IsAPlaceholderNotAbsent)
{
    ICStartedProcess const process;
    ICErrnoData data(ICErrno::_E_::Logging);
    ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 65001, 6330, 6331, L"app.log");
    EXPECT_STREQ(L"<failure loading resource-id=65001>", data.mf_getExplanation());
    data.mf_setAdminLogFlag(0);
}

TEST(ICErrnoData, Destructor_KeepsTheThreadsLastError)
{
    {
        ICErrnoData data(ICErrno::_E_::Logging);
        data.mf_setAdminLogFlag(1);
        ::SetLastError(1234);
    }
    EXPECT_EQ(1234u, ::GetLastError());
}
