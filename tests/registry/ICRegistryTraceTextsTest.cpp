// Every line that the registry writes, as a log shows it.
#include "tests/registry/RegistryTextsTest.h"

using testing::AllOf;
using testing::Contains;
using testing::IsEmpty;

namespace
{

class ICRegistryTexts : public ICRegistryTextsFixture
{
protected:
    // All lines of one form of mf_getOrSetValue.
    template<class TYPE, class... EXPANDABLE>
    void mf_expectDefault(TYPE const & value, std::string const & tag, std::string const & shown,
                          EXPANDABLE... expandable) const
    {
        SCOPED_TRACE(tag);
        auto const getOrSet = [&] {
            TYPE copy = value;
            ICRegistry::mf_getOrSetValue(L"Name", copy, m_path, expandable..., HKLM);
        };
        auto const returningDefault = [&](std::string const & text) {
            return f_logged(text, ICErrno::_E_::Registry, DENIED) + "\nReturning default (" + shown + ")";
        };
        {
            ICImportFault const unset("RegSetValueExW", DENIED);
            mf_expectLine(getOrSet, 'E', tag, returningDefault("Failure setting registry key 'Name':\n"));
        }
        mf_expectLine(getOrSet, 'D', tag, "Registry key 'Name' set to " + shown);
        ICImportFault const unread("RegQueryValueExW", DENIED, ICCalls::mf_only(2));
        mf_expectLine(getOrSet, 'E', tag, returningDefault("Failure getting registry key 'Name':\n"));
        m_registry.mf_makeKey(L"Key");
        ICRegistry::mf_deleteValue(L"Name", m_path, HKLM);
    }

    void mf_store(ulong type, std::wstring const & text) const
    {
        m_registry.mf_write(L"Key", L"Name", type,
                            std::string_view(reinterpret_cast<char const *>(text.c_str()), 2 * text.size() + 2));
    }

    std::function<void()> const m_set = [this] { ICRegistry::mf_setValue(L"Name", 5ul, m_path, HKLM); };
    std::function<void()> const m_get = [this] {
        ulong value;
        ICRegistry::mf_getValue(L"Name", value, m_path, HKLM);
    };
    std::function<void()> const m_exists = [this] { ICRegistry::mf_exists(L"Name", m_path, HKLM); };
    std::function<void()> const m_pathExists = [this] { ICRegistry::mf_PathExists(m_path, HKLM); };
    std::function<void()> const m_delete = [this] { ICRegistry::mf_deleteValue(L"Name", m_path, HKLM); };
    std::function<void()> const m_append = [this] { ICRegistry::mf_appendToValues(L"Name", L"a", m_path, HKLM); };
    std::function<void()> const m_remove = [this] { ICRegistry::mf_removeFromValues(L"Name", L"a", m_path, HKLM, 1); };
};

} // namespace

TEST_F(ICRegistryTexts, RefusedCalls)
{
    m_set();
    mf_expectRefused("RegOpenKeyExW", m_get, "mf_implGetValueData", "Failure opening registry path '@\\':\n");
    mf_expectRefused("RegQueryValueExW", m_get, "mf_implGetValueData", "Failure querying registry key '@\\Name':\n");
    mf_expectRefused("RegCreateKeyExW", m_set, "mf_setValue::1", "Failure creating registry key '@\\Name':\n");
    mf_expectRefused("RegSetValueExW", m_set, "mf_setValue::1", "Failure setting registry key '@\\Name':\n");
    mf_expectRefused("RegOpenKeyExW", m_exists, "mf_exists", "Failure opening registry key '@\\Name':\n");
    mf_expectRefused("RegOpenKeyExW", m_pathExists, "mf_PathExists", "Failure opening registry path '@':\n");
    mf_expectRefused("RegOpenKeyExW", m_delete, "mf_deleteValue", "Failure opening registry key '@'\n");
    mf_expectRefused("RegDeleteValueW", m_delete, "mf_deleteValue", "Failure deleting registry value '@\\Name':\n");
}

TEST_F(ICRegistryTexts, RefusedClose)
{
    m_set();
    mf_expectNotClosed(m_get, "mf_implGetValueData", "Failure closing registry path '@\\':\n", ". Ignored.");
    mf_expectNotClosed(m_set, "mf_setValue::1", "Failure closing registry key '@\\Name':\n", ". Ignored");
    mf_expectNotClosed(m_exists, "mf_exists", "Failure closing registry key '@\\Name':\n", ". Ignored");
    mf_expectNotClosed(m_pathExists, "mf_PathExists", "Failure closing registry path '@':\n", ". Ignored");
    mf_expectNotClosed(m_delete, "mf_deleteValue", "Failure closing registry key '@':\n", ". Ignored.");
}

