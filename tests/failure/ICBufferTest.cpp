#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "tests/failure/BufferBytes.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/PageGuardHeap.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{

bool f_isEmpty(ICBuffer const & buffer)
{
    return buffer.m_pData == nullptr && buffer.m_ulSize == 0 && buffer.m_bOwned == 0;
}

bool f_isView(ICBuffer const & buffer, void const * data, ulong size)
{
    return buffer.mf_getData() == data && buffer.mf_getSize() == size && buffer.m_bOwned == 0;
}

// Bytes of its own, equal to those of the other.
bool f_isCopy(ICBuffer const & buffer, ICBuffer const & other)
{
    return buffer.m_bOwned && buffer.mf_getData() != other.mf_getData() && f_bytesOf(buffer) == f_bytesOf(other);
}

// No room for `action`: the library's first malloc fails.
template<class ACTION>
testing::AssertionResult f_lacksMemory(ACTION action)
{
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    return f_throws(ICErrno::_E_::Memory, action);
}

} // namespace

TEST(ICBuffer, Default_IsEmpty)
{
    ICBuffer const buffer;

    EXPECT_TRUE(f_isEmpty(buffer));
    EXPECT_EQ(0, buffer.mf_isInitialized());
    EXPECT_EQ(0u, buffer.mf_getSize());
    EXPECT_EQ(nullptr, buffer.mf_getData());
}

TEST(ICBuffer, OfSize_OwnsZeros)
{
    ICBuffer const buffer(3);

    EXPECT_EQ(1, buffer.mf_isInitialized());
    EXPECT_NE(0, buffer.m_bOwned);
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre(0, 0, 0));
}

TEST(ICBuffer, OwnedMemory_IsZeroedWhateverTheHeapGives)
{
    ICImportPatch const used("malloc", [](std::size_t size) {
        void * const block = std::malloc(size);
        return block == nullptr ? block : std::memset(block, 0xEE, size);
    });
    ICBuffer const buffer(3);
    ICBuffer created;
    ICBuffer recreated(2);

    created.mf_create(3);
    recreated.mf_recreate(3);

    for (ICBuffer const * const owner : {&buffer, &std::as_const(created), &std::as_const(recreated)})
        EXPECT_THAT(f_bytesOf(*owner), ElementsAre(0, 0, 0));
}

TEST(ICBuffer, OfSizeZero_IsEmpty)
{
    EXPECT_TRUE(f_isEmpty(ICBuffer(0)));
}

TEST(ICBuffer, OfData_CopiesOrViews)
{
    BYTES const bytes{1, 2, 3};

    ICBuffer const copy(bytes.data(), 3, 1);
    ICBuffer const otherCopy(bytes.data(), 2, -1);
    ICBuffer const view(bytes.data(), 3, 0);

    EXPECT_TRUE(f_isCopy(copy, view));
    EXPECT_THAT(f_bytesOf(otherCopy), ElementsAre(1, 2));
    EXPECT_NE(bytes.data(), otherCopy.mf_getData());
    EXPECT_TRUE(f_isView(view, bytes.data(), 3));
}

TEST(ICBuffer, OfDataOfSizeZero_IsEmpty)
{
    EXPECT_TRUE(f_isEmpty(ICBuffer("x", 0, 1)));
    EXPECT_TRUE(f_isEmpty(ICBuffer("x", 0, 0)));
}

TEST(ICBuffer, OfDataNull_FailsForAnySize)
{
    for (ulong const size : {0ul, 3ul}) {
        for (int const copy : {0, 1}) {
            SCOPED_TRACE(testing::Message() << size << ", copy " << copy);
            EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICBuffer(nullptr, size, copy); }));
        }
    }
}

TEST(ICBuffer, OfBuffer_CopiesOrViews)
{
    ICBuffer const source("abc", 3, 1);

    EXPECT_TRUE(f_isCopy(ICBuffer(source, 1), source));
    EXPECT_TRUE(f_isView(ICBuffer(source, 0), source.mf_getData(), 3));
}

TEST(ICBuffer, PlainCopy_IsDeepAlsoOfAView)
{
    ICBuffer const source("abc", 3, 0);

    ICBuffer const copy = source;

    EXPECT_TRUE(f_isCopy(copy, source));
}

