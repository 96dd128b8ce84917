#pragma once

#include "tests/support/ICImportPatch.h"

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// A mount point: its path on the volume, with a backslash at its end, and the id path of what is mounted there.
struct ICSimulatedMountPoint
{
    std::wstring m_path;
    std::wstring m_target;
};

// A volume as the platform would describe it: one fixed NTFS drive, half full, until a test says otherwise.
struct ICSimulatedVolume
{
    std::wstring m_idPath;
    std::wstring m_letters; // L"DE": it has two
    std::vector<ICSimulatedMountPoint> m_mountPoints;
    unsigned int m_driveType = DRIVE_FIXED;
    bool m_isReady = true; // else information and space can't be had: ERROR_NOT_READY
    std::wstring m_label;
    std::wstring m_fileSystem = L"NTFS"; // empty: not recognised
    ulong m_serialNumber = 0;
    ulong m_maximumComponent = 255;
    ulong m_flags = 0x03e700ff;
    ulong m_sectorsPerCluster = 8;
    ulong m_bytesPerSector = 512;
    ULONG64 m_available = 400'000'000'000; // to the caller
    ULONG64 m_total = 1'000'000'000'000;
    ULONG64 m_totalFree = 500'000'000'000;

    // By name of a platform function: what it fails with for this volume.
    std::map<std::string, ulong> m_errors;

    // A directory, with a backslash at its end, at which another volume is mounted.
    ICSimulatedVolume & mf_mount(std::wstring const & path, ICSimulatedVolume const & target);
};

// A machine whose volumes are a table. While the object lives, the library's questions about volumes, drive letters,
// mount points and disk space are answered from it; everything else, files included, is that of the true machine.
//
//     ICSimulatedMachine machine;
//     ICSimulatedVolume & data = machine.mf_add(1, L"D");                      // \\?\Volume{...01}\ with letter D
//     data.mf_mount(L"archive\\", machine.mf_add(2));
//     data.m_errors["GetDiskFreeSpaceW"] = ERROR_ACCESS_DENIED;                // fails for this volume
//     machine.mf_before("FindNextVolumeW", 2, [&] { machine.mf_remove(1); });  // the volume vanishes in a scan
//
// Of the functions that a test lets fail by itself, lay an ICImportFault over the machine; it ends first.
//
// Search handles are accounted for: mf_getOpenSearches must be 0 in the end, or the test fails; so does a handle that
// is closed twice or with the other kind of call.
//
// Threads: any may ask. What is changed meanwhile, volumes included, goes through mf_change. An action ahead of a call
// runs on the thread that calls, and no other one is answered until it ends.
class ICSimulatedMachine
{
public:
    ICSimulatedMachine();
    ICSimulatedMachine(ICSimulatedMachine const &) = delete;
    ICSimulatedMachine & operator=(ICSimulatedMachine const &) = delete;
    ~ICSimulatedMachine();

    // "\\?\Volume{00000000-0000-4000-8000-<number>}\"
    static std::wstring mf_idPathOf(ulong number);

    // The reference is good until the volume is removed. The serial number is that of the volume. Scans find volumes in
    // the order in which they were added.
    ICSimulatedVolume & mf_add(ulong number, std::wstring const & letters = {});
    void mf_remove(ulong number);

    // Drive letters behind which there is nothing: the machine names them, and their drive type is DRIVE_NO_ROOT_DIR.
    void mf_addEmptyLetters(std::wstring const & letters) { m_emptyLetters += letters; }

    // While others ask: nobody is answered until `change` is done.
    template<class CHANGE>
    void mf_change(CHANGE && change)
    {
        LOCK const lock(*this);
        change();
    }

    // Runs `action` ahead of one call of a function, by name; calls count from the machine's beginning.
    void mf_before(std::string const & name, ulong call, std::function<void()> action);

    // All calls of a function so far.
    ulong mf_getCalls(std::string const & name) const;

    std::size_t mf_getOpenSearches() const { return m_searches.size(); }

