#include "hsmbase/paths/ICFileSize.h"

#include "hsmbase/failure/internal/ICTrace.h"

static constexpr std::size_t BUFFER_LENGTH = 64;

ulong ICFileSize::mf_get32BitSize() const
{
    static wchar_t const _sFunction_[] = L"ICFileSize::mf_get32BitSize";

    if (m_high != 0) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::FileSizeExceeded, L"Filesize > 4GByte");
    return m_low;
}

CString ICFileSize::mf_toString() const
{
    return mf_toString(0);
}

CString ICFileSize::mf_toString(int hexadecimal) const
{
    wchar_t text[BUFFER_LENGTH];
    ::_snwprintf_s(text, BUFFER_LENGTH, _TRUNCATE, hexadecimal != 0 ? L"%I64x" : L"%I64d", mf_getValue());
    return text;
}

CString ICFileSize::mf_toString(CString const & prefix) const
{
    wchar_t text[BUFFER_LENGTH];
    ::_snwprintf_s(text, BUFFER_LENGTH, _TRUNCATE, L"%s%16.16I64d", prefix.GetString(), mf_getValue());
    return text;
}
