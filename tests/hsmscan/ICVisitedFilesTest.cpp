#include "programs/hsmscan/ICVisitedFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{
CArray<ULONG64, ULONG64> & f_ids(CArray<ULONG64, ULONG64> & array, std::initializer_list<ULONG64> ids)
{
    array.RemoveAll();
    for (ULONG64 const id : ids)
        array.Add(id);
    return array;
}
} // namespace

TEST(ICVisitedFiles, File_IsFirstOnce)
{
    ICVisitedFiles visited;
    EXPECT_TRUE(visited.mf_visit({1, 5}));
    EXPECT_FALSE(visited.mf_visit({1, 5}));
    EXPECT_TRUE(visited.mf_visit({1, 6}));
}

TEST(ICVisitedFiles, Volumes_AreApart)
{
    ICVisitedFiles visited;
    EXPECT_TRUE(visited.mf_visit({1, 5}));
    EXPECT_TRUE(visited.mf_visit({2, 5}));
}

TEST(ICVisitedFiles, FilesWithoutNumber_AreAlwaysFirst)
{
    ICVisitedFiles visited;
    EXPECT_TRUE(visited.mf_visit({1, 0}));
    EXPECT_TRUE(visited.mf_visit({1, 0}));
    CArray<ULONG64, ULONG64> ids;
    std::vector<bool> isFirst;
    visited.mf_visit(1, f_ids(ids, {0, 0}), isFirst);
    EXPECT_THAT(isFirst, ElementsAre(true, true));
}

TEST(ICVisitedFiles, ManyAtOnce_AreAnsweredInTheirOrder)
{
    ICVisitedFiles visited;
    visited.mf_visit({1, 1024});
    CArray<ULONG64, ULONG64> ids;
    std::vector<bool> isFirst(7, false);
    visited.mf_visit(1, f_ids(ids, {0xFFFFFFFFFFFF, 1024, 3, 0, 1023, 3}), isFirst);
    EXPECT_THAT(isFirst, ElementsAre(true, false, true, true, true, false));
    visited.mf_visit(1, f_ids(ids, {}), isFirst);
    EXPECT_TRUE(isFirst.empty());
}

TEST(ICVisitedFiles, Threads_FindEachFileFirstOnce)
{
    constexpr int THREADS = 8;
    constexpr ULONG64 FILES = 40'000;
    ICVisitedFiles visited;
    ICMeetingPoint start(THREADS);
    std::atomic<ULONG64> first = 0;
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < THREADS; ++index)
            threads.emplace_back([&, index] {
                start.mf_arrive();
                CArray<ULONG64, ULONG64> ids;
                std::vector<bool> isFirst;
                // Each in steps of its own, so that they meet in other places each time.
                ULONG64 const step = 101 + 2 * static_cast<ULONG64>(index);
                for (ULONG64 at = 0; at < FILES; at += step) {
                    ids.RemoveAll();
                    for (ULONG64 id = at; id < std::min(at + step, FILES); ++id)
                        ids.Add(id + 1);
                    visited.mf_visit(7, ids, isFirst);
                    first += static_cast<ULONG64>(std::count(isFirst.begin(), isFirst.end(), true));
                }
            });
    }
    EXPECT_EQ(FILES, first);
}

TEST(ICVisitedFiles, BucketThatCannotBeHad_IsAFailureAndOthersGoOn)
{
    ICVisitedFiles visited;
    {
        ICImportFault const refused("WaitForSingleObject", ERROR_INVALID_HANDLE, ICCalls::mf_only(1));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Synchronization,
            [&] {
                visited.mf_visit({1, 5});
            },
            ERROR_INVALID_HANDLE));
    }
    EXPECT_TRUE(visited.mf_visit({1, 5}));
}
