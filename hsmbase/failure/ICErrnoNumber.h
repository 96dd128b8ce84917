#pragma once

#include "hsmbase/failure/IFSeverity.h"

// An error number: the severity class in the top byte, an id in the low 24 bits. 0 means that no number is set.
//
// A default-constructed number is 0x01000000, counts as set and as information; a reset number is 0 and does not. The
// difference is meant: a fresh number is the outcome "nothing to report", a reset one is no outcome at all.
//
//     ICErrnoNumber worst;
//     worst.mf_update(ICErrno::_W_::Timeout);   // the first failure of the worst severity wins
//
// Threads: a plain value.
class HSMBASE_EXPORT ICErrnoNumber : public IFSeverity
{
public:
    constexpr ICErrnoNumber() = default;
    constexpr ICErrnoNumber(ulong number) : m_number(number) {}
    constexpr ICErrnoNumber(ICErrnoNumber const &) = default;
    constexpr ~ICErrnoNumber() override {}
    ICErrnoNumber & operator=(ICErrnoNumber const &) = default;

    // Comparisons of the top byte; a top byte of 0 or above 4 answers no four times.
    int mf_isInfo() const override;
    int mf_isWarning() const override;
    int mf_isError() const override;
    int mf_isSevere() const override;

    // Sets the number to 0.
    virtual void mf_reset();

    // "0x0300002c (E)": number and severity character.
    virtual CString mf_toString() const;

    ulong mf_getNumber() const;
    int mf_isSet() const;

    // Takes `other` over when it is not 0 and this number is 0 or outranked by it.
    void mf_update(ICErrnoNumber const & other);

    // The same comparisons on a bare number.
    static int mf_isInfo(ulong number);
    static int mf_isWarning(ulong number);
    static int mf_isError(ulong number);
    static int mf_isSevere(ulong number);

protected:
    ulong m_number = 0x01000000;
};
