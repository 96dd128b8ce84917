#pragma once

#include <vector>

#include "hsmbase/Types.h"

// The command line of hsmscan. Reading it needs no texts, since the language is one of the options; what is wrong with
// it is kept and can be shown once the languages are up.
class ICScanOptions
{
public:
    // `arguments` without the program's name.
    ICScanOptions(int count, wchar_t const * const * arguments);

    // Below HKEY_LOCAL_MACHINE.
    CString m_registryRoot = L"Software\\hsmbase";
    CString m_language;                  // English name; empty: as configured
    CString m_logDirectory;              // empty: as configured
    CString m_logLevel;                  // letters; empty: as configured
    long long m_logSize = 0;             // bytes; 0: as configured
    long long m_minSize = 1024LL * 1024; // bytes
    ulong m_minAge = 30;                 // days since the last write
    ulong m_largest = 10;
    int m_threads;  // 1 to 64; as many as there are processors
    CString m_list; // file for the paths of what is worth migrating; empty: none
    bool m_isQuiet = false;
    bool m_isHelpWanted = false;
    bool m_isVersionWanted = false;
    bool m_isSystemWanted = false;
    bool m_areVolumesWanted = false;
    CString m_settingsBackup;                 // file; empty: none
    CString m_settingsRestore;                // the same
    std::vector<CString> m_explained;         // paths
    std::vector<CString> m_explainedMessages; // numbers
    std::vector<CString> m_paths;             // to be scanned

    // Whether the command line can be followed; if not, mf_getProblem is the sentence for the user.
    bool mf_isValid() const { return m_problem == 0; }
    CString mf_getProblem() const;

private:
    bool mf_implHasTask() const;
    void mf_implRead(wchar_t const * option, wchar_t const * value, bool & isValueUsed);
    void mf_implComplain(unsigned int resourceId, wchar_t const * option, wchar_t const * value);

    unsigned int m_problem = 0; // the resource of the first thing that is wrong, with the option and its value
    CString m_problemOption;
    CString m_problemValue;
};