TEST(ICBuffer, OfEmptyBuffer_IsEmpty)
{
    ICBuffer const source;

    EXPECT_TRUE(f_isEmpty(ICBuffer(source)));
    EXPECT_TRUE(f_isEmpty(ICBuffer(source, 1)));
    EXPECT_TRUE(f_isEmpty(ICBuffer(source, 0)));
}

TEST(ICBuffer, Assignment_CopiesDeep)
{
    ICBuffer const owner("abc", 3, 1);
    ICBuffer const view("de", 2, 0);
    ICBuffer buffer(7);

    EXPECT_EQ(&buffer, &(buffer = owner));
    EXPECT_TRUE(f_isCopy(buffer, owner));
    buffer = view;
    EXPECT_TRUE(f_isCopy(buffer, view));
}

TEST(ICBuffer, AssignmentFromEmpty_IsEmpty)
{
    ICBuffer buffer("abc", 3, 1);

    buffer = ICBuffer();

    EXPECT_TRUE(f_isEmpty(buffer));
}

TEST(ICBuffer, AssignmentToItself_DoesNothing)
{
    ICBuffer buffer("abc", 3, 1);
    ICBuffer view(buffer, 0);
    void const * const before = buffer.mf_getData();
    ICBuffer const & same = buffer;
    ICBuffer const & sameView = view;

    buffer = same;
    view = sameView;

    EXPECT_EQ(before, buffer.mf_getData());
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre('a', 'b', 'c'));
    EXPECT_TRUE(f_isView(view, before, 3));
}

TEST(ICBuffer, AssignmentFromViewOfItself_CopiesBeforeItFrees)
{
    ICBuffer buffer("abc", 3, 1);
    ICBuffer const middle(static_cast<char const *>(buffer.mf_getData()) + 1, 2, 0);

    buffer = middle;

    EXPECT_THAT(f_bytesOf(buffer), ElementsAre('b', 'c'));
}

TEST(ICBuffer, AssignmentWithoutMemory_KeepsTheBytes)
{
    ICBuffer const source("abc", 3, 1);
    ICBuffer buffer("de", 2, 1);

    EXPECT_TRUE(f_lacksMemory([&] { buffer = source; }));
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre('d', 'e'));
}

// Sizes alone are compared, never contents.
TEST(ICBuffer, Order_IsThatOfSizes)
{
    ICBuffer const small("z", 1, 1);
    ICBuffer const large("aa", 2, 1);
    ICBuffer const alsoLarge("zz", 2, 0);

    EXPECT_EQ(1, small < large);
    EXPECT_EQ(0, large < small);
    EXPECT_EQ(1, large > small);
    EXPECT_EQ(0, small > large);
    EXPECT_EQ(0, large < alsoLarge);
    EXPECT_EQ(0, large > alsoLarge);
    EXPECT_EQ(1, ICBuffer() < small);
    EXPECT_EQ(0, ICBuffer() > ICBuffer());
}

TEST(ICBuffer, Create_AnswersItsZeros)
{
    ICBuffer buffer;

    void * const data = buffer.mf_create(4);

    EXPECT_EQ(buffer.mf_getData(), data);
    EXPECT_NE(0, buffer.m_bOwned);
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre(0, 0, 0, 0));
}

TEST(ICBuffer, CreateOfSizeZero_Fails)
{
    ICBuffer buffer;

    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { buffer.mf_create(0); }));
    EXPECT_TRUE(f_isEmpty(buffer));
}

TEST(ICBuffer, CreateOnData_FailsAndKeepsIt)
{
    ICBuffer owner("abc", 3, 1);
    ICBuffer view(owner, 0);

    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { owner.mf_create(3); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { view.mf_create(3); }));

    EXPECT_THAT(f_bytesOf(owner), ElementsAre('a', 'b', 'c'));
    EXPECT_TRUE(f_isView(view, owner.mf_getData(), 3));
}

TEST(ICBuffer, WithoutMemory_StaysEmpty)
{
    ICBuffer const source("abc", 3, 1);
    ICBuffer buffer;

    EXPECT_TRUE(f_lacksMemory([] { ICBuffer(3); }));
    EXPECT_TRUE(f_lacksMemory([] { ICBuffer("abc", 3, 1); }));
    EXPECT_TRUE(f_lacksMemory([&] { ICBuffer{source}; }));
    EXPECT_TRUE(f_lacksMemory([&] { buffer.mf_create(3); }));
    EXPECT_TRUE(f_lacksMemory([&] { buffer.mf_initialize(source, 1); }));
    EXPECT_TRUE(f_lacksMemory([&] { buffer.mf_initialize("abc", 3, 1); }));
    EXPECT_TRUE(f_isEmpty(buffer));
}

