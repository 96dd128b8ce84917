// CSimpleString: the shared buffer below CString. It stands in for the class library's CSimpleStringT<wchar_t> and holds
// what is short and hot: owning, sharing, reading, writing and appending characters. CString adds the text operations.
//
// An object is one pointer to the characters; a CStringData lies directly before them. Copies share one buffer through an
// interlocked count, and who writes to a shared buffer gets one of its own first. All empty strings without a buffer
// share a static one, which is recognised by its count and not by its address, because every module has its own.
//
// Threads: different objects may be used by different threads at once, also when they share a buffer. One object needs
// the caller's lock as soon as one of its users writes. No locks.
// Left out: string managers, 8-bit strings.
#pragma once

#include "internal/Failures.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <utility>

// What lies before the characters.
struct CStringData
{
    static long const NIL = 0;     // the static buffer: never counted, never written, never freed
    static long const LOCKED = -1; // one owner, and copies do not share

    long references;
    int length;
    int capacity; // characters that fit, without the terminator
    int reserved; // keeps the characters on a 16-byte boundary

    wchar_t * mf_text() { return reinterpret_cast<wchar_t *>(this + 1); }
    long mf_references() { return std::atomic_ref(references).load(std::memory_order_acquire); }
    bool mf_isOwn() { return mf_references() == 1 || mf_references() == LOCKED; }
    void mf_setReferences(long count) { std::atomic_ref(references).store(count, std::memory_order_release); }
};

struct CStringNil
{
    CStringData data;
    wchar_t text[8];
};

inline constinit CStringNil g_classlibNil{{CStringData::NIL, 0, 0, 0}, {}};

class CSimpleString
{
public:
    using XCHAR = wchar_t;
    using PXSTR = wchar_t *;
    using PCXSTR = wchar_t const *;
    using YCHAR = char;
    using PYSTR = char *;
    using PCYSTR = char const *;

    constexpr CSimpleString() noexcept : m_text(g_classlibNil.text) {}
    CSimpleString(CSimpleString const & other) : m_text(mf_implShare(other)) {}
    CSimpleString(CSimpleString && other) noexcept : m_text(std::exchange(other.m_text, g_classlibNil.text)) {}
    CSimpleString(PCXSTR text, int length) : m_text(mf_implCreate(text, length)) {}
    explicit CSimpleString(PCXSTR text) : CSimpleString(text, StringLength(text)) {}
    ~CSimpleString() { mf_implRelease(mf_implData()); }

    CSimpleString & operator=(CSimpleString const & other)
    {
        if (m_text == other.m_text) {
            return *this;
        }
        if (mf_implIsLocked()) {
            SetString(other.m_text, other.GetLength());
        } else {
            PXSTR const text = mf_implShare(other);
            mf_implRelease(mf_implData());
            m_text = text;
        }
        return *this;
    }

    CSimpleString & operator=(CSimpleString && other)
    {
        // A locked buffer stays where it is: the lock's owner holds its address.
        if (mf_implIsLocked() || other.mf_implIsLocked()) {
            return *this = static_cast<CSimpleString const &>(other);
        }
        if (this != &other) {
            mf_implRelease(mf_implData());
            m_text = std::exchange(other.m_text, g_classlibNil.text);
        }
        return *this;
    }

    CSimpleString & operator=(PCXSTR text)
    {
        SetString(text);
        return *this;
    }

    // Reading.
    PCXSTR GetString() const noexcept { return m_text; }
    operator PCXSTR() const noexcept { return m_text; }
    int GetLength() const noexcept { return mf_implData()->length; }
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    int GetAllocLength() const noexcept { return mf_implData()->capacity; }

    // The character at `index`, the terminator at GetLength(). Outside of this: E_INVALIDARG.
    XCHAR GetAt(int index) const
    {
        if (static_cast<unsigned int>(index) > static_cast<unsigned int>(GetLength())) {
            AtlThrow(E_INVALIDARG);
        }
        return m_text[index];
    }

    XCHAR operator[](int index) const { return GetAt(index); }

    // Replaces a character. The terminator may not be replaced: E_INVALIDARG at GetLength() and outside.
    void SetAt(int index, XCHAR character)
    {
        int const length = GetLength();
        if (static_cast<unsigned int>(index) >= static_cast<unsigned int>(length)) {
            AtlThrow(E_INVALIDARG);
        }
        mf_implWritable(length)[index] = character;
    }

    // Writing as a whole. The text may lie in the string itself.
    void SetString(PCXSTR text) { SetString(text, StringLength(text)); }

