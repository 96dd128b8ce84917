// CObject and the exceptions of the class library, and the functions that throw them.
//
// What the class library refuses, it refuses in one of three ways, each a thrown pointer that the catcher gives back
// with Delete(), as in every program built on the real library:
//
//     CInvalidArgException *   the containers: an index or a size out of range (ENSURE, AfxThrowInvalidArgException)
//     COleException *          strings and times, through AtlThrow: m_sc tells the code, E_INVALIDARG for an index out of
//                              range, E_FAIL for a field out of range (ATLENSURE)
//     CMemoryException *       no memory, also from AtlThrow(E_OUTOFMEMORY)
//
// The memory and the invalid-argument exception are static objects, for which Delete() does nothing: throwing them
// needs no memory. A COleException lives on the heap, so who swallows one without Delete() leaks it, here as there.
//
// Threads: the functions may be called from any thread. No locks.
// Left out: run-time class information, serialisation, diagnostics, the TRY and CATCH macros.
#pragma once

#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <tchar.h>

#include <new>

// The platform's headers define SCODE only when they are not cut short by WIN32_LEAN_AND_MEAN.
typedef LONG SCODE;

class CObject
{
public:
    constexpr virtual ~CObject() = default;
    CObject(CObject const &) = delete;
    CObject & operator=(CObject const &) = delete;

protected:
    constexpr CObject() = default;
};

class CException : public CObject
{
public:
    // Gives the exception back after it was caught: frees it when it lives on the heap.
    void Delete()
    {
        if (m_bAutoDelete) {
            delete this;
        }
    }

    // Puts the system's text for the failure into `message` of `size` characters, cut to fit. FALSE and an empty text
    // when there is none. The help context is always 0.
    virtual BOOL GetErrorMessage(wchar_t * message, UINT size, UINT * helpContext = nullptr) const
    {
        return mf_implSystemMessage(E_UNEXPECTED, message, size, helpContext);
    }

protected:
    explicit constexpr CException(BOOL autoDelete) : m_bAutoDelete(autoDelete) {}

    static BOOL mf_implSystemMessage(SCODE code, wchar_t * message, UINT size, UINT * helpContext)
    {
        if (helpContext != nullptr) {
            *helpContext = 0;
        }
        if (message == nullptr || size == 0) return FALSE;
        message[0] = L'\0';
        DWORD const flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
        return ::FormatMessageW(flags, nullptr, static_cast<DWORD>(code), 0, message, size, nullptr) != 0;
    }

public:
    BOOL m_bAutoDelete;
};

class CMemoryException : public CException
{
public:
    explicit constexpr CMemoryException(BOOL autoDelete = TRUE) : CException(autoDelete) {}

    BOOL GetErrorMessage(wchar_t * message, UINT size, UINT * helpContext = nullptr) const override
    {
        return mf_implSystemMessage(E_OUTOFMEMORY, message, size, helpContext);
    }
};

class CInvalidArgException : public CException
{
public:
    explicit constexpr CInvalidArgException(BOOL autoDelete = TRUE) : CException(autoDelete) {}

    BOOL GetErrorMessage(wchar_t * message, UINT size, UINT * helpContext = nullptr) const override
    {
        return mf_implSystemMessage(E_INVALIDARG, message, size, helpContext);
    }
};

class COleException : public CException
{
public:
    explicit constexpr COleException(SCODE code = S_OK) : CException(TRUE), m_sc(code) {}

    BOOL GetErrorMessage(wchar_t * message, UINT size, UINT * helpContext = nullptr) const override
    {
        return mf_implSystemMessage(m_sc, message, size, helpContext);
    }

    SCODE m_sc;
};

// Every module has its own pair of these; what is thrown stays valid as long as the module is loaded.
inline constinit CMemoryException g_classlibNoMemory(FALSE);
inline constinit CInvalidArgException g_classlibInvalidArgument(FALSE);

[[noreturn, gnu::cold, gnu::noinline]] inline void AfxThrowMemoryException()
{
    throw &g_classlibNoMemory;
}

[[noreturn, gnu::cold, gnu::noinline]] inline void AfxThrowInvalidArgException()
{
    throw &g_classlibInvalidArgument;
}

[[noreturn, gnu::cold, gnu::noinline]] inline void AfxThrowOleException(SCODE code)
{
    COleException * const failure = new (std::nothrow) COleException(code);
    if (failure == nullptr) AfxThrowMemoryException();
    throw failure;
}

[[noreturn, gnu::cold, gnu::noinline]] inline void AtlThrow(HRESULT code)
{
    if (code == E_OUTOFMEMORY) AfxThrowMemoryException();
    AfxThrowOleException(code);
}

// The checks that stay in release builds, and the ones that do not. There is no debug build of the class library here.
#define ENSURE(condition) ((condition) ? static_cast<void>(0) : AfxThrowInvalidArgException())
#define ENSURE_ARG(condition) ENSURE(condition)
#define ATLENSURE_THROW(condition, code) ((condition) ? static_cast<void>(0) : AtlThrow(code))
#define ATLENSURE(condition) ATLENSURE_THROW(condition, E_FAIL)
#ifndef ASSERT
#define ASSERT(condition) static_cast<void>(0)
#endif
#ifndef VERIFY
#define VERIFY(condition) static_cast<void>(condition)
#endif
