// Each platform call of each operation on files fails once, by each error that tells anything: what was there before is
// there afterwards, or has become what it should.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/paths/ICDirectoryEntries.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/system/internal/ICIPAddress.h"
#include "tests/paths/FileTransfers.h"
#include "tests/paths/PathModelTest.h"
#include "tests/paths/PrivilegedSteps.h"
#include "tests/support/ICImportSweep.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/internal/ICFailure.h"

namespace
{

// What is in a directory, by relative path: a file's attributes and bytes, "directory" for a directory.
using TREE = std::map<std::wstring, std::string>;

// A file of the tree, which the platform gives the first of these attributes by itself.
std::string const PLAIN = "32:";
std::string const LOCKED = "33:";
std::string const DIRECTORY = "directory";
std::string const BIG = f_content(70000);

void f_read(std::wstring const & root, std::wstring const & below, TREE & tree)
{
    WIN32_FIND_DATAW data = {};
    HANDLE const search = ::FindFirstFileW((root + L"\\" + below + L"*").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        std::wstring const name = data.cFileName;
        if (name == L"." || name == L"..") continue;
        bool const isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        std::string const attributes = std::to_string(data.dwFileAttributes) + ":";
        tree[below + name] = isDirectory ? DIRECTORY : attributes + f_readFile(root + L"\\" + below + name);
        if (isDirectory) f_read(root, below + name + L"\\", tree);
    } while (::FindNextFileW(search, &data));
    ::FindClose(search);
}

// Makes of what there is what should be there.
void f_restore(std::wstring const & root, TREE const & present, TREE const & tree)
{
    auto const isRight = [](TREE const & other, TREE::value_type const & entry) {
        auto const found = other.find(entry.first);
        return found != other.end() && found->second == entry.second;
    };
    for (auto entry = present.rbegin(); entry != present.rend(); ++entry) {
        if (isRight(tree, *entry)) continue;
        std::wstring const path = root + L"\\" + entry->first;
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        if (!::DeleteFileW(path.c_str())) ::RemoveDirectoryW(path.c_str());
    }
    for (auto const & entry : tree) {
        if (isRight(present, entry)) continue;
        std::wstring const path = root + L"\\" + entry.first;
        std::size_t const attributes = entry.second.find(':');
        if (attributes == std::string::npos) {
            ::CreateDirectoryW(path.c_str(), nullptr);
        } else {
            f_writeFile(path, std::string_view(entry.second).substr(attributes + 1));
            f_setAttributes(path, std::stoul(entry.second));
        }
    }
}

// What an operation leaves on the disk when it fails.
enum LEAVES
{
    ALL_AS_IT_WAS,
    OLD_OR_NEW // Each entry as it was or as the operation makes it.
};

// One operation. It works on the tree below, which stands in the current directory of the process.
struct ROW
{
    std::string m_name;
    std::function<void()> m_action;
    LEAVES m_leaves = ALL_AS_IT_WAS;
    std::vector<std::wstring> m_torn = {}; // entries that may hold anything after a failure, or be gone
    bool m_mayReturnInBetween = false;     // it also returns, with an answer, when only a part was done

    // Deliberate: attributes that could not be read are put back as none, so a file that stays may lose its protection.
    bool m_mayUnlock = false;
};

class ICPathSweep : public testing::Test
{
protected:
    explicit ICPathSweep(TREE const & tree) : m_tree(tree)
    {
        ::GetCurrentDirectoryW(MAX_PATH, m_before);
        ::SetCurrentDirectoryW(m_directory.mf_getPath().c_str());
        mf_restore();
        EXPECT_EQ(m_tree, mf_read());
    }
    ~ICPathSweep() override { ::SetCurrentDirectoryW(m_before); }

    CString mf_at(wchar_t const * name) const { return (m_directory / name).c_str(); }

    // Runs the sweep of each row and answers how many calls failed.
    std::size_t mf_sweep(std::vector<ROW> const & rows)
    {
        std::size_t failed = 0;
        for (ROW const & row : rows) {
            ICImportSweep sweep(row.m_name, row.m_action);
            TREE expected;
            sweep.m_prepare = [&] { mf_restore(); };
            sweep.m_check = [&](ICSweepRun const & run) {
                m_present = mf_read();
                if (run.m_import.empty()) expected = m_present;
                return mf_compareTrees(row, run, expected) + mf_findPrivileges(run);
            };
            sweep.m_settle = [] { ::RevertToSelf(); };
            failed += sweep.mf_run();
        }
        return failed;
    }

private:
    TREE mf_read() const
    {
        TREE tree;
        f_read(m_directory.mf_getPath(), L"", tree);
        return tree;
    }