TEST_F(ICRegistryTexts, TypedReadThatFails_NamesTheType)
{
    m_registry.mf_makeKey(L"Key");
    auto const isMissing = [](std::string const & tag, std::string const & type) {
        return f_fails(ICErrno::_E_::Registry, ERROR_FILE_NOT_FOUND, 'E', "ICRegistry::mf_getValue::" + tag,
                       "Failure reading 'Name' (" + type + ") from registry");
    };
    auto const get = [this](auto value) {
        return m_process.mf_run([&] { ICRegistry::mf_getValue(L"Name", value, m_path, HKLM); });
    };
    EXPECT_THAT(get(0ul), isMissing("1", "ULONG"));
    EXPECT_THAT(get(0), isMissing("1", "ULONG"));
    EXPECT_THAT(get(ICFileTime()), isMissing("5", "string"));
    EXPECT_THAT(get(ICFileSize()), isMissing("4", "QWORD"));
    EXPECT_THAT(get(CString()), isMissing("5", "string"));
}

TEST_F(ICRegistryTexts, ValueOfAnotherType_TellsBothNumbers)
{
    mf_store(REG_SZ, L"1");
    EXPECT_THAT(m_process.mf_run(m_get), f_fails(ICErrno::_E_::Unexpected, 'E', "ICRegistry::mf_implGetValueData",
                                                 "Unexpected key type: Found 1, expected 4"));
}

TEST_F(ICRegistryTexts, TextThatIsNoTime_IsShown)
{
    mf_store(REG_SZ, L"2024-13-01 10:00:00");
    ICFileTime time;
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_getValue(L"Name", time, m_path, HKLM); }),
                f_failsShowing(ICErrno::_E_::Conversion, "ICRegistry::mf_getValue::3",
                               "Failure converting string '2024-13-01 10:00:00' to ICFileTime object:\n"));
}

TEST_F(ICRegistryTexts, TimeThatGivesNoText_IsNotWritten)
{
    // The conversion itself never throws, so it is the platform's call that has to.
    ICImportPatch const fails(IC_IMPORT(FileTimeToSystemTime),
                              [](FILETIME const *, SYSTEMTIME *) -> BOOL { throw ICErrno(ICErrno::_E_::Conversion); });
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_setValue(L"Name", ICFileTime(), m_path, HKLM); }),
                f_failsShowing(ICErrno::_E_::Conversion, "ICRegistry::mf_setValue::3",
                               "Failure converting ICFileTime object to a string:\n"));
    EXPECT_FALSE(m_registry.mf_hasKey(L"Key"));
}

TEST_F(ICRegistryTexts, RefusedExpansion_TellsNoSystemError)
{
    mf_store(REG_EXPAND_SZ, L"%NONE%");
    CString value;
    ICImportFault const refused("ExpandEnvironmentStringsW", DENIED);
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_getValue(L"Name", value, m_path, HKLM); }),
                f_failsShowing(ICErrno::_E_::Registry, 0, "ICRegistry::mf_implGetValueData",
                               mf_at("Failure exanding registry key '@\\Name':\n")));
}

TEST_F(ICRegistryTexts, ExpansionThatIsNotShorter_IsAnErrorLineOnly)
{
    mf_store(REG_EXPAND_SZ, L"%NONE%");
    CString value;
    mf_expectLine([&] { ICRegistry::mf_getValue(L"Name", value, m_path, HKLM); }, 'E', "mf_implGetValueData",
                  "Buffer too small to expand environment string(s) (7 bytes)");
    EXPECT_STREQ(L"%NONE%", value);
}

