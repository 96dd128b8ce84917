// Every line that the operations on keys write, as a log shows it.
#include "tests/registry/RegistryTextsTest.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ICRegistryTreesTexts : public ICRegistryTextsFixture
{
protected:
    testing::Matcher<ICTraceRecord const &> mf_isLine(char level, std::string const & tag,
                                                      std::string const & text) const
    {
        return f_isRecord(level, "ICRegistry::" + tag, mf_at(text));
    }

    void mf_writeTwo() const
    {
        m_registry.mf_writeNumber(L"Key", L"A", 5);
        m_registry.mf_writeNumber(L"Key", L"B", 5);
    }

    std::function<void()> const m_create = [this] { ICRegistry::mf_create(L"Sub", m_path, HKLM); };
    std::function<void()> const m_delete = [this] { ICRegistry::mf_delete(L"Sub", m_path, HKLM); };
    std::function<void()> const m_copy = [this] { ICRegistry::mf_copyValues(m_path, m_path + L"\\Target", 0, HKLM); };
    std::function<void()> const m_copyUnchecked = [this] {
        ICRegistry::mf_copyValues(m_path, m_path + L"\\Target", 1, HKLM);
    };
    std::function<void()> const m_keys = [this] {
        ICTestList list;
        ICRegistry::mf_getSubKeys(m_path, list, HKLM);
    };
    std::function<void()> const m_values = [this] {
        ICTestList list;
        ICRegistry::mf_getSubValues(m_path, list, HKLM);
    };
    std::function<void()> const m_keyCount = [this] { ICRegistry::mf_getSubKeyCount(m_path, HKLM); };
    std::function<void()> const m_valueCount = [this] { ICRegistry::mf_getSubValueCount(m_path, HKLM); };
};

} // namespace

TEST_F(ICRegistryTreesTexts, EmptyNames)
{
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_create(L"", m_path, HKLM); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICRegistry::mf_create", "Registry key to create is empty"));
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_delete(L"", m_path, HKLM); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICRegistry::mf_delete", "Registry key to delete is empty"));
}

TEST_F(ICRegistryTreesTexts, ArraysThatAreNotEmpty)
{
    ICTestList list{L"a"};
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_getSubKeys(m_path, list, HKLM); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICRegistry::mf_getSubKeys", "Result array not empty"));
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_getSubValues(m_path, list, HKLM); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICRegistry::mf_getSubValues", "Result array not empty"));
}

TEST_F(ICRegistryTreesTexts, RefusedCalls)
{
    m_create();
    mf_expectRefused("RegCreateKeyExW", m_create, "mf_create", "Failure creating registry key '@\\Sub':\n");
    mf_expectRefused("RegOpenKeyExW", m_delete, "mf_delete", "Failure opening registry key '@\\Sub':\n");
    mf_expectRefused("RegDeleteKeyW", m_delete, "mf_delete", "Failure deleting registry key '@\\Sub':\n");
    for (auto const & [tag, look] : {std::pair("mf_getSubKeys", m_keys),
                                     {"mf_getSubValues", m_values},
                                     {"mf_getSubKeyCount", m_keyCount},
                                     {"mf_getSubValueCount", m_valueCount}})
        mf_expectRefused("RegOpenKeyExW", look, tag, "Failure opening registry path '@\\':\n");
    mf_expectRefused("RegEnumKeyExW", m_keys, "mf_getSubKeys", "Failure enumerating subkeys of path '@\\':\n");
    mf_expectRefused("RegEnumValueW", m_values, "mf_getSubValues", "Failure enumerating subvalues of path '@\\':\n");
    mf_expectRefused("RegQueryInfoKeyW", m_keyCount, "mf_getSubKeyCount",
                     "Failure enumerating subkeys of path '@\\':\n");
}

