#pragma once

#include "tests/registry/RegistryTest.h"
#include "tests/support/LoggedPlace.h"

// What the tests of the registry's trace lines share: a started process with its log open, and a path below its root.

inline constexpr ulong DENIED = ERROR_ACCESS_DENIED;

class ICRegistryTextsFixture : public testing::Test
{
protected:
    // The text, with "@" for the section and the path.
    std::string mf_at(std::string const & text) const { return f_at(text, L"HKLM\\" + m_path); }

    testing::Matcher<ICTracedAction const &> mf_isDenied(std::string const & tag, std::string const & text,
                                                         std::string const & end = "") const
    {
        return f_fails(ICErrno::_E_::Registry, DENIED, 'E', "ICRegistry::" + tag,
                       f_logged(mf_at(text), ICErrno::_E_::Registry, DENIED) + end);
    }

    // One call of the platform is refused.
    template<class ACTION>
    void mf_expectRefused(char const * import, ACTION action, std::string const & tag, std::string const & text) const
    {
        SCOPED_TRACE(tag + ": " + text);
        ICImportFault const denied(import, DENIED);
        EXPECT_THAT(m_process.mf_run(action), mf_isDenied(tag, text));
    }

    // The key is closed, but the platform says that it isn't.
    template<class ACTION>
    void mf_expectNotClosed(ACTION action, std::string const & tag, std::string const & text,
                            std::string const & end) const
    {
        SCOPED_TRACE(tag + ": " + text);
        ICKeyAccount account;
        account.m_closeCode = DENIED;
        EXPECT_THAT(m_process.mf_run(action), mf_isDenied(tag, text, end));
    }

    // The action throws nothing, and leaves the line.
    template<class ACTION>
    void mf_expectLine(ACTION action, char level, std::string const & tag, std::string const & text) const
    {
        EXPECT_THAT(m_process.mf_trace(action),
                    testing::Contains(f_isRecord(level, "ICRegistry::" + tag, mf_at(text))));
    }

    ICTracedProcess const m_process;
    ICRegistrySandbox const & m_registry = m_process.mf_getRegistry();
    CString const m_path = (m_registry / L"Key").c_str();
};