TEST(ICBuffer, View_NeedsNoMemory)
{
    ICBuffer const source("abc", 3, 1);
    ICImportFault const memory("malloc");

    ICBuffer const view(source, 0);

    EXPECT_EQ(0u, memory.mf_getCalls());
}

TEST(ICBuffer, Recreate_TakesAnotherSize)
{
    ICBuffer buffer("abc", 3, 1);

    void * const data = buffer.mf_recreate(4);

    EXPECT_EQ(buffer.mf_getData(), data);
    EXPECT_NE(0, buffer.m_bOwned);
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre(0, 0, 0, 0));
}

TEST(ICBuffer, RecreateOfEmpty_Creates)
{
    ICBuffer buffer;

    EXPECT_EQ(buffer.mf_getData(), buffer.mf_recreate(2));
    EXPECT_NE(0, buffer.m_bOwned);
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre(0, 0));
}

TEST(ICBuffer, RecreateOfSameSize_ZeroesInPlace)
{
    ICBuffer buffer("abc", 3, 1);
    void const * const before = buffer.mf_getData();
    ICImportFault const memory("malloc");

    void * const data = buffer.mf_recreate(3);

    EXPECT_EQ(0u, memory.mf_getCalls());
    EXPECT_EQ(before, data);
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre(0, 0, 0));
}

TEST(ICBuffer, RecreateOfSizeZero_FailsAndKeepsTheBytes)
{
    ICBuffer buffer("abc", 3, 1);
    ICBuffer view(buffer, 0);

    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { buffer.mf_recreate(0); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { view.mf_recreate(0); }));

    EXPECT_THAT(f_bytesOf(buffer), ElementsAre('a', 'b', 'c'));
}

TEST(ICBuffer, RecreateOfView_FailsForAnySize)
{
    BYTES const bytes{1, 2, 3};
    ICBuffer view(bytes.data(), 3, 0);

    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { view.mf_recreate(3); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { view.mf_recreate(4); }));

    EXPECT_TRUE(f_isView(view, bytes.data(), 3));
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
}

// Nothing else loses its bytes to a failure.
TEST(ICBuffer, RecreateWithoutMemory_LeavesItEmpty)
{
    ICBuffer buffer("abc", 3, 1);

    EXPECT_TRUE(f_lacksMemory([&] { buffer.mf_recreate(4); }));
    EXPECT_TRUE(f_isEmpty(buffer));
}

TEST(ICBuffer, Delete_ReleasesOnce)
{
    ICBuffer buffer("abc", 3, 1);
    ICImportFault const released("free");

    buffer.mf_delete();
    buffer.mf_delete();

    EXPECT_TRUE(f_isEmpty(buffer));
    EXPECT_EQ(0, buffer.mf_isInitialized());
    EXPECT_EQ(1u, released.mf_getCalls());
}

TEST(ICBuffer, DeleteOfView_LeavesTheMemoryAlone)
{
    BYTES const bytes{1, 2, 3};
    ICBuffer view(bytes.data(), 3, 0);
    ICImportFault const released("free");

    view.mf_delete();

    EXPECT_TRUE(f_isEmpty(view));
    EXPECT_EQ(0u, released.mf_getCalls());
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3));
}

TEST(ICBuffer, AfterDelete_StartsAnew)
{
    ICBuffer buffer("abc", 3, 1);
    buffer.mf_delete();

    buffer.mf_create(1);

    EXPECT_THAT(f_bytesOf(buffer), ElementsAre(0));
}

