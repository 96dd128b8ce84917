#pragma once

// Undefined behaviour, compiled in the way that HSMBASE_UBSAN compiles everything: it traps.
int f_overflowing(int number);
int f_shifted(int number, int by);
int f_elementOf(int const (&numbers)[4], int index);
int f_through(int const * number);
