#pragma once

#include "hsmbase/failure/ICErrno.h"

// The failures of a scan, which goes on behind them: they are told one at a time, and the worst is kept.
//
// Threads: any.
class ICScanFailures
{
public:
    // `tell` gets each failure with its message.
    explicit ICScanFailures(void (*tell)(ICErrno const & failure)) : m_tell(tell) {}
    ICScanFailures(ICScanFailures const &) = delete;
    ICScanFailures & operator=(ICScanFailures const &) = delete;

    // The message has this number and the text of this resource, with `path` as its insert; its other texts follow it.
    void mf_report(ICErrno const & failure, wchar_t const * number, unsigned int textId, CString const & path);

    // An outcome that was told elsewhere.
    void mf_update(ICErrnoNumber const & outcome);

    // 0x01000000 if there was none. To be asked when all work is done.
    ICErrnoNumber const & mf_getWorst() const { return m_worst; }

private:
    void (*const m_tell)(ICErrno const & failure);
    SRWLOCK m_lock = SRWLOCK_INIT;
    ICErrnoNumber m_worst;
};