TEST_F(ICRegistryTexts, SetValue_TellsWhatWasSet)
{
    auto const set = [this](auto const & value, auto... expandable) {
        return [this, value, expandable...] { ICRegistry::mf_setValue(L"Name", value, m_path, expandable..., HKLM); };
    };
    mf_expectLine(set(0xabul), 'D', "mf_setValue::1", "Registry key '@\\Name'\nset to 0x000000ab");
    mf_expectLine(set(7), 'D', "mf_setValue::1", "Registry key '@\\Name'\nset to 0x00000001");
    mf_expectLine(set(ICFileSize(12)), 'D', "mf_setValue::4", "Registry key '@\\Name'\nset to 12");
    mf_expectLine(set(CString(L"t"), 0), 'D', "mf_setValue::5", "Registry key '@\\Name'\nset to 't'");
    mf_expectLine(set(ICFileTime(L"2024-01-31 23:59:58", L' ')), 'D', "mf_setValue::5",
                  "Registry key '@\\Name'\nset to '2024-01-31 23:59:58'");
    mf_expectLine(
        [this] {
            ICRegistry::mf_setValues(L"Name", ICTestList{L"a", L"b"}, m_path, HKLM);
        },
        'D', "mf_setValues", "Registry key '@\\Name'\nset to multi-string value (2 line(s))");
}

TEST_F(ICRegistryTexts, GetOrSetValue_TellsTheDefault)
{
    mf_expectDefault(0xabul, "mf_getOrSetValue::1", "0x000000ab");
    mf_expectDefault(3, "mf_getOrSetValue::1", "0x00000001");
    mf_expectDefault(ICFileTime(L"2024-01-31 23:59:58", L' '), "mf_getOrSetValue::3", "2024-01-31 23:59:58");
    mf_expectDefault(ICFileSize(12), "mf_getOrSetValue::4", "12");
    mf_expectDefault(CString(L"text"), "mf_getOrSetValue::5", "'text'", 0);
}

TEST_F(ICRegistryTexts, GetOrSetValues_TellsWhatWasSet)
{
    ICTestList list{L"a"};
    std::function<void()> const getOrSet = [&] { ICRegistry::mf_getOrSetValues(L"Name", list, m_path, HKLM); };
    {
        ICImportFault const unset("RegSetValueExW", DENIED);
        EXPECT_THAT(m_process.mf_run(getOrSet),
                    mf_isDenied("mf_getOrSetValues", "Failure setting registry key 'Name':\n",
                                "\nReturning empty string array"));
    }
    mf_expectLine(getOrSet, 'D', "mf_getOrSetValues", "Registry key 'Name' set");
    list.Add(new CString(L"b"));
    EXPECT_THAT(m_process.mf_run(getOrSet),
                f_fails(ICErrno::_E_::Unexpected, 'E', "ICRegistry::mf_getOrSetValues",
                        "Number of string values does not match (default: 2, registry: 1)"));
    ICImportFault const unread("RegQueryValueExW", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(m_process.mf_run(getOrSet), mf_isDenied("mf_getOrSetValues", "Failure getting registry key 'Name':\n",
                                                        "\nReturning empty string array"));
}

TEST_F(ICRegistryTexts, ListArguments)
{
    ICTestList full{L"a"};
    wchar_t buffer[4];
    auto const isRefused = [](std::string const & tag, std::string const & text) {
        return f_fails(ICErrno::_E_::Parameter, 'E', "ICRegistry::" + tag, text);
    };
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_getValues(L"Name", full, m_path, HKLM); }),
                isRefused("mf_getValues", "Result list is not empty"));
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_createArrayFromMultSz(nullptr, full); }),
                isRefused("mf_createArrayFromMultSz", "NULL == _pszStrings"));
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_createArrayFromMultSz(L"b\0", full); }),
                isRefused("mf_createArrayFromMultSz", "Result array is not empty"));
    EXPECT_THAT(m_process.mf_run([&] { ICRegistry::mf_createMultSzFromArray(full, nullptr, 4); }),
                isRefused("mf_createMultSzFromArray", "NULL == _pszStrings"));
    full.Add(nullptr);
    mf_expectLine([&] { ICRegistry::mf_createMultSzFromArray(full, buffer, 4); }, 'W', "mf_createMultSzFromArray",
                  "Input string with index=1 is NULL, omitted");
}

TEST_F(ICRegistryTexts, ListTooLong_TellsWhatItNeeds)
{
    ICTestList const list{L"a", f_xs(4092).c_str()};
    auto const outcome = m_process.mf_run([&] { ICRegistry::mf_setValues(L"Name", list, m_path, HKLM); });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::BufferTooSmall, 'E', "ICRegistry::mf_createMultSzFromArray",
                                 "Target strings buffer too small: 4096 chars\n"
                                 "4096 chars required at string with index=1"));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::BufferTooSmall, "ICRegistry::mf_setValues",
                                        "Failure converting strings array to multi-sz string: "));
}

