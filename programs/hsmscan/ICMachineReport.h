#pragma once

// What hsmscan tells of the machine, in the user's language.
class ICMachineReport
{
public:
    // Host, addresses, system directories and version.
    static void mf_printSystem();

    // Every volume that can be managed, with what is mounted on it and how full it is now.
    static void mf_printVolumes();
};