    void SetString(PCXSTR text, int length)
    {
        if (length == 0) {
            Empty();
            return;
        }
        if (length < 0 || text == nullptr) {
            AtlThrow(E_INVALIDARG);
        }
        CStringData * const data = mf_implData();
        if (data->mf_isOwn() && length <= data->capacity) {
            std::memmove(m_text, text, mf_implBytes(length));
            mf_implSetLength(length);
            return;
        }
        // The old text goes last, because the new one may be a part of it.
        PXSTR const copy = mf_implCreate(text, length);
        bool const locked = mf_implIsLocked();
        m_text = copy;
        mf_implRelease(data);
        if (locked) {
            mf_implData()->mf_setReferences(CStringData::LOCKED);
        }
    }

    void Empty() noexcept
    {
        CStringData * const data = mf_implData();
        if (mf_implIsLocked()) {
            mf_implSetLength(0);
            return;
        }
        m_text = g_classlibNil.text;
        mf_implRelease(data);
    }

    // Cuts to `length` characters; a longer length changes nothing.
    void Truncate(int length)
    {
        if (length < 0) {
            AtlThrow(E_INVALIDARG);
        }
        if (length < GetLength()) {
            mf_implWritable(length);
            mf_implSetLength(length);
        }
    }

    // Appending. The text may lie in the string itself. Space grows by a half, so that appending one by one stays cheap.
    void Append(PCXSTR text) { Append(text, StringLength(text)); }
    void Append(CSimpleString const & other) { Append(other.m_text, other.GetLength()); }

    void Append(PCXSTR text, int length)
    {
        if (length == 0) {
            return;
        }
        if (length < 0 || text == nullptr) {
            AtlThrow(E_INVALIDARG);
        }
        int const before = GetLength();
        if (length > MAXIMUM_LENGTH - before) {
            AfxThrowMemoryException();
        }
        std::size_t const offset = mf_implOffset(text);
        bool const own = offset <= static_cast<std::size_t>(before);
        PXSTR const buffer = mf_implWritable(before + length);
        std::memmove(buffer + before, own ? buffer + offset : text, mf_implBytes(length));
        mf_implSetLength(before + length);
    }

    void AppendChar(XCHAR character)
    {
        int const before = GetLength();
        if (before >= MAXIMUM_LENGTH) {
            AfxThrowMemoryException();
        }
        mf_implWritable(before + 1)[before] = character;
        mf_implSetLength(before + 1);
    }

    CSimpleString & operator+=(CSimpleString const & other)
    {
        Append(other);
        return *this;
    }

    CSimpleString & operator+=(PCXSTR text)
    {
        Append(text);
        return *this;
    }

    CSimpleString & operator+=(XCHAR character)
    {
        AppendChar(character);
        return *this;
    }

    // A buffer to write into, not shared, with room for at least `minimum` characters and the terminator. The text is
    // kept. It is good until the next operation that is not const; ReleaseBuffer tells the string its new length.
    PXSTR GetBuffer() { return mf_implWritable(GetLength()); }
    PXSTR GetBuffer(int minimum) { return mf_implWritable(minimum); }

    // The same with the length already set, so that no ReleaseBuffer is needed when all of it gets written.
    PXSTR GetBufferSetLength(int length)
    {
        PXSTR const buffer = mf_implWritable(length);
        mf_implSetLength(length);
        return buffer;
    }

    // Sets the length, -1: up to the first terminator. More than the buffer holds: E_INVALIDARG.
    void ReleaseBuffer(int length = -1)
    {
        if (length == -1) {
            length = static_cast<int>(::wcsnlen(m_text, static_cast<std::size_t>(GetAllocLength())));
        }
        ReleaseBufferSetLength(length);
    }

    void ReleaseBufferSetLength(int length)
    {
        if (length < 0 || length > GetAllocLength()) {
            AtlThrow(E_INVALIDARG);
        }
        mf_implSetLength(length);
    }

    // Keeps the buffer out of sharing until UnlockBuffer: copies made meanwhile get buffers of their own.
    PXSTR LockBuffer()
    {
        PXSTR const buffer = mf_implWritable(GetLength());
        mf_implData()->mf_setReferences(CStringData::LOCKED);
        return buffer;
    }

    void UnlockBuffer() noexcept
    {
        if (mf_implIsLocked()) {
            mf_implData()->mf_setReferences(1);
        }
    }

    void Preallocate(int length) { mf_implWritable(length); }

    // Gives memory back that the text does not need. Shared buffers stay as they are.
    void FreeExtra()
    {
        CStringData * const data = mf_implData();
        if (data->mf_references() == 1 && mf_implRounded(data->length) < data->capacity) {
            mf_implReallocate(data->length);
        }
    }

    static int StringLength(PCXSTR text) noexcept { return text == nullptr ? 0 : static_cast<int>(std::wcslen(text)); }

    static void CopyChars(PXSTR target, PCXSTR source, int length) noexcept
    {
        std::memcpy(target, source, mf_implBytes(length));
    }