TEST_F(ICRegistryTexts, ParsingThatFails)
{
    ICTestList list;
    std::function<void()> const parse = [&] { ICRegistry::mf_createArrayFromMultSz(L"a\0b\0", list); };
    {
        ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
        EXPECT_THAT(m_process.mf_run(parse), f_fails(ICErrno::_E_::Memory, 'E', "ICRegistry::mf_createArrayFromMultSz",
                                                     "No memory to allocate string"));
    }
    ICImportFault const noGrowth("realloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run(parse),
                f_fails(ICErrno::_E_::DataCorrupted, 'E', "ICRegistry::mf_createArrayFromMultSz",
                        "Exception parsing multi-string array"));
}

TEST_F(ICRegistryTexts, ListChanges_TellPathNameAndValue)
{
    std::string const key = f_logged("", m_path) + "\\Name";
    mf_expectLine(m_remove, 'T', "mf_removeFromValues", "Registry key '" + key + "' does not exist");
    mf_expectLine(m_append, 'T', "mf_appendToValues", "Successfully appended value 'a' to registry key '" + key + "'");
    mf_expectLine(m_remove, 'T', "mf_removeFromValues",
                  "Successfully removed value 'a' from registry key '" + key + "'");
    mf_expectLine(m_remove, 'T', "mf_removeFromValues", "Registry key '" + key + "' not found");
}

TEST_F(ICRegistryTexts, ListChangesThatFail_TellTheStep)
{
    std::string const key = f_logged("", m_path) + "\\Name";
    for (auto const & [tag, change] : {std::pair("mf_appendToValues", m_append), {"mf_removeFromValues", m_remove}}) {
        ICRegistry::mf_setValues(L"Name", ICTestList{L"a"}, m_path, HKLM);
        mf_expectRefused("RegOpenKeyExW", change, tag, "Failure determining if key '" + key + "' exists:\n");
        mf_expectRefused("RegSetValueExW", change, tag, "Failure writing key '" + key + "':\n");
        ICImportFault const unread("RegQueryValueExW", DENIED, ICCalls::mf_only(2));
        EXPECT_THAT(m_process.mf_run(change), mf_isDenied(tag, "Failure reading key '" + key + "':\n"));
    }
}

TEST_F(ICRegistryTexts, DeleteValue_EndsWithASummary)
{
    auto const isLine = [this](char level, std::string const & text) {
        return Contains(f_isRecord(level, "ICRegistry::mf_deleteValue", mf_at(text)));
    };
    auto const notDeleted = isLine('W', "Registry value '@\\Name' not deleted");
    EXPECT_THAT(m_process.mf_trace(m_delete), AllOf(isLine('D', "Registry key '@' not found"), notDeleted));
    m_registry.mf_makeKey(L"Key");
    EXPECT_THAT(m_process.mf_trace(m_delete), AllOf(isLine('D', "Registry value '@\\Name' not found."), notDeleted));
    m_set();
    {
        ICImportFault const denied("RegDeleteValueW", DENIED);
        EXPECT_THAT(m_process.mf_run(m_delete).m_records, notDeleted);
    }
    EXPECT_THAT(m_process.mf_trace(m_delete), isLine('T', "Successfully deleted registry value '@\\$s'"));
}

TEST_F(ICRegistryTexts, AbsentKeysAndValues_LeaveNoLine)
{
    EXPECT_THAT(m_process.mf_trace(m_exists), IsEmpty());
    EXPECT_THAT(m_process.mf_trace(m_pathExists), IsEmpty());
    m_set();
    ICImportFault const denied("RegQueryValueExW", DENIED);
    EXPECT_THAT(m_process.mf_trace(m_exists), IsEmpty());
}

TEST_F(ICRegistryTexts, SecondInstance_IsRefused)
{
    EXPECT_THAT(m_process.mf_run([] { ICRegistry::mf_createInstance(L"Second"); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICRegistry::mf_createInstance",
                        "Registry singleton already initialized"));
}

TEST_F(ICRegistryTexts, WithoutInstance_NothingIsWritten)
{
    CString const root = ICRegistry::mf_getRegistryRoot(L"");
    ICRegistry::mf_deleteInstance();
    EXPECT_THAT(m_process.mf_trace([] { ICRegistry::mf_deleteInstance(); }), IsEmpty());
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    ICTracedAction const outcome = m_process.mf_run([&] { ICRegistry::mf_createInstance(root); });
    EXPECT_EQ(ICErrno::_E_::Memory.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, IsEmpty());
    ICRegistry::mf_createInstance(root);
}
