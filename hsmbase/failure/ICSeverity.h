#pragma once

#include "hsmbase/failure/IFSeverity.h"

// A severity as a value of its own.
//
//     ICSeverity const worst(data);
//     if (worst.mf_isSevere()) ...
//
// Threads: a plain value; the constants are read-only and usable before any code has run.
class HSMBASE_EXPORT ICSeverity : public IFSeverity
{
public:
    static ICSeverity const Info;    // level 1
    static ICSeverity const Warning; // level 2
    static ICSeverity const Error;   // level 3
    static ICSeverity const Severe;  // level 4

    // Not set.
    constexpr ICSeverity() = default;

    // The level is taken as it stands; a number that is none of the four levels is set and answers no four times.
    constexpr explicit ICSeverity(ulong level) : m_level(level) {}

    // The first of information, warning, error, severe that `severity` says yes to, else not set.
    explicit ICSeverity(IFSeverity const & severity);

    constexpr ICSeverity(ICSeverity const &) = default;
    constexpr ~ICSeverity() override {}
    ICSeverity & operator=(ICSeverity const &) = default;

    int mf_isInfo() const override;
    int mf_isWarning() const override;
    int mf_isError() const override;
    int mf_isSevere() const override;
    using IFSeverity::mf_isError;
    using IFSeverity::mf_isInfo;
    using IFSeverity::mf_isSevere;
    using IFSeverity::mf_isWarning;

    int mf_isSet() const;
    void mf_reset();
    void mf_set(ulong level);

    // 'S' sets severe; every other character, the other severities included, leaves the value not set. Use
    // IFSeverity::mf_getSeverity(wchar_t) for the severity of a character.
    void mf_set(wchar_t severity);

private:
    ulong m_level = 0; // 0: not set; 1 to 4: information, warning, error, severe
};
