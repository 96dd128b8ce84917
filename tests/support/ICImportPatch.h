#pragma once

#include "tests/support/internal/ICImportSlots.h"
#include "winehost/ImportTable.h"

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

// Replaces one imported function of hsmbase.dll (or of another loaded module) while the object lives. Only that
// module's calls are replaced: the test itself, and the replacement, call the true function by its ordinary name.
//
//     ICImportPatch const denied("GetFileAttributesW", [](LPCWSTR) { return INVALID_FILE_ATTRIBUTES; });
//     ICImportPatch const offline(IC_IMPORT(GetFileAttributesW), [&](LPCWSTR path) {
//         paths.push_back(path);
//         return ::GetFileAttributesW(path) | FILE_ATTRIBUTE_OFFLINE;
//     });
//
// The replacement is a function or a lambda, which may capture and may throw. With a plain name its signature must be
// exactly that of the function, return type included; IC_IMPORT lets the compiler convert and check.
// Patches of one name nest and end in reverse order. For "call number n fails" see ICImportFault.
//
// Threads: calls may come from any thread; threads that call must be joined before the patch ends. One place in the
// source makes one patch at a time.
template<class SIGNATURE>
struct ICImportName
{
    char const * m_name;
};
#define IC_IMPORT(function) (ICImportName<decltype(&::function)>{#function})

class ICImportPatch
{
public:
    // Throws std::runtime_error if the module is not loaded or does not import the name. nullptr: the program itself.
    template<class FUNCTION>
    ICImportPatch(char const * name, FUNCTION function, wchar_t const * module = L"hsmbase.dll") : m_slots(name, module)
    {
        if constexpr (std::is_pointer_v<FUNCTION>)
            m_slots.mf_replace(reinterpret_cast<ANYFUNCTION>(function));
        else
            mf_implReplace<FUNCTION>(std::function(std::move(function)));
    }

    template<class RESULT, class... ARGS, class FUNCTION>
    ICImportPatch(ICImportName<RESULT (*)(ARGS...)> name, FUNCTION function, wchar_t const * module = L"hsmbase.dll")
        : m_slots(name.m_name, module)
    {
        mf_implReplace<FUNCTION>(std::function<RESULT(ARGS...)>(std::move(function)));
    }

    // What the slot held before: the true function, or the patch that this one lies over.
    template<class POINTER>
    POINTER mf_original() const
    {
        return reinterpret_cast<POINTER>(m_slots.mf_getOriginal());
    }

private:
    // A lambda's type is unique to its place in the source, so a static of that type reaches what it captured.
    template<class TAG, class RESULT, class... ARGS>
    struct ENTRY
    {
        static inline std::function<RESULT(ARGS...)> * s_current = nullptr;
        static RESULT mf_call(ARGS... arguments) { return (*s_current)(std::forward<ARGS>(arguments)...); }
    };

    template<class TAG, class RESULT, class... ARGS>
    void mf_implReplace(std::function<RESULT(ARGS...)> function)
    {
        using PLACE = ENTRY<TAG, RESULT, ARGS...>;
        auto * const before = PLACE::s_current;
        auto * const owned = new std::function<RESULT(ARGS...)>(std::move(function));
        m_function = std::shared_ptr<void>(owned, [owned, before](void *) {
            PLACE::s_current = before;
            delete owned;
        });
        PLACE::s_current = owned;
        m_slots.mf_replace(reinterpret_cast<ANYFUNCTION>(&PLACE::mf_call));
    }

    std::shared_ptr<void> m_function; // Ends after m_slots: nobody is sent to it any more.
    ICImportSlots m_slots;
};