// Subkeys are spoken of where values are counted.
TEST_F(ICRegistryTreesTexts, RefusedCountOfValues_SpeaksOfSubkeys)
{
    m_create();
    mf_expectRefused("RegQueryInfoKeyW", m_valueCount, "mf_getSubValueCount",
                     "Failure enumerating subkeys of path '@\\':\n");
}

TEST_F(ICRegistryTreesTexts, RefusedClose)
{
    mf_expectNotClosed(m_create, "mf_create", "Failure closing registry key '@\\Sub':\n", ". Ignored");
    mf_expectNotClosed(m_delete, "mf_delete", "Failure closing registry key '@\\Sub':\n", ". Ignored");
    for (auto const & [tag, look] : {std::pair("mf_getSubKeys", m_keys),
                                     {"mf_getSubValues", m_values},
                                     {"mf_getSubKeyCount", m_keyCount},
                                     {"mf_getSubValueCount", m_valueCount}})
        mf_expectNotClosed(look, tag, "Failure closing registry path '@':\n", ". Ignored.");
}

TEST_F(ICRegistryTreesTexts, AbsentKey_OfListingAndCounting)
{
    for (auto const & [tag, look] : {std::pair("mf_getSubKeys", m_keys),
                                     {"mf_getSubValues", m_values},
                                     {"mf_getSubKeyCount", m_keyCount},
                                     {"mf_getSubValueCount", m_valueCount}})
        EXPECT_THAT(m_process.mf_run(look),
                    f_failsShowing(ICErrno::_E_::Registry, ERROR_FILE_NOT_FOUND, std::string("ICRegistry::") + tag,
                                   mf_at("Failure opening registry path '@\\':\n")));
}

TEST_F(ICRegistryTreesTexts, Create_TellsWhetherTheKeyIsNew)
{
    EXPECT_THAT(m_process.mf_trace(m_create),
                ElementsAre(mf_isLine('D', "mf_create", "Registry key '@\\Sub' created")));
    EXPECT_THAT(m_process.mf_trace(m_create),
                ElementsAre(mf_isLine('D', "mf_create", "Registry key '@\\Sub' already exists")));
}

// A missing key is told twice, at two levels.
TEST_F(ICRegistryTreesTexts, Delete_EndsWithASummary)
{
    auto const notFound = mf_isLine('W', "mf_delete", "Registry key '@\\Sub' not found");
    EXPECT_THAT(m_process.mf_trace(m_delete),
                ElementsAre(mf_isLine('D', "mf_delete", "Registry parent key '@' not found"), notFound));
    m_registry.mf_makeKey(L"Key");
    EXPECT_THAT(m_process.mf_trace(m_delete),
                ElementsAre(mf_isLine('D', "mf_delete", "Registry key '@\\Sub' not found"), notFound));
    m_create();
    EXPECT_THAT(m_process.mf_trace(m_delete),
                ElementsAre(mf_isLine('T', "mf_delete", "Successfully deleted registry key '@\\Sub'")));
}

// The summary speaks of a missing key whatever the failure was.
TEST_F(ICRegistryTreesTexts, Delete_ThatFails_EndsWithTheSameSummary)
{
    m_create();
    auto const notFound = mf_isLine('W', "mf_delete", "Registry key '@\\Sub' not found");
    for (char const * import : {"RegOpenKeyExW", "RegDeleteKeyW"}) {
        ICImportFault const denied(import, DENIED);
        EXPECT_THAT(m_process.mf_run(m_delete).m_records, ElementsAre(testing::_, notFound)) << import;
    }
    m_registry.mf_makeKey(L"Key\\Sub\\Sub");
    auto const outcome = m_process.mf_run(m_delete);
    EXPECT_THAT(outcome, mf_isDenied("mf_delete", "Failure deleting registry key '@\\Sub':\n"));
    EXPECT_THAT(outcome.m_records, ElementsAre(testing::_, notFound));
}