    // The functions. Answers, sizes and error numbers are those of the platform.
    UINT mf_getDriveType(wchar_t const * root);
    DWORD mf_getLogicalDrives();
    BOOL mf_getVolumePathName(wchar_t const * path, wchar_t * root, DWORD length);
    BOOL mf_getVolumeName(wchar_t const * root, wchar_t * idPath, DWORD length);
    BOOL mf_getVolumeInformation(wchar_t const * root, wchar_t * label, DWORD labelLength, DWORD * serialNumber,
                                 DWORD * maximumComponent, DWORD * flags, wchar_t * fileSystem, DWORD fileSystemLength);
    BOOL mf_getDiskFreeSpace(wchar_t const * root, DWORD * sectorsPerCluster, DWORD * bytesPerSector,
                             DWORD * freeClusters, DWORD * clusters);
    BOOL mf_getDiskFreeSpaceEx(wchar_t const * root, ULARGE_INTEGER * available, ULARGE_INTEGER * total,
                               ULARGE_INTEGER * totalFree);
    HANDLE mf_findFirstVolume(wchar_t * idPath, DWORD length);
    BOOL mf_findNextVolume(HANDLE handle, wchar_t * idPath, DWORD length);
    BOOL mf_findVolumeClose(HANDLE handle);
    HANDLE mf_findFirstMountPoint(wchar_t const * root, wchar_t * path, DWORD length);
    BOOL mf_findNextMountPoint(HANDLE handle, wchar_t * path, DWORD length);
    BOOL mf_findMountPointClose(HANDLE handle);

private:
    // Of the machine, for one thread, which may take it again. The last error is the call's.
    class LOCK
    {
    public:
        explicit LOCK(ICSimulatedMachine & machine) : m_lock(machine.m_lock) { ::EnterCriticalSection(&m_lock); }
        LOCK(LOCK const &) = delete;
        LOCK & operator=(LOCK const &) = delete;
        ~LOCK()
        {
            ulong const lastError = ::GetLastError();
            ::LeaveCriticalSection(&m_lock);
            ::SetLastError(lastError);
        }

    private:
        CRITICAL_SECTION & m_lock;
    };

    // The volume on which a path lies, and how much of the path is that volume's root. A volume that is gone still has
    // an id where it was mounted.
    struct PLACE
    {
        ICSimulatedVolume * m_volume = nullptr;
        std::wstring m_idPath;
        std::size_t m_rootLength = 0;
    };

    // A walk over the names that there were at its start.
    struct SEARCH
    {
        bool m_isForVolumes;
        std::wstring m_idPath; // whose mount points
        std::vector<std::wstring> m_names;
        std::size_t m_next = 0;
    };

    template<class SIGNATURE, class FUNCTION>
    void mf_implPatch(ICImportName<SIGNATURE> name, FUNCTION function);
    void mf_implPatchQuestions();
    void mf_implPatchSearches();

    // Counts the call, and does what is to be done ahead of it.
    void mf_implCall(std::string const & name);
    ICSimulatedVolume * mf_implFind(std::wstring const & idPath);
    PLACE mf_implResolve(std::wstring const & path);
    static ICSimulatedMountPoint const * mf_implMountPointAt(ICSimulatedVolume const & volume,
                                                             std::wstring const & rest);

    // The volume of a root if the function works for it; else NULL, with the last error.
    ICSimulatedVolume * mf_implAsk(std::string const & name, wchar_t const * root);
    bool mf_implFails(std::string const & name, std::wstring const & idPath);
    HANDLE mf_implOpen(SEARCH search, wchar_t * text, DWORD length);
    BOOL mf_implNext(SEARCH & search, wchar_t * text, DWORD length);
    SEARCH * mf_implSearch(HANDLE handle, bool isForVolumes);

    CRITICAL_SECTION m_lock;
    std::list<ICSimulatedVolume> m_volumes;
    std::wstring m_emptyLetters;
    std::map<std::string, ulong> m_calls;
    std::map<std::pair<std::string, ulong>, std::function<void()>> m_actions;
    std::map<HANDLE, SEARCH> m_searches;
    ULONG64 m_lastSearch = 0;
    std::vector<std::unique_ptr<ICImportPatch>> m_patches;
};
