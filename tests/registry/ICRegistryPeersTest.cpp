// What the system's own tool stores is read by the library, and the other way round.
#include "tests/registry/RegistryTest.h"

#include "tests/support/ICChildProcess.h"
#include "tests/support/ICTemporaryDirectory.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace
{

class ICRegistryPeers : public ICRegistryFixture
{
protected:
    void mf_runTool(std::vector<std::wstring> const & arguments)
    {
        wchar_t directory[MAX_PATH] = {};
        ::GetSystemDirectoryW(directory, MAX_PATH);
        ICChildProcess tool(std::wstring(directory) + L"\\reg.exe", arguments);
        EXPECT_EQ(0u, tool.mf_getExitCode()) << tool.mf_getOutput() << tool.mf_getErrors();
        m_output = tool.mf_getOutput();
    }

    void mf_add(wchar_t const * name, wchar_t const * type, wchar_t const * data)
    {
        mf_runTool({L"add", mf_getKey(), L"/v", name, L"/t", type, L"/d", data, L"/f"});
    }

    // The exported text of a key, UTF-16.
    std::wstring mf_export(wchar_t const * key = KEY)
    {
        ICTemporaryDirectory const directory;
        mf_runTool({L"export", L"HKLM\\" + (m_sandbox / key), directory / L"key.reg", L"/y"});
        std::string const bytes = f_readFile(directory / L"key.reg");
        return std::wstring(reinterpret_cast<wchar_t const *>(bytes.data()), bytes.size() / sizeof(wchar_t));
    }

    std::wstring mf_getKey() const { return L"HKLM\\" + (m_sandbox / KEY); }

    std::string m_output;
};

} // namespace

TEST_F(ICRegistryPeers, ToolAdds_LibraryReads)
{
    mf_add(L"Number", L"REG_DWORD", L"0x89ABCDEF");
    mf_add(L"Text", L"REG_SZ", L"a \u5B57 \u0416");
    mf_add(L"Expandable", L"REG_EXPAND_SZ", L"%HSM_UNDEFINED%");
    mf_add(L"List", L"REG_MULTI_SZ", L"a\\0b c\\0\u5B57");
    ulong number = 0;
    CString text;
    CString expandable;
    ICTestList list;
    ICRegistry::mf_getValue(L"Number", number, m_path, HKLM);
    ICRegistry::mf_getValue(L"Text", text, m_path, HKLM);
    ICRegistry::mf_getValue(L"Expandable", expandable, m_path, HKLM);
    ICRegistry::mf_getValues(L"List", list, m_path, HKLM);
    EXPECT_EQ(0x89ABCDEF, number);
    EXPECT_STREQ(L"a \u5B57 \u0416", text.GetString());
    EXPECT_STREQ(L"%HSM_UNDEFINED%", expandable.GetString());
    EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a", L"b c", L"\u5B57"));
}

TEST_F(ICRegistryPeers, LibraryWrites_ToolQueries)
{
    ICRegistry::mf_setValue(L"Number", 0x89ABCDEFul, m_path, HKLM);
    ICRegistry::mf_setValue(L"Flag", 77, m_path, HKLM);
    ICRegistry::mf_setValue(L"Time", ICFileTime(L"2024-02-29 23:59:58", L' '), m_path, HKLM);
    ICRegistry::mf_setValue(L"Expandable", L"%a%\\b", m_path, 1, HKLM);
    ICRegistry::mf_setValues(L"List", ICTestList{L"a", L"b c"}, m_path, HKLM);
    mf_runTool({L"query", mf_getKey()});
    EXPECT_THAT(m_output, HasSubstr("Number    REG_DWORD    0x89abcdef"));
    EXPECT_THAT(m_output, HasSubstr("Flag    REG_DWORD    0x1"));
    EXPECT_THAT(m_output, HasSubstr("Time    REG_SZ    2024-02-29 23:59:58"));
    EXPECT_THAT(m_output, HasSubstr("Expandable    REG_EXPAND_SZ    %a%\\b"));
    EXPECT_THAT(m_output, HasSubstr("List    REG_MULTI_SZ    a\\0b c"));
}

