#pragma once

#include <concepts>

#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/failure/internal/ICTraceFormat.h"
#include "hsmbase/logging/ICLog.h"
#include "hsmbase/logging/ICLogData.h"

// The trace line and the four forms of a failure, each one statement:
//
//     // 1. Log, build, throw.
//     if (text == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pszText");
//
//     // 2. System failure. The record comes first: it reads GetLastError.
//     ::SetLastError(0);
//     if (!::TlsFree(slot)) {
//         ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
//         throw ICTrace(_sFunction_).mf_failed(failure, L"Failure freeing slot: %s", failure.mf_toString());
//     }
//
//     // 3. Forward.
//     catch (ICErrno & failure) {
//         throw ICTrace(_sFunction_).mf_failed(failure, L"Failure creating singleton: %s", failure.mf_toString());
//     }
//
//     // 4. Collect: every step runs, the first failure wins, the throw stands last.
//     catch (ICErrno & failure) {
//         ICTrace(_sFunction_).mf_collect(outcome, failure, L"Failure closing: %s", failure.mf_toString());
//     }
//     if (outcome.mf_isSet()) throw ICErrno(outcome);
//
// The object opens the language bracket and its member closes it: in a(x).b(args) a(x) is evaluated before args, so the
// thread speaks the logging language before mf_toString() runs. An argument that itself traces puts the thread back to
// the user's language: compute it beforehand.
//
// GATE says whether there is a trace at all; a class that must stay silent at times has its own (see ICRegistry).
template<class GATE>
class ICTraceBracket
{
public:
    explicit ICTraceBracket(wchar_t const * function) : m_function(function)
    {
        if (GATE::mf_isOpen()) ICThreadContext::mf_setLoggingLanguage();
    }

    template<class... ARGS>
    void mf_write(ICLogData const & level, ICTraceFormat<std::type_identity_t<ARGS>...> format,
                  ARGS const &... args) const
    {
        if (GATE::mf_isOpen()) ICLog::mf_writeMessage(level, m_function, format.mf_get(), mf_asArgument(args)...);
    }

    template<class... ARGS>
    void mf_error(ICTraceFormat<std::type_identity_t<ARGS>...> format, ARGS const &... args) const
    {
        mf_write<ARGS...>(ICLogData::LEVEL_E, format, args...);
    }

    template<class... ARGS>
    void mf_warning(ICTraceFormat<std::type_identity_t<ARGS>...> format, ARGS const &... args) const
    {
        mf_write<ARGS...>(ICLogData::LEVEL_W, format, args...);
    }

    template<class... ARGS>
    void mf_info(ICTraceFormat<std::type_identity_t<ARGS>...> format, ARGS const &... args) const
    {
        mf_write<ARGS...>(ICLogData::LEVEL_I, format, args...);
    }

    template<class... ARGS>
    void mf_trace(ICTraceFormat<std::type_identity_t<ARGS>...> format, ARGS const &... args) const
    {
        mf_write<ARGS...>(ICLogData::LEVEL_T, format, args...);
    }

    template<class... ARGS>
    void mf_debug(ICTraceFormat<std::type_identity_t<ARGS>...> format, ARGS const &... args) const
    {
        mf_write<ARGS...>(ICLogData::LEVEL_D, format, args...);
    }

    // Logs at LEVEL_E, then answers the one copy that the caller throws.
    template<std::convertible_to<ICErrno> CAUSE, class... ARGS>
    [[nodiscard]] ICErrno mf_failed(CAUSE const & cause, ICTraceFormat<std::type_identity_t<ARGS>...> format,
                                    ARGS const &... args) const
    {
        return mf_failedAt<CAUSE, ARGS...>(ICLogData::LEVEL_E, cause, format, args...);
    }

    // The same at another level.
    template<std::convertible_to<ICErrno> CAUSE, class... ARGS>
    [[nodiscard]] ICErrno mf_failedAt(ICLogData const & level, CAUSE const & cause,
                                      ICTraceFormat<std::type_identity_t<ARGS>...> format, ARGS const &... args) const
    {
        mf_write<ARGS...>(level, format, args...);
        return ICErrno(cause);
    }

    // Logs at LEVEL_E, then keeps the failure if `outcome` has none yet.
    template<std::convertible_to<ICErrno> CAUSE, class... ARGS>
    void mf_collect(ICErrnoData & outcome, CAUSE const & cause, ICTraceFormat<std::type_identity_t<ARGS>...> format,
                    ARGS const &... args) const
    {
        mf_write<ARGS...>(ICLogData::LEVEL_E, format, args...);
        if (!outcome.mf_isSet()) outcome = mf_asRecord(cause);
    }

private:
    // Texts travel as pointers: a CString passed through "..." would arrive as garbage.
    static wchar_t const * mf_asArgument(CString const & text) { return text.GetString(); }
    template<class ARG>
    requires(!std::same_as<ARG, CString>) static std::decay_t<ARG const> mf_asArgument(ARG const & argument)
    {
        return argument;
    }

    static ICErrnoData const & mf_asRecord(ICErrno const & failure) { return failure.mf_getErrnoData(); }
    static ICErrnoData const & mf_asRecord(ICErrnoData const & data) { return data; }
    static ICErrnoData mf_asRecord(ICErrnoValue const & value) { return value; }

    wchar_t const * const m_function;
};

struct TRACE_ALWAYS
{
    static constexpr int mf_isOpen() { return 1; }
};

using ICTrace = ICTraceBracket<TRACE_ALWAYS>;

// The failure of the platform call that just failed: the constant with the system as originator. It must be the first
// statement of a failing branch, since any other call may overwrite the thread's last error.
inline ICErrno f_systemFailure(ICErrnoValue const & constant)
{
    ulong const systemError = ::GetLastError();
    return ICErrno(constant, systemError);
}

// The same for calls that return their error number.
inline ICErrno f_systemFailure(ICErrnoValue const & constant, ulong systemError)
{
    return ICErrno(constant, systemError);
}
