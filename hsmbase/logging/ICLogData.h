#pragma once

#include "hsmbase/failure/IFSeverity.h"

// A log level: a set of bits and the letter that stands on the lines of a message.
//
// Levels are a free choice of letters and no scale: a message is written if any of its bits is among the selected ones
// (the log slots), so T may be on while W is off.
//
//     ICLog::mf_writeMessage(ICLogData::LEVEL_T, _sFunction_, L"%lu entries", count);
//
// Threads: read-only after start-up; usable before any code has run.
class HSMBASE_EXPORT ICLogData : public IFSeverity
{
public:
    static ICLogData const LEVEL_S; // severe failures
    static ICLogData const LEVEL_E; // errors: the trace line of the failure path
    static ICLogData const LEVEL_W; // warnings, corrected settings
    static ICLogData const LEVEL_I; // lifecycle facts and changes of settings
    static ICLogData const LEVEL_T; // trace of normal work
    static ICLogData const LEVEL_D; // debug detail
    static ICLogData const LEVEL_X; // reserved for callers
    static ICLogData const LEVEL_F; // flushes the file after the write
    static ICLogData const LEVEL_K; // reserved for callers
    static ICLogData const LEVEL_C; // the event broadcaster's notes
    static ICLogData const LEVEL_L; // reserved for callers
    static ICLogData const LEVEL_U; // takes the place of E and S on a cancelled thread
    static ICLogData const LEVEL_G; // reserved for callers

    static ICLogData const LEVEL_OFF;     // as log slots: no log file at all
    static ICLogData const LEVEL_DEFAULT; // the slots used when nothing else is said: S, E, W, I, K, L
    static ICLogData const LEVEL_FULL;    // all thirteen letters
    static ICLogData const LEVEL_NONE;    // the neutral record

    // Level 0, letter '?'.
    constexpr ICLogData() = default;

    // Files the new object in the table of mf_getDriverLogData when `flag` is one of S, E, W, I, T, D, whatever its
    // level: such an object displaces the constant there and must outlive all look-ups.
    constexpr ICLogData(ulong level, char flag) : m_logLevel(level), m_flagChar(flag)
    {
        if (!std::is_constant_evaluated()) mf_implFile();
    }
    constexpr ICLogData(ICLogData const &) = default;
    constexpr ~ICLogData() override {}
    ICLogData & operator=(ICLogData const &) = default;

    // Non-zero when the level holds the bit of the severity; a combined level answers yes to several.
    int mf_isInfo() const override;
    int mf_isWarning() const override;
    int mf_isError() const override;
    int mf_isSevere() const override;
    using IFSeverity::mf_isError;
    using IFSeverity::mf_isInfo;
    using IFSeverity::mf_isSevere;
    using IFSeverity::mf_isWarning;

    ulong mf_getLogLevel() const;

    // The letter of a message's line.
    char mf_getFlagChar() const;

    // "0x00000001 (E)": level and letter.
    CString mf_toString() const;

    // Levels are compared; the letter plays no part.
    int operator==(ICLogData const & other) const;
    int operator!=(ICLogData const & other) const;

    // Deliberate: == with a number means inequality, as != does.
    int operator==(ulong level) const;
    int operator!=(ulong level) const;

    // The bits, not truth values.
    int operator&(ICLogData const & other) const;
    int operator&(ulong level) const;
    int operator|(ICLogData const & other) const;
    int operator|(ulong level) const;

    // The level for the numeric severity of a driver's log record: 0 to 5 for severe, error, warning, information,
    // trace, debug. LEVEL_NONE for anything else.
    static ICLogData const & mf_getDriverLogData(ulong index);

private:
    void mf_implFile() const;

    static ICLogData const * DRIVER_LOG_DATA[6];

    ulong m_logLevel = 0;
    char m_flagChar = '?';
};
