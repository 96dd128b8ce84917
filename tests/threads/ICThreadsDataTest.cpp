#include "hsmbase/threads/ICThreadsData.h"

#include <cstring>
#include <new>
#include <thread>
#include <vector>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICTestGroup.h"

namespace
{

constexpr ulong TYPE = ICThreadContext::TYPE_POLLING;

class ICThreadsDataTest : public testing::Test
{
protected:
    using SECTIONS = std::vector<CRITICAL_SECTION *>;

    // The locks that an action takes, one after the other; each is free again at its end.
    template<class ACTION>
    SECTIONS mf_locksOf(ACTION && action) const
    {
        SECTIONS taken;
        ICImportPatch const entering(IC_IMPORT(EnterCriticalSection), [&](CRITICAL_SECTION * section) {
            taken.push_back(section);
            ::EnterCriticalSection(section);
        });
        action();
        EXPECT_EQ(nullptr, m_record.m_csState.OwningThread);
        EXPECT_EQ(nullptr, m_record.m_csUserData.OwningThread);
        return taken;
    }

    // Whether the shutdown took effect, from a state.
    int mf_shutDown(int state, int force)
    {
        m_record.mf_setState(state);
        return m_record.mf_setShutdownState(force);
    }

    ICThreadsData m_record{nullptr, TYPE, 5};
};

bool f_haveSameBytes(CRITICAL_SECTION const & one, CRITICAL_SECTION const & other)
{
    return std::memcmp(&one, &other, sizeof(one)) == 0;
}

} // namespace

TEST_F(ICThreadsDataTest, New_KnowsItsThreadAndNothingElse)
{
    EXPECT_EQ(nullptr, m_record.mf_getThread());
    EXPECT_EQ(TYPE, m_record.mf_getType());
    EXPECT_EQ(5, m_record.mf_getIndex());
    EXPECT_EQ(-1, m_record.mf_getState());
    EXPECT_FALSE(m_record.mf_getErrnoData().mf_isSet());
    EXPECT_EQ(nullptr, m_record.mf_getUserData());
}

TEST_F(ICThreadsDataTest, Locks_MadeAndDeletedWithTheRecord)
{
    ICImportFault const making("InitializeCriticalSection");
    ICImportFault const deleting("DeleteCriticalSection");
    {
        ICThreadsData const record(nullptr, TYPE, 0);
        EXPECT_EQ(2u, making.mf_getCalls());
        EXPECT_EQ(0u, deleting.mf_getCalls());
    }
    EXPECT_EQ(2u, deleting.mf_getCalls());
}

TEST_F(ICThreadsDataTest, SetState_AnyNumber_IsKept)
{
    for (int const state : {0, 1, 2, -1, 77}) {
        m_record.mf_setState(state);
        EXPECT_EQ(state, m_record.mf_getState());
    }
}

TEST_F(ICThreadsDataTest, SetErrnoData_KeepsNumberAndOriginator)
{
    m_record.mf_setErrnoData(ICErrno(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED).mf_getErrnoData());
    ICErrnoData const kept = m_record.mf_getErrnoData();
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), kept.mf_getNumber());
    EXPECT_EQ(ICErrnoData::SYSTEM, kept.mf_getOriginatorId());
    EXPECT_EQ(ULONG{ERROR_ACCESS_DENIED}, kept.mf_getOriginatorErrno());
}

TEST_F(ICThreadsDataTest, SetUserData_IsKeptUntouched)
{
    int owned = 0;
    m_record.mf_setUserData(&owned);
    EXPECT_EQ(&owned, m_record.mf_getUserData());
    m_record.mf_setUserData(nullptr);
    EXPECT_EQ(nullptr, m_record.mf_getUserData());
}

TEST_F(ICThreadsDataTest, SetShutdownState_Running_IsShutDown)
{
    EXPECT_EQ(1, mf_shutDown(1, 0));
    EXPECT_EQ(2, m_record.mf_getState());
}

TEST_F(ICThreadsDataTest, SetShutdownState_NotRunning_ChangesNothing)
{
    for (int const state : {-1, 0, 2, 77}) {
        EXPECT_EQ(0, mf_shutDown(state, 0)) << state;
        EXPECT_EQ(state, m_record.mf_getState());
    }
}

