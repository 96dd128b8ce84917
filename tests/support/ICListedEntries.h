#pragma once

#include "tests/support/ICImportPatch.h"

#include <functional>
#include <string_view>

// Changes what hsmbase.dll is told of the entries of directories that are there, while the object lives: attributes
// that the file system of a test machine doesn't keep, tags of reparse points, file ids.
//
//     ICListedEntries const offline(L"a.bin", FILE_ATTRIBUTE_OFFLINE);
//     ICListedEntries const strange([](std::wstring_view name, FILE_ID_BOTH_DIR_INFO & entry) {
//         if (name == L"a.bin") entry.FileId.QuadPart = 7;
//     });
//
// It is a change of what the calls reach so far, so an ICImportFault of GetFileInformationByHandleEx lies over it.
//
// Threads: calls may come from any thread; threads that call must be joined before the object ends. One object at a
// time.
class ICListedEntries
{
public:
    using CHANGE = std::function<void(std::wstring_view name, FILE_ID_BOTH_DIR_INFO & entry)>;

    explicit ICListedEntries(CHANGE change);

    // Adds attributes to each entry of this name, wherever it is.
    ICListedEntries(std::wstring const & entryName, ulong attributes);

    ICListedEntries(ICListedEntries const &) = delete;
    ICListedEntries & operator=(ICListedEntries const &) = delete;

private:
    BOOL mf_implList(HANDLE directory, FILE_INFO_BY_HANDLE_CLASS form, void * block, DWORD size) const;

    CHANGE const m_change;
    ICImportPatch const m_patch;
};