TEST(ICBuffer, Destructor_FreesAndKeepsTheLastError)
{
    ulong released = 0;
    ICImportPatch const noisy(IC_IMPORT(free), [&](void * block) {
        ++released;
        std::free(block);
        ::SetLastError(ERROR_INVALID_BLOCK);
    });
    {
        ICBuffer const buffer(3);
        ICBuffer const view(buffer, 0);
        ::SetLastError(ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(1u, released);
    EXPECT_EQ(static_cast<ulong>(ERROR_ACCESS_DENIED), ::GetLastError());
}

TEST(ICBuffer, Initialize_CopiesOrViews)
{
    ICBuffer const source("abc", 3, 1);
    ICBuffer buffers[4];

    buffers[0].mf_initialize(source, 1);
    buffers[1].mf_initialize(source, 0);
    buffers[2].mf_initialize(source.mf_getData(), 3, 1);
    buffers[3].mf_initialize(source.mf_getData(), 3, 0);

    for (int index : {0, 2})
        EXPECT_TRUE(f_isCopy(buffers[index], source)) << index;
    for (int index : {1, 3})
        EXPECT_TRUE(f_isView(buffers[index], source.mf_getData(), 3)) << index;
}

TEST(ICBuffer, InitializeFromEmpty_StaysEmpty)
{
    ICBuffer buffer;

    buffer.mf_initialize(ICBuffer(), 1);
    buffer.mf_initialize(ICBuffer(), 0);
    buffer.mf_initialize(buffer, 1);

    EXPECT_TRUE(f_isEmpty(buffer));
}

TEST(ICBuffer, InitializeOnData_FailsAndKeepsIt)
{
    ICBuffer buffer("abc", 3, 1);
    ICBuffer const other("d", 1, 1);

    for (int const copy : {0, 1}) {
        SCOPED_TRACE(copy);
        EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { buffer.mf_initialize(other, copy); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { buffer.mf_initialize(ICBuffer(), copy); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { buffer.mf_initialize(buffer, copy); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { buffer.mf_initialize("d", 1, copy); }));
    }
    EXPECT_THAT(f_bytesOf(buffer), ElementsAre('a', 'b', 'c'));
}

TEST(ICBuffer, InitializeFromNothing_FailsBeforeTheBufferIsLookedAt)
{
    ICBuffer full("abc", 3, 1);
    ICBuffer empty;

    for (ICBuffer * const buffer : {&full, &empty}) {
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { buffer->mf_initialize(nullptr, 3, 1); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { buffer->mf_initialize("d", 0, 0); }));
    }
    EXPECT_TRUE(f_isEmpty(empty));
    EXPECT_THAT(f_bytesOf(full), ElementsAre('a', 'b', 'c'));
}

TEST(ICBuffer, SetZero_ZeroesWhatItOwnsAndWhatItViews)
{
    BYTES bytes{1, 2, 3};
    ICBuffer owner(bytes.data(), 3, 1);
    ICBuffer view(bytes.data(), 2, 0);
    ICBuffer empty;

    owner.mf_setZero();
    view.mf_setZero();
    empty.mf_setZero();

    EXPECT_THAT(f_bytesOf(owner), ElementsAre(0, 0, 0));
    EXPECT_THAT(bytes, ElementsAre(0, 0, 3));
    EXPECT_TRUE(f_isEmpty(empty));
}

// Every operation at the edge of blocks of every size; an overrun ends the child.
IC_CHILD(buffer_guarded)
{
    f_installPageGuardHeap();
    ulong rounds = 0;
    for (ulong size = 1; size <= 100; ++size) {
        ICBuffer source(size);
        ICBuffer copy(source);
        ICBuffer target(static_cast<char const *>(source.mf_getData()) + size / 2, size - size / 2, size % 2);
        ICBuffer tail(static_cast<char const *>(source.mf_getData()) + size / 2, size - size / 2, 0);
        CString text;
        ICBuffer::mf_toHexString(source.mf_getData(), size, text);
        ulong const read = ICBuffer::mf_fromHexString(text, const_cast<void *>(copy.mf_getData()), size);
        ulong const odd =
            ICBuffer::mf_fromHexString(text.Left(static_cast<int>(2 * size - 1)), copy.mf_recreate(size), size);
        copy.mf_recreate(size + 1);
        copy = target;
        target.mf_setZero();
        target.mf_delete();
        source = tail;
        int const width = copy.mf_toString(L"").GetLength();
        rounds += read == size && odd == size && width % 65 == 63 && f_bytesOf(source) == f_bytesOf(copy);
    }
    return static_cast<int>(rounds);
}

TEST(ICBuffer, UnderTheGuardedHeap_StaysInItsBytes)
{
    ICChildProcess child("buffer_guarded");

    EXPECT_EQ(100u, child.mf_getExitCode()) << child.mf_getErrors();
}