// The key is gone, and only its parent could not be closed.
TEST_F(ICRegistryTreesTexts, Delete_ThatCannotClose_EndsWithSuccess)
{
    m_create();
    ICKeyAccount account;
    account.m_closeCode = DENIED;
    EXPECT_THAT(
        m_process.mf_run(m_delete).m_records,
        ElementsAre(mf_isLine('E', "mf_delete",
                              f_logged("Failure closing registry key '@\\Sub':\n", ICErrno::_E_::Registry, DENIED) +
                                  ". Ignored"),
                    mf_isLine('T', "mf_delete", "Successfully deleted registry key '@\\Sub'")));
}

TEST_F(ICRegistryTreesTexts, Copy_TellsEachValue)
{
    mf_writeTwo();
    EXPECT_THAT(m_process.mf_trace(m_copy),
                ElementsAre(mf_isLine('T', "mf_copyValues", "Copied '@\\A'\n-> '@\\Target\\A'"),
                            mf_isLine('T', "mf_copyValues", "Copied '@\\B'\n-> '@\\Target\\B'")));
}

TEST_F(ICRegistryTreesTexts, Copy_TellsWhatItOverwrites)
{
    mf_writeTwo();
    m_registry.mf_writeNumber(L"Key\\Target", L"B", 7);
    auto const overwritten =
        f_isRecord('T', "ICRegistry::mf_copyValues",
                   f_logged("Target registry value '", m_path) + "\\Target//B' exists and will be overwritten");
    EXPECT_THAT(m_process.mf_trace(m_copy), ElementsAre(testing::_, overwritten, testing::_));
    EXPECT_THAT(m_process.mf_trace(m_copyUnchecked), testing::Not(Contains(overwritten)));
}

TEST_F(ICRegistryTreesTexts, Copy_OfNothing)
{
    m_registry.mf_makeKey(L"Key");
    EXPECT_THAT(m_process.mf_trace(m_copy),
                ElementsAre(mf_isLine('T', "mf_copyValues", "No registry keys to copy from '\\@\\'")));
}

TEST_F(ICRegistryTreesTexts, Copy_ThatCannotList_TellsThePath)
{
    auto const outcome = m_process.mf_run(m_copy);
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Registry, ERROR_FILE_NOT_FOUND, "ICRegistry::mf_copyValues",
                                        f_logged("Failure querying keys of directory '", m_path) + "':\n"));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Registry, ERROR_FILE_NOT_FOUND, "ICRegistry::mf_getSubValues",
                                        mf_at("Failure opening registry path '@\\':\n")));
}

TEST_F(ICRegistryTreesTexts, Copy_RefusedCalls)
{
    mf_writeTwo();
    {
        ICImportFault const denied("RegOpenKeyExW", DENIED, ICCalls::mf_only(2));
        EXPECT_THAT(m_process.mf_run(m_copy),
                    mf_isDenied("mf_copyValues", "Failure opening source registry path '@\\':\n"));
    }
    mf_expectRefused("RegCreateKeyExW", m_copy, "mf_copyValues",
                     "Failure creating/opening target registry path '@\\Target\\':\n");
    mf_expectRefused("RegSetValueExW", m_copy, "mf_copyValues", "Failure setting registry key '@\\Target\\A':\n");
    // A value that cannot be read is a warning in the log, and a failure all the same.
    ICImportFault const denied("RegQueryValueExW", DENIED);
    EXPECT_THAT(m_process.mf_run(m_copy),
                f_fails(ICErrno::_E_::Registry, DENIED, 'W', "ICRegistry::mf_copyValues",
                        f_logged(mf_at("Failure querying registry key '@\\A':\n"), ICErrno::_E_::Registry, DENIED)));
}

TEST_F(ICRegistryTreesTexts, Copy_LongValue_IsAWarning)
{
    m_registry.mf_write(L"Key", L"Long", REG_BINARY, std::string(1025, 'x'));
    EXPECT_THAT(m_process.mf_run(m_copy),
                f_fails(ICErrno::_E_::Registry, ERROR_MORE_DATA, 'W', "ICRegistry::mf_copyValues",
                        f_logged(mf_at("Failure querying registry key '@\\Long':\n"), ICErrno::_E_::Registry,
                                 ERROR_MORE_DATA)));
}

