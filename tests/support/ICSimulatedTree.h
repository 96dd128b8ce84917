#pragma once

#include "tests/support/ICImportPatch.h"

#include <functional>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

// What a directory tells of one of its entries.
struct ICSimulatedEntry
{
    std::wstring m_name;
    ulong m_attributes = 0;
    ULONG64 m_size = 0;
    ULONG64 m_allocated = 0; // as GetCompressedFileSizeW tells it
    ULONG64 m_fileId = 0;    // 0: not told
    ulong m_reparseTag = 0;
    FILETIME m_time = {0, 0x01d00000}; // all of its times
};

// Directories that are a table. While the object lives, hsmbase.dll lists these instead of those of the machine; what
// else it does with files is not changed, but for the questions after attributes and allocated bytes.
//
//     ICSimulatedTree tree;
//     ICSimulatedEntry & file = tree.mf_add(L"D:\\data\\", L"a.bin", FILE_ATTRIBUTE_OFFLINE, 1000);
//     tree.mf_link(L"D:\\other\\", L"b.bin", file);
//     tree.mf_mount(L"C:\\", L"mounted", L"D:\\");
//     tree.mf_fail(L"D:\\secret\\", ERROR_ACCESS_DENIED);
//     ...
//     EXPECT_THAT(tree.mf_getRead(), UnorderedElementsAre(L"C:\\", L"C:\\mounted\\"));
//
// Directories are named with a backslash at their end, without regard to case. One of which nothing was said is there
// and empty. The root of a volume has no "." and "..", any other directory begins with them.
//
// Each entry gets a file id of its own, unlike all others of the tree, until a test changes it. The directory that an
// entry leads to has the entry's id, but all roots have the same one, as with NTFS.
//
// A directory that is left open fails the test; so does one that is closed twice.
//
// Threads: any may ask, of any directories at once. What is changed meanwhile goes through mf_change. One object at a
// time.
class ICSimulatedTree
{
public:
    static constexpr ULONG64 ROOT_ID = 0x0005'0000'0000'0005;

    ICSimulatedTree();
    ICSimulatedTree(ICSimulatedTree const &) = delete;
    ICSimulatedTree & operator=(ICSimulatedTree const &) = delete;
    ~ICSimulatedTree();

    // Entries are listed in the order in which they were added. The references are good as long as the tree is.
    ICSimulatedEntry & mf_add(std::wstring const & directory, std::wstring const & name, ulong attributes,
                              ULONG64 size = 0);

    // Another name of the same file.
    ICSimulatedEntry & mf_link(std::wstring const & directory, std::wstring const & name,
                               ICSimulatedEntry const & file);

    // A directory at which the root of a volume, such as "D:\" or an id path, is mounted: what is below it is that
    // volume's, by either path.
    ICSimulatedEntry & mf_mount(std::wstring const & directory, std::wstring const & name, std::wstring const & root);

    // Opening the directory fails; or with `call` from 1, that call to read it, and that one alone.
    void mf_fail(std::wstring const & directory, ulong error, ulong call = 0);

    // Runs `action` ahead of opening the directory, on the thread that opens it. Others are answered meanwhile.
    void mf_before(std::wstring const & directory, std::function<void()> action);

    // While others ask: nobody is answered until `change` is done.
    template<class CHANGE>
    void mf_change(CHANGE && change)
    {
        LOCK const lock(*this);
        change();
    }

    // The directories that were opened, in order, as they were named, but without long prefix.
    std::vector<std::wstring> mf_getRead() const;
    void mf_forgetRead();

    // What the open directory of this path tells as its own.
    ULONG64 mf_getDirectoryId(std::wstring const & directory);

    // As many entries at most are told by one call; "." and ".." count.
    std::size_t m_entriesAtOnce = 1000;

    // Whether the file system knows ids at all.
    bool m_tellsIds = true;

private:
    // The last error is the call's.
    class LOCK
    {
    public:
        explicit LOCK(ICSimulatedTree const & tree) : m_lock(tree.m_lock) { ::EnterCriticalSection(&m_lock); }
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

    // One open directory.
    struct WALK
    {
        std::wstring m_directory; // as a key
        std::vector<ICSimulatedEntry> m_entries;
        std::size_t m_next = 0;
        ulong m_calls = 0;
    };

    // How directories are found: in lower case, and from the root of the volume on which they lie.
    std::wstring mf_implKeyOf(std::wstring const & directory) const;
    static bool mf_implIsRoot(std::wstring const & key);

    // NULL: nothing was said of it. The path may end with a backslash.
    ICSimulatedEntry const * mf_implFind(std::wstring const & path) const;
    ULONG64 mf_implIdOf(std::wstring const & key);
    std::vector<ICSimulatedEntry> mf_implListOf(std::wstring const & key);

    HANDLE mf_implOpen(std::wstring const & path);
    BOOL mf_implRead(HANDLE directory, FILE_INFO_BY_HANDLE_CLASS form, void * block, DWORD size);
    BOOL mf_implTell(HANDLE directory, BY_HANDLE_FILE_INFORMATION & information);
    BOOL mf_implClose(HANDLE directory);
    DWORD mf_implGetAttributes(std::wstring const & path) const;
    DWORD mf_implGetAllocated(std::wstring const & path, DWORD * high) const;

    mutable CRITICAL_SECTION m_lock;
    std::map<std::wstring, std::list<ICSimulatedEntry>> m_entries;
    std::map<std::wstring, std::wstring> m_mounts; // root by directory, both as keys
    std::map<std::pair<std::wstring, ulong>, ulong> m_errors;
    std::map<std::wstring, std::function<void()>> m_actions;
    std::map<std::wstring, ULONG64> m_ids; // of directories that are no entries
    std::map<HANDLE, WALK> m_walks;
    std::vector<std::wstring> m_read;
    ULONG64 m_lastHandle = 0;
    ULONG64 m_lastId = 0x0001'0000'0000'0100;
    std::list<ICImportPatch> m_patches;
};
