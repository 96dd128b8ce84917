#pragma once

#include <exception>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/internal/PathStep.h"

// An operation of several steps, all of which run although one fails: each failure leaves its line, the first is kept
// and thrown in the end.
//
//     ICFirstFailure outcome(_sFunction_);
//     ICFileHandle file;
//     if (outcome.mf_call([&] { return f_open(file, longPath, GENERIC_READ, 0, OPEN_EXISTING, FLAGS); },
//                         ICErrno::_E_::FileOpen, L"CreateFile '%s' failed:\r\n%s", path)) {
//         outcome.mf_run([&] { mf_getTimes(file.mf_get(), creation, lastAccess, lastWrite); },
//                        L"Failure getting file times for '%s':\r\n%s", path);
//         outcome.mf_close(file, ICErrno::_E_::FileClose, L"CloseHandle '%s' failed:\r\n%s", path);
//     }
//     outcome.mf_throw();
//
// The last "%s" of each text takes the failure itself, in the logging language; the arguments fill the others. Where
// a text goes on behind the failure, or doesn't show it, the step throws by itself and mf_run takes no text.
//
// What is thrown that is no ICErrno, such as the class library's lack of memory, is kept like a failure, without a
// line.
//
// Threads: one at a time.
class ICFirstFailure
{
public:
    template<class... ARGS>
    using FORMAT = ICTraceFormat<std::type_identity_t<ARGS>..., CString>;

    explicit ICFirstFailure(wchar_t const * function) : m_function(function) {}
    ICFirstFailure(ICFirstFailure const &) = delete;
    ICFirstFailure & operator=(ICFirstFailure const &) = delete;

    // All steps answer whether they succeeded. This one leaves its line by itself.
    template<class STEP>
    bool mf_run(STEP const & step)
    {
        try {
            step();
            return true;
        }
        catch (ICErrno & failure) {
            if (!mf_isSet()) m_failure = failure.mf_getErrnoData();
        }
        catch (...) {
            if (!mf_isSet()) m_other = std::current_exception();
        }
        return false;
    }

    // A step that throws.
    template<class STEP, class... ARGS>
    bool mf_run(STEP const & step, FORMAT<ARGS...> format, ARGS const &... args)
    {
        return mf_run([&] { f_step(m_function, step, format, args...); });
    }

    // One call of the platform, which answers 0 for a failure. The last error is cleared ahead of it.
    template<class CALL, class... ARGS>
    bool mf_call(CALL const & call, ICErrnoValue const & constant, FORMAT<ARGS...> format, ARGS const &... args)
    {
        return mf_run([&] {
            ::SetLastError(0);
            if (call()) return;
            ICErrno const failure = f_systemFailure(constant);
            throw ICTrace(m_function).mf_failed(failure, format, args..., failure.mf_toString());
        });
    }

    // Closes the handle of an owner, which must be open.
    template<class OWNER, class... ARGS>
    bool mf_close(OWNER & owner, ICErrnoValue const & constant, FORMAT<ARGS...> format, ARGS const &... args)
    {
        return mf_call([&] { return owner.mf_close(); }, constant, format, args...);
    }

    // Whether anything is kept.
    bool mf_isSet() const { return m_failure.mf_isSet() || m_other != nullptr; }

    // Throws what is kept, if anything.
    void mf_throw() const
    {
        if (m_other) std::rethrow_exception(m_other);
        if (m_failure.mf_isSet()) throw ICErrno(m_failure);
    }

private:
    wchar_t const * const m_function;
    ICErrnoData m_failure;
    std::exception_ptr m_other; // NULL if m_failure is set.
};
