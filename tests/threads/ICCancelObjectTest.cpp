#include "tests/threads/CancelTest.h"
#include "tests/threads/VirtualSlot.h"

using testing::IsEmpty;

namespace
{

class ICCancelObjectTest : public testing::Test
{
protected:
    ICTracedProcess const m_process;
    ICCancelSwitch m_switch;
    ICCancelSwitch m_other;
    ICCancelObject m_work;
    ICCancelObject m_part;
};

} // namespace

TEST_F(ICCancelObjectTest, Poll_NoSwitch_NeverThrows)
{
    m_switch.mf_cancel(ICErrno::_E_::Unspecific);
    EXPECT_THAT(m_process.mf_trace([&] {
        for (int poll = 0; poll < 3; ++poll)
            m_work.mf_tryCancel();
    }),
                IsEmpty());
}

TEST_F(ICCancelObjectTest, Poll_AsksTheInstalledSwitch)
{
    m_work.mf_installCancelSwitch(&m_switch);
    m_work.mf_tryCancel();
    m_other.mf_cancel(ICErrno::_E_::Unspecific);
    m_work.mf_tryCancel();
    m_switch.mf_cancel(ICErrno::_E_::Unspecific);
    EXPECT_TRUE(f_throws(ICErrno::_W_::UserCanceled, [&] { m_work.mf_tryCancel(); }));
}

TEST_F(ICCancelObjectTest, Install_Null_Fails)
{
    for (ICCancelSwitch * const installed : {static_cast<ICCancelSwitch *>(nullptr), &m_switch}) {
        m_work.m_pCancelSwitch = installed;
        EXPECT_THAT(m_process.mf_run([&] { m_work.mf_installCancelSwitch(nullptr); }),
                    f_fails(ICErrno::_E_::Parameter, 'E', "ICCancelObject::mf_installCancelSwitch",
                            "Resetting cancel switch to NULL is not allowed"));
        EXPECT_EQ(installed, m_work.m_pCancelSwitch);
    }
}

TEST_F(ICCancelObjectTest, Install_Twice_FailsAndKeepsTheFirst)
{
    m_work.mf_installCancelSwitch(&m_switch);
    for (ICCancelSwitch * const second : {&m_other, &m_switch}) {
        EXPECT_THAT(m_process.mf_run([&] { m_work.mf_installCancelSwitch(second); }),
                    f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICCancelObject::mf_installCancelSwitch",
                            "Cancel switch is already set"));
        EXPECT_EQ(&m_switch, m_work.m_pCancelSwitch);
    }
}

TEST_F(ICCancelObjectTest, Propagate_GivesTheSwitchOn)
{
    m_work.mf_installCancelSwitch(&m_switch);
    for (int const force : {0, 1}) {
        ICCancelObject part;
        EXPECT_THAT(m_process.mf_trace([&] { m_work.mf_implPropagateCancelSwitch(part, force); }), IsEmpty());
        EXPECT_EQ(&m_switch, part.m_pCancelSwitch);
    }
    EXPECT_EQ(&m_switch, m_work.m_pCancelSwitch);
}

TEST_F(ICCancelObjectTest, Propagate_NoOwnSwitch_Fails)
{
    m_part.mf_installCancelSwitch(&m_other);
    for (int const force : {0, 1}) {
        EXPECT_THAT(m_process.mf_run([&] { m_work.mf_implPropagateCancelSwitch(m_part, force); }),
                    f_fails(ICErrno::_E_::Initialization, 'E', "ICCancelObject::mf_implPropagateCancelSwitch",
                            "No cancel switch to propagate"));
        EXPECT_EQ(&m_other, m_part.m_pCancelSwitch);
    }
}

TEST_F(ICCancelObjectTest, Propagate_TargetHasOne_FailsWithItsOddSpelling)
{
    m_work.mf_installCancelSwitch(&m_switch);
    m_part.mf_installCancelSwitch(&m_other);
    EXPECT_THAT(m_process.mf_run([&] { m_work.mf_implPropagateCancelSwitch(m_part, 0); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICCancelObject::mf_implPropagateCancelSwitch",
                        "Target cancle switch is already initialized"));
    EXPECT_EQ(&m_other, m_part.m_pCancelSwitch);
}

TEST_F(ICCancelObjectTest, Propagate_Force_ReplacesTheTargets)
{
    m_work.mf_installCancelSwitch(&m_switch);
    m_part.mf_installCancelSwitch(&m_other);
    EXPECT_THAT(m_process.mf_trace([&] { m_work.mf_implPropagateCancelSwitch(m_part, 2); }), IsEmpty());
    EXPECT_EQ(&m_switch, m_part.m_pCancelSwitch);
    m_switch.mf_cancel(ICErrno::_E_::Unspecific);
    EXPECT_TRUE(f_throws(ICErrno::_W_::UserCanceled, [&] { m_part.mf_tryCancel(); }));
}

TEST_F(ICCancelObjectTest, Copy_HasTheSameSwitch)
{
    m_work.mf_installCancelSwitch(&m_switch);
    ICCancelObject const copy(m_work);
    EXPECT_EQ(&m_switch, copy.m_pCancelSwitch);
    m_part = copy;
    EXPECT_EQ(&m_switch, m_part.m_pCancelSwitch);
}

TEST_F(ICCancelObjectTest, End_LeavesTheSwitchAlone)
{
    {
        ICCancelObject work;
        work.mf_installCancelSwitch(&m_switch);
    }
    EXPECT_TRUE(f_isSignalled(m_switch));
    m_switch.mf_pause();
    EXPECT_TRUE(m_switch.mf_isPaused());
    EXPECT_FALSE(f_isSignalled(m_switch));
}

#ifndef _MSC_VER
TEST_F(ICCancelObjectTest, VirtualOperations_KeepTheirSlots)
{
    struct NEXT : ICCancelObject
    {
        virtual void mf_next() {}
    };
    EXPECT_EQ(0, f_slotOf(&IFCancelObject::mf_installCancelSwitch));
    // 1 and 2: the destructor
    EXPECT_EQ(3, f_slotOf(&ICCancelObject::mf_tryCancel));
    EXPECT_EQ(4, f_slotOf(&ICCancelObject::mf_implPropagateCancelSwitch));
    EXPECT_EQ(5, f_slotOf(&NEXT::mf_next));
}

TEST(ICCancelSwitch, VirtualOperations_KeepTheirSlots)
{
    struct NEXT : ICCancelSwitch
    {
        virtual void mf_next() {}
    };
    EXPECT_EQ(0, f_slotOf(&IFCancelSwitch::mf_pause));
    EXPECT_EQ(1, f_slotOf(&IFCancelSwitch::mf_resume));
    EXPECT_EQ(2, f_slotOf(&IFCancelSwitch::mf_cancel));
    EXPECT_EQ(3, f_slotOf(&IFCancelSwitch::mf_isPaused));
    EXPECT_EQ(4, f_slotOf(&IFCancelSwitch::mf_isCanceled));
    // 5 and 6: the destructor
    EXPECT_EQ(7, f_slotOf(&NEXT::mf_next));
}
#endif
