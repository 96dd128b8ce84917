#pragma once

#include "tests/support/internal/ICImportSlots.h"
#include "winehost/ImportTable.h"

#include <concepts>
#include <memory>

// Makes chosen calls of an imported function fail, whatever its signature (integers and pointers), and counts the
// calls. All other calls go to the function with their arguments untouched.
//
//     ICImportFault const denied("GetFileAttributesW", ERROR_ACCESS_DENIED);                     every call
//     ICImportFault const second("RegQueryValueExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
//     ICImportFault const answer("GetDriveTypeW", ICAnswer::mf_value(DRIVE_REMOVABLE), ICCalls::mf_from(3));
//     ICImportFault const counter("CreateFileW");   ...   EXPECT_EQ(1u, counter.mf_getCalls());
//
// A plain number fails the call as that function does by itself: see ICAnswer::mf_failureOf.
//
// Threads: calls may come from any thread. Threads that call should be joined before the object ends.

// Which calls are answered; numbers start at 1 when the fault is built.
class ICCalls
{
public:
    static ICCalls mf_all() { return ICCalls(1, ~0ul); }
    static ICCalls mf_none() { return ICCalls(1, 0); }
    static ICCalls mf_only(ulong number) { return ICCalls(number, number); }
    static ICCalls mf_from(ulong number) { return ICCalls(number, ~0ul); }

    // Only calls by the calling thread are counted and answered.
    ICCalls mf_onThisThread() const;

    ulong m_first;
    ulong m_last;
    ulong m_thread = 0; // 0: every thread.

private:
    ICCalls(ulong first, ulong last) : m_first(first), m_last(last) {}
};

// What a call is answered with.
class ICAnswer
{
public:
    // Sets the last error and returns the value.
    template<class VALUE>
    static ICAnswer mf_error(ulong lastError, VALUE value)
    {
        return ICAnswer(mf_implBits(value), true, lastError);
    }
    // For functions that return their error, such as those of the registry. The last error stays.
    static ICAnswer mf_code(ulong code) { return ICAnswer(code, false, 0); }
    // A wrong success. The last error stays.
    template<class VALUE>
    static ICAnswer mf_value(VALUE value)
    {
        return ICAnswer(mf_implBits(value), false, 0);
    }

    // The function's own way of failing: the returned code, INVALID_HANDLE_VALUE, 0xFFFFFFFF or 0 with the last error.
    static ICAnswer mf_failureOf(char const * name, ulong code);

    ULONG64 m_value;
    bool m_setsLastError;
    ulong m_lastError;

private:
    ICAnswer(ULONG64 value, bool setsLastError, ulong lastError)
        : m_value(value), m_setsLastError(setsLastError), m_lastError(lastError)
    {}
    static ULONG64 mf_implBits(std::integral auto value) { return static_cast<ULONG64>(value); }
    static ULONG64 mf_implBits(std::nullptr_t) { return 0; }
    static ULONG64 mf_implBits(void const * value) { return reinterpret_cast<ULONG64>(value); }
};

class ICImportFault
{
public:
    // Counts, answers nothing. All constructors throw std::runtime_error if the module does not import the name.
    explicit ICImportFault(char const * name, wchar_t const * module = L"hsmbase.dll")
        : ICImportFault(name, ICAnswer::mf_code(0), ICCalls::mf_none(), module)
    {}
    ICImportFault(char const * name, ulong code, ICCalls calls = ICCalls::mf_all(),
                  wchar_t const * module = L"hsmbase.dll")
        : ICImportFault(name, ICAnswer::mf_failureOf(name, code), calls, module)
    {}
    ICImportFault(char const * name, ICAnswer answer, ICCalls calls = ICCalls::mf_all(),
                  wchar_t const * module = L"hsmbase.dll");

    // Calls so far, answered ones included.
    ulong mf_getCalls() const;
    ulong mf_getAnswered() const;

private:
    // Given back after m_slots is restored, and never freed: a straggling call finds it switched off.
    std::unique_ptr<struct ICImportThunk, void (*)(ICImportThunk *)> m_thunk;
    ICImportSlots m_slots;
};
