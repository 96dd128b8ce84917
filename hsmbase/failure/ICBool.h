#pragma once

#include "hsmbase/Types.h"

// A boolean with a third value, undefined. It takes one byte.
//
//     ICBool isLocal;                                      // undefined
//     if (!isLocal.mf_isSet()) isLocal = mf_implFindOut();
//     if (isLocal.mf_isTrue()) ...                         // safe: undefined answers 0
//     if (isLocal) ...                                     // throws while undefined
//
// Threads: a plain value; the constants are read-only and usable before any code has run.
class HSMBASE_EXPORT ICBool
{
public:
    static ICBool const IC_TRUE;
    static ICBool const IC_FALSE;
    static ICBool const IC_UNDEFINED;

    // Undefined.
    constexpr ICBool() = default;

    // 0 is false, every other number true.
    constexpr ICBool(int value) : m_value(value != 0 ? VALUE_TRUE : VALUE_FALSE) {}

    // "true" and "false" in any case; every other text is undefined.
    ICBool(CString const & text);

    constexpr ICBool(ICBool const &) = default;

    // Both answer whether the value is true now.
    int operator=(int value);
    int operator=(ICBool other);

    // The truth value. Throws _E_::BoolNotSet while undefined, without a trace line: asking is the caller's mistake,
    // and only the caller knows of what.
    operator int() const;

    // With a number: whether the truth values are equal; throws _E_::BoolNotSet while undefined.
    int operator==(int value) const;
    int operator!=(int value) const;

    // With each other: whether the stored values are equal; undefined equals undefined. Never throws.
    int operator==(ICBool other) const;
    int operator!=(ICBool other) const;

    // Whether the value is not undefined.
    int mf_isSet() const;

    // Both answer 0 for undefined.
    int mf_isTrue() const;
    int mf_isFalse() const;

    // Back to undefined.
    void mf_reset();

    // "false", "true" or "undefined".
    CString mf_toString() const;

private:
    enum VALUE : unsigned char
    {
        VALUE_FALSE = 0,
        VALUE_TRUE = 1,
        VALUE_UNDEFINED = 2
    };

    unsigned char m_value = VALUE_UNDEFINED;
};

static_assert(sizeof(ICBool) == 1, "ICBool is one byte in every object that holds one");
