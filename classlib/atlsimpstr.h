// CSimpleString: the shared buffer below CString. It stands in for the class library's CSimpleStringT<wchar_t> and
// holds what is short and hot: owning, sharing, reading, writing and appending characters. CString adds the text
// operations.
//
// An object is one pointer to the characters; a CStringData lies directly before them. Copies share one buffer through
// an interlocked count, and who writes to a shared buffer gets one of its own first. All empty strings without a buffer
// share a static one, which is recognised by its count and not by its address, because every module has its own.
//
// Threads: different objects may be used by different threads at once, also when they share a buffer. One object needs
// the caller's lock as soon as one of its users writes. No locks.
// Left out: string managers, 8-bit strings.
#pragma once

#include "internal/StringData.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <utility>

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
    ~CSimpleString() { mf_implData()->mf_release(); }

    CSimpleString & operator=(CSimpleString const & other);
    CSimpleString & operator=(CSimpleString && other);

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
    void SetString(PCXSTR text, int length);
    void Empty() noexcept;

    // Cuts to `length` characters; a longer length changes nothing.
    void Truncate(int length)
    {
        if (length < 0) AtlThrow(E_INVALIDARG);
        if (length < GetLength()) {
            mf_implWritable(length);
            mf_implSetLength(length);
        }
    }

    // Appending. The text may lie in the string itself. Space grows by a half, so that appending one by one stays
    // cheap.
    void Append(PCXSTR text) { Append(text, StringLength(text)); }
    void Append(CSimpleString const & other) { Append(other.m_text, other.GetLength()); }

    void Append(PCXSTR text, int length)
    {
        if (length == 0) return;
        if (length < 0 || text == nullptr) AtlThrow(E_INVALIDARG);
        int const before = GetLength();
        if (length > MAXIMUM_LENGTH - before) AfxThrowMemoryException();
        std::size_t const offset = mf_implOffset(text);
        bool const own = offset <= static_cast<std::size_t>(before);
        PXSTR const buffer = mf_implWritable(before + length);
        std::memmove(buffer + before, own ? buffer + offset : text, CStringData::mf_bytes(length));
        mf_implSetLength(before + length);
    }

    void AppendChar(XCHAR character)
    {
        int const before = GetLength();
        if (before >= MAXIMUM_LENGTH) AfxThrowMemoryException();
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
        if (length < 0 || length > GetAllocLength()) AtlThrow(E_INVALIDARG);
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
        if (data->mf_references() == 1) {
            m_text = data->mf_resize(data->length)->mf_text();
        }
    }

    static int StringLength(PCXSTR text) noexcept { return text == nullptr ? 0 : static_cast<int>(std::wcslen(text)); }

    // Without characters the pointers may be NULL.
    static void CopyChars(PXSTR target, PCXSTR source, int length) noexcept
    {
        if (length != 0) std::memcpy(target, source, CStringData::mf_bytes(length));
    }

    static void CopyCharsOverlapped(PXSTR target, PCXSTR source, int length) noexcept
    {
        if (length != 0) std::memmove(target, source, CStringData::mf_bytes(length));
    }

protected:
    static constexpr int MAXIMUM_LENGTH = CStringData::MAXIMUM_LENGTH;

    // How many characters behind the string's first one `text` stands: a huge number when it lies elsewhere.
    std::size_t mf_implOffset(PCXSTR text) const noexcept
    {
        return (reinterpret_cast<std::uintptr_t>(text) - reinterpret_cast<std::uintptr_t>(m_text)) / sizeof(wchar_t);
    }

    // The buffer, made this object's own, with room for `length` characters. Less than the text holds is no loss.
    PXSTR mf_implWritable(int length)
    {
        CStringData * const data = mf_implData();
        if (!data->mf_isOwn() || static_cast<unsigned int>(length) > static_cast<unsigned int>(data->capacity)) {
            mf_implMakeWritable(length);
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
    CStringData * mf_implData() const noexcept { return CStringData::mf_of(m_text); }
    bool mf_implIsLocked() const noexcept { return mf_implData()->mf_references() == CStringData::LOCKED; }

    static PXSTR mf_implCreate(PCXSTR text, int length)
    {
        if (length == 0) return g_classlibNil.text;
        if (length < 0 || text == nullptr) AtlThrow(E_INVALIDARG);
        return CStringData::mf_create(text, length, length)->mf_text();
    }

    static PXSTR mf_implShare(CSimpleString const & other)
    {
        CStringData * const data = other.mf_implData();
        if (data->mf_references() > 0) {
            data->mf_acquire();
            return other.m_text;
        }
        // Of an empty string, another module's buffer would not outlive that module.
        return mf_implCreate(other.m_text, data->length);
    }

    [[gnu::noinline]] void mf_implMakeWritable(int length)
    {
        if (length < 0) AtlThrow(E_INVALIDARG);
        CStringData * const data = mf_implData();
        int const needed = std::max(length, data->length);
        if (data->mf_isOwn()) {
            m_text = data->mf_resize(std::max(needed, data->mf_grown()))->mf_text();
        } else {
            m_text = CStringData::mf_create(m_text, data->length, needed)->mf_text();
            data->mf_release();
        }
    }

    wchar_t * m_text;
};

static_assert(sizeof(CSimpleString) == sizeof(void *));

#include "internal/SimpleStringOperations.h"
