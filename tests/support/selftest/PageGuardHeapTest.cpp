#include "tests/support/PageGuardHeap.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/internal/ICGuardArena.h"
#include "tests/support/selftest/Victim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <set>
#include <string_view>
#include <thread>
#include <vector>

namespace
{

constexpr ulong HEAP_CORRUPTION = 0xC0000374;

// A block of the DLL, of which the compiler knows nothing.
char volatile * f_block(std::size_t size)
{
    if (!f_isPageGuardHeapInstalled()) f_installPageGuardHeap();
    return static_cast<char *>(f_victimAllocate(size));
}

void f_free(char volatile * block)
{
    f_victimFree(const_cast<char *>(block));
}

// Runs the seeded fault and answers whether it ended so, with this text.
testing::AssertionResult f_endsWith(char const * child, ulong exitCode, std::string_view text)
{
    ICChildProcess process(child);
    bool const isRight = process.mf_getExitCode() == exitCode && process.mf_getErrors().find(text) != std::string::npos;
    if (isRight) return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::hex << process.mf_getExitCode() << "\n" << process.mf_getErrors();
}

int f_failedChecks(bool const * checks, std::size_t count)
{
    return static_cast<int>(std::count(checks, checks + count, false));
}

} // namespace

IC_CHILD(overrun_of_16)
{
    f_block(16)[16] = 1;
    return 0;
}

IC_CHILD(overrun_by_reading)
{
    return f_block(4096)[4096];
}

IC_CHILD(overrun_of_13)
{
    char volatile * const block = f_block(13);
    block[13] = 1;
    f_free(block);
    return 0;
}

IC_CHILD(overrun_of_nothing)
{
    f_block(0)[1] = 1;
    return 0;
}

IC_CHILD(underrun)
{
    char volatile * const block = f_block(100);
    block[-1] = 1;
    f_free(block);
    return 0;
}

IC_CHILD(use_after_free)
{
    char volatile * const block = f_block(100);
    f_free(block);
    return block[50];
}

IC_CHILD(use_after_much_else)
{
    char volatile * const block = f_block(100);
    f_free(block);
    for (int round = 0; round < 10'000; ++round)
        f_free(f_block(100));
    block[0] = 1;
    return 0;
}

IC_CHILD(double_free)
{
    char volatile * const block = f_block(24);
    f_free(block);
    f_free(block);
    return 0;
}

IC_CHILD(free_in_the_middle)
{
    f_free(f_block(100) + 8);
    return 0;
}

IC_CHILD(free_of_the_stack)
{
    f_installPageGuardHeap();
    char bytes[100] = {};
    f_victimFree(bytes);
    return 0;
}

IC_CHILD(double_free_of_the_runtimes_block)
{
    f_installPageGuardHeap();
    void * const block = ::_getcwd(nullptr, 0);
    f_victimFree(block);
    f_victimFree(block);
    return 0;
}

IC_CHILD(overrun_of_operator_new)
{
    f_installPageGuardHeap();
    f_victimNew(32)[32] = 1;
    return 0;
}

IC_CHILD(overrun_of_the_programs_new)
{
    f_installPageGuardHeap();
    std::unique_ptr<char[]> const block(new char[32]);
    static_cast<char volatile *>(block.get())[32] = 1;
    return 0;
}

// Everything below must work; the result is the number of what did not.

IC_CHILD(ordinary_use)
{
    char volatile * const block = f_block(10);
    std::memcpy(const_cast<char *>(block), "012345678", 10);
    auto * const grown = static_cast<char *>(std::realloc(const_cast<char *>(block), 5000));
    auto * const zeros = static_cast<char *>(std::calloc(10, 10));
    char * const copy = ::_strdup("copied");
    bool const checks[] = {
        std::string_view(grown, 9) == "012345678",
        ::_msize(grown) == 5000,
        std::all_of(zeros, zeros + 100, [](char byte) { return byte == 0; }),
        static_cast<unsigned char>(grown[4999]) == ICGuardArena::FRESH,
        std::string_view(copy) == "copied",
        std::realloc(copy, 0) == nullptr,
    };
    std::free(zeros);
    f_victimFree(grown);
    f_victimFree(nullptr);
    return f_failedChecks(checks, std::size(checks));
}

IC_CHILD(alignment)
{
    f_installPageGuardHeap();
    int wrong = 0;
    for (std::size_t size = 0; size < 5000; ++size) {
        char volatile * const block = f_block(size);
        std::size_t const needed = size >= 16 ? 16 : size >= 8 ? 8 : size >= 4 ? 4 : size >= 2 ? 2 : 1;
        wrong += reinterpret_cast<ULONG_PTR>(block) % needed != 0;
        std::fill_n(block, size, '\1');
        f_free(block);
    }
    for (std::size_t alignment = 32; alignment <= 0x10000; alignment *= 2) {
        void * const block = ::operator new (100, std::align_val_t{alignment});
        wrong += reinterpret_cast<ULONG_PTR>(block) % alignment != 0;
        ::operator delete (block, std::align_val_t{alignment});
    }
    return wrong;
}

IC_CHILD(blocks_of_both_heaps)
{
    void * const early = f_victimAllocate(100);
    f_installPageGuardHeap();
    char * const runtimeBlock = ::_getcwd(nullptr, 0);
    std::free(runtimeBlock);
    std::free(std::realloc(early, 200));
    delete[] f_victimNew(100);
    return 0;
}

IC_CHILD(more_than_the_guard_holds)
{
    std::vector<char volatile *> blocks;
    for (std::size_t index = 0; index < ICGuardArena::MOST_BLOCKS + 1000; ++index) {
        blocks.push_back(f_block(index % 100));
        std::fill_n(blocks.back(), index % 100, '\1');
    }
    std::for_each(blocks.begin(), blocks.end(), &f_free);
    return 0;
}

// Goes through all addresses twice, among blocks that stay, and through runs of all sizes.
IC_CHILD(round_and_round)
{
    constexpr std::size_t LARGE = 64 << 20;
    std::vector<char volatile *> staying;
    int wrong = 0;
    for (std::size_t round = 0; round < 300; ++round) {
        staying.push_back(f_block(1000));
        *staying.back() = static_cast<char>(round);
        auto * const large = static_cast<char volatile *>(std::calloc(1, LARGE + round));
        large[LARGE - 1] = 1;
        f_free(large);
    }
    for (std::size_t index = 0; index < staying.size(); ++index) {
        wrong += *staying[index] != static_cast<char>(index);
        f_free(staying[index]);
    }
    return wrong;
}

IC_CHILD(many_threads)
{
    f_installPageGuardHeap();
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < 8; ++number) {
        threads.emplace_back([number] {
            for (std::size_t index = 0; index < 500; ++index) {
                char volatile * const block = f_block(number * 100 + index);
                std::fill_n(block, number * 100 + index, static_cast<char>(number));
                f_free(block);
            }
        });
    }
    for (std::thread & thread : threads)
        thread.join();
    return 0;
}

