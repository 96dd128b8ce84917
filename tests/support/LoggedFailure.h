#pragma once

#include <string>

#include "tests/support/ICTracedProcess.h"

// How a record shows a text that ends with another one, as the reader gives it: lines separated by "\n", no indents.
inline std::string f_logged(std::string const & text, CString const & shown)
{
    std::string bytes(4 * static_cast<std::size_t>(shown.GetLength()), '\0');
    int const count = ::WideCharToMultiByte(CP_UTF8, 0, shown, shown.GetLength(), bytes.data(),
                                            static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(count));
    std::string logged;
    for (char const character : text + bytes) {
        bool const isIndent = character == ' ' && logged.ends_with('\n');
        if (character != '\r' && !isIndent) logged += character;
    }
    return logged;
}

// The same with the text of a failure, in the logging language, whatever the user's is.
//
//     f_logged("Failure creating tranlator: ", ICErrno::_E_::System, ERROR_INVALID_PARAMETER)
//
inline std::string f_logged(std::string const & text, ICErrno const & failure)
{
    ICThreadContext::mf_setLoggingLanguage();
    CString const shown = failure.mf_toString();
    ICThreadContext::mf_setUserLanguage();
    return f_logged(text, shown);
}

inline std::string f_logged(std::string const & text, ICErrnoValue const & constant, ulong systemError)
{
    return f_logged(text, ICErrno(constant, systemError));
}

// The action threw the constant, and an error line with this text shows it.
inline testing::Matcher<ICTracedAction const &> f_failsShowing(ICErrnoValue const & constant, std::string const & tag,
                                                               std::string const & text)
{
    return f_fails(constant, 'E', tag, f_logged(text, ICErrno(constant)));
}

// The same with the number of the system.
inline testing::Matcher<ICTracedAction const &> f_failsShowing(ICErrnoValue const & constant, ulong systemError,
                                                               std::string const & tag, std::string const & text)
{
    return f_fails(constant, systemError, 'E', tag, f_logged(text, constant, systemError));
}
