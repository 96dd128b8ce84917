#include "tests/support/selftest/Undefined.h"

int f_overflowing(int number)
{
    return number + 1;
}

int f_shifted(int number, int by)
{
    return number << by;
}

int f_elementOf(int const (&numbers)[4], int index)
{
    return numbers[index];
}

int f_through(int const * number)
{
    return *number;
}