TEST_F(ICThreadsDataTest, SetShutdownState_Forced_FromAnyState)
{
    for (int const state : {-1, 0, 1, 2, 77})
        for (int const force : {1, -1}) {
            EXPECT_EQ(1, mf_shutDown(state, force)) << state;
            EXPECT_EQ(2, m_record.mf_getState()) << state;
        }
}

TEST_F(ICThreadsDataTest, StateAndFailure_AreUnderTheStateLock)
{
    SECTIONS const once = {&m_record.m_csState};
    ICErrnoData const failure(ICErrno::_E_::Parameter);
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_getState(); }));
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_setState(1); }));
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_setShutdownState(0); }));
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_setErrnoData(failure); }));
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_getErrnoData(); }));
}

TEST_F(ICThreadsDataTest, UserData_IsUnderItsOwnLock)
{
    SECTIONS const once = {&m_record.m_csUserData};
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_setUserData(this); }));
    EXPECT_EQ(once, mf_locksOf([&] { m_record.mf_getUserData(); }));
}

TEST_F(ICThreadsDataTest, WhatNeverChanges_NeedsNoLock)
{
    EXPECT_EQ(SECTIONS(), mf_locksOf([&] {
                  m_record.mf_getThread();
                  m_record.mf_getType();
                  m_record.mf_getIndex();
              }));
}

// A copy is one of bytes, so it stays in raw storage and is never destroyed.
TEST_F(ICThreadsDataTest, Copy_IsMemberByMemberWithTheLocks)
{
    m_record.mf_setState(1);
    m_record.mf_setUserData(this);
    m_record.mf_setErrnoData(ICErrnoData(ICErrno::_E_::Parameter));
    alignas(ICThreadsData) std::byte storage[sizeof(ICThreadsData)];
    auto const * const copy = new (storage) ICThreadsData(m_record);
    EXPECT_EQ(TYPE, copy->m_type);
    EXPECT_EQ(5, copy->m_index);
    EXPECT_EQ(1, copy->m_state);
    EXPECT_EQ(this, copy->m_pUserData);
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(), copy->m_errnoData.mf_getNumber());
    EXPECT_TRUE(f_haveSameBytes(m_record.m_csState, copy->m_csState));
    EXPECT_TRUE(f_haveSameBytes(m_record.m_csUserData, copy->m_csUserData));
}

TEST_F(ICThreadsDataTest, Assign_IsMemberByMemberWithTheLocks)
{
    alignas(ICThreadsData) std::byte storage[sizeof(ICThreadsData)];
    auto * const copy = new (storage) ICThreadsData(m_record);
    m_record.mf_setState(2);
    ICThreadsData const other(nullptr, ICThreadContext::TYPE_TIMER, 6);
    *copy = other;
    EXPECT_EQ(ICThreadContext::TYPE_TIMER + 0, copy->m_type);
    EXPECT_EQ(6, copy->m_index);
    EXPECT_EQ(-1, copy->m_state);
    EXPECT_TRUE(f_haveSameBytes(other.m_csState, copy->m_csState));
    EXPECT_TRUE(f_haveSameBytes(other.m_csUserData, copy->m_csUserData));
}

// A record with texts is copied while another thread writes it: only the lock keeps them in one piece.
TEST_F(ICThreadsDataTest, SetAndGetErrnoData_OnTwoThreads_StaysWhole)
{
    constexpr int ROUNDS = 2'000;
    ICErrno const failures[] = {ICErrno(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED),
                                ICErrno(ICErrno::_E_::FileRead, ERROR_INVALID_HANDLE)};
    m_record.mf_setErrnoData(failures[0].mf_getErrnoData());
    ICMeetingPoint start(2);
    std::jthread writer([&] {
        start.mf_arrive();
        for (int round = 0; round < ROUNDS; ++round)
            m_record.mf_setErrnoData(failures[round % 2].mf_getErrnoData());
    });
    start.mf_arrive();
    int torn = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        ICErrnoData const seen = m_record.mf_getErrnoData();
        auto const & meant = failures[seen.mf_getNumber() == ICErrno::_E_::FileOpen.mf_getNumber() ? 0 : 1];
        torn += seen.mf_getOriginatorErrno() != meant.mf_getErrnoData().mf_getOriginatorErrno();
        torn += std::wcscmp(seen.mf_getOriginatorMessage(), meant.mf_getErrnoData().mf_getOriginatorMessage()) != 0;
    }
    EXPECT_EQ(0, torn);
}
