#include <gtest/gtest.h>

#include <string>

#include "hsmbase/events/ICEvent.h"
#include "hsmbase/events/ICEventBroadcaster.h"
#include "tests/support/ICStartedProcess.h"

namespace
{

struct BIT
{
    ICEVENT_ID id;
    wchar_t const * name; // NULL: unassigned
};

// A hole in the numbering.
ICEVENT_ID const NONE;

// All bits, from 0 to 63.
BIT const BITS[64] = {
    {ICEvent::CONTROLLER_QUERY, L"CONTROLLER_QUERY"},
    {ICEvent::CONTROLLER_STORE_BLOCK, L"CONTROLLER_STORE_BLOCK"},
    {ICEvent::CONTROLLER_STORE_START, L"CONTROLLER_STORE_START"},
    {ICEvent::CONTROLLER_STORE_PROCESSED, L"CONTROLLER_STORE_PROCESSED"},
    {ICEvent::CONTROLLER_DELETE_START, L"CONTROLLER_DELETE_START"},
    {ICEvent::CONTROLLER_DELETE_PROCESSED, L"CONTROLLER_DELETE_PROCESSED"},
    {ICEvent::CONTROLLER_RESTORE_START, L"CONTROLLER_RESTORE_START"},
    {ICEvent::CONTROLLER_RESTORE_PROCESSED, L"CONTROLLER_RESTORE_PROCESSED"},
    // 8
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {ICEvent::SOURCE_FILE, L"SOURCE_FILE"},
    {ICEvent::SOURCE_DIRECTORY, L"SOURCE_DIRECTORY"},
    {NONE, nullptr},
    {NONE, nullptr},
    // 16
    {ICEvent::CANCEL_PAUSE, L"CANCEL_PAUSE"},
    {ICEvent::CANCEL_STOP, L"CANCEL_STOP"},
    {NONE, nullptr},
    {NONE, nullptr},
    {ICEvent::MIGRATION_START, L"MIGRATION_START"},
    {ICEvent::MIGRATION_STOP, L"MIGRATION_STOP"},
    {NONE, nullptr},
    {NONE, nullptr},
    // 24
    {ICEvent::RECALL_START, L"RECALL_START"},
    {ICEvent::RECALL_PROCESSED, L"RECALL_PROCESSED"},
    {ICEvent::RECALL_QUOTA_GRANTED, L"RECALL_QUOTA_GRANTED"},
    {ICEvent::RECALL_QUOTA_DENIED, L"RECALL_QUOTA_DENIED"},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    // 32
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    // 40
    {ICEvent::MISC_GENERIC, L"MISC_GENERIC"},
    {ICEvent::MISC_LOG, L"MISC_LOG"},
    {ICEvent::MISC_BACKUP_LINE, L"MISC_BACKUP_LINE"},
    {ICEvent::MISC_BACKUP_FILE, L"MISC_BACKUP_FILE"},
    {ICEvent::MISC_FILE_ENTRY, L"MISC_FILE_ENTRY"},
    {ICEvent::MISC_STARTUP_START, L"MISC_STARTUP_START"},
    {ICEvent::MISC_STARTUP_STOP, L"MISC_STARTUP_STOP"},
    {ICEvent::MISC_SHUTDOWN, L"MISC_SHUTDOWN"},
    // 48
    {ICEvent::MISC_SERVICE, L"MISC_SERVICE"},
    {ICEvent::MISC_RESULT, L"MISC_RESULT"},
    {ICEvent::MISC_INITIALIZE_ON_DEMAND, L"MISC_INITIALIZE_ON_DEMAND"},
    {ICEvent::MISC_TERMINATE_ON_DEMAND, L"MISC_TERMINATE_ON_DEMAND"},
    {ICEvent::MISC_VOLUME_MAPPING_CHANGE, L"MISC_VOLUME_MAPPING_CHANGE"},
    {ICEvent::MISC_HOST_MAPPING_CHANGE, L"MISC_HOST_MAPPING_CHANGE"},
    {ICEvent::MISC_PROGRESS, L"MISC_PROGRESS"},
    {ICEvent::MISC_SID, L"MISC_SID"},
    // 56
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
    {NONE, nullptr},
};

ICEVENT_ID f_bit(int bit)
{
    return ICEVENT_ID(std::uint64_t{1} << bit);
}

// What stands in a list for the bit.
std::wstring f_nameOf(int bit)
{
    if (BITS[bit].name != nullptr) return BITS[bit].name;
    std::wstring digits(16, L'0');
    digits[static_cast<std::size_t>(15 - bit / 4)] = L"1248"[bit % 4];
    return L"UNKNOWN EVENT ID: 0x" + digits;
}

} // namespace

TEST(ICEvent, Ids_AreTheBitsOfTheTable)
{
    for (int bit = 0; bit < 64; ++bit)
        EXPECT_EQ(BITS[bit].name != nullptr ? f_bit(bit) : NONE, BITS[bit].id) << bit;
}

