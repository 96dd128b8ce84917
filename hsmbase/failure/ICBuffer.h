#pragma once

#include "hsmbase/Types.h"

// A run of bytes, either owned or a view of memory that the caller keeps alive.
//
//     ICBuffer descriptor;
//     ::GetFileSecurityW(path, parts, descriptor.mf_create(size), size, &size);
//     ICTrace(_sFunction_).mf_debug(L"Security descriptor:\r\n%s", descriptor.mf_toString(ICLog::TAB));
//
// Owned bytes are zero when they are handed out. Where `copy` stands, any number but 0 allocates and copies, and 0
// makes a view. Each allocation throws _E_::Memory if it can't be had. A failing operation leaves the buffer as it was,
// but for mf_recreate.
//
// Threads: no locks; a buffer belongs to one thread at a time.
class HSMBASE_EXPORT ICBuffer
{
public:
    // Empty.
    ICBuffer() = default;

    // Owned; empty for size 0.
    explicit ICBuffer(ulong size);

    // Empty for size 0. Throws _E_::Parameter for data NULL, whatever the size.
    ICBuffer(void const * data, ulong size, int copy);

    // A view shares the bytes of `other`, whoever owns them.
    ICBuffer(ICBuffer const & other, int copy = 1);

    // Always copies; the old bytes are released after that, so `other` may be a view of them.
    ICBuffer const & operator=(ICBuffer const & other);

    // Keeps the thread's last error.
    ~ICBuffer();

    // NULL while empty.
    void const * mf_getData() const { return m_pData; }

    ulong mf_getSize() const { return m_ulSize; }

    // Whether there are bytes.
    int mf_isInitialized() const { return m_pData != nullptr; }

    // Deliberate: the sizes alone are compared. Buffers of the same size are neither smaller nor greater.
    int operator<(ICBuffer const & other) const { return m_ulSize < other.m_ulSize; }
    int operator>(ICBuffer const & other) const { return m_ulSize > other.m_ulSize; }

    // mf_dump of the bytes.
    CString mf_toString(CString const & prefix) const;

    // Allocates for an empty buffer; answers the bytes, which stay the buffer's. Throws _E_::Parameter for size 0,
    // _E_::AlreadyInitialized if there are bytes.
    void * mf_create(ulong size);

    // The same in place of what the buffer owns; the bytes are zero also where the size stays. Throws _E_::Parameter
    // for size 0, _E_::Internal for a view. Without memory the buffer is left empty.
    void * mf_recreate(ulong size);

    // Back to empty. The bytes of a view stay as they are.
    void mf_delete();

    // As the constructors, for an empty buffer. Throw _E_::AlreadyInitialized if there are bytes; with data NULL or
    // size 0 the second throws _E_::Parameter first.
    void mf_initialize(ICBuffer const & other, int copy);
    void mf_initialize(void const * data, ulong size, int copy);

    // Zeroes the bytes, those of a view too.
    void mf_setZero();

    // Two upper-case digits a byte, without separators, in place of what `result` held. Answers the number of bytes.
    // Throws _E_::Parameter for buffer NULL.
    static ulong mf_toHexString(void const * buffer, ulong size, CString & result);

    // A byte for each two characters, the last of an odd number alone; the rest of the buffer becomes zero. Answers the
    // number of bytes for the text. Each pair is read as scanf's "%2X" does, so " 1" is 1 and "-1" is 0xFF; one that is
    // no number is 0. Throws _E_::Parameter for buffer NULL, _E_::BufferTooSmall for `size` bytes too few, with nothing
    // written.
    static ulong mf_fromHexString(CString const & text, void * buffer, ulong size);

    // A line for each 16 bytes: prefix, offset, hexadecimal digits, and the characters that the C locale of the process
    // can print. "\r\n" stands between the lines. For size 0 the prefix and "(empty buffer)".
    //
    // Deliberate: from the second line on the offset is one less than that of the line's first byte (0000000F,
    // 0000001F), as in all dumps of this system.
    static CString mf_dump(void const * buffer, ulong size, CString const & prefix);

private:
    void mf_implMalloc(ulong size);
    void mf_implFree();

    // What constructors and mf_initialize share: empty for size 0.
    void mf_implTake(void const * data, ulong size, int copy);

    // NULL goes with size 0 and not owned.
    void * m_pData = nullptr;
    ulong m_ulSize = 0;
    int m_bOwned = 0; // Not 0: from malloc, freed here.
};
