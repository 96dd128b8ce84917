#include "tests/support/ICListedEntries.h"

#include <cstddef>
#include <cstring>

ICListedEntries::ICListedEntries(CHANGE change)
    : m_change(std::move(change)),
      m_patch(IC_IMPORT(GetFileInformationByHandleEx), [this](HANDLE directory, auto form, void * block, DWORD size) {
          return mf_implList(directory, form, block, size);
      })
{}

ICListedEntries::ICListedEntries(std::wstring const & entryName, ulong attributes)
    : ICListedEntries([entryName, attributes](std::wstring_view name, FILE_ID_BOTH_DIR_INFO & entry) {
          if (name == entryName) entry.FileAttributes |= attributes;
      })
{}

BOOL ICListedEntries::mf_implList(HANDLE directory, FILE_INFO_BY_HANDLE_CLASS form, void * block, DWORD size) const
{
    BOOL const isListed =
        m_patch.mf_original<decltype(&::GetFileInformationByHandleEx)>()(directory, form, block, size);
    if (!isListed || (form != FileIdBothDirectoryInfo && form != FileIdBothDirectoryRestartInfo)) return isListed;
    ulong const lastError = ::GetLastError();
    for (auto * at = static_cast<std::byte *>(block);;) {
        auto & entry = *reinterpret_cast<FILE_ID_BOTH_DIR_INFO *>(at);
        m_change({entry.FileName, entry.FileNameLength / sizeof(wchar_t)}, entry);
        if (entry.NextEntryOffset == 0) break;
        at += entry.NextEntryOffset;
    }
    ::SetLastError(lastError);
    return isListed;
}