    void mf_restore()
    {
        if (m_present != m_tree) f_restore(m_directory.mf_getPath(), m_present, m_tree);
        m_present = m_tree;
        ICSystem::m_sHostName.Empty();
    }

    std::string mf_compareTrees(ROW const & row, ICSweepRun const & run, TREE const & expected) const
    {
        bool const isDone = run.m_import.empty() || (run.m_end == ICSweepRun::RETURNED && !row.m_mayReturnInBetween);
        bool const mayBeOld = !isDone;
        bool const mayBeNew = isDone || row.m_leaves == OLD_OR_NEW;
        TREE all = m_tree;
        for (TREE const & tree : {expected, m_present})
            all.insert(tree.begin(), tree.end());
        std::string wrong;
        for (auto const & [path, unused] : all) {
            std::string const * const found = mf_find(m_present, path);
            bool const isTorn = !isDone && std::ranges::find(row.m_torn, path) != row.m_torn.end();
            bool const isOld = mayBeOld && mf_isSame(found, mf_find(m_tree, path));
            bool const isNew = mayBeNew && mf_isSame(found, mf_find(expected, path));
            bool const isUnlocked =
                row.m_mayUnlock && run.m_import == "GetFileAttributesW" && mf_isSameBytes(found, mf_find(m_tree, path));
            if (isTorn || isOld || isNew || isUnlocked) continue;
            wrong += f_utf8(path) + (found ? " became '" + found->substr(0, 20) + "'; " : " is gone; ");
        }
        return wrong;
    }

    static std::string const * mf_find(TREE const & tree, std::wstring const & path)
    {
        auto const found = tree.find(path);
        return found == tree.end() ? nullptr : &found->second;
    }
    static bool mf_isSame(std::string const * left, std::string const * right)
    {
        return left && right ? *left == *right : left == right;
    }

    static bool mf_isSameBytes(std::string const * left, std::string const * right)
    {
        return left && right && left->substr(left->find(':') + 1) == right->substr(right->find(':') + 1);
    }

    // What can't be switched off stays on: these calls may fail in the second half, when the operation is done.
    static std::string mf_findPrivileges(ICSweepRun const & run)
    {
        bool const isSwitching = run.m_import == "OpenThreadToken" || run.m_import == "LookupPrivilegeValueW" ||
                                 run.m_import == "AdjustTokenPrivileges";
        if (isSwitching && run.m_call > run.m_calls / 2) return "";
        return ICPrivilegedSteps::mf_areAllOff() ? "" : "a privilege stays on; ";
    }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    wchar_t m_before[MAX_PATH] = {};
    TREE const m_tree;
    TREE m_present; // as of the last look
};

// The security descriptor of an ordinary file, which frees itself.
ICBuffer f_descriptorOf(CString const & path)
{
    constexpr SECURITY_INFORMATION PARTS =
        OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    std::vector<unsigned char> bytes(4096);
    ulong size = 0;
    ::GetFileSecurityW(path, PARTS, bytes.data(), static_cast<ulong>(bytes.size()), &size);
    return ICBuffer(bytes.data(), size, 1);
}

ICFileHandle f_openSource(wchar_t const * path)
{
    return ICFileHandle(::CreateFileW(path, GENERIC_READ, 7, nullptr, OPEN_EXISTING, 0, nullptr));
}

ICFileHandle f_openTarget(wchar_t const * path)
{
    return ICFileHandle(::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 7, nullptr, OPEN_EXISTING, 0, nullptr));
}

constexpr FILETIME THEN = {0, 0x01C00000};

} // namespace

class ICPathSweepAttributes : public ICPathSweep
{
protected:
    ICPathSweepAttributes() : ICPathSweep(TREE{{L"a.txt", PLAIN + "alpha"}, {L"read.only", LOCKED + "locked"}}) {}
};

