#pragma once

#include "hsmbase/Types.h"

class ICSeverity;

// The severity that every outcome carries: of an error number, of a log level, of an event.
//
// An implementation answers four questions; all comparisons stand on these, so there is one order of severities in the
// whole system: information, warning, error, severe.
//
//     if (failure.mf_getErrnoData().mf_isHigherSeverity(next)) ...   // next is worse
//
// Threads: no state.
class HSMBASE_EXPORT IFSeverity
{
public:
    constexpr virtual ~IFSeverity() = default;

    // An object may answer yes to none of the four (no severity) or, as combined log levels do, to several. The
    // answers are truth values: any number but 0 means yes.
    virtual int mf_isInfo() const = 0;
    virtual int mf_isWarning() const = 0;
    virtual int mf_isError() const = 0;
    virtual int mf_isSevere() const = 0;

    // 'I', 'W', 'E' or 'S', asked in this order; '?' for no severity.
    wchar_t mf_getSeverityChar() const;

    // The traffic light of a display. Red stands for error and severe.
    int mf_isGreen() const;
    int mf_isYellow() const;
    int mf_isRed() const;

    // Whether `other` outranks this object. For an information receiver everything that is no information does, an
    // `other` without any severity included; a receiver without severity is never outranked.
    int mf_isHigherSeverity(IFSeverity const & other) const;

    // Whether `other` ranks below this object; the mirror of mf_isHigherSeverity.
    int mf_isLowerSeverity(IFSeverity const & other) const;

    // Comparisons with 'I', 'W', 'E', 'S'.
    static int mf_isInfo(wchar_t severity);
    static int mf_isWarning(wchar_t severity);
    static int mf_isError(wchar_t severity);
    static int mf_isSevere(wchar_t severity);

    // The matching constant of ICSeverity.
    // Throws Unexpected, without a trace line, for no severity or another character.
    static ICSeverity const & mf_getSeverity(IFSeverity const & severity);
    static ICSeverity const & mf_getSeverity(wchar_t severity);

    // The word for the severity in the thread's current language. Never fails: see ICString for the placeholders.
    static CString mf_toString(IFSeverity const & severity);

protected:
    constexpr IFSeverity() = default;
    constexpr IFSeverity(IFSeverity const &) = default;
    IFSeverity & operator=(IFSeverity const &) = default;
};
