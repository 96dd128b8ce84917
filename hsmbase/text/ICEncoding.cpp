#include "hsmbase/text/ICEncoding.h"

#include <algorithm>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"

static constexpr ulong MARK_LENGTH = 2;
static constexpr unsigned char UCS2_LE_MARK[MARK_LENGTH] = {0xff, 0xfe};
static constexpr unsigned char UCS2_BE_MARK[MARK_LENGTH] = {0xfe, 0xff};

static bool f_isMark(unsigned char const * bytes, unsigned char const (&mark)[MARK_LENGTH])
{
    return std::equal(mark, mark + MARK_LENGTH, bytes);
}

constinit ICEncoding const ICEncoding::NONE(-1);
constinit ICEncoding const ICEncoding::UNKNOWN(0);
constinit ICEncoding const ICEncoding::ASCII(1);
constinit ICEncoding const ICEncoding::UCS2_LE(2);
constinit ICEncoding const ICEncoding::UCS2_BE(3);

ICEncoding ICEncoding::operator=(ICEncoding const & other)
{
    m_encoding = other.m_encoding;
    return *this;
}

int ICEncoding::operator==(ICEncoding const & other) const
{
    return m_encoding == other.m_encoding;
}

int ICEncoding::operator!=(ICEncoding const & other) const
{
    return m_encoding != other.m_encoding;
}

CString ICEncoding::mf_toString() const
{
    static constexpr wchar_t const * NAMES[] = {L"NONE", L"UNKNOWN", L"ASCII", L"UCS2_LE", L"UCS2_BE"};

    if (m_encoding < NONE.m_encoding || m_encoding > UCS2_BE.m_encoding) return L"Unexpected-encoding";
    return NAMES[m_encoding - NONE.m_encoding];
}

ICEncoding ICEncoding::mf_getEncoding(unsigned char const * const bytes)
{
    static wchar_t const _sFunction_[] = L"ICEncoding::mf_getEncoding";

    if (f_isMark(bytes, UCS2_LE_MARK)) return UCS2_LE;
    if (f_isMark(bytes, UCS2_BE_MARK)) return UCS2_BE;
    if (bytes[0] != 0 && bytes[1] != 0) return ASCII;
    if (bytes[0] != 0) {
        ICTrace(_sFunction_)
            .mf_debug(L"No byte-order-mark, guessing UCS-2-LE: byte[0]=0x%2.2x, byte[1]=0x%2.2x", bytes[0], bytes[1]);
        return UCS2_LE;
    }
    // Deliberate: this guess is announced and never returned.
    if (bytes[1] != 0)
        ICTrace(_sFunction_)
            .mf_debug(L"No byte-order-mark, guessing UCS-2-BE: byte[0]=0x%2.2x, byte[1]=0x%2.2x", bytes[0], bytes[1]);
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::Unknown, L"Unknown byte-order-mark: byte[0]=0x%2.2x, byte[1]=0x%2.2x", bytes[0],
                   bytes[1]);
}

int ICEncoding::mf_getByteOrderMark(ICEncoding const & encoding, unsigned char * const bytes)
{
    static wchar_t const _sFunction_[] = L"ICEncoding::mf_getByteOrderMark";

    if (encoding == ASCII) return 0;
    if (encoding != UCS2_LE && encoding != UCS2_BE)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Unexpected, L"No byte order mark for encoding '%s'", encoding.mf_toString());
    std::copy_n(encoding == UCS2_LE ? UCS2_LE_MARK : UCS2_BE_MARK, MARK_LENGTH, bytes);
    return 1;
}

int ICEncoding::mf_isByteOrderMark(unsigned char const * const bytes)
{
    return f_isMark(bytes, UCS2_LE_MARK) || f_isMark(bytes, UCS2_BE_MARK);
}

ICEncoding ICEncoding::mf_getFileEncoding(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICEncoding::mf_getFileEncoding";

    unsigned char bytes[MARK_LENGTH];
    try {
        if (!mf_implReadByteOrderMark(path, bytes)) return UNKNOWN;
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure reading first 2 bytes of file '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
    try {
        return mf_getEncoding(bytes);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure analyzing byte order mark of file '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
}

void ICEncoding::mf_writeByteOrderMark(void * const fileHandle, ICEncoding const & encoding)
{
    static wchar_t const _sFunction_[] = L"ICEncoding::mf_writeByteOrderMark";

    unsigned char bytes[MARK_LENGTH];
    if (!mf_getByteOrderMark(encoding, bytes)) return;
    try {
        mf_implWriteByteOrderMark(fileHandle, bytes);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure writing byte order mark to file: %s", failure.mf_toString());
    }
}

int ICEncoding::mf_implReadByteOrderMark(CString const & path, unsigned char * const bytes)
{
    static wchar_t const _sFunction_[] = L"ICEncoding::mf_implReadByteOrderMark";

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    ICFileHandle file(::CreateFileW(longPath, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.mf_isOpen()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure opening file '%s':\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
    }

    ICErrnoData outcome;
    DWORD length = 0;
    ::SetLastError(0);
    if (!::ReadFile(file.mf_get(), bytes, MARK_LENGTH, &length, nullptr) && ::GetLastError() != ERROR_HANDLE_EOF) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileRead);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure reading %lu bytes from file '%s':\r\n%s%s", MARK_LENGTH, path,
                        ICLog::TAB, failure.mf_toString());
    } else if (length < MARK_LENGTH) {
        ICTrace(_sFunction_)
            .mf_trace(L"File '%s' contains less than %lu bytes: %lu byte(s)", path, MARK_LENGTH, length);
    }

    ::SetLastError(0);
    if (!file.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileClose);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure closing file '%s':\r\n%s%s", path, ICLog::TAB,
                        failure.mf_toString());
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    return length == MARK_LENGTH;
}

void ICEncoding::mf_implWriteByteOrderMark(void * const fileHandle, unsigned char * const bytes)
{
    static wchar_t const _sFunction_[] = L"ICEncoding::mf_implWriteByteOrderMark";

    DWORD written = 0;
    ::SetLastError(0);
    if (!::WriteFile(fileHandle, bytes, MARK_LENGTH, &written, nullptr) || written != MARK_LENGTH) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileWrite);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Writing %lu bytes to file failed: %s", MARK_LENGTH, failure.mf_toString());
    }
}
