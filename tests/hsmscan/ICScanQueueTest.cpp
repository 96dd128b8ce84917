#include "programs/hsmscan/ICScanQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/ICMeetingPoint.h"

namespace
{
class ICScanQueueTest : public testing::Test
{
protected:
    std::unique_ptr<ICScanPlace> mf_place(wchar_t const * directory) const
    {
        return std::make_unique<ICScanPlace>(directory, m_volume, m_volume);
    }

    static void mf_enterAll(ICLinkedList & mountPoints, ICLinkedList & directories)
    {
        while (ICLinkedListItem * const item = mountPoints.mf_removeHead())
            directories.mf_insertTail(*item);
    }

    // Takes the next directory and finds these in it. Empty: there is none.
    std::wstring mf_read(std::initializer_list<wchar_t const *> found = {},
                         std::initializer_list<wchar_t const *> mounted = {})
    {
        std::unique_ptr<ICScanPlace> const place = m_queue.mf_take();
        if (place == nullptr) return L"";
        mf_finish(found, mounted);
        return place->m_directory.GetString();
    }

    void mf_finish(std::initializer_list<wchar_t const *> found = {},
                   std::initializer_list<wchar_t const *> mounted = {})
    {
        ICLinkedList directories;
        ICLinkedList mountPoints;
        for (wchar_t const * name : found)
            directories.mf_insertTail(*mf_place(name).release());
        for (wchar_t const * name : mounted)
            mountPoints.mf_insertTail(*mf_place(name).release());
        m_queue.mf_finish(directories, mountPoints);
        EXPECT_TRUE(directories.mf_isEmpty());
        EXPECT_TRUE(mountPoints.mf_isEmpty());
    }

    ICScanVolume const m_volume;
    ICScanQueue m_queue{&mf_enterAll};
};
} // namespace

TEST_F(ICScanQueueTest, Empty_EndsAtOnce)
{
    EXPECT_EQ(nullptr, m_queue.mf_take());
}

TEST_F(ICScanQueueTest, LastFound_IsTakenFirstAndGivenPathsInTheirOrder)
{
    m_queue.mf_add(mf_place(L"a\\"));
    m_queue.mf_add(mf_place(L"b\\"));
    EXPECT_EQ(L"a\\", mf_read({L"a\\1\\", L"a\\2\\"}));
    EXPECT_EQ(L"a\\2\\", mf_read());
    EXPECT_EQ(L"a\\1\\", mf_read());
    EXPECT_EQ(L"b\\", mf_read());
    EXPECT_EQ(L"", mf_read());
}

TEST_F(ICScanQueueTest, MountPoints_AreEnteredWhenAllElseIsRead)
{
    m_queue.mf_add(mf_place(L"a\\"));
    m_queue.mf_add(mf_place(L"b\\"));
    EXPECT_EQ(L"a\\", mf_read({L"a\\1\\"}, {L"a\\m\\"}));
    EXPECT_EQ(L"a\\1\\", mf_read());
    EXPECT_EQ(L"b\\", mf_read({}, {L"b\\m\\"}));
    EXPECT_EQ(L"b\\m\\", mf_read({}, {L"b\\m\\m\\"}));
    EXPECT_EQ(L"a\\m\\", mf_read());
    EXPECT_EQ(L"b\\m\\m\\", mf_read());
    EXPECT_EQ(L"", mf_read());
}

TEST_F(ICScanQueueTest, Taking_WaitsForWhatOthersMayFind)
{
    m_queue.mf_add(mf_place(L"a\\"));
    std::unique_ptr<ICScanPlace> const first = m_queue.mf_take();
    std::wstring second;
    std::wstring third = L"none yet";
    {
        std::jthread const other([&] {
            second = mf_read();
            third = mf_read();
        });
        mf_finish({L"a\\1\\"});
    }
    EXPECT_EQ(L"a\\1\\", second);
    EXPECT_EQ(L"", third);
}

TEST_F(ICScanQueueTest, Stop_EndsWaitingAndLeavesTheRest)
{
    m_queue.mf_add(mf_place(L"a\\"));
    std::unique_ptr<ICScanPlace> const first = m_queue.mf_take();
    std::unique_ptr<ICScanPlace> taken = mf_place(L"x");
    {
        std::jthread const other([&] { taken = m_queue.mf_take(); });
        m_queue.mf_stop();
    }
    EXPECT_EQ(nullptr, taken);
    mf_finish({L"a\\1\\"}, {L"a\\m\\"});
    EXPECT_EQ(nullptr, m_queue.mf_take());
}

TEST_F(ICScanQueueTest, ManyThreads_TakeEachDirectoryOnce)
{
    constexpr int THREADS = 8;
    std::vector<std::wstring> taken[THREADS];
    m_queue.mf_add(mf_place(L"0"));
    ICMeetingPoint start(THREADS);
    {
        std::vector<std::jthread> threads;
        for (auto & own : taken)
            threads.emplace_back([this, &own, &start] {
                start.mf_arrive();
                while (std::unique_ptr<ICScanPlace> const place = m_queue.mf_take()) {
                    own.push_back(place->m_directory.GetString());
                    ICLinkedList directories, mountPoints;
                    // A tree of two branches at each of ten levels.
                    for (wchar_t const branch : {L'0', L'1'})
                        if (place->m_directory.GetLength() < 10)
                            directories.mf_insertTail(
                                *new ICScanPlace(place->m_directory + branch, m_volume, m_volume));
                    m_queue.mf_finish(directories, mountPoints);
                }
            });
    }
    std::vector<std::wstring> all;
    for (auto const & own : taken)
        all.insert(all.end(), own.begin(), own.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(1023u, all.size());
    EXPECT_EQ(all.end(), std::adjacent_find(all.begin(), all.end()));
}
