#pragma once

#include "tests/support/ICImportPatch.h"

#include <utility>

// A variable of the library with another value, up to the moment when a trace line asks the start-up status. By then
// what led to the line has seen that value; the line itself finds all in order.
//
//     UntilTheTrace const without(ICLanguage::m_pThis, nullptr);
//
template<class TYPE>
class UntilTheTrace
{
public:
    UntilTheTrace(TYPE & variable, std::type_identity_t<TYPE> value)
        : m_variable(variable), m_before(std::exchange(variable, value))
    {}
    UntilTheTrace(UntilTheTrace const &) = delete;
    UntilTheTrace & operator=(UntilTheTrace const &) = delete;
    ~UntilTheTrace() { m_variable = m_before; }

private:
    TYPE & m_variable;
    TYPE const m_before;
    ICImportPatch const m_statusLock{IC_IMPORT(EnterCriticalSection), [this](CRITICAL_SECTION * lock) {
                                         m_variable = m_before;
                                         ::EnterCriticalSection(lock);
                                     }};
};