IC_CHILD(leak_account)
{
    f_installPageGuardHeap();
    ICLeakAccount account;
    char volatile * const block = f_block(1234);
    bool const isSeen = !account.mf_isBalanced() && account.mf_getBlocks() == 1;
    bool const isSized = account.mf_describe().find("1234 bytes at 0x") != std::string::npos;
    f_free(block);
    return isSeen && isSized && account.mf_isBalanced() ? 0 : 1;
}

TEST(PageGuardHeap, OverrunOfAnAlignedSize_TrapsAtOnce)
{
    EXPECT_TRUE(f_endsWith("overrun_of_16", EXCEPTION_ACCESS_VIOLATION,
                           "write at 16 bytes from the start of a block of 16 bytes: access past the end of a block"));
    EXPECT_TRUE(f_endsWith("overrun_by_reading", EXCEPTION_ACCESS_VIOLATION,
                           "read at 4096 bytes from the start of a block of 4096 bytes"));
}

TEST(PageGuardHeap, OverrunOfAnOddSizeByOneByte_IsSeenWhenFreed)
{
    EXPECT_TRUE(f_endsWith("overrun_of_13", HEAP_CORRUPTION,
                           "13 bytes from the start of a block of 13 bytes: write past the end of a block"));
}

TEST(PageGuardHeap, OverrunOfAnEmptyBlock_Traps)
{
    EXPECT_TRUE(f_endsWith("overrun_of_nothing", EXCEPTION_ACCESS_VIOLATION, "of a block of 0 bytes"));
}

TEST(PageGuardHeap, Underrun_IsSeenWhenFreed)
{
    EXPECT_TRUE(f_endsWith("underrun", HEAP_CORRUPTION,
                           "-1 bytes from the start of a block of 100 bytes: write before a block"));
}

TEST(PageGuardHeap, UseAfterFree_TrapsAtOnce)
{
    EXPECT_TRUE(f_endsWith("use_after_free", EXCEPTION_ACCESS_VIOLATION,
                           "read at 50 bytes from the start of a block of 100 bytes: access to a freed block"));
    EXPECT_TRUE(f_endsWith("use_after_much_else", EXCEPTION_ACCESS_VIOLATION, "access to a freed block"));
}

TEST(PageGuardHeap, DoubleFree_Ends)
{
    EXPECT_TRUE(f_endsWith("double_free", HEAP_CORRUPTION, "of a block of 24 bytes: double free of a block"));
}

TEST(PageGuardHeap, ForeignPointer_Ends)
{
    EXPECT_TRUE(f_endsWith("free_in_the_middle", HEAP_CORRUPTION,
                           "8 bytes from the start of a block of 100 bytes: free of a pointer into the middle"));
    EXPECT_TRUE(f_endsWith("free_of_the_stack", HEAP_CORRUPTION, "free of a pointer that no heap has given out"));
    EXPECT_TRUE(f_endsWith("double_free_of_the_runtimes_block", HEAP_CORRUPTION, "that no heap has given out"));
}

TEST(PageGuardHeap, OperatorNew_IsGuardedInEveryModule)
{
    EXPECT_TRUE(f_endsWith("overrun_of_operator_new", EXCEPTION_ACCESS_VIOLATION, "of a block of 32 bytes"));
    EXPECT_TRUE(f_endsWith("overrun_of_the_programs_new", EXCEPTION_ACCESS_VIOLATION, "of a block of 32 bytes"));
}

TEST(PageGuardHeap, WhatIsRight_Works)
{
    for (char const * child : {"ordinary_use", "alignment", "blocks_of_both_heaps", "more_than_the_guard_holds",
                               "round_and_round", "many_threads", "leak_account"}) {
        SCOPED_TRACE(child);
        EXPECT_TRUE(f_endsWith(child, 0, ""));
    }
}
