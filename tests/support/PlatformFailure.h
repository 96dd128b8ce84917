// What tests need to look at the class library's failures and texts, the same for the real library and the stand-in.
//
//     EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CString().GetAt(-1); }));
#pragma once

#include <afx.h>

#ifdef _MSC_VER
#include <afxdisp.h>
#endif

#include <ostream>

// Runs `action` and answers the code of the class library's exception that it ended in, which is given back:
// E_INVALIDARG
// also for the containers' invalid-argument exception, S_OK when there was none. Other exceptions go on.
template<class ACTION>
HRESULT f_platformFailure(ACTION && action)
{
    try {
        action();
        return S_OK;
    }
    catch (COleException * failure) {
        HRESULT const code = failure->m_sc;
        failure->Delete();
        return code;
    }
    catch (CInvalidArgException * failure) {
        failure->Delete();
        return E_INVALIDARG;
    }
    catch (CMemoryException * failure) {
        failure->Delete();
        return E_OUTOFMEMORY;
    }
}

// Lets a failed comparison show the text.
inline void PrintTo(CString const & text, std::ostream * stream)
{
    *stream << '"';
    for (int i = 0; i < text.GetLength(); ++i) {
        wchar_t const character = text[i];
        if (character >= L' ' && character < 0x7F) {
            *stream << static_cast<char>(character);
        } else {
            *stream << "\\x" << std::hex << static_cast<unsigned int>(character) << std::dec;
        }
    }
    *stream << '"';
}