// The first closing is that of the list.
TEST_F(ICRegistryTreesTexts, Copy_RefusedClose)
{
    mf_writeTwo();
    ICKeyAccount account;
    account.m_closeCodes = {{2, DENIED}, {3, DENIED}};
    auto const outcome = m_process.mf_run(m_copyUnchecked);
    EXPECT_THAT(outcome,
                mf_isDenied("mf_copyValues", "Failure closing target registry path '@\\Target\\':\n", ". Ignored."));
    EXPECT_THAT(outcome, mf_isDenied("mf_copyValues", "Failure closing source registry path '@\\':\n", ". Ignored."));
}

// No listing makes such an entry, so it is put into the list's memory while the target is made.
TEST_F(ICRegistryTreesTexts, Copy_NullEntry_IsAnInternalFailure)
{
    mf_writeTwo();
    CString ** list = nullptr;
    ICImportPatch const grows("realloc", [&](void * block, std::size_t bytes) -> void * {
        void * const grown = ::realloc(block, bytes);
        list = static_cast<CString **>(grown);
        return grown;
    });
    ICImportPatch const forgets(IC_IMPORT(RegCreateKeyExW), [&](HKEY root, LPCWSTR path, DWORD, LPWSTR, DWORD options,
                                                                REGSAM access, LPSECURITY_ATTRIBUTES, PHKEY key,
                                                                LPDWORD disposition) {
        delete list[1];
        list[1] = nullptr;
        return ::RegCreateKeyExW(root, path, 0, nullptr, options, access, nullptr, key, disposition);
    });
    EXPECT_THAT(m_process.mf_run(m_copyUnchecked),
                f_fails(ICErrno::_E_::Internal, 'E', "ICRegistry::mf_copyValues", "Source key with index=1 is NULL"));
    EXPECT_TRUE(m_registry.mf_read(L"Key\\Target", L"A").has_value());
}

// Until the log is up nothing is written, whatever happens.
TEST_F(ICRegistryTreesTexts, BeforeLoggingIsActivated_NothingIsWritten)
{
    ICRegistry::m_pThis->m_isLoggingOn = 0;
    ICImportFault const texts("LoadStringW");
    ICTestList list{L"a"};
    std::vector<std::function<void()>> const fail = {[&] { ICRegistry::mf_create(L"", m_path, HKLM); },
                                                     [&] { ICRegistry::mf_delete(L"", m_path, HKLM); },
                                                     [&] { ICRegistry::mf_getSubKeys(m_path, list, HKLM); },
                                                     [&] { ICRegistry::mf_getSubValues(m_path, list, HKLM); },
                                                     m_keys,
                                                     m_values,
                                                     m_keyCount,
                                                     m_valueCount,
                                                     m_copy};
    for (auto const & action : fail) {
        auto const outcome = m_process.mf_run(action);
        EXPECT_TRUE(outcome.m_failure.has_value());
        EXPECT_THAT(outcome.m_records, IsEmpty());
    }
    mf_writeTwo();
    for (auto const & action : {m_delete, m_create, m_create, m_delete, m_copy, m_copy})
        EXPECT_THAT(m_process.mf_trace(action), IsEmpty());
    for (char const * import : {"RegCreateKeyExW", "RegDeleteKeyW", "RegEnumKeyExW", "RegEnumValueW",
                                "RegQueryInfoKeyW", "RegSetValueExW", "RegQueryValueExW", "RegOpenKeyExW"}) {
        ICImportFault const denied(import, DENIED);
        for (auto const & action : {m_create, m_delete, m_keys, m_values, m_keyCount, m_copy})
            EXPECT_THAT(m_process.mf_run(action).m_records, IsEmpty()) << import;
    }
    EXPECT_EQ(0u, texts.mf_getCalls());
    ICRegistry::m_pThis->m_isLoggingOn = 1;
}
