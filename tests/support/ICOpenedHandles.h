#pragma once

#include "tests/support/ICImportPatch.h"

#include <list>
#include <map>
#include <optional>
#include <string>

// Accounts for what hsmbase.dll opens and closes while the object lives: files, searches, mutexes, tokens, processes.
//
//     ICOpenedHandles handles;
//     ICPath::mf_getSize(L"D:\\x");
//     EXPECT_EQ("", handles.mf_settle());
//
// A call that an ICImportFault answers, which begins later, opens and closes nothing.
//
// Threads: one at a time. One object at a time.
class ICOpenedHandles
{
public:
    ICOpenedHandles();
    ICOpenedHandles(ICOpenedHandles const &) = delete;
    ICOpenedHandles & operator=(ICOpenedHandles const &) = delete;
    ~ICOpenedHandles();

    // What was closed twice, by the wrong call or not at all since the last time; empty if all is well. Forgets it.
    std::string mf_settle();

private:
    // The kinds are told apart by the call that closes them.
    template<class RESULT, class... ARGS>
    void mf_implOpens(ICImportName<RESULT (*)(ARGS...)> name, char const * closedBy);
    void mf_implOpensToken();
    template<int PLACE>
    void mf_implCloses(char const * name);
    void mf_implClose(HANDLE handle, char const * name);

    struct OPENED
    {
        char const * m_openedBy;
        char const * m_closedBy;
    };

    std::map<HANDLE, OPENED> m_open;
    std::string m_wrong;
    std::list<std::optional<ICImportPatch>> m_patches; // In place: each is called by its own replacement.
};
