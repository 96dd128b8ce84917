#pragma once

#include <string>
#include <type_traits>

#include "hsmbase/logging/ICLogBase.h"

// A log that is nothing but the base of both.
//
//     ICTestLog log(directory / L"a.log");
//     log.m_nMaxFileSize = 1000;
//     log.mf_implStart();
//
// Only test programs that reach private parts have use for it.
class ICTestLog : public ICLogBase
{
public:
    explicit ICTestLog(std::wstring const & path = {}, int ucs2 = 0)
    {
        mf_implSetPath(path.c_str());
        m_bUcs2 = ucs2;
    }
    ~ICTestLog() override { mf_implStop(); }

    CString mf_toString(CString const & prefix) const override { return prefix + m_sPath; }

    long long mf_getPosition() const
    {
        LARGE_INTEGER position = {};
        ::SetFilePointerEx(m_hFile, {}, &position, FILE_CURRENT);
        return position.QuadPart;
    }
};
static_assert(std::is_copy_constructible_v<ICTestLog> && std::is_copy_assignable_v<ICTestLog>);
static_assert(std::is_abstract_v<ICLogBase>);

// What stands in a file where a text was left that counts its characters and writes bytes.
inline std::string f_halfOf(std::wstring const & text)
{
    return std::string(reinterpret_cast<char const *>(text.c_str()), text.size());
}

inline std::string f_wideBytes(std::wstring const & text)
{
    return std::string(reinterpret_cast<char const *>(text.c_str()), text.size() * sizeof(wchar_t));
}
