// Where writer and reader differ: what a tree is after a backup, its loss and a restore.
#include "tests/registry/BackupTest.h"

namespace
{

class ICRegistryBackupFormat : public ICBackupFixture
{
protected:
    // What restoring a backup of the tree throws; the key is lost meanwhile.
    OUTCOME mf_failureOfRoundTrip(STRING_TREE const & tree) const
    {
        mf_deleteKey();
        mf_write(tree);
        std::wstring const text = mf_backup();
        mf_deleteKey();
        return mf_restoreText(text);
    }
};

OUTCOME const CORRUPTED = f_ownFailure(ICErrno::_E_::DataCorrupted);

} // namespace

TEST_F(ICRegistryBackupFormat, TreeOfStrings_ComesBackAsItWas)
{
    STRING_TREE const tree = {{L"", {{L"", L"default"}, {L"a b", L" c "}, {L"empty", L""}, {L"dir", L"C:\\temp\\"}}},
                              {L"sub", {{L"unc", L"\\\\host\\share"}, {L"\u5B57", L"\u0416 \U0001F600"}}},
                              {L"sub\\[1]", {{L"semi;", L"; #@[]"}}}};
    EXPECT_EQ(tree, mf_roundTrip(tree));
}

TEST_F(ICRegistryBackupFormat, Kind_IsPlainAfterwards_AndReferencesAreLost)
{
    ::SetEnvironmentVariableW(L"HSM_BACKUP_TEST", L"x");
    mf_write(L"a", REG_EXPAND_SZ, f_terminated(L"%HSM_BACKUP_TEST%"));
    std::wstring const text = mf_backup();
    mf_deleteKey();
    EXPECT_EQ(NO_FAILURE, mf_restoreText(text));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"x"}}}}), mf_read());
    ::SetEnvironmentVariableW(L"HSM_BACKUP_TEST", nullptr);
}

TEST_F(ICRegistryBackupFormat, KeyWithoutValues_ComesBackOnlyAboveAnother)
{
    STRING_TREE const tree = {{L"", {}}, {L"gone", {}}, {L"above", {}}, {L"above\\key", {{L"a", L"1"}}}};
    EXPECT_EQ((STRING_TREE{{L"", {}}, {L"above", {}}, {L"above\\key", {{L"a", L"1"}}}}), mf_roundTrip(tree));
}

TEST_F(ICRegistryBackupFormat, SectionRoot_IsWrittenLong_AndReadShortToo)
{
    mf_write({{L"", {{L"a", L"1"}}}});
    std::wstring text = mf_backup();
    std::size_t const root = text.find(L"[HKEY_LOCAL_MACHINE\\");
    ASSERT_NE(text.npos, root);
    text.replace(root, 19, L"[HKLM");
    mf_deleteKey();
    EXPECT_EQ(NO_FAILURE, mf_restoreText(text));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}}), mf_read());
}

TEST_F(ICRegistryBackupFormat, NameWithEqualSign_IsCutThere)
{
    for (wchar_t const * name : {L"a=b", L"=a", L"a=", L"==", L"a\"=b", L"a=\"b"})
        EXPECT_EQ(CORRUPTED, mf_failureOfRoundTrip({{L"", {{name, L"1"}}}})) << name;
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}

TEST_F(ICRegistryBackupFormat, NameWithQuotedEqualSign_ComesBackAsAnother)
{
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"b\"=\"1"}}}}), mf_roundTrip({{L"", {{L"a\"=\"b", L"1"}}}}));
    // The quotes of the line itself are such quotes too.
    EXPECT_EQ((STRING_TREE{{L"", {{L"", L"=\"1"}}}}), mf_roundTrip({{L"", {{L"=", L"1"}}}}));
}

TEST_F(ICRegistryBackupFormat, NameWithQuotesAndBackslashes_ComesBackAsItWas)
{
    STRING_TREE const tree = {{L"", {{L"a\\b", L"1"}, {L"a\\\\b", L"2"}, {L"\"", L"3"}, {L"a\"b\"", L"4"}}}};
    EXPECT_EQ(tree, mf_roundTrip(tree));
}