TEST_F(ICPathSweepAttributes, AnyCallThatFails_LeavesFilesAndPrivileges)
{
    CString const file = mf_at(L"a.txt");
    CString const locked = mf_at(L"read.only");
    ICBuffer const descriptor = f_descriptorOf(file);
    WIN32_FILE_ATTRIBUTE_DATA data = {FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE, THEN, THEN, THEN, 0, 0};
    WIN32_FIND_DATAW entry = {};
    FILETIME times[3] = {};
    std::vector<ROW> const rows = {
        {"mf_getAttributes", [&] { ICPath::mf_getAttributes(file, 1); }},
        {"mf_isDirectory", [&] { ICPath::mf_isDirectory(file); }},
        {"mf_isReadonly", [&] { ICPath::mf_isReadonly(locked); }},
        {"mf_setAttributes", [&] { ICPath::mf_setAttributes(file, FILE_ATTRIBUTE_READONLY); }},
        {"mf_addAttributes", [&] { ICPath::mf_addAttributes(file, FILE_ATTRIBUTE_HIDDEN); }},
        {"mf_removeAttributes", [&] { ICPath::mf_removeAttributes(locked, FILE_ATTRIBUTE_READONLY); }},
        {"mf_getW32FileAttributes", [&] { ICPath::mf_getW32FileAttributes(file, data); }},
        {"mf_setW32FileAttributes", [&] { ICPath::mf_setW32FileAttributes(file, data); }},
        {"mf_getW32FindData", [&] { ICPath::mf_getW32FindData(file, entry); }},
        {"mf_getTimes", [&] { ICPath::mf_getTimes(file, times[0], times[1], times[2]); }},
        {"mf_setTimes", [&] { ICPath::mf_setTimes(file, THEN, THEN, THEN); }},
        {"mf_getSize", [&] { ICPath::mf_getSize(file); }},
        {"mf_getCompressedSize", [&] { ICPath::mf_getCompressedSize(file); }},
        {"mf_setSecurityDescriptor", [&] { ICPath::mf_setSecurityDescriptor(file, descriptor); }}};
    EXPECT_LT(100u, mf_sweep(rows));
}

class ICPathSweepLooking : public ICPathSweep
{
protected:
    ICPathSweepLooking() : ICPathSweep(TREE{{L"a.txt", PLAIN + "alpha"}, {L"sub", DIRECTORY}, {L"sub\\e.txt", PLAIN}})
    {}
};

TEST_F(ICPathSweepLooking, AnyCallThatFails_LeavesAllAsItWas)
{
    CString const file = mf_at(L"a.txt");
    CString const directory = mf_at(L"sub");
    std::vector<ROW> const rows = {{"mf_initialize", [&] { ICPath().mf_initialize(file, 1); }},
                                   {"mf_isLocal", [&] { ICPath::mf_isLocal(file); }},
                                   {"mf_exists", [&] { ICPath::mf_exists(file); }},
                                   {"mf_listContent",
                                    [&] {
                                        ICArray<CString, CString &> names;
                                        ICPath::mf_listContent(directory, names);
                                    }},
                                   {"ICDirectoryEntries",
                                    [&] {
                                        ICDirectoryEntries entries(directory);
                                        while (entries.mf_next()) {}
                                    }},
                                   {"mf_getAbsolutePath", [&] { ICPath::mf_getAbsolutePath(L"b.txt"); }},
                                   {"mf_getCurrentDirectory", [&] { ICPath::mf_getCurrentDirectory(); }},
                                   {"mf_getTempDirectory", [&] { ICPath::mf_getTempDirectory(); }},
                                   {"mf_getTempPath", [&] { ::DeleteFileW(ICPath::mf_getTempPath(L"swp")); }},
                                   {"mf_SymlinkToDirectory", [&] { ICPath::mf_SymlinkToDirectory(directory); }}};
    EXPECT_LT(40u, mf_sweep(rows));
}

class ICPathSweepDirectories : public ICPathSweep
{
protected:
    ICPathSweepDirectories()
        : ICPathSweep(TREE{{L"sub", DIRECTORY},
                           {L"sub\\deep", DIRECTORY},
                           {L"sub\\deep\\e.txt", PLAIN + "epsilon"},
                           {L"sub\\read.only", LOCKED + "locked"},
                           {L"empty", DIRECTORY}})
    {}
};

TEST_F(ICPathSweepDirectories, AnyCallThatFails_LeavesEachEntryOldOrNew)
{
    CString const made = mf_at(L"empty\\x");
    CString const all = mf_at(L"sub");
    std::vector<ROW> const rows = {{"mf_mkdir", [&] { ICPath::mf_mkdir(made); }},
                                   {"mf_mkdir, there", [&] { ICPath::mf_mkdir(all); }},
                                   {"mf_mkdirs", [&] { ICPath::mf_mkdirs(made + L"\\y"); }, OLD_OR_NEW},
                                   // What could not be looked at counts as not there, and is left with a warning.
                                   {"mf_rmdir", [&] { ICPath::mf_rmdir(mf_at(L"empty")); }, OLD_OR_NEW, {}, true},
                                   {"mf_rmdir, full", [&] { ICPath::mf_rmdir(all); }},
                                   {"mf_rmdirs", [&] { ICPath::mf_rmdirs(all); }, OLD_OR_NEW, {}, true, true}};
    EXPECT_LT(100u, mf_sweep(rows));
}

