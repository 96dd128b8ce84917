// What the library backs up is read by the system's own editor, and what that exports is restored by the library, as
// far as the two formats agree.
#include "tests/registry/BackupTest.h"

#include "tests/support/ICChildProcess.h"
#include "tests/support/ICTemporaryDirectory.h"

namespace
{

class ICRegistryBackupPeers : public ICBackupFixture
{
protected:
    // It exits with 0 whatever happens.
    void mf_runEditor(std::vector<std::wstring> const & arguments) const
    {
        wchar_t directory[MAX_PATH] = {};
        ::GetWindowsDirectoryW(directory, MAX_PATH);
        ICChildProcess editor(std::wstring(directory) + L"\\regedit.exe", arguments);
        EXPECT_EQ(0u, editor.mf_getExitCode()) << editor.mf_getErrors();
    }

    void mf_import(std::wstring const & text) const
    {
        std::wstring const file = m_directory.mf_makeFile(L"backup.reg", BACKUP_MARK + f_bytesOf(text));
        mf_runEditor({L"/S", file});
    }

    // The editor's text of the key, without the mark.
    std::wstring mf_export() const
    {
        mf_runEditor({L"/E", m_directory / L"export.reg", L"HKEY_LOCAL_MACHINE\\" + (m_sandbox / KEY)});
        std::string const bytes = f_readFile(m_directory / L"export.reg");
        EXPECT_EQ(BACKUP_MARK, bytes.substr(0, 2));
        std::wstring text(bytes.size() / sizeof(wchar_t) - 1, L'\0');
        std::memcpy(text.data(), bytes.data() + 2, bytes.size() - 2);
        return text;
    }

    // The tree after our backup, the loss of the key and the editor's import.
    STRING_TREE mf_throughTheEditor(STRING_TREE const & tree) const
    {
        mf_deleteKey();
        mf_write(tree);
        std::wstring const text = mf_backup();
        mf_deleteKey();
        mf_import(text);
        return mf_read();
    }

    // The tree after the editor's export, the loss of the key and our restore, which throws `expected`.
    STRING_TREE mf_fromTheEditor(STRING_TREE const & tree, OUTCOME const & expected = NO_FAILURE) const
    {
        mf_deleteKey();
        mf_write(tree);
        std::wstring const text = mf_export();
        mf_deleteKey();
        EXPECT_EQ(expected, mf_restoreText(text)) << text;
        return mf_read();
    }

    ICTemporaryDirectory const m_directory;
};

OUTCOME const CORRUPTED = f_ownFailure(ICErrno::_E_::DataCorrupted);

STRING_TREE const TREE = {
    {L"", {{L"Language", L"English"}, {L"a b", L" c "}, {L"empty", L""}, {L"dir", L"C:\\temp\\"}}},
    {L"sub", {{L"unc", L"\\\\host\\share"}, {L"\u5B57", L"\u0416 \U0001F600"}}},
    {L"sub\\[1]", {{L"semi;", L"; #@[]=%TEMP%"}, {L"long", f_xs(511)}}},
    {L"sub\\[1]\\ a", {{L".", L"'"}}}};

} // namespace

TEST_F(ICRegistryBackupPeers, OurBackup_IsImportedAsTheSameTree)
{
    EXPECT_EQ(TREE, mf_throughTheEditor(TREE));
}

TEST_F(ICRegistryBackupPeers, EditorsExport_IsRestoredAsTheSameTree)
{
    EXPECT_EQ(TREE, mf_fromTheEditor(TREE));
}

TEST_F(ICRegistryBackupPeers, EditorsExport_IsOurBackup)
{
    // As long as neither escapes what the other doesn't, and each key has a value.
    mf_write(TREE);
    EXPECT_EQ(mf_backup(), mf_export());
}

TEST_F(ICRegistryBackupPeers, DefaultValue_PassesToTheEditor_NotBack)
{
    EXPECT_EQ((STRING_TREE{{L"", {{L"", L"text"}}}}), mf_throughTheEditor({{L"", {{L"", L"text"}}}}));
    EXPECT_EQ(STRING_TREE(), mf_fromTheEditor({{L"", {{L"", L"text"}}}}, CORRUPTED)) << "a line that begins with @";
}

TEST_F(ICRegistryBackupPeers, QuotesInAValue_AreEscapedByTheEditorOnly)
{
    STRING_TREE const tree = {{L"", {{L"a", L"say \"hi\""}}}};
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"say \\\"hi\\\""}}}}), mf_fromTheEditor(tree));
    // For the editor the value ends at its first quote, and the line is none.
    EXPECT_EQ((STRING_TREE{{L"", {}}}), mf_throughTheEditor(tree));
}

TEST_F(ICRegistryBackupPeers, NamesWithBackslashesOrQuotes_AreEscapedByTheEditorOnly)
{
    EXPECT_EQ((STRING_TREE{{L"", {{L"a\\\\b", L"1"}, {L"c\\\"d", L"2"}}}}),
              mf_fromTheEditor({{L"", {{L"a\\b", L"1"}, {L"c\"d", L"2"}}}}));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a\\b", L"1"}}}}), mf_throughTheEditor({{L"", {{L"a\\\\b", L"1"}}}}));
    EXPECT_EQ((STRING_TREE{{L"", {}}}), mf_throughTheEditor({{L"", {{L"c\"d", L"2"}}}}));
}

TEST_F(ICRegistryBackupPeers, NameWithEqualSign_PassesToTheEditor_NotBack)
{
    STRING_TREE const tree = {{L"", {{L"a=b", L"1"}}}};
    EXPECT_EQ(tree, mf_throughTheEditor(tree));
    EXPECT_EQ(STRING_TREE(), mf_fromTheEditor(tree, CORRUPTED));
}

TEST_F(ICRegistryBackupPeers, KeyWithoutValues_IsASectionOfTheEditorsOnly)
{
    STRING_TREE const tree = {{L"", {{L"a", L"1"}}}, {L"empty", {}}};
    STRING_TREE const rest = {{L"", {{L"a", L"1"}}}};
    mf_write(tree);
    EXPECT_NE(std::wstring::npos, mf_export().find(L"\\Key\\empty]\r\n"));
    EXPECT_EQ(rest, mf_fromTheEditor(tree));
    EXPECT_EQ(rest, mf_throughTheEditor(tree));
}

TEST_F(ICRegistryBackupPeers, OtherKinds_OfTheEditorsAreRefused)
{
    m_sandbox.mf_writeNumber(KEY, L"n", 1);
    std::wstring const number = mf_export();
    mf_deleteKey();
    mf_write(L"e", REG_EXPAND_SZ, f_terminated(L"%TEMP%"));
    std::wstring const expandable = mf_export();
    mf_deleteKey();
    EXPECT_EQ(CORRUPTED, mf_restoreText(number));
    EXPECT_EQ(CORRUPTED, mf_restoreText(expandable));
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}
