#pragma once

// A function with arguments in integer registers, floating registers and on the stack.
#if defined(CALLEE_BUILD)
#define CALLEE_EXPORT extern "C" __declspec(dllexport)
#else
#define CALLEE_EXPORT extern "C" __declspec(dllimport)
#endif

// Answers a number in which each argument has its own digit.
CALLEE_EXPORT double f_calleeMixed(int first, double second, long long third, double fourth, int fifth, int sixth,
                                   double seventh, long long eighth, int ninth, double tenth);
