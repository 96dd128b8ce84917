#include "tests/failure/BufferBytes.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
class ICBufferTrace : public testing::Test
{
protected:
    // The action throws the constant and leaves this one record.
    template<class ACTION>
    void mf_expectFailure(ICErrnoValue const & constant, std::string const & tag, std::string const & text,
                          ACTION action) const
    {
        ICTracedAction const outcome = m_process.mf_run(action);
        EXPECT_THAT(outcome, f_fails(constant, 'E', tag, text));
        EXPECT_EQ(1u, outcome.m_records.size());
    }

    ICTracedProcess const m_process{L"German"};
    ICBuffer m_full{"abc", 3, 1};
    ICBuffer m_empty;
};
} // namespace

TEST_F(ICBufferTrace, DataNull_IsAnErrorOfTheFourthConstructor)
{
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::ICBuffer::4", "NULL == _pData",
                     [] { ICBuffer(nullptr, 3, 1); });
}

TEST_F(ICBufferTrace, CreateOnData_IsRefusedByTheAllocation)
{
    mf_expectFailure(ICErrno::_E_::AlreadyInitialized, "ICBuffer::mf_implMalloc", "Buffer already allocated",
                     [&] { m_full.mf_create(3); });
}

TEST_F(ICBufferTrace, NoMemory_TellsTheSize)
{
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    mf_expectFailure(ICErrno::_E_::Memory, "ICBuffer::mf_implMalloc", "malloc 4294967295 bytes returned no memory",
                     [] { ICBuffer(0xFFFFFFFF); });
}

TEST_F(ICBufferTrace, RecreateWithoutMemory_TellsTheNewSize)
{
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    mf_expectFailure(ICErrno::_E_::Memory, "ICBuffer::mf_implMalloc", "malloc 4 bytes returned no memory",
                     [&] { m_full.mf_recreate(4); });
}

TEST_F(ICBufferTrace, SizeZero_IsAnErrorOfEachCreation)
{
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::mf_create", "0 == _ulSize", [&] { m_empty.mf_create(0); });
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::mf_recreate", "0 == _ulSize", [&] { m_full.mf_recreate(0); });
}

TEST_F(ICBufferTrace, RecreateOfView_IsAnError)
{
    ICBuffer view(m_full, 0);
    mf_expectFailure(ICErrno::_E_::Internal, "ICBuffer::mf_recreate", "Data not owned by buffer, cannot re-create",
                     [&] { view.mf_recreate(3); });
}

TEST_F(ICBufferTrace, InitializeOnData_IsAnErrorOfEachOverload)
{
    mf_expectFailure(ICErrno::_E_::AlreadyInitialized, "ICBuffer::mf_initialize::1", "Data already initialized",
                     [&] { m_full.mf_initialize(m_empty, 1); });
    mf_expectFailure(ICErrno::_E_::AlreadyInitialized, "ICBuffer::mf_initialize::2", "Data already initialized",
                     [&] { m_full.mf_initialize("d", 1, 1); });
}

TEST_F(ICBufferTrace, InitializeFromNothing_IsAnErrorForDataAndSize)
{
    std::string const text = "( NULL == _pData ) || ( 0 == _ulSize )";
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::mf_initialize::2", text,
                     [&] { m_full.mf_initialize(nullptr, 3, 1); });
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::mf_initialize::2", text,
                     [&] { m_empty.mf_initialize("d", 0, 1); });
}

TEST_F(ICBufferTrace, HexStringsWithoutBuffer_AreErrors)
{
    CString text;
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::mf_toHexString", "NULL == _pBuffer",
                     [&] { ICBuffer::mf_toHexString(nullptr, 3, text); });
    mf_expectFailure(ICErrno::_E_::Parameter, "ICBuffer::mf_fromHexString", "NULL == _pBuffer",
                     [] { ICBuffer::mf_fromHexString(L"41", nullptr, 1); });
}

TEST_F(ICBufferTrace, TooFewBytesForText_TellsBothSizes)
{
    char bytes[1];
    mf_expectFailure(ICErrno::_E_::BufferTooSmall, "ICBuffer::mf_fromHexString",
                     "Buffer too small: 1 bytes, 2 bytes needed",
                     [&] { ICBuffer::mf_fromHexString(L"414", bytes, 1); });
}

// Only an object that something else wrote into can be so.
TEST_F(ICBufferTrace, OwnedNothing_IsAWarningAndThenEmpty)
{
    m_empty.m_bOwned = 1;
    m_empty.m_ulSize = 3;
    EXPECT_THAT(m_process.mf_trace([&] { m_empty.mf_delete(); }),
                ElementsAre(f_isRecord('W', "ICBuffer::mf_implFree", "No buffer data")));
    EXPECT_EQ(0u, m_empty.m_ulSize);
    EXPECT_EQ(0, m_empty.m_bOwned);
}

TEST_F(ICBufferTrace, WithoutFailure_LeavesNoRecord)
{
    EXPECT_THAT(m_process.mf_trace([&] {
        ICBuffer buffer(m_full);
        ICBuffer view(buffer, 0);
        view.mf_delete();
        buffer.mf_recreate(3);
        buffer.mf_recreate(4);
        buffer = m_empty;
        buffer.mf_initialize(m_full, 1);
        buffer.mf_toString(L"");
    }),
                IsEmpty());
}
