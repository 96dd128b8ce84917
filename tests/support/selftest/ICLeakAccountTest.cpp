#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/selftest/Victim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>
#include <thread>

namespace
{

void f_useEverythingOnce()
{
    ::CloseHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread([] {}).join();
    HKEY key = nullptr;
    f_victimOpenKey(L"Software", &key);
    ::RegCloseKey(key);
}

bool f_holds(std::string const & text, std::string_view part)
{
    return text.find(part) != std::string::npos;
}

// The types of the handles that a description lists, in alphabetic order.
std::string f_typesIn(std::string const & description)
{
    std::istringstream words(description.substr(description.find('\n')));
    std::multiset<std::string> types;
    for (std::string word; words >> word;) {
        if (word == "handle" && words >> word >> word) types.insert(word);
    }
    std::string joined;
    for (std::string const & type : types)
        joined += joined.empty() ? type : " " + type;
    return joined;
}

DWORD WINAPI f_waitFor(void * event)
{
    return ::WaitForSingleObject(event, INFINITE);
}

} // namespace

TEST(ICLeakAccount, NothingDone_IsBalancedHoweverOftenAsked)
{
    ICLeakAccount account;
    for (int look = 0; look < 20; ++look)
        EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

TEST(ICLeakAccount, TakenAndGivenBack_IsBalanced)
{
    f_useEverythingOnce();
    // A lock of the platform gets its event when threads first meet at it, which may be in any round, but only in one.
    bool isBalanced = false;
    std::string description;
    for (int round = 0; round < 3 && !isBalanced; ++round) {
        ICLeakAccount account;
        f_useEverythingOnce();
        isBalanced = account.mf_isBalanced();
        description = account.mf_describe();
    }
    EXPECT_TRUE(isBalanced) << description;
}

TEST(ICLeakAccount, LeakedHandles_AreCountedAndNamed)
{
    f_useEverythingOnce();
    ICLeakAccount account;
    HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HKEY key = nullptr;
    f_victimOpenKey(L"Software", &key);
    HANDLE const file = f_victimOpen(L"C:\\", 0, 7, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
    WIN32_FIND_DATAW entry;
    HANDLE const search = ::FindFirstFileW(L"C:\\*", &entry);
    EXPECT_FALSE(account.mf_isBalanced());
    EXPECT_EQ(4, account.mf_getHandles());
    EXPECT_EQ("Event File File Key", f_typesIn(account.mf_describe()));
    ::CloseHandle(event);
    ::RegCloseKey(key);
    ::CloseHandle(file);
    ::FindClose(search);
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

TEST(ICLeakAccount, HandleLeakedAboveManyClosed_IsCounted)
{
    HANDLE events[500];
    ICLeakAccount account;
    for (HANDLE & event : events)
        event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_FALSE(account.mf_isBalanced());
    EXPECT_EQ(500, account.mf_getHandles());
    std::for_each(std::begin(events), std::prev(std::end(events)), &::CloseHandle);
    EXPECT_FALSE(account.mf_isBalanced());
    EXPECT_EQ(1, account.mf_getHandles());
    ::CloseHandle(events[499]);
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

TEST(ICLeakAccount, LeakedBlocks_AreCountedAndShown)
{
    ICLeakAccount account;
    auto * const block = static_cast<char *>(f_victimAllocate(77));
    std::copy_n("leaked text", 12, block);
    EXPECT_FALSE(account.mf_isBalanced());
    EXPECT_EQ(1, account.mf_getBlocks());
    for (char const * part : {"77 bytes at 0x", " 6C 65 61 6B ", "leaked text"})
        EXPECT_TRUE(f_holds(account.mf_describe(), part)) << account.mf_describe();
    f_victimFree(block);
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

TEST(ICLeakAccount, LeakedBlocksOfEverySize_AreEachCounted)
{
    for (std::size_t const size : {0u, 1u, 24u, 1000u, 5000u, 70'000u, 3'000'000u}) {
        SCOPED_TRACE(size);
        void * blocks[100];
        ICLeakAccount account;
        for (void *& block : blocks)
            block = f_victimAllocate(size);
        EXPECT_FALSE(account.mf_isBalanced());
        EXPECT_EQ(100, account.mf_getBlocks());
        std::for_each(std::begin(blocks), std::end(blocks), &f_victimFree);
        EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
    }
}

TEST(ICLeakAccount, ProcessHeap_IsCountedToo)
{
    ICLeakAccount account;
    void * const block = ::HeapAlloc(::GetProcessHeap(), 0, 33);
    EXPECT_FALSE(account.mf_isBalanced());
    ::HeapFree(::GetProcessHeap(), 0, block);
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

TEST(ICLeakAccount, LeakedThread_IsCounted)
{
    f_useEverythingOnce();
    HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ICLeakAccount account;
    HANDLE const thread = ::CreateThread(nullptr, 0, &f_waitFor, event, 0, nullptr);
    EXPECT_FALSE(account.mf_isBalanced());
    EXPECT_EQ(1, account.mf_getThreads());
    EXPECT_TRUE(f_holds(account.mf_describe(), "    thread ")) << account.mf_describe();
    ::SetEvent(event);
    ::WaitForSingleObject(thread, INFINITE);
    ::CloseHandle(thread);
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
    ::CloseHandle(event);
}