class ICPathSweepRemovingAndMoving : public ICPathSweep
{
protected:
    ICPathSweepRemovingAndMoving()
        : ICPathSweep(TREE{{L"a.txt", PLAIN + "alpha"},
                           {L"b.txt", PLAIN + "beta"},
                           {L"read.only", LOCKED + "locked"},
                           {L"sub", DIRECTORY},
                           {L"sub\\1.tmp", PLAIN + "one"},
                           {L"sub\\2.tmp", LOCKED + "two"},
                           {L"sub\\keep.txt", PLAIN + "kept"},
                           {L"empty", DIRECTORY}})
    {}
};

TEST_F(ICPathSweepRemovingAndMoving, AnyCallThatFails_LosesNothing)
{
    CString const file = mf_at(L"a.txt");
    CString const locked = mf_at(L"read.only");
    CString const directory = mf_at(L"sub");
    CString const target = mf_at(L"b.txt");
    std::vector<ROW> const rows = {
        {"mf_rm", [&] { ICPath::mf_rm(file, 0); }},
        {"mf_rm, read-only", [&] { ICPath::mf_rm(locked, 0); }},
        {"mf_rm by force", [&] { ICPath::mf_rm(locked, 1); }, ALL_AS_IT_WAS, {}, false, true},
        {"mf_rm by pattern", [&] { ICPath::mf_rm(directory, L"*.tmp", 0); }, OLD_OR_NEW, {}, true},
        {"mf_rm by pattern and force", [&] { ICPath::mf_rm(directory, L"*.tmp", 1); }, OLD_OR_NEW, {}, true, true},
        {"mf_move", [&] { ICPath::mf_move(file, mf_at(L"new.txt"), 0); }},
        {"mf_move, there", [&] { ICPath::mf_move(file, target, 0); }},
        // What was to be replaced may be gone, but never what was to be moved.
        {"mf_move by force", [&] { ICPath::mf_move(file, target, 1); }, ALL_AS_IT_WAS, {L"b.txt"}},
        {"mf_move into a directory", [&] { ICPath::mf_move(file, directory, 0); }},
        {"mf_move of a directory", [&] { ICPath::mf_move(directory, mf_at(L"empty\\s"), 0); }}};
    EXPECT_LT(100u, mf_sweep(rows));
}

class ICPathSweepCopying : public ICPathSweep
{
protected:
    ICPathSweepCopying() : ICPathSweep(TREE{{L"big.bin", PLAIN + BIG}, {L"b.txt", PLAIN + "beta"}, {L"sub", DIRECTORY}})
    {}
};

TEST_F(ICPathSweepCopying, AnyCallThatFails_LeavesTheSource)
{
    CString const source = mf_at(L"big.bin");
    CString const target = mf_at(L"b.txt");
    CString const made = mf_at(L"new.bin");
    std::vector<ROW> const rows = {
        {"mf_copy", [&] { ICPath::mf_copy(source, made, 0); }, ALL_AS_IT_WAS, {L"new.bin"}},
        {"mf_copy, there", [&] { ICPath::mf_copy(source, target, 0); }},
        {"mf_copy by force", [&] { ICPath::mf_copy(source, target, 1); }, ALL_AS_IT_WAS, {L"b.txt"}},
        {"mf_copy into a directory", [&] { ICPath::mf_copy(source, mf_at(L"sub"), 1); }},
        {"mf_copy to a handle",
         [&] { ICPath::mf_copy(source, f_openTarget(target).mf_get()); },
         ALL_AS_IT_WAS,
         {L"b.txt"}},
        {"mf_copy from a handle",
         [&] { ICPath::mf_copy(f_openSource(source).mf_get(), made, 0); },
         ALL_AS_IT_WAS,
         {L"new.bin"}},
        {"mf_append",
         [&] { ICPath::mf_append(f_openSource(source).mf_get(), f_openTarget(target).mf_get()); },
         ALL_AS_IT_WAS,
         {L"b.txt"}}};
    EXPECT_LT(60u, mf_sweep(rows));
}