TEST(ICEvent, TypeString_OfEachBit)
{
    for (int bit = 0; bit < 64; ++bit) {
        EXPECT_STREQ(f_nameOf(bit).c_str(), ICEvent::mf_getTypeString(f_bit(bit)));
        EXPECT_STREQ(f_nameOf(bit).c_str(), ICEvent::mf_implGetTypeString(f_bit(bit)));
    }
}

TEST(ICEvent, TypeString_OfAllBits_RunsUpward)
{
    std::wstring all = f_nameOf(0);
    for (int bit = 1; bit < 64; ++bit)
        all += L"," + f_nameOf(bit);
    EXPECT_STREQ(all.c_str(), ICEvent::mf_getTypeString(ICEVENT_ID(0xFFFFFFFFFFFFFFFF)));
}

TEST(ICEvent, TypeString_OfNoBit_IsEmpty)
{
    EXPECT_STREQ(L"", ICEvent::mf_getTypeString(ICEVENT_ID(0)));
}

TEST(ICEvent, TypeString_OfSeveralBits_HasCommasAndNoBlanks)
{
    EXPECT_STREQ(L"CONTROLLER_QUERY,CONTROLLER_STORE_BLOCK", ICEvent::mf_getTypeString(ICEVENT_ID(0x3)));
    EXPECT_STREQ(L"MISC_LOG,MISC_SID", ICEvent::mf_getTypeString(ICEvent::MISC_SID | ICEvent::MISC_LOG));
}

TEST(ICEvent, TypeString_OfAnUnassignedBit_StandsInItsPlace)
{
    EXPECT_STREQ(L"UNKNOWN EVENT ID: 0x0000000000000100", ICEvent::mf_getTypeString(ICEVENT_ID(0x100)));
    EXPECT_STREQ(L"CONTROLLER_RESTORE_PROCESSED,UNKNOWN EVENT ID: 0x0000000000000100,SOURCE_FILE",
                 ICEvent::mf_getTypeString(ICEVENT_ID(0x1180)));
}

TEST(ICEvent, NameOfOneKind_NeitherTakesMasksNorNothing)
{
    EXPECT_STREQ(L"UNKNOWN EVENT ID: 0x0000000000000003", ICEvent::mf_implGetTypeString(ICEVENT_ID(0x3)));
    EXPECT_STREQ(L"UNKNOWN EVENT ID: 0x0000000000000000", ICEvent::mf_implGetTypeString(ICEVENT_ID(0)));
    EXPECT_STREQ(L"UNKNOWN EVENT ID: 0xfedcba9876543210",
                 ICEvent::mf_implGetTypeString(ICEVENT_ID(0xFEDCBA9876543210)));
}

TEST(ICEvent, Getters_AnswerWhatItWasMadeOf)
{
    auto const * const broadcaster = reinterpret_cast<ICEventBroadcaster const *>(0x10);
    ICEvent event(ICEvent::MISC_RESULT, broadcaster, L"first");
    EXPECT_EQ(ICEvent::MISC_RESULT, event.mf_getId());
    EXPECT_EQ(broadcaster, event.mf_getBroadcaster());
    EXPECT_STREQ(L"first", event.mf_getMessage());
    event.mf_setMessage(L"second");
    EXPECT_STREQ(L"second", event.mf_getMessage());
}

TEST(ICEvent, Copy_HasAMessageOfItsOwn)
{
    ICEvent event(ICEvent::MISC_SID, nullptr, L"message");
    ICEvent const copy(event);
    event.mf_setMessage(L"changed");
    EXPECT_EQ(ICEvent::MISC_SID, copy.mf_getId());
    EXPECT_EQ(nullptr, copy.mf_getBroadcaster());
    EXPECT_STREQ(L"message", copy.mf_getMessage());
}

TEST(ICEvent, ToString_IsInTheLanguageOfTheThread)
{
    ICStartedProcess const process(L"German");
    ICEvent const event(ICEvent::MISC_LOG | ICEvent::MISC_SID, nullptr, L"5 % of %1");
    EXPECT_STREQ(L"> Ereignis: MISC_LOG,MISC_SID, Kennung: 0x0080020000000000, Meldung: 5 % of %1",
                 event.mf_toString(L"> "));
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_STREQ(L"Event: MISC_LOG,MISC_SID, id: 0x0080020000000000, message: 5 % of %1", event.mf_toString(L""));
    ICThreadContext::mf_setUserLanguage();
}

// Whether the beginning or a placeholder is left is the platform's affair.
TEST(ICEvent, ToString_MessageTooLongForAText_IsBounded)
{
    ICStartedProcess const process;
    CString const text = ICEvent(ICEvent::MISC_LOG, nullptr, CString(L'x', 100000)).mf_toString(L"");
    EXPECT_LT(0, text.GetLength());
    EXPECT_GT(8192, text.GetLength());
}

TEST(ICEvent, ToString_BeforeStartUp_GivesThePlaceholder)
{
    EXPECT_STREQ(L"<resource-id=3491 not loaded>", ICEvent(ICEvent::MISC_LOG, nullptr, L"").mf_toString(L""));
}
