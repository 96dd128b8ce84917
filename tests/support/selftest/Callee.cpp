#include "tests/support/selftest/Callee.h"

double f_calleeMixed(int first, double second, long long third, double fourth, int fifth, int sixth, double seventh,
                     long long eighth, int ninth, double tenth)
{
    double const early = first + 10 * second + 100 * static_cast<double>(third) + 1000 * fourth + 10'000.0 * fifth;
    double const late = sixth + 10 * seventh + 100 * static_cast<double>(eighth) + 1000.0 * ninth + 10'000 * tenth;
    return early + 1'000'000 * late;
}