TEST_F(ICRegistryBackupFormat, QuotesInAValue_ComeBackAsTheyWere)
{
    STRING_TREE const tree = {
        {L"", {{L"a", L"\""}, {L"b", L"\"quoted\""}, {L"c", L"\"=\""}, {L"d", L"=\"\\\""}, {L"e", L"\\\""}}}};
    EXPECT_EQ(tree, mf_roundTrip(tree));
}

TEST_F(ICRegistryBackupFormat, LineEndInAValue_FailsByTheRuleOfItsRest)
{
    // Either half lacks a quote.
    for (wchar_t const * value : {L"a\r\nb", L"a\nb", L"a\rb", L"a\r\n", L"a\n;b", L"a\n[b"})
        EXPECT_EQ(CORRUPTED, mf_failureOfRoundTrip({{L"", {{L"n", value}}}})) << value;
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
    // The quote that opens the value closes it, too.
    for (wchar_t const * value : {L"\n", L"\r\na"}) {
        EXPECT_EQ(CORRUPTED, mf_failureOfRoundTrip({{L"", {{L"n", value}}}})) << value;
        EXPECT_EQ((STRING_TREE{{L"", {{L"n", L""}}}}), mf_read()) << value;
    }
    // The first half is whole by itself, and written; the second one is no value line.
    for (wchar_t const * value : {L"a\"\n\"b", L"a\"\nb", L"a\"\n"}) {
        EXPECT_EQ(CORRUPTED, mf_failureOfRoundTrip({{L"", {{L"n", value}}}})) << value;
        EXPECT_EQ((STRING_TREE{{L"", {{L"n", L"a"}}}}), mf_read()) << value;
    }
    // Both halves are value lines.
    EXPECT_EQ((STRING_TREE{{L"", {{L"n", L"a"}, {L"m", L"b"}}}}), mf_roundTrip({{L"", {{L"n", L"a\"\n\"m\"=\"b"}}}}));
}

TEST_F(ICRegistryBackupFormat, LineEndInAName_FailsByTheRuleOfItsRest)
{
    EXPECT_EQ(CORRUPTED, mf_failureOfRoundTrip({{L"", {{L"a\nb", L"1"}}}}));
    EXPECT_EQ(CORRUPTED, mf_failureOfRoundTrip({{L"a\nb", {{L"a", L"1"}}}}));
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}

TEST_F(ICRegistryBackupFormat, Backslashes_ComeBackAsTheyWere_LoneOnesStay)
{
    STRING_TREE const tree = {{L"", {{L"a", L"\\"}, {L"b", L"\\\\"}, {L"c", L"\\\\\\"}, {L"d", L"C:\\temp"}}}};
    EXPECT_EQ(tree, mf_roundTrip(tree));
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"d\"=\"C:\\temp\"\r\n"));
    EXPECT_EQ(tree, mf_read());
}

TEST_F(ICRegistryBackupFormat, FirstValue_HasASectionAheadOfIt)
{
    mf_write({{L"a", {{L"b", L"1"}}}});
    EXPECT_TRUE(mf_backup().starts_with(BACKUP_HEADER + mf_at(L"[@\\Key\\a]\r\n")));
    EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), mf_restore(L"\"b\"=\"1\"\r\n"));
}

TEST_F(ICRegistryBackupFormat, OtherKindsOfLines_AreRefused)
{
    mf_write({{L"", {{L"a", L"1"}}}});
    std::wstring const text = mf_backup();
    for (wchar_t const * line : {L"; comment", L"# comment", L"@=\"1\"", L"\"a\"=dword:00000001"})
        EXPECT_EQ(CORRUPTED, mf_restoreText(text + line + L"\r\n")) << line;
}

TEST_F(ICRegistryBackupFormat, DotKeysThatWereLeftOut_StayWhenTheRestComesBack)
{
    mf_write({{L"", {{L"a", L"1"}}}, {L".b", {{L"c", L"2"}}}});
    std::wstring const text = mf_backup(KEY, 1);
    mf_write({{L"", {{L"a", L"changed"}}}, {L".b", {{L"c", L"changed"}}}});
    EXPECT_EQ(NO_FAILURE, mf_restoreText(text));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}, {L".b", {{L"c", L"changed"}}}}), mf_read());
}
