#include <gtest/gtest.h>

#include "hsmbase/events/ICErrnoEvent.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/events/EventsTest.h"
#include "tests/support/ICStartedProcess.h"

namespace
{
ICErrnoEvent f_event(ICErrnoData const & data)
{
    return ICErrnoEvent(ICEvent::MISC_RESULT, nullptr, data, L"done");
}
} // namespace

TEST(ICErrnoEvent, KeepsACopyOfTheRecord)
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setOriginator(ICErrnoData::BACKUP, 7, L"tape");
    data.mf_setExplanation(L"explanation", 1);
    ICErrnoEvent const event = f_event(data);
    data.mf_setExplanation(L"changed", 1);
    ICErrnoEvent const copy = f_copyOf(event);
    for (ICErrnoData const * kept : {&event.mf_getErrnoData(), &copy.mf_getErrnoData()}) {
        EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), kept->mf_getNumber());
        EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getResourceId(), kept->mf_getResourceId());
        EXPECT_EQ(ICErrnoData::BACKUP, kept->mf_getOriginatorId());
        EXPECT_EQ(7u, kept->mf_getOriginatorErrno());
        EXPECT_STREQ(L"tape", kept->mf_getOriginatorMessage());
        EXPECT_STREQ(L"explanation", kept->mf_getExplanation());
    }
    EXPECT_EQ(ICEvent::MISC_RESULT, copy.mf_getId());
    EXPECT_STREQ(L"done", copy.mf_getMessage());
}

TEST(ICErrnoEvent, Severities_AreTheAnswersOfTheRecord)
{
    struct ROW
    {
        ICErrnoValue const & value;
        wchar_t letter;
    } const rows[] = {{ICErrno::_I_::Marked, L'I'},
                      {ICErrno::_W_::Timeout, L'W'},
                      {ICErrno::_E_::FileOpen, L'E'},
                      {ICErrno::_S_::System, L'S'}};
    for (ROW const & row : rows) {
        ICErrnoEvent const event = f_event(row.value);
        EXPECT_EQ(row.letter, event.mf_getSeverityChar());
        EXPECT_EQ(row.letter == L'I', event.mf_isInfo() != 0);
        EXPECT_EQ(row.letter == L'W', event.mf_isWarning() != 0);
        EXPECT_EQ(row.letter == L'E', event.mf_isError() != 0);
        EXPECT_EQ(row.letter == L'S', event.mf_isSevere() != 0);
    }
}

TEST(ICErrnoEvent, RecordWithoutANumber_BecomesOkInTheCopy)
{
    ICErrnoData data;
    data.mf_setExplanation(L"explanation", 1);
    ICErrnoEvent const event = f_event(data);
    EXPECT_TRUE(event.mf_isInfo());
    EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), event.mf_getErrnoData().mf_getNumber());
    EXPECT_EQ(ICErrno::_I_::Ok.mf_getResourceId(), event.mf_getErrnoData().mf_getResourceId());
    EXPECT_STREQ(L"explanation", event.mf_getErrnoData().mf_getExplanation());
    EXPECT_FALSE(data.mf_isSet());
}

// Deliberate: an event never writes to the administrator's log, though copies of records do.
TEST(ICErrnoEvent, AdministratorsFlag_StaysWithTheSource)
{
    for (int isSet : {0, 1}) {
        ICErrnoData data(ICErrno::_E_::FileOpen);
        data.mf_setAdminLogFlag(isSet);
        {
            ICErrnoEvent const event = f_event(data);
            ICErrnoEvent const copy = f_copyOf(event);
            EXPECT_FALSE(event.mf_getErrnoData().mf_isAdminLogFlagSet());
            EXPECT_FALSE(copy.mf_getErrnoData().mf_isAdminLogFlagSet());
        }
        EXPECT_EQ(isSet, data.mf_isAdminLogFlagSet());
    }
}

TEST(ICErrnoEvent, AdministratorsFlag_StaysWithAConstantSourceWithoutANumber)
{
    ICErrnoData marked;
    marked.mf_setAdminLogFlag(1);
    ICErrnoData const data(marked);
    ICErrnoEvent const event = f_event(data);
    EXPECT_TRUE(data.mf_isAdminLogFlagSet());
    EXPECT_FALSE(event.mf_getErrnoData().mf_isAdminLogFlagSet());
}

TEST(ICErrnoEvent, ToString_HasTheRecordOnALineOfItsOwn)
{
    ICStartedProcess const process;
    CString const record = ICErrno::_E_::FileOpen.mf_toString();
    EXPECT_STREQ(L"> Event: MISC_RESULT, id: 0x0002000000000000, message: done\r\n    Errno: " + record,
                 f_event(ICErrno::_E_::FileOpen).mf_toString(L"> "));
}

TEST(ICErrnoEvent, ToString_BeforeStartUp_GivesPlaceholders)
{
    EXPECT_STREQ(L"<resource-id=3491 not loaded>\r\n    Errno: 0x0300002c (E: <resource-id=2054 not loaded>)",
                 f_event(ICErrno::_E_::FileOpen).mf_toString(L""));
}