class ICPathSweepBuffers : public ICPathSweep
{
protected:
    ICPathSweepBuffers() : ICPathSweep(TREE{{L"big.bin", PLAIN + BIG}, {L"b.txt", PLAIN + "beta"}}) {}
};

TEST_F(ICPathSweepBuffers, AnyCallThatFails_LeavesOtherFiles)
{
    CString const source = mf_at(L"big.bin");
    CString const target = mf_at(L"b.txt");
    auto const load = [&] {
        void * bytes = nullptr;
        ICFileSize size;
        try {
            ICPath::mf_FileToBuffer(source, bytes, size);
        }
        catch (ICErrno &) {
            if (bytes || size.mf_getValue() != 0) throw "outputs after a failure";
            throw;
        }
        std::free(bytes);
    };
    ICFileSize const length(static_cast<long long>(BIG.size()));
    std::vector<ROW> const rows = {
        {"mf_FileToBuffer", load},
        {"mf_BufferToFile", [&] { ICPath::mf_BufferToFile(target, BIG.data(), length); }, ALL_AS_IT_WAS, {L"b.txt"}},
        {"mf_BufferToFile, new",
         [&] { ICPath::mf_BufferToFile(mf_at(L"n\\new"), BIG.data(), length); },
         OLD_OR_NEW,
         {L"n\\new"}},
        {"mf_BufferToFile, sparse",
         [&] { ICPath::mf_BufferToFile(target, nullptr, length); },
         ALL_AS_IT_WAS,
         {L"b.txt"}}};
    EXPECT_LT(60u, mf_sweep(rows));
}

namespace
{

// The machine of PathModelTest, without a trace: the local drive D, N mapped to a share, and a shadow copy.
class ICPathSweepForms : public testing::Test
{
protected:
    ICPathSweepForms()
    {
        m_machine.mf_add(1, L"D");
        m_machine.mf_add(2, L"N").m_driveType = DRIVE_REMOTE;
        ICSimulatedVolume & shadowCopy = m_machine.mf_add(7);
        shadowCopy.m_idPath = std::wstring(SHADOW_COPY) + L"\\";
        shadowCopy.m_driveType = DRIVE_RAMDISK;
        ICStorage::mf_createInstance();
    }
    ~ICPathSweepForms() override { ICStorage::mf_deleteInstance(); }

    static std::size_t mf_sweep(std::string const & name, std::function<void()> action)
    {
        ICImportSweep sweep(name, action);
        sweep.m_prepare = &mf_forgetHost;
        sweep.m_settle = &mf_forgetHost;
        sweep.m_check = [](ICSweepRun const &) {
            return ICStorage::m_pThis->m_aVolumes.GetCount() == 1 ? "" : "the storage lost its volume; ";
        };
        return sweep.mf_run();
    }

    // The machine is asked anew in each run.
    static void mf_forgetHost()
    {
        ICSystem::m_sHostName.Empty();
        for (INT_PTR index = 0; index < ICSystem::m_aHostAddresses.GetCount(); ++index)
            delete ICSystem::m_aHostAddresses[index];
        ICSystem::m_aHostAddresses.RemoveAll();
    }

    ICStartedProcess const m_process;
    ICSimulatedHost const m_host{L""};
    ICSimulatedShare m_share;
    ICSimulatedMachine m_machine;
};

} // namespace

TEST_F(ICPathSweepForms, AnyCallThatFails_LeavesTheStorage)
{
    std::wstring const shadowCopy = std::wstring(SHADOW_COPY) + L"\\data\\x.txt";
    std::size_t failed = mf_sweep("mf_initialize, mapped", [] { ICPath().mf_initialize(L"N:\\data\\x.txt", 1); });
    failed += mf_sweep("ICPath, shadow copy", [&] { ICPath(shadowCopy.c_str(), 1).mf_getShadowCopyPath(); });
    failed += mf_sweep("mf_getPath", [] { ICPath(L"D:\\data\\x.txt", 1).mf_getPath(); });
    failed += mf_sweep("mf_getUNCPath", [] { ICPath(L"D:\\data\\x.txt", 1).mf_getUNCPath(); });
    failed += mf_sweep("mf_getDriverPath", [] { ICPath(L"D:\\data\\x.txt", 1).mf_getDriverPath(); });
    failed += mf_sweep("mf_isLocal", [] { ICPath(L"\\\\10.9.8.7\\D$\\x.txt", 1).mf_isLocal(); });
    failed += mf_sweep("mf_isRemote", [] { ICPath::mf_isRemote(L"N:\\data\\x.txt"); });
    EXPECT_LT(40u, failed);
}
