#pragma once

#include "frame/ICProgramFrame.h"

// What a program of benchmarks brings up; each has its own.
ICProgramFrame::OPTIONS f_benchFrame();