TEST_F(ICRegistryPeers, LibraryWrites_ToolExports)
{
    ICRegistry::mf_setValue(L"Size", ICFileSize(0x0123456789ABCDEFll), m_path, HKLM);
    ICRegistry::mf_setValue(L"Text", L"a \u5B57 \u0416", m_path, 0, HKLM);
    ICRegistry::mf_setValue(L"", L"default", m_path, 0, HKLM);
    ICRegistry::mf_setValues(L"Empty", ICTestList(), m_path, HKLM);
    std::wstring const exported = mf_export();
    EXPECT_THAT(exported, HasSubstr(L"\"Size\"=hex(b):ef,cd,ab,89,67,45,23,01"));
    EXPECT_THAT(exported, HasSubstr(L"\"Text\"=\"a \u5B57 \u0416\""));
    EXPECT_THAT(exported, HasSubstr(L"@=\"default\""));
    EXPECT_THAT(exported, HasSubstr(L"\"Empty\"=hex(7):00,00"));
}

TEST_F(ICRegistryPeers, LibraryDeletes_ToolMisses)
{
    mf_add(L"Gone", L"REG_SZ", L"a");
    mf_add(L"Kept", L"REG_SZ", L"a");
    EXPECT_EQ(1, ICRegistry::mf_deleteValue(L"Gone", m_path, HKLM));
    mf_runTool({L"query", mf_getKey()});
    EXPECT_THAT(m_output, HasSubstr("Kept"));
    EXPECT_THAT(m_output, testing::Not(HasSubstr("Gone")));
}

TEST_F(ICRegistryPeers, ToolAddsKeysAndValues_LibraryListsThem)
{
    for (wchar_t const * sub : {L"One", L"Two words", L"One\\Deeper"})
        mf_runTool({L"add", mf_getKey() + L"\\" + sub, L"/f"});
    mf_add(L"Number", L"REG_DWORD", L"5");
    mf_runTool({L"add", mf_getKey(), L"/ve", L"/d", L"default", L"/f"});
    ICTestList keys;
    ICTestList values;
    ICRegistry::mf_getSubKeys(m_path, keys, HKLM);
    ICRegistry::mf_getSubValues(m_path, values, HKLM);
    EXPECT_THAT(keys.mf_getTexts(), UnorderedElementsAre(L"One", L"Two words"));
    EXPECT_THAT(values.mf_getTexts(), UnorderedElementsAre(L"", L"Number"));
    EXPECT_EQ(2u, ICRegistry::mf_getSubKeyCount(m_path, HKLM));
    EXPECT_EQ(2u, ICRegistry::mf_getSubValueCount(m_path, HKLM));
}

TEST_F(ICRegistryPeers, LibraryCreatesAndDeletesKeys_ToolSeesIt)
{
    for (wchar_t const * name : {L"Kept", L"Gone"})
        ICRegistry::mf_create(name, m_path, HKLM);
    EXPECT_EQ(1, ICRegistry::mf_delete(L"Gone", m_path, HKLM));
    std::wstring const exported = mf_export();
    EXPECT_THAT(exported, HasSubstr(L"Key\\Kept]"));
    EXPECT_THAT(exported, testing::Not(HasSubstr(L"Gone")));
}

TEST_F(ICRegistryPeers, LibraryCopies_ToolExportsTheSameTwice)
{
    mf_add(L"Number", L"REG_DWORD", L"0x89ABCDEF");
    mf_add(L"Text", L"REG_SZ", L"a \u5B57 \u0416");
    mf_add(L"Expandable", L"REG_EXPAND_SZ", L"%SystemRoot%");
    mf_add(L"List", L"REG_MULTI_SZ", L"a\\0b c");
    mf_add(L"Bytes", L"REG_BINARY", L"00ff0d0a");
    mf_runTool({L"add", mf_getKey(), L"/ve", L"/d", L"default", L"/f"});
    EXPECT_EQ(6u, ICRegistry::mf_copyValues(m_path, (m_sandbox / L"Yek").c_str(), 0, HKLM));
    std::wstring source = mf_export();
    auto const name = source.find(L"\\Key]");
    ASSERT_NE(std::wstring::npos, name);
    EXPECT_EQ(source.replace(name, 5, L"\\Yek]"), mf_export(L"Yek"));
    EXPECT_THAT(source, HasSubstr(L"\"Bytes\"=hex:00,ff,0d,0a"));
}
