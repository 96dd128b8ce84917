#pragma once

#include "tests/support/ICImportPatch.h"

#include <iosfwd>
#include <list>
#include <optional>
#include <string>
#include <vector>

// One call that reached for a file or directory by its path.
struct ICFileCall
{
    std::string m_function;
    std::wstring m_path;
    std::vector<ulong> m_numbers; // what else says how it is reached; see ICFileCalls

    bool operator==(ICFileCall const &) const = default;
};

std::ostream & operator<<(std::ostream & out, ICFileCall const & call);

// Whether the call could bring data back that is offline: it opens a file's data, and neither forbids the recall nor
// opens the reparse point itself; or nobody knows how it opens the file.
bool f_couldRecall(ICFileCall const & call);

// Notes all calls of hsmbase.dll by which it reaches for files, and lets them go on, while the object lives. What is
// read, written and closed through handles is not noted, nor are searches that go on.
//
//     ICFileCalls const calls;
//     ICPath::mf_getSize(L"D:\\x");
//     EXPECT_THAT(calls.mf_get(), ElementsAre(ICFileCall{"CreateFileW", L"\\\\?\\D:\\x", {0x80, 1, 3, 0x300000}}));
//     EXPECT_THAT(calls.mf_getUnknown(), IsEmpty());
//
// A scan of a whole tree, with calls of the program itself, without what the process does beside it:
//
//     ICFileCalls const calls({L"hsmbase.dll", nullptr});   ...
//     EXPECT_THAT(calls.mf_getBelow(directory.mf_getPath()), Each(ResultOf(&f_couldRecall, false)));
//
// The numbers of a call:
//
//     CreateFileW                         access, share, disposition, flags
//     FindFirstFileExW                    level, search operation, flags
//     SetFileAttributesW                  attributes
//     GetFileSecurityW, SetFileSecurityW  parts of the descriptor
//     MoveFileExW, LoadLibraryExW         flags
//     all others                          none
//
// Of two paths the first one counts. What is found by GetProcAddress is not seen. An ICImportFault that begins later
// hides the calls that it answers; one that is there already is part of what the calls reach.
//
// Threads: calls may come from any thread; threads that call must be joined before the object ends. One object at a
// time.
class ICFileCalls
{
public:
    // nullptr: the program itself. Throws std::runtime_error if a module is not loaded.
    explicit ICFileCalls(std::vector<wchar_t const *> modules = {L"hsmbase.dll"});
    ICFileCalls(ICFileCalls const &) = delete;
    ICFileCalls & operator=(ICFileCalls const &) = delete;
    ~ICFileCalls();

    // So far, in their order.
    std::vector<ICFileCall> mf_get() const;

    // Those for the directory and what lies below it, with or without long prefix, without regard to case.
    std::vector<ICFileCall> mf_getBelow(std::wstring const & directory) const;

    void mf_clear();

    // Imports of the modules that by their names may reach for files, but are neither noted nor known not to do so.
    // With any, the notes may lack calls: put the function in one of the lists.
    std::vector<std::string> mf_getUnknown() const;

private:
    using NUMBERS = std::vector<ulong>;

    void mf_implNoteOpenings();
    void mf_implNoteLooks();
    void mf_implNoteChanges();

    // `numbers` makes the numbers of the arguments.
    template<class RESULT, class... ARGS, class FUNCTION>
    void mf_implNote(ICImportName<RESULT (*)(ARGS...)> name, FUNCTION numbers);
    void mf_implAdd(char const * function, std::wstring const & path, NUMBERS numbers);

    std::vector<wchar_t const *> const m_modules;
    std::vector<std::string> m_noted; // functions
    mutable SRWLOCK m_lock = SRWLOCK_INIT;
    std::vector<ICFileCall> m_calls;                   // under m_lock
    std::list<std::optional<ICImportPatch>> m_patches; // In place: each is called by its own replacement.
};