    static void CopyCharsOverlapped(PXSTR target, PCXSTR source, int length) noexcept
    {
        std::memmove(target, source, mf_implBytes(length));
    }

protected:
    static int const MAXIMUM_LENGTH = 0x7FFFFFE0;

    static std::size_t mf_implBytes(int length) noexcept { return static_cast<std::size_t>(length) * sizeof(wchar_t); }

    // How many characters behind the string's first one `text` stands: a huge number when it lies elsewhere.
    std::size_t mf_implOffset(PCXSTR text) const noexcept
    {
        return (reinterpret_cast<std::uintptr_t>(text) - reinterpret_cast<std::uintptr_t>(m_text)) / sizeof(wchar_t);
    }

    // The buffer, made this object's own, with room for `length` characters. Less than the text holds is no loss.
    PXSTR mf_implWritable(int length)
    {
        CStringData * const data = mf_implData();
        bool const own = data->mf_isOwn();
        if (!own || static_cast<unsigned int>(length) > static_cast<unsigned int>(data->capacity)) {
            mf_implMakeWritable(length, own);
        }
        return m_text;
    }

    // The buffer must be the object's own, unless the length of an empty string stays 0.
    void mf_implSetLength(int length) noexcept
    {
        CStringData * const data = mf_implData();
        if (data->capacity != 0) {
            data->length = length;
            m_text[length] = L'\0';
        }
    }

private:
    CStringData * mf_implData() const noexcept { return reinterpret_cast<CStringData *>(m_text) - 1; }
    bool mf_implIsLocked() const noexcept { return mf_implData()->mf_references() == CStringData::LOCKED; }

    // What a request for `length` characters gets: whole 16-byte units, so that FreeExtra and growth agree.
    static int mf_implRounded(int length) noexcept { return length | 7; }

    static std::size_t mf_implBlockBytes(int capacity) noexcept
    {
        return sizeof(CStringData) + mf_implBytes(capacity) + sizeof(wchar_t);
    }

    static PXSTR mf_implAllocate(int length)
    {
        int const capacity = mf_implRounded(length);
        void * const block = length > MAXIMUM_LENGTH ? nullptr : std::malloc(mf_implBlockBytes(capacity));
        if (block == nullptr) {
            AfxThrowMemoryException();
        }
        return (new (block) CStringData{1, length, capacity, 0})->mf_text();
    }

    static PXSTR mf_implCreate(PCXSTR text, int length)
    {
        if (length == 0) {
            return g_classlibNil.text;
        }
        if (length < 0 || text == nullptr) {
            AtlThrow(E_INVALIDARG);
        }
        PXSTR const copy = mf_implAllocate(length);
        std::memcpy(copy, text, mf_implBytes(length));
        copy[length] = L'\0';
        return copy;
    }

    static PXSTR mf_implShare(CSimpleString const & other)
    {
        CStringData * const data = other.mf_implData();
        if (data->mf_references() > 0) {
            std::atomic_ref(data->references).fetch_add(1, std::memory_order_relaxed);
            return other.m_text;
        }
        // Of an empty string, another module's buffer would not outlive that module.
        return mf_implCreate(other.m_text, data->length);
    }

    static void mf_implRelease(CStringData * data) noexcept
    {
        long const references = data->mf_references();
        if (data == &g_classlibNil.data || references == CStringData::NIL) {
            return;
        }
        // A count of 1 cannot be raised by others: it takes an owner to copy from.
        if (references <= 1 || std::atomic_ref(data->references).fetch_sub(1, std::memory_order_acq_rel) == 1) {
            std::free(data);
        }
    }

    [[gnu::noinline]] void mf_implMakeWritable(int length, bool own)
    {
        if (length < 0) {
            AtlThrow(E_INVALIDARG);
        }
        CStringData * const data = mf_implData();
        int const needed = std::max(length, data->length);
        if (own) {
            int const half = std::min(data->capacity / 2, MAXIMUM_LENGTH - data->capacity);
            mf_implReallocate(std::max(needed, data->capacity + half));
            return;
        }
        PXSTR const copy = mf_implAllocate(needed);
        std::memcpy(copy, m_text, mf_implBytes(data->length + 1));
        m_text = copy;
        mf_implData()->length = data->length;
        mf_implRelease(data);
    }

    void mf_implReallocate(int length)
    {
        int const capacity = mf_implRounded(length);
        void * const block =
            length > MAXIMUM_LENGTH ? nullptr : std::realloc(mf_implData(), mf_implBlockBytes(capacity));
        if (block == nullptr) {
            AfxThrowMemoryException();
        }
        CStringData * const data = static_cast<CStringData *>(block);
        data->capacity = capacity;
        m_text = data->mf_text();
    }

    wchar_t * m_text;
};

static_assert(sizeof(CSimpleString) == sizeof(void *));
