#include "hsmbase/failure/ICBuffer.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
constexpr ulong BYTES_OF_A_LINE = 16;

CString f_dumpLine(unsigned char const * bytes, ulong count, ulong offset)
{
    CString line;
    CString characters;
    line.Format(L"%08.8X  ", offset);
    for (ulong column = 0; column < BYTES_OF_A_LINE; ++column) {
        if (column != 0 && column % 4 == 0) line.AppendChar(L' ');
        if (column < count) {
            line.AppendFormat(L"%2.2X", bytes[column]);
            characters.AppendChar(std::isprint(bytes[column]) ? bytes[column] : L' ');
        } else {
            line.Append(L"  ");
            characters.AppendChar(L' ');
        }
    }
    return line + L"  " + characters;
}
} // namespace

ICBuffer::ICBuffer(ulong size)
{
    mf_implMalloc(size);
}

ICBuffer::ICBuffer(void const * data, ulong size, int copy)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::ICBuffer::4";
    if (data == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pData");
    mf_implTake(data, size, copy);
}

ICBuffer::ICBuffer(ICBuffer const & other, int copy)
{
    mf_implTake(other.m_pData, other.m_ulSize, copy);
}

ICBuffer const & ICBuffer::operator=(ICBuffer const & other)
{
    if (this != &other) {
        // The copy comes first, for `other` may be a view of these bytes; it leaves with them.
        ICBuffer copy(other);
        std::swap(m_pData, copy.m_pData);
        std::swap(m_ulSize, copy.m_ulSize);
        std::swap(m_bOwned, copy.m_bOwned);
    }
    return *this;
}

ICBuffer::~ICBuffer()
{
    ulong const lastError = ::GetLastError();
    mf_implFree();
    ::SetLastError(lastError);
}

CString ICBuffer::mf_toString(CString const & prefix) const
{
    return mf_dump(m_pData, m_ulSize, prefix);
}

void * ICBuffer::mf_create(ulong size)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_create";
    if (size == 0) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"0 == _ulSize");
    mf_implMalloc(size);
    return m_pData;
}

void * ICBuffer::mf_recreate(ulong size)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_recreate";
    if (size == 0) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"0 == _ulSize");
    if (m_pData != nullptr && !m_bOwned)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Internal, L"Data not owned by buffer, cannot re-create");
    if (size == m_ulSize) {
        mf_setZero();
    } else {
        mf_implFree();
        mf_implMalloc(size);
    }
    return m_pData;
}

void ICBuffer::mf_delete()
{
    mf_implFree();
}

void ICBuffer::mf_initialize(ICBuffer const & other, int copy)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_initialize::1";
    if (m_pData != nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"Data already initialized");
    mf_implTake(other.m_pData, other.m_ulSize, copy);
}

void ICBuffer::mf_initialize(void const * data, ulong size, int copy)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_initialize::2";
    if (data == nullptr || size == 0)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"( NULL == _pData ) || ( 0 == _ulSize )");
    if (m_pData != nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"Data already initialized");
    mf_implTake(data, size, copy);
}

void ICBuffer::mf_setZero()
{
    if (m_pData != nullptr) std::memset(m_pData, 0, m_ulSize);
}

ulong ICBuffer::mf_toHexString(void const * buffer, ulong size, CString & result)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_toHexString";
    if (buffer == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pBuffer");

    auto const * const bytes = static_cast<unsigned char const *>(buffer);
    result.Empty();
    for (ulong index = 0; index < size; ++index)
        result.AppendFormat(L"%2.2X", bytes[index]);
    return size;
}

ulong ICBuffer::mf_fromHexString(CString const & text, void * buffer, ulong size)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_fromHexString";
    if (buffer == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pBuffer");
    // Rounded up: the last digit of an odd number needs a byte too.
    ulong const needed = (static_cast<ulong>(text.GetLength()) + 1) / 2;
    if (needed > size)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::BufferTooSmall, L"Buffer too small: %lu bytes, %lu bytes needed", size, needed);

    auto * const bytes = static_cast<unsigned char *>(buffer);
    wchar_t const * digits = text;
    std::memset(buffer, 0, size);
    for (ulong index = 0; index < needed; ++index, digits += 2) {
        wchar_t const pair[] = {digits[0], digits[1], L'\0'};
        // A pair like "0x" counts as not scanned and yet changes the target.
        unsigned int value = 0;
        if (::swscanf_s(pair, L"%2X", &value) == 1) bytes[index] = static_cast<unsigned char>(value);
    }
    return needed;
}

CString ICBuffer::mf_dump(void const * buffer, ulong size, CString const & prefix)
{
    if (size == 0) return prefix + L"(empty buffer)";

    auto const * const bytes = static_cast<unsigned char const *>(buffer);
    CString text = prefix + f_dumpLine(bytes, std::min(size, BYTES_OF_A_LINE), 0);
    for (ulong done = BYTES_OF_A_LINE; done < size; done += BYTES_OF_A_LINE) {
        // Deliberate: the offset is the index of the last byte of the line before.
        text += L"\r\n" + prefix + f_dumpLine(bytes + done, std::min(size - done, BYTES_OF_A_LINE), done - 1);
    }
    return text;
}

void ICBuffer::mf_implMalloc(ulong size)
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_implMalloc";
    if (m_pData != nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"Buffer already allocated");
    if (size == 0) return;

    void * const data = std::malloc(size);
    if (data == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"malloc %lu bytes returned no memory", size);
    m_pData = data;
    m_ulSize = size;
    m_bOwned = 1;
    mf_setZero();
}

void ICBuffer::mf_implFree()
{
    static wchar_t const _sFunction_[] = L"ICBuffer::mf_implFree";
    if (m_bOwned) {
        if (m_pData == nullptr) ICTrace(_sFunction_).mf_warning(L"No buffer data");
        std::free(m_pData);
    }
    m_pData = nullptr;
    m_ulSize = 0;
    m_bOwned = 0;
}

void ICBuffer::mf_implTake(void const * data, ulong size, int copy)
{
    if (size == 0) return;
    if (copy != 0) {
        mf_implMalloc(size);
        std::memcpy(m_pData, data, size);
    } else {
        // A view is made of constant bytes too: who makes one keeps them alive, and decides whether they are written.
        m_pData = const_cast<void *>(data);
        m_ulSize = size;
    }
}
