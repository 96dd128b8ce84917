#include "programs/catalog/ICCatalogTexts.h"

#include <bit>
#include <cwchar>

#include "hsmbase/failure/ICErrno.h"

namespace
{

// As many as a text has before, and after inserting.
constexpr int MAX_TEMPLATE = 4096;
constexpr int MAX_TEXT = 8192;

// Those of a list or a heading count at the beginning only, and the underscore not within a word.
bool f_hasMeaning(CString const & text, int at)
{
    bool const isFirst = at == 0;
    // Behind the last one stands the terminator.
    if (text[at] == L'_')
        return isFirst || !::IsCharAlphaNumericW(text[at - 1]) || !::IsCharAlphaNumericW(text[at + 1]);
    return std::wcschr(isFirst ? L"\\`*[]|~#+-" : L"\\`*[]|~", text[at]) != nullptr;
}

CString f_escape(CString const & text)
{
    CString escaped;
    for (int at = 0; at < text.GetLength(); ++at) {
        switch (text[at]) {
        case L'<': escaped += L"&lt;"; break;
        case L'>': escaped += L"&gt;"; break;
        case L'&': escaped += L"&amp;"; break;
        default:
            if (f_hasMeaning(text, at)) escaped += L'\\';
            escaped += text[at];
        }
    }
    return escaped;
}

[[noreturn]] void f_refuse(unsigned int id, wchar_t const * reason)
{
    CString text;
    text.Format(L"Text %u %s.", id, reason);
    throw ICErrno(ICErrno::_E_::Resource, ICErrnoData::HSM_INTERNAL, 0, text);
}

} // namespace

CString ICCatalogTexts::mf_get(unsigned int id, wchar_t const * first, wchar_t const * second) const
{
    DWORD_PTR arguments[] = {std::bit_cast<DWORD_PTR>(first), std::bit_cast<DWORD_PTR>(second)};
    wchar_t buffer[MAX_TEXT];
    CString const text = f_escape(mf_implLoad(id));
    ulong const length = ::FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, text.GetString(),
                                          0, 0, buffer, MAX_TEXT, reinterpret_cast<va_list *>(arguments));
    if (length == 0) f_refuse(id, L"cannot be formatted");
    return CString(buffer, static_cast<int>(length));
}

CString ICCatalogTexts::mf_implLoad(unsigned int id) const
{
    wchar_t buffer[MAX_TEMPLATE];
    int const length = ::LoadStringW(m_library, id, buffer, MAX_TEMPLATE);
    if (length == 0) f_refuse(id, L"is missing");
    return CString(buffer, length);
}
