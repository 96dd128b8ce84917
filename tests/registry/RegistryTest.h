#pragma once

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/registry/ICRegistry.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICRegistrySandbox.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <set>

// What the tests of the registry share.

inline HKEY const HKLM = HKEY_LOCAL_MACHINE;

// What a test looks at in a thrown failure.
struct FAILURE
{
    ulong m_number;
    int m_originator = ICErrnoData::NO_ORIGINATOR;
    ulong m_originatorErrno = 0xFFFFFFFF;

    bool operator==(FAILURE const &) const = default;

    friend void PrintTo(FAILURE const & failure, std::ostream * out)
    {
        *out << std::hex << "0x" << failure.m_number << std::dec << " originator " << failure.m_originator << " number "
             << failure.m_originatorErrno;
    }
};
using OUTCOME = std::optional<FAILURE>;

// What an action throws; nothing if it does not.
template<class ACT>
OUTCOME f_failureOf(ACT act)
{
    try {
        act();
    }
    catch (ICErrno & failure) {
        ICErrnoData const & data = failure.mf_getErrnoData();
        return FAILURE{data.mf_getNumber(), data.mf_getOriginatorId(), data.mf_getOriginatorErrno()};
    }
    return std::nullopt;
}

// A failure of the platform, and one of our own.
inline OUTCOME f_registryFailure(ulong code)
{
    return FAILURE{ICErrno::_E_::Registry.mf_getNumber(), ICErrnoData::SYSTEM, code};
}
inline OUTCOME f_ownFailure(ICErrnoValue const & value)
{
    return FAILURE{value.mf_getNumber()};
}
inline OUTCOME const NO_FAILURE;

// Sees every key that the library opens and closes; the test fails if one stays open, or if something else is closed.
//
//     ICKeyAccount account;
//     account.m_closeCode = ERROR_INVALID_HANDLE;     // the answer of each close, which nevertheless closes
//     account.m_closeCodes[2] = ERROR_NOT_READY;      // that of the second one
//
// Threads: one.
class ICKeyAccount
{
public:
    struct CALL
    {
        std::wstring m_path;
        REGSAM m_access;
        bool m_creates;
    };

    ICKeyAccount() = default;
    ICKeyAccount(ICKeyAccount const &) = delete;
    ICKeyAccount & operator=(ICKeyAccount const &) = delete;
    ~ICKeyAccount() { EXPECT_TRUE(m_open.empty()) << m_open.size() << " keys stayed open"; }

    LSTATUS m_closeCode = ERROR_SUCCESS;
    std::map<ulong, LSTATUS> m_closeCodes;
    ulong m_closings = 0;
    std::vector<CALL> m_calls;

private:
    LSTATUS mf_implOpened(LSTATUS code, PHKEY key)
    {
        if (code == ERROR_SUCCESS) m_open.insert(*key);
        return code;
    }

    std::set<HKEY> m_open;
    ICImportPatch const m_onOpen{IC_IMPORT(RegOpenKeyExW),
                                 [this](HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
                                     EXPECT_EQ(0u, options);
                                     m_calls.push_back({path, access, false});
                                     return mf_implOpened(::RegOpenKeyExW(root, path, options, access, key), key);
                                 }};
    ICImportPatch const m_onCreate{
        IC_IMPORT(RegCreateKeyExW), [this](HKEY root, LPCWSTR path, DWORD reserved, LPWSTR type, DWORD options,
                                           REGSAM access, LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD created) {
            EXPECT_EQ(ulong{REG_OPTION_NON_VOLATILE}, options);
            m_calls.push_back({path, access, true});
            return mf_implOpened(::RegCreateKeyExW(root, path, reserved, type, options, access, security, key, created),
                                 key);
        }};
    ICImportPatch const m_onClose{IC_IMPORT(RegCloseKey), [this](HKEY key) {
                                      EXPECT_EQ(1u, m_open.erase(key));
                                      EXPECT_EQ(ERROR_SUCCESS, ::RegCloseKey(key));
                                      auto const code = m_closeCodes.find(++m_closings);
                                      return code == m_closeCodes.end() ? m_closeCode : code->second;
                                  }};
};

// Texts of a given length, and with the terminator that is stored with them.
inline std::wstring f_xs(std::size_t count)
{
    return std::wstring(count, L'x');
}
inline std::wstring f_terminated(std::wstring const & text)
{
    return text + L'\0';
}

// An instance whose root is a registry key of the test's own, and a path below it.
class ICRegistryFixture : public testing::Test
{
protected:
    ICRegistryFixture() { ICRegistry::mf_createInstance(m_sandbox.mf_getPath().c_str()); }
    ~ICRegistryFixture() override { ICRegistry::mf_deleteInstance(); }

    // Store exactly these characters or bytes: the platform would take a NUL that happens to stand behind a text for
    // its terminator and store it too, so something else stands there.
    void mf_write(wchar_t const * name, ulong type, std::wstring_view characters)
    {
        mf_writeBytes(
            name, type,
            std::string_view(reinterpret_cast<char const *>(characters.data()), characters.size() * sizeof(wchar_t)));
    }
    void mf_writeBytes(wchar_t const * name, ulong type, std::string_view bytes)
    {
        std::string const followed = std::string(bytes) + "????";
        m_sandbox.mf_write(KEY, name, type, std::string_view(followed).substr(0, bytes.size()));
    }

    // The stored characters with all terminators; "<none>" where there is no value of this type.
    std::wstring mf_read(wchar_t const * name, ulong type)
    {
        auto const value = m_sandbox.mf_read(KEY, name);
        if (!value || value->m_type != type) return L"<none>";
        return std::wstring(reinterpret_cast<wchar_t const *>(value->m_bytes.data()),
                            value->m_bytes.size() / sizeof(wchar_t));
    }

    static constexpr wchar_t KEY[] = L"Key";
    ICRegistrySandbox const m_sandbox;
    CString const m_path = (m_sandbox / KEY).c_str();
};

// Runs a test body without and with trace lines: what is thrown and stored must not depend on them.
template<class BODY>
void f_silentAndLogging(BODY body)
{
    for (int isLoggingOn : {0, 1}) {
        SCOPED_TRACE(isLoggingOn ? "with lines" : "silent");
        ICRegistry::m_pThis->m_isLoggingOn = isLoggingOn;
        body();
    }
    ICRegistry::m_pThis->m_isLoggingOn = 0;
}

// A list whose strings end with it.
class ICTestList : public ICArray<CString *, CString *>
{
public:
    ICTestList(std::initializer_list<wchar_t const *> texts = {})
    {
        for (wchar_t const * text : texts)
            Add(new CString(text));
    }
    ICTestList(ICTestList const &) = delete;
    ICTestList & operator=(ICTestList const &) = delete;
    ~ICTestList()
    {
        for (INT_PTR index = 0; index < GetCount(); ++index)
            delete GetAt(index);
    }

    std::vector<std::wstring> mf_getTexts() const
    {
        std::vector<std::wstring> texts;
        for (INT_PTR index = 0; index < GetCount(); ++index)
            texts.emplace_back(GetAt(index)->GetString());
        return texts;
    }
};
using TEXT_LIST = std::vector<std::wstring>;
