#pragma once

// Wine lacks some of the volume services that ICStorage stands on. A build from source has a module beside its
// programs, winehost.dll, that stands in for these; it is never installed.
class ICWineHost
{
public:
    // Under Wine, loads the module if it stands beside the program and leaves a line in the trace that says what it
    // does; a second call changes nothing. On Windows, does nothing. Never throws.
    static void mf_start();
};
